#include "lib/mfw/common/coretimerlock.h"

#include <gtest/gtest.h>
#include <thread>

namespace CORE {
namespace {

bool FreeForAnotherThread() {
   bool free = false;
   std::thread([&]() MAVR_NO_THREAD_SAFETY_ANALYSIS {
      free = coreTimerLock().TryLock();
      if (free) {
         coreTimerLock().Unlock();
      }
   }).join();
   return free;
}

TEST(TimerLock, IsHeldForAScopeAndIsRecursive) MAVR_NO_THREAD_SAFETY_ANALYSIS {
   {
      const coresynctimer hold;
      const coresynctimer again;
      EXPECT_FALSE(FreeForAnotherThread());
   }
   EXPECT_TRUE(FreeForAnotherThread());
}

TEST(TimerLock, DoesNothingOnceItIsGone) MAVR_NO_THREAD_SAFETY_ANALYSIS {
   static_cast<void>(coreTimerLock());
   { coretimer_critsec gone; }
   coreTimerLock().Lock();
   static coretimer_critsec again; // the lock works again, for the look and for the tests after this one
   EXPECT_TRUE(FreeForAnotherThread());
}

TEST(TimerLock, DoesNothingWhileTheProcessIsExiting) MAVR_NO_THREAD_SAFETY_ANALYSIS {
   coreExiting = true;
   coreTimerLock().Lock();
   coreExiting = false;
   EXPECT_TRUE(FreeForAnotherThread());
}

} // namespace
} // namespace CORE
