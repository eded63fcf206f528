#include "lib/mfw/common/coresync.h"

#include <cstdlib>
#include <cstring>

namespace CORE {

coresyncObject::coresyncObject(const char *name)
    : mName(name != nullptr ? strdup(name) : nullptr) {}

coresyncObject::~coresyncObject() noexcept(false) {
   std::free(mName);
}

corecritsec::corecritsec(const char *name)
    : coresyncObject(name) {
   InitializeCriticalSection(&mMutex);
}

corecritsec::~corecritsec() noexcept(false) {
   DeleteCriticalSection(&mMutex);
}

} // namespace CORE
