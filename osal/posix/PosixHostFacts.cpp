#include "osal/HostFacts.h"

#include <cerrno>

#if defined(__APPLE__)
#include "osal/apple/ApplePlaces.h"
#endif

namespace osal {

#if defined(__APPLE__)

bool readSystemControl(const char *name, char *buffer, size_t size) {
   return apple::systemControl(name, buffer, size);
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
