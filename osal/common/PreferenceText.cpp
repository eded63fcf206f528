#include "osal/Preferences.h"

#include <cstring>

namespace osal {

size_t PreferenceText::maximumSizeForUtf8() const {
   size_t units = 0;
   for (const char c : mUtf8) {
      const auto byte = static_cast<unsigned char>(c);
      if ((byte & 0xC0) != 0x80) {
         units += byte >= 0xF0 ? 2 : 1; // beyond the basic plane a character is a surrogate pair
      }
   }
   return units * 3;
}

bool PreferenceText::getCString(char *buffer, size_t size) const {
   if (mUtf8.size() >= size) {
      return false;
   }
   std::memcpy(buffer, mUtf8.c_str(), mUtf8.size() + 1);
   return true;
}

} // namespace osal
