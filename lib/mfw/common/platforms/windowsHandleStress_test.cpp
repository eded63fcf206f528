#include "lib/mfw/common/platforms/waitTestKit.h"
#include "tests/kit/PerturbedSchedule.h"

#include <gtest/gtest.h>
#include <thread>
#include <vector>

using waittest::Handle;
using waittest::Waiter;

namespace {

#ifdef MAVR_SANITIZED
constexpr int kRounds = 300;
#else
constexpr int kRounds = 5'000;
#endif

constexpr uint32_t kFarAway = 3'600'000;

// An auto-reset event that is always given back makes a lock: who takes it is alone.
void TakeByTurns(HANDLE event, int turn) {
   switch (turn % 5) {
   case 0:
      EXPECT_EQ(WaitForSingleObject(event, INFINITE), WAIT_OBJECT_0);
      return;
   case 1:
      EXPECT_EQ(WaitForSingleObject(event, kFarAway), WAIT_OBJECT_0);
      return;
   case 2:
      EXPECT_EQ(WaitForMultipleObjects(1, &event, true, INFINITE), WAIT_OBJECT_0);
      return;
   case 3: // a multiple wait consumes nothing: whoever it lets through tries to take it, and waits again
      while (WaitForMultipleObjects(1, &event, false, INFINITE) != WAIT_OBJECT_0 ||
             WaitForSingleObject(event, 1) != WAIT_OBJECT_0) {
      }
      return;
   default:
      while (WaitForSingleObject(event, 1) != WAIT_OBJECT_0) {
      }
      return;
   }
}

TEST(WaitStress, OneTakerForEachSignalAndNoneIsLost) {
   const kit::PerturbedSchedule schedule;
   for (int threads = 2; threads <= 8; ++threads) {
      const Handle event = Handle::AutoReset(true);
      int64_t counter = 0; // plain: two takers at a time would race, and lose counts
      std::vector<std::thread> takers;
      for (int which = 0; which < threads; ++which) {
         takers.emplace_back([&, which] {
            for (int turn = 0; turn < kRounds; ++turn) {
               TakeByTurns(event, which + turn);
               ++counter;
               SetEvent(event);
            }
         });
      }
      for (std::thread &taker : takers) {
         taker.join();
      }
      EXPECT_EQ(counter, int64_t{threads} * kRounds);
      EXPECT_TRUE(event.IsSet());
   }
}

TEST(WaitStress, AGateOfAManualResetEventLetsEveryWaitThrough) {
   const kit::PerturbedSchedule schedule;
   for (int round = 0; round < kRounds / 20; ++round) {
      const Handle gate = Handle::ManualReset();
      const Handle other = Handle::AutoReset();
      const HANDLE both[] = {other, gate};
      std::vector<std::unique_ptr<Waiter>> waiters;
      for (int i = 0; i < 2; ++i) {
         waiters.push_back(std::make_unique<Waiter>([&] { return WaitForSingleObject(gate, INFINITE); }));
         waiters.push_back(
            std::make_unique<Waiter>([&] { return WaitForMultipleObjects(2, both, false, kFarAway) - 1; }));
         waiters.push_back(
            std::make_unique<Waiter>([&] { return WaitForMultipleObjects(1, both + 1, true, kFarAway); }));
      }
      SetEvent(gate);
      for (const auto &waiter : waiters) {
         EXPECT_EQ(waiter->Result(), WAIT_OBJECT_0);
      }
   }
}

// The setter is still on its way out when the handle goes: a use after free, if it touched the handle then.
TEST(WaitStress, WhoIsLetThroughMayCloseTheHandleAtOnce) {
   const kit::PerturbedSchedule schedule;
   for (int round = 0; round < kRounds * 2; ++round) {
      const HANDLE event = CreateEvent(nullptr, round % 3 == 0, false, nullptr);
      std::thread setter([event] { SetEvent(event); });
      switch (round % 4) {
      case 0:
         EXPECT_EQ(WaitForSingleObject(event, INFINITE), WAIT_OBJECT_0);
         break;
      case 1:
         EXPECT_EQ(WaitForSingleObject(event, kFarAway), WAIT_OBJECT_0);
         break;
      case 2:
         EXPECT_EQ(WaitForMultipleObjects(1, &event, false, INFINITE), WAIT_OBJECT_0);
         break;
      default:
         while (WaitForSingleObject(event, 0) != WAIT_OBJECT_0) {
         }
         break;
      }
      CloseHandle(event);
      setter.join();
   }
}

TEST(WaitStress, AThreadsHandleMayBeClosedAtAnyTime) {
   const kit::PerturbedSchedule schedule;
   for (int round = 0; round < kRounds; ++round) {
      const HANDLE thread = _beginthreadex(
         nullptr, 0, [](void *) -> uint32_t { return 0; }, nullptr, 0, nullptr);
      ASSERT_NE(thread, nullptr);
      if (round % 3 == 1) {
         EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
      } else if (round % 3 == 2) {
         EXPECT_EQ(WaitForMultipleObjects(1, &thread, false, kFarAway), WAIT_OBJECT_0);
      }
      CloseHandle(thread);
   }
}

TEST(WaitStress, AThreadMayBeTerminatedAtAnyTime) {
   const kit::PerturbedSchedule schedule;
   const Handle event = Handle::AutoReset();
   HANDLE shared = event;
   for (int round = 0; round < kRounds / 2; ++round) {
      const Handle thread(_beginthreadex(
         nullptr, 0,
         [](void *argument) -> uint32_t {
            const HANDLE mine = *static_cast<HANDLE *>(argument);
            WaitForMultipleObjects(1, &mine, false, INFINITE);
            return WaitForSingleObject(mine, INFINITE);
         },
         &shared, 0, nullptr));
      if (round % 2 == 1) {
         SetEvent(event);
      }
      (void)TerminateThread(thread);
      EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
      EXPECT_FALSE(TerminateThread(thread));
   }
   SetEvent(event);
   EXPECT_EQ(WaitForSingleObject(event, INFINITE), WAIT_OBJECT_0) << "nobody of the ended threads takes it";
}

} // namespace
