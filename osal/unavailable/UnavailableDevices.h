#pragma once

#include "osal/Devices.h"

#include <memory>

namespace osal {

/// The backend of a machine, or a setting, that has none: every call fails with `why`. diagnose() gives `advice` too.
[[nodiscard]] std::unique_ptr<Devices> MakeUnavailableDevices(Status why, std::string advice);

} // namespace osal
