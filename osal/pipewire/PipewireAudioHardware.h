#pragma once

#include "osal/AudioHardware.h"

#include <memory>
#include <string>
#include <vector>

namespace osal {

/// What the audio hardware tells about one microphone.
struct PipewireMicrophone {
   std::string name;
   std::string uniqueId;
};

/// A snapshot of microphones as audio devices, each with one input stream.
[[nodiscard]] std::unique_ptr<AudioHardware> MakePipewireAudioHardware(std::vector<PipewireMicrophone> microphones);

} // namespace osal
