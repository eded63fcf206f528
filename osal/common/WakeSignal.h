#pragma once

#include "osal/Clock.h"
#include "osal/WaitWord.h"

#include <atomic>
#include <cstdint>

namespace osal {

/// Something may have changed: one thread sleeps until it is raised, others raise it. No raise between looking and
/// sleeping is missed. Any thread; raising costs a system call only while somebody sleeps.
///
///     const uint32_t seen = signal.Look();
///     if (nothing to do) { signal.AwaitRaise(seen, deadlineNs); }
class WakeSignal {
public:
   [[nodiscard]] uint32_t Look() const { return mWord.load(); }

   void Raise() {
      mWord.fetch_add(1);
      if (mSleepers.load() > 0) {
         waitword::wakeAll(mWord);
      }
   }

   /// Returns when it was raised since `seen`, at `deadlineNs` of the clock in force, or without a reason.
   void AwaitRaise(uint32_t seen, uint64_t deadlineNs) {
      mSleepers.fetch_add(1);
      Clock::current().waitWhile(mWord, seen, deadlineNs);
      mSleepers.fetch_sub(1);
   }

private:
   std::atomic<uint32_t> mWord{0};
   std::atomic<uint32_t> mSleepers{0};
};

} // namespace osal
