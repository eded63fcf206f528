// Any 136 bytes are a record of stream parameters: what is read and written again is the same, the gap included.

#include "libs/common/DevicePrefs.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
   std::array<uint8_t, kNetworkPrefsSize> record{};
   std::copy_n(data, std::min(size, record.size()), record.begin());
   DevicePrefs prefs;
   DevicePrefsFromNetwork(record, &prefs);
   std::array<uint8_t, kNetworkPrefsSize> again{};
   std::copy(record.begin() + 36, record.begin() + 116, again.begin() + 36);
   DevicePrefsToNetwork(prefs, again);
   if (again != record) {
      std::abort();
   }
   return 0;
}
