#pragma once

#include "osal/AudioHardware.h"
#include "osal/simulated/Simulation.h"

#include <memory>

namespace osal {

/// The audio devices of `simulation`, as they are in it; `simulation` is kept alive.
[[nodiscard]] std::unique_ptr<AudioHardware> MakeSimulatedAudioHardware(std::shared_ptr<const Simulation> simulation);

} // namespace osal
