#pragma once

#include "osal/Capture.h"

#include <memory>

namespace osal {

/// Capturing from the cameras and microphones of the PipeWire daemon that the environment names.
///
/// Finding a device lists the daemon's afresh, which takes 2 seconds at the most. A running capture has one thread, the
/// stream's loop; starting and stopping wait for nothing that the daemon does.
[[nodiscard]] std::unique_ptr<Capture> MakePipewireCapture();

} // namespace osal
