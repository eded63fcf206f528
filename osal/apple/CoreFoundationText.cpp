#include "osal/apple/CoreFoundationText.h"

#include <cstring>

namespace osal {

CFOwned<CFStringRef> MakeCFString(std::string_view utf8) {
   const auto *const bytes = reinterpret_cast<const UInt8 *>(utf8.data());
   return CFOwned<CFStringRef>(CFStringCreateWithBytes(kCFAllocatorDefault, bytes, static_cast<CFIndex>(utf8.size()),
                                                       kCFStringEncodingUTF8, false));
}

bool CopyUtf8(CFStringRef string, std::string *utf8) {
   const CFIndex most = CFStringGetMaximumSizeForEncoding(CFStringGetLength(string), kCFStringEncodingUTF8);
   std::string text(static_cast<size_t>(most) + 1, '\0');
   if (!CFStringGetCString(string, text.data(), most + 1, kCFStringEncodingUTF8)) {
      return false;
   }
   text.resize(std::strlen(text.c_str()));
   *utf8 = std::move(text);
   return true;
}

} // namespace osal
