#include "osal/Threads.h"

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <pthread.h>

namespace osal {
namespace {

#if defined(__APPLE__)
constexpr size_t kNameSize = 64; // with the terminating 0
#else
constexpr size_t kNameSize = 16;
#endif

bool ContinuesCharacter(char byte) {
   return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

size_t FittingLength(const char *name) {
   size_t length = strnlen(name, kNameSize);
   if (length < kNameSize) {
      return length;
   }
   length = kNameSize - 1;
   while (length > 0 && ContinuesCharacter(name[length])) {
      --length;
   }
   return length;
}

} // namespace

void setThreadName(const char *name) {
   const int error = errno;
   char fitting[kNameSize] = {};
   std::memcpy(fitting, name, FittingLength(name));
#if defined(__APPLE__)
   pthread_setname_np(fitting);
#else
   pthread_setname_np(pthread_self(), fitting);
#endif
   errno = error;
}

} // namespace osal
