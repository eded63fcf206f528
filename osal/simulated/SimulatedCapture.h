#pragma once

#include "osal/Capture.h"

#include <memory>
#include <string>

namespace osal {

/// Capturing from the devices of the simulation file `file`, or of the built-in set when `file` is empty.
///
/// The file is read as MakeSimulatedDevices says: each call sees it as it is now. A device that is taken out of it
/// while a session runs is unplugged. Cameras of a listing can be opened too.
[[nodiscard]] std::unique_ptr<Capture> MakeSimulatedCapture(const std::string &file);

} // namespace osal
