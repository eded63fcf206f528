#include "lib/mfw/common/coreException.h"
#include "lib/mfw/common/coreshutdown.h"
#include "lib/mfw/common/coretimerTestKit.h"
#include "lib/mfw/common/logger.h"
#include "lib/mfw/common/threadWrapper.h"
#include "tests/kit/Faults.h"

#include <gtest/gtest.h>
#include <new>

namespace CORE {
namespace {

using timer_test::Nothing;
using timer_test::Timers;

class Once final : public coretimer {
public:
   bool OnTimer() override {
      mCalled = true;
      return false;
   }
   void AwaitCall() const {
      while (!mCalled) {
         std::this_thread::yield();
      }
   }

private:
   std::atomic<bool> mCalled{false};
};

// Each allocation on the way to a running timer fails once, or from then on: the caller hears of it, and after that
// everything works, and nothing is left behind. On the system's clock and with no one who keeps log lines: what the kit
// allocates must not count.
void TryWithAllocationsFailing(kit::Repeat repeat) {
   logger::Init([](const char *, int) {});
   auto *const keeper = new Once; // keeps the registry of weak ids, whose lock must be had
   waitForAllThreads(0);          // but no service
   for (uint64_t nth = 1;; ++nth) {
      ASSERT_LT(nth, 100U);
      bool made = false;
      kit::FailNth fault(kit::Fault::Allocation, nth, repeat);
      try {
         Once timer;
         timer.Start(0);
         made = true;
         fault.Disarm();
         timer.AwaitCall();
      } catch (const std::bad_alloc &) {
         fault.Disarm();
      } catch (const coreException &exception) {
         fault.Disarm();
         EXPECT_EQ(exception.Code(), ENOMEM);
      }
      EXPECT_FALSE(Timers::HasService());
      {
         Once timer;
         timer.Start(0);
         timer.AwaitCall();
      }
      if (!fault.Struck()) {
         EXPECT_TRUE(made);
         break;
      }
   }
   keeper->Release();
}

TEST(TimerFaults, AnAllocationThatFailsOnceIsReported) {
   TryWithAllocationsFailing(kit::Repeat::Once);
}

TEST(TimerFaults, AllocationsThatFailFromThenOnAreReported) {
   TryWithAllocationsFailing(kit::Repeat::FromThenOn);
}

TEST(TimerFaults, AThreadThatCannotBeHadIsReported) {
   for (const kit::Repeat repeat : {kit::Repeat::Once, kit::Repeat::FromThenOn}) {
      Timers timers;
      Nothing timer;
      {
         const kit::FailNth fault(kit::Fault::ThreadCreation, 1, repeat);
         try {
            timer.Start(1000);
            ADD_FAILURE();
         } catch (const coreException &exception) {
            EXPECT_EQ(exception.Code(), EAGAIN);
         }
      }
      timer.Start(1000);
      timers.Settle(1000);
      timer.StopAndWait();
   }
}

TEST(TimerFaults, FiringAllocatesNothing) {
   Timers timers;
   struct Counting final : coretimer {
      bool OnTimer() override {
         ++calls;
         return true;
      }
      std::atomic<int> calls{0};
   };
   Counting several[5];
   for (Counting &timer : several) {
      timer.Start(10);
   }
   int fires = 0;
   const auto round = [&] {
      ++fires;
      timers.clock.AdvanceMs(10);
      for (Counting &timer : several) {
         while (timer.calls.load() < fires) {
            std::this_thread::yield();
         }
      }
      while (timers.clock.Sleepers() != 1) {
         std::this_thread::yield();
      }
   };
   timers.Settle(10);
   round();
   round();
   const uint64_t before = kit::AllocationCount();
   for (int i = 0; i < 10; ++i) {
      round();
   }
   EXPECT_EQ(kit::AllocationCount() - before, 0U);
   for (Counting &timer : several) {
      timer.StopAndWait();
   }
}

TEST(RunnableFaults, AllocationsThatFailLeaveTheRunnableAsItWas) {
   logger::Init([](const char *, int) {}); // nobody who keeps lines: that allocates
   corethreadgroup group("group");
   for (corethreadgroup *const in : {static_cast<corethreadgroup *>(nullptr), &group}) {
      for (uint64_t nth = 1;; ++nth) {
         auto *const run = new corerun(
            "run", [](void *) {}, nullptr, nullptr, in, 3);
         kit::FailNth fault(kit::Fault::Allocation, nth, kit::Repeat::Once);
         const bool started = run->Start();
         const bool struck = fault.Struck();
         fault.Disarm();
         if (!started) {
            EXPECT_EQ(run->GetRefCount(), 1);
            EXPECT_EQ(group.Size(), 0U);
         }
         run->Release();
         group.Wait(INFINITE);
         if (!struck) {
            EXPECT_TRUE(started);
            break;
         }
      }
   }
   while (group.GetRefCount() != 1) {
      std::this_thread::yield();
   }
}

TEST(NotifyWithWaitFaults, AnEventThatCannotBeHadIsTold) {
   registerShutdownCallback([] {}); // the lock is there, and the event is the first thing to be had
   std::vector<corestring> messages;
   messages.reserve(1);
   kit::FailNth fault(kit::Fault::Allocation, 1, kit::Repeat::Once);
   EXPECT_FALSE(waitForAllThreads_NotifyWithWait([] {}, INFINITE, messages));
   fault.Disarm();
   ASSERT_EQ(messages.size(), 1U);
   EXPECT_TRUE(messages.front() == "Error: waitForAllThreads_NotifyWithWait: failed to create event, error=12");
   EXPECT_TRUE(waitForAllThreads_NotifyWithWait([] {}, INFINITE, messages));
}

} // namespace
} // namespace CORE
