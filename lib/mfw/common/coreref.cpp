#include "lib/mfw/common/coreref.h"

#include "lib/mfw/common/linuxSupport.h"

#include "osal/SchedulePoint.h"

namespace CORE {

coreref::~coreref() noexcept(false) {
   if (coreCheckRefCountOnDelete && InterlockedCompareExchange<int64_t>(&mRefCount, 0, 0) >= 2) {
      throw coreException("Delete of object with RefCount");
   }
}

int64_t coreref::AddRef() {
   return InterlockedIncrement(&mRefCount);
}

int64_t coreref::Release() {
   osal::schedulePoint();
   const int64_t count = InterlockedDecrement(&mRefCount);
   if (count == 0) {
      delete this;
   }
   return count;
}

int64_t coreref::GetRefCount() {
   return InterlockedCompareExchange<int64_t>(&mRefCount, 0, 0);
}

void coreref::DropExtraReferences() {
   while (coreref::GetRefCount() >= 2) {
      InterlockedDecrement(&mRefCount);
   }
}

} // namespace CORE
