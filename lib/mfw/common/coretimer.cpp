#include "lib/mfw/common/coretimer.h"

#include "lib/mfw/common/coretimerlock.h"
#include "lib/mfw/common/coretimerservice.h"

#include "osal/SchedulePoint.h"

#include <cassert>

namespace CORE {

coretimer::coretimer() {
   const coresynctimer hold;
   coretimerservice::Register(*this);
}

coretimer::~coretimer() noexcept(false) {
   DoneWait wait;
   {
      const coresynctimer hold;
      mActive = false;
      coretimerservice::Unregister(*this);
      if (!MustWait(wait)) {
         return;
      }
   }
   Await(wait);
}

void coretimer::Start(uint32_t intervalMS) {
   const coresynctimer hold;
   mActive = true;
   mIntervalMS = intervalMS;
   coretimerservice::Restart(*this);
   if (coretimerservice *const service = coretimerservice::Current(); service != nullptr && service->Tracks(*this)) {
      service->Wake();
   }
}

void coretimer::Stop() {
   const coresynctimer hold;
   mActive = false;
   coretimerservice::Disarm(*this);
}

void coretimer::StopAndWait() {
   DoneWait wait;
   {
      const coresynctimer hold;
      mActive = false;
      coretimerservice::Disarm(*this);
      if (!MustWait(wait)) {
         return;
      }
   }
   Await(wait);
}

void coretimer::Reset() {
   const coresynctimer hold;
   coretimerservice::Restart(*this);
}

// Whether OnTimer is running; then the wait is on the list of those who want to know its end. Under the timer lock.
bool coretimer::MustWait(DoneWait &wait) {
   if (!mInCallback || coreExiting.load()) {
      return false;
   }
   [[maybe_unused]] const bool waitsForItself = mCallbackThread == GetCurrentThreadId();
   assert(!waitsForItself);
   wait.next = mDoneEvent;
   mDoneEvent = &wait;
   return true;
}

void coretimer::Await(DoneWait &wait) {
   osal::schedulePoint();
   WaitForSingleObject(&wait.event, INFINITE);
   const coresynctimer setterIsOut;
}

} // namespace CORE
