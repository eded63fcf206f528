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

coresync::coresync(coresyncObject &object)
    : mObject(object) {
   mObject.Lock();
}

coresync::~coresync() {
   for (; mLockCount > 0; --mLockCount) {
      mObject.Unlock();
   }
}

} // namespace CORE
