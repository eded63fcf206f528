#include "lib/mfw/common/platforms/windowsHandle.h"

#include "lib/mfw/common/platforms/waitTestKit.h"
#include "tests/kit/LogCapture.h"
#include "tests/kit/ManualClock.h"

#include "lib/mfw/common/logger.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <tuple>

using platforms::PthreadCondition;
using platforms::WindowsEvent;
using waittest::EndableThread;
using waittest::GapClock;
using waittest::Handle;
using waittest::Waiter;

namespace {

// ---- PthreadCondition -----------------------------------------------------------------------------------------------

TEST(PthreadCondition, ASignalAfterTheTicketEndsTheWait) {
   PthreadCondition condition;
   const uint32_t ticket = condition.Ticket();
   condition.Signal();
   EXPECT_TRUE(condition.Wait(ticket));
}

TEST(PthreadCondition, ABroadcastAfterTheTicketEndsTheWait) {
   PthreadCondition condition;
   const uint32_t ticket = condition.Ticket();
   condition.Broadcast();
   EXPECT_TRUE(condition.Wait(ticket));
}

TEST(PthreadCondition, ASignalLeavesAMarkForOneWhoComesLater) {
   const kit::ManualClock clock;
   PthreadCondition condition;
   condition.Signal();
   EXPECT_TRUE(condition.TimedWait(condition.Ticket(), clock.monotonicNs()));
   EXPECT_FALSE(condition.TimedWait(condition.Ticket(), clock.monotonicNs()));
}

TEST(PthreadCondition, ABroadcastLeavesNoMark) {
   const kit::ManualClock clock;
   PthreadCondition condition;
   condition.Broadcast();
   EXPECT_FALSE(condition.TimedWait(condition.Ticket(), clock.monotonicNs()));
}

TEST(PthreadCondition, ResetTakesTheMarkBack) {
   const kit::ManualClock clock;
   PthreadCondition condition;
   condition.Signal();
   condition.Reset();
   EXPECT_FALSE(condition.TimedWait(condition.Ticket(), clock.monotonicNs()));
}

TEST(PthreadCondition, AWakeUpWithoutASignalGoesRound) {
   kit::ManualClock clock;
   PthreadCondition condition;
   const uint32_t ticket = condition.Ticket();
   Waiter waiter([&] { return condition.TimedWait(ticket, clock.deadlineAfterMs(20)) ? 1U : 0U; });
   Waiter shorter([&] { return condition.TimedWait(ticket, clock.deadlineAfterMs(10)) ? 1U : 0U; });
   clock.AwaitSleepers(2);
   clock.AdvanceMs(10); // wakes all that sleep on the word
   EXPECT_EQ(shorter.Result(), 0U);
   clock.AwaitSleepers(1);
   condition.Signal();
   EXPECT_EQ(waiter.Result(), 1U);
}

// ---- The table: kind of wait x kind of handle x when it is set ------------------------------------------------------

enum class Wait { Look, Single, SingleEndless, Any, AnyEndless, All, AllEndless };
enum class Kind { AutoReset, ManualReset, Thread };
enum class When { Before, During, Never };

bool IsEndless(Wait wait) {
   return wait == Wait::SingleEndless || wait == Wait::AnyEndless || wait == Wait::AllEndless;
}

uint32_t DoThe(Wait wait, HANDLE handle) {
   const uint32_t ms = wait == Wait::Look ? 0 : IsEndless(wait) ? INFINITE : 50;
   switch (wait) {
   case Wait::Look:
   case Wait::Single:
   case Wait::SingleEndless:
      return WaitForSingleObject(handle, ms);
   default:
      return WaitForMultipleObjects(1, &handle, wait == Wait::All || wait == Wait::AllEndless, ms);
   }
}

class WaitTable : public testing::TestWithParam<std::tuple<Wait, Kind, When>> {
protected:
   HANDLE Target() {
      switch (std::get<Kind>(GetParam())) {
      case Kind::AutoReset:
         return autoReset;
      case Kind::ManualReset:
         return manualReset;
      default:
         return thread;
      }
   }
   void Set() {
      if (std::get<Kind>(GetParam()) == Kind::Thread) {
         thread.End();
      } else {
         SetEvent(Target());
      }
   }
   static bool Consumes(Wait wait, Kind kind) {
      return kind == Kind::AutoReset && wait != Wait::Look && wait != Wait::Any && wait != Wait::AnyEndless;
   }

   kit::ManualClock clock;
   Handle autoReset = Handle::AutoReset();
   Handle manualReset = Handle::ManualReset();
   EndableThread thread; // one sleeper of the clock's until it ends
};

TEST_P(WaitTable, EndsAndConsumesAsStated) {
   const auto [wait, kind, when] = GetParam();
   clock.AwaitSleepers(1);
   uint32_t result = 0;
   if (when == When::Before) {
      Set();
      if (kind == Kind::Thread) {
         WaitForSingleObject(thread, INFINITE);
      }
      result = DoThe(wait, Target());
   } else {
      Waiter waiter([&, how = wait] { return DoThe(how, Target()); });
      if (wait != Wait::Look) {
         clock.AwaitSleepers(2);
         when == When::During ? Set() : clock.AdvanceMs(50);
      }
      result = waiter.Result();
   }
   const bool set = when != When::Never;
   EXPECT_EQ(result, set ? WAIT_OBJECT_0 : WAIT_TIMEOUT);
   EXPECT_EQ(WaitForSingleObject(Target(), 0) == WAIT_OBJECT_0, set && !Consumes(wait, kind));
}

std::vector<std::tuple<Wait, Kind, When>> Table() {
   std::vector<std::tuple<Wait, Kind, When>> rows;
   for (const Wait wait :
        {Wait::Look, Wait::Single, Wait::SingleEndless, Wait::Any, Wait::AnyEndless, Wait::All, Wait::AllEndless}) {
      for (const Kind kind : {Kind::AutoReset, Kind::ManualReset, Kind::Thread}) {
         rows.emplace_back(wait, kind, When::Before);
         if (wait != Wait::Look) {
            rows.emplace_back(wait, kind, When::During);
         }
         if (!IsEndless(wait)) {
            rows.emplace_back(wait, kind, When::Never);
         }
      }
   }
   return rows;
}

std::string RowName(const testing::TestParamInfo<std::tuple<Wait, Kind, When>> &row) {
   static const char *const waits[] = {"Look", "Single", "SingleEndless", "Any", "AnyEndless", "All", "AllEndless"};
   static const char *const kinds[] = {"AutoReset", "ManualReset", "Thread"};
   static const char *const times[] = {"SetBefore", "SetDuring", "NotSet"};
   const auto [wait, kind, when] = row.param;
   return std::string(waits[static_cast<int>(wait)]) + "_" + kinds[static_cast<int>(kind)] + "_" +
          times[static_cast<int>(when)];
}

INSTANTIATE_TEST_SUITE_P(All, WaitTable, testing::ValuesIn(Table()), RowName);

// ---- Events ---------------------------------------------------------------------------------------------------------

TEST(Event, StartsAsItIsTold) {
   EXPECT_TRUE(Handle::AutoReset(true).IsSet());
   EXPECT_FALSE(Handle::AutoReset(false).IsSet());
   EXPECT_TRUE(Handle::ManualReset(true).IsSet());
   EXPECT_FALSE(Handle::ManualReset(false).IsSet());
}

TEST(Event, ALookLeavesAnAutoResetEventSetAndOneMillisecondClearsIt) {
   const Handle event = Handle::AutoReset(true);
   EXPECT_EQ(WaitForSingleObject(event, 0), 0U);
   EXPECT_EQ(WaitForSingleObject(event, 0), 0U);
   EXPECT_EQ(WaitForSingleObject(event, 1), 0U);
   EXPECT_EQ(WaitForSingleObject(event, 0), 258U);
}

TEST(Event, SetTwiceIsSetOnce) {
   const Handle event = Handle::AutoReset();
   EXPECT_TRUE(SetEvent(event));
   EXPECT_TRUE(SetEvent(event));
   EXPECT_EQ(WaitForSingleObject(event, 1), 0U);
   EXPECT_FALSE(event.IsSet());
}

TEST(Event, ResetClearsIt) {
   for (const bool manual : {false, true}) {
      const Handle event(CreateEvent(nullptr, manual, true, nullptr));
      EXPECT_TRUE(ResetEvent(event));
      EXPECT_FALSE(event.IsSet());
   }
}

TEST(Event, AWaitOf50OnAClearOneIsOverAfter50Milliseconds) {
   kit::ManualClock clock;
   const Handle event = Handle::AutoReset();
   Waiter waiter([&] { return WaitForSingleObject(event, 50); });
   clock.AwaitSleepers(1);
   EXPECT_EQ(clock.NextDeadlineNs(), clock.deadlineAfterMs(50));
   clock.AdvanceMs(49);
   EXPECT_FALSE(waiter.Done());
   EXPECT_EQ(clock.NextDeadlineNs(), clock.deadlineAfterMs(1));
   clock.AdvanceMs(1);
   EXPECT_EQ(waiter.Result(), 258U);
}

TEST(Event, AWallClockThatJumpsDoesNotStretchOrCutAWait) {
   for (const int64_t jumpUs : {-3'600'000'000LL, 3'600'000'000LL}) {
      kit::ManualClock clock;
      const Handle event = Handle::AutoReset();
      Waiter waiter([&] { return WaitForSingleObject(event, 50); });
      clock.AwaitSleepers(1);
      clock.SetWallUs(1'794'508'200'123'000 + jumpUs);
      clock.AdvanceMs(49);
      EXPECT_FALSE(waiter.Done());
      clock.AdvanceMs(1);
      EXPECT_EQ(waiter.Result(), WAIT_TIMEOUT);
   }
}

TEST(Event, OneSignalOfAnAutoResetEventLetsOneOfTwoWaitersThrough) {
   kit::ManualClock clock;
   const Handle event = Handle::AutoReset();
   Waiter first([&] { return WaitForSingleObject(event, 50); });
   Waiter second([&] { return WaitForSingleObject(event, 50); });
   clock.AwaitSleepers(2);
   SetEvent(event);
   while (!first.Done() && !second.Done()) {
      std::this_thread::yield();
   }
   clock.AwaitSleepers(1);
   clock.AdvanceMs(50);
   const uint32_t sum = first.Result() + second.Result();
   EXPECT_EQ(sum, WAIT_OBJECT_0 + WAIT_TIMEOUT);
   EXPECT_FALSE(event.IsSet());
}

TEST(Event, OneSignalOfAManualResetEventLetsEveryoneThrough) {
   kit::ManualClock clock;
   const Handle event = Handle::ManualReset();
   Waiter first([&] { return WaitForSingleObject(event, INFINITE); });
   Waiter second([&] { return WaitForSingleObject(event, 50); });
   clock.AwaitSleepers(2);
   SetEvent(event);
   EXPECT_EQ(first.Result(), WAIT_OBJECT_0);
   EXPECT_EQ(second.Result(), WAIT_OBJECT_0);
}

TEST(Event, TestAndResetAreOneStep) {
   WindowsEvent event(false, true);
   EXPECT_TRUE(event.Satisfied());
   EXPECT_FALSE(event.Satisfied()) << "two waiters have seen the word set: the second one takes nothing";
   WindowsEvent manual(true, true);
   EXPECT_TRUE(manual.Satisfied());
   EXPECT_TRUE(manual.Satisfied());
}

// Both would sleep for ever if the look and falling asleep were two steps.
TEST(Event, ASignalBetweenTheLastLookAndTheSleepIsNotLost) {
   for (const bool manual : {false, true}) {
      const Handle event(CreateEvent(nullptr, manual, false, nullptr));
      GapClock clock;
      clock.beforeSleep = [&] {
         SetEvent(event);
      };
      EXPECT_EQ(WaitForSingleObject(event, INFINITE), WAIT_OBJECT_0);
   }
}

TEST(Event, ASignalAtTheLastMomentCounts) {
   kit::ManualClock clock;
   GapClock gap;
   const Handle event = Handle::AutoReset();
   gap.beforeSleep = [&] {
      clock.AdvanceMs(50);
      SetEvent(event);
   };
   EXPECT_EQ(WaitForSingleObject(event, 50), WAIT_OBJECT_0);
   EXPECT_FALSE(event.IsSet());
}

TEST(Event, ASignalThatIsTakenBackAtOnceLetsNobodyThrough) {
   kit::ManualClock clock;
   clock.SetJumping(true);
   GapClock gap;
   const Handle event = Handle::ManualReset();
   bool signalled = false;
   gap.beforeSleep = [&] {
      SetEvent(event);
      ResetEvent(event);
      signalled = true;
   };
   EXPECT_EQ(WaitForSingleObject(event, 50), WAIT_TIMEOUT);
   EXPECT_TRUE(signalled);
}

TEST(Event, AnEndlessWaitThatFailsSaysSo) {
   const kit::LogCapture log;
   GapClock clock;
   clock.FailWaits();
   const Handle event = Handle::AutoReset();
   EXPECT_EQ(WaitForSingleObject(event, INFINITE), WAIT_TIMEOUT);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "DoWait: Failed!!\n")) << log.Dump();
}

TEST(Event, ATimeThatIsOverIsNoFailure) {
   const kit::LogCapture log;
   kit::ManualClock clock;
   clock.SetJumping(true);
   const Handle event = Handle::AutoReset();
   EXPECT_EQ(WaitForSingleObject(event, 50), WAIT_TIMEOUT);
   EXPECT_TRUE(log.Lines().empty()) << log.Dump();
}

TEST(Event, ANullHandleIsRefusedWithoutAnAssertion) {
   EXPECT_FALSE(CloseHandle(nullptr));
   EXPECT_EQ(WaitForSingleObject(nullptr, 0), 0xFFFFFFFF);
   EXPECT_EQ(WaitForSingleObject(nullptr, INFINITE), 0xFFFFFFFF);
}

TEST(Event, WaitsKeepErrno) {
   kit::ManualClock clock;
   clock.SetJumping(true);
   const Handle event = Handle::AutoReset();
   errno = 7;
   EXPECT_EQ(WaitForSingleObject(event, 5), WAIT_TIMEOUT);
   SetEvent(event);
   EXPECT_EQ(WaitForSingleObject(event, 5), WAIT_OBJECT_0);
   EXPECT_EQ(errno, 7);
}

// The wake-up that a cancelled waiter had got would be lost with it, and the other one would wait for ever.
TEST(Event, ACancelledWaiterHandsItsWakeUpOn) {
   for (int round = 0; round < 50; ++round) {
      kit::ManualClock clock;
      GapClock gap;
      static thread_local bool doomed = false;
      gap.afterSleep = [] {
         if (doomed) {
            pthread_cancel(pthread_self());
            pthread_testcancel();
         }
      };
      const Handle event = Handle::AutoReset();
      const Handle thread(_beginthreadex(
         nullptr, 0,
         [](void *argument) -> uint32_t {
            doomed = true;
            return WaitForSingleObject(static_cast<HANDLE>(argument), INFINITE);
         },
         static_cast<HANDLE>(event), 0, nullptr));
      clock.AwaitSleepers(1);
      Waiter waiter([&] { return WaitForSingleObject(event, INFINITE); });
      clock.AwaitSleepers(2);
      SetEvent(event);
      EXPECT_EQ(waiter.Result(), WAIT_OBJECT_0);
      SetEvent(event); // for the doomed one, if it has not been woken yet
      EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
   }
}

TEST(EventDeathTest, WrongUseEndsTheProcess) {
   EXPECT_DEATH((void)CreateEvent(nullptr, false, false, "name"), "CreateEvent.*pName == 0");
   EXPECT_DEATH(SetEvent(nullptr), "SetEvent.*handle");
   EXPECT_DEATH(ResetEvent(nullptr), "ResetEvent.*handle");
}

} // namespace
