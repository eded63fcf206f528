#pragma once

#include "osal/Preferences.h"

#include <memory>
#include <string_view>

namespace osal {

/// The preference domain `applicationId` through CFPreferences. Values are kept by the platform, which writes them out
/// on its own terms; nothing here asks it to but appSynchronize. A value of the domain that is no text, integer or
/// boolean is none.
[[nodiscard]] std::unique_ptr<Preferences> MakeApplePreferences(std::string_view applicationId);

} // namespace osal
