#pragma once

#include "osal/Preferences.h"

#include <memory>

namespace osal {

/// A preference domain without a place: reads find nothing, writes fail with `why`, and takeTrouble tells `why` once.
[[nodiscard]] std::unique_ptr<Preferences> MakeUnavailablePreferences(Status why);

} // namespace osal
