#include "osal/HostFacts.h"

#include <cerrno>

#if defined(__APPLE__)
#include <sys/sysctl.h>
#endif

namespace osal {

#if defined(__APPLE__)

bool readSystemControl(const char *name, char *buffer, size_t size) {
   size_t length = size;
   if (size != 0 && sysctlbyname(name, buffer, &length, nullptr, 0) == 0 && length > 0 && length <= size &&
       buffer[length - 1] == '\0') {
      return true;
   }
   if (size != 0) {
      buffer[0] = '\0';
   }
   return false;
}

#else

bool readSystemControl(const char * /*name*/, char *buffer, size_t size) {
   if (size != 0) {
      buffer[0] = '\0';
   }
   errno = ENOSYS;
   return false;
}

#endif

} // namespace osal
