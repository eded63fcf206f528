#pragma once

#include "libs/mmdr/device/DeviceInfo.h"

namespace MMDev {

/// Whether `a` stands before `b` in a list: by the bytes of mSystemId, unsigned, a prefix before what it begins.
[[nodiscard]] bool PrecedesBySystemId(const DeviceInfo &a, const DeviceInfo &b);

/// Sorts by PrecedesBySystemId. Should a platform give one id twice, those two stay in the platform's order.
void SortBySystemId(DeviceList &list);

} // namespace MMDev
