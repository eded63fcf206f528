#include "libs/mmdr/device/DeviceOrder.h"

#include <algorithm>

namespace MMDev {

bool PrecedesBySystemId(const DeviceInfo &a, const DeviceInfo &b) {
   // The standard string compares its characters as unsigned bytes.
   return a.mSystemId < b.mSystemId;
}

void SortBySystemId(DeviceList &list) {
   std::stable_sort(list.begin(), list.end(), PrecedesBySystemId);
}

} // namespace MMDev
