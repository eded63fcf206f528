#pragma once

#include "osal/Devices.h"

#include <memory>

namespace osal {

/// Cameras and microphones of the PipeWire daemon that the environment names.
///
/// Each call makes a connection of its own, lists, and closes it: nothing is kept between calls, and no call takes
/// longer than 2 seconds whatever the daemon does. What counts as a camera or a microphone, and what their names and
/// ids are made of, is in PipewireNode.h. Outputs are not among the audio devices: they have no input stream, so nobody
/// would use them, and looking at each costs time. A camera's position is not known: the filters by type and position
/// let all cameras through.
[[nodiscard]] std::unique_ptr<Devices> MakePipewireDevices();

} // namespace osal
