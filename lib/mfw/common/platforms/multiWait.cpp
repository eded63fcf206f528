#include "lib/mfw/common/platforms/multiWait.h"

#include "osal/SchedulePoint.h"

namespace platforms {

MultiWait::MultiWait(uint32_t count, WindowsHandle *const *handles)
    : mCount(count)
    , mHandles(handles) {
   while (mListed < mCount && mHandles[mListed]->AddWaiter(&mCondition)) {
      ++mListed;
   }
}

// Taking the mutex of each handle also awaits whoever has just signalled this wait: its condition may go then.
MultiWait::~MultiWait() {
   for (uint32_t i = 0; i < mListed; ++i) {
      mHandles[i]->RemoveWaiter(&mCondition, mFound && mHandles[*mFound] == mHandles[i]);
   }
}

// Required: one wake-up is the end, also when the handle that it came from is no longer set by now.
std::optional<uint32_t> MultiWait::Wait(uint64_t deadlineNs) {
   const uint32_t ticket = mCondition.Ticket();
   mFound = FirstSignalled(mCount, mHandles);
   if (!mFound) {
      osal::schedulePoint();
      mSignalled = mCondition.TimedWait(ticket, deadlineNs);
      if (mSignalled) {
         mFound = FirstSignalled(mCount, mHandles);
      }
   }
   return mFound;
}

std::optional<uint32_t> MultiWait::FirstSignalled(uint32_t count, WindowsHandle *const *handles) {
   for (uint32_t i = 0; i < count; ++i) {
      if (handles[i]->IsSignalled()) {
         return i;
      }
   }
   return std::nullopt;
}

} // namespace platforms
