#include "lib/mfw/common/platforms/multiWait.h"

namespace platforms {

MultiWait::MultiWait(uint32_t count, WindowsHandle *const *handles)
    : mCount(count)
    , mHandles(handles) {
   for (uint32_t i = 0; i < mCount; ++i) {
      mHandles[i]->AddWaiter(&mCondition);
   }
}

MultiWait::~MultiWait() {
   for (uint32_t i = 0; i < mCount; ++i) {
      mHandles[i]->RemoveWaiter(&mCondition);
   }
}

std::optional<uint32_t> MultiWait::Wait(uint64_t deadlineNs) {
   for (bool inTime = true;;) {
      const uint32_t ticket = mCondition.Ticket();
      const std::optional<uint32_t> first = FirstSignalled(mCount, mHandles);
      if (first || !inTime) {
         return first;
      }
      inTime = mCondition.TimedWait(ticket, deadlineNs);
   }
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
