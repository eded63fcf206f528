#pragma once

#include "tools/mavr/Library.h"

#include "osal/Devices.h"

#include <string>
#include <vector>

namespace mavr {

/// The single looks of `mavr doctor`. Each names the cause of what is wrong, not its symptom, and what to do about it.
using osal::Finding;

/// The settings file: can it be read, is it whole, can it be written? Look before the library is opened, which would
/// take the news of a damaged file.
[[nodiscard]] Finding CheckSettingsFile();

// With the library open:
[[nodiscard]] std::vector<Finding> CheckPlatform();
[[nodiscard]] Finding CheckConfiguration();
[[nodiscard]] Finding CheckLog();
[[nodiscard]] Finding CheckSwitch(Library &library);
[[nodiscard]] Finding CheckPolicy();
/// MMDR_DEV_VIDEO or MMDR_DEV_AUDIO: does the stored preference select a device, and if not, which would match?
[[nodiscard]] Finding CheckPreference(Library &library, int32_t type);
[[nodiscard]] Finding CheckOption(Library &library);

/// The present device that someone who stored `id` and `name` most likely means: of the same name, or with a name that
/// contains the other regardless of case; null when none is like it. A plain function of its arguments.
[[nodiscard]] const Device *FindAlike(const std::vector<Device> &present, const std::string &id,
                                      const std::string &name);

} // namespace mavr
