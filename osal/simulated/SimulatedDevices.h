#pragma once

#include "osal/Devices.h"

#include <memory>
#include <string>

namespace osal {

/// The devices of the simulation file `file`, or the built-in set when `file` is empty.
///
/// A relative path is taken from the working directory of this call. The file is read at the first listing, and again
/// whenever it has changed on disk: editing it plugs and unplugs devices. A file that is missing or broken fails each
/// call with where and why, and gives no devices, not those it held before.
[[nodiscard]] std::unique_ptr<Devices> MakeSimulatedDevices(const std::string &file);

} // namespace osal
