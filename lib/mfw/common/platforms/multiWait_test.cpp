#include "lib/mfw/common/platforms/multiWait.h"

#include "lib/mfw/common/platforms/waitTestKit.h"
#include "tests/kit/ManualClock.h"

#include <array>
#include <gtest/gtest.h>
#include <memory>
#include <vector>

using platforms::PthreadCondition;
using platforms::WindowsEvent;
using waittest::EndableThread;
using waittest::GapClock;
using waittest::Handle;
using waittest::Waiter;

namespace {

template <size_t Count>
uint32_t WaitForAny(const std::array<HANDLE, Count> &handles, uint32_t ms) {
   return WaitForMultipleObjects(Count, handles.data(), false, ms);
}

TEST(MultiWait, GivesTheLowestIndexThatIsSetAndConsumesNothing) {
   const Handle clear = Handle::AutoReset();
   const Handle set = Handle::AutoReset(true);
   const Handle alsoSet = Handle::ManualReset(true);
   const std::array<HANDLE, 3> handles{clear, set, alsoSet};
   for (const uint32_t ms : {0U, 1U, INFINITE}) {
      EXPECT_EQ(WaitForAny(handles, ms), 1U);
   }
   EXPECT_TRUE(set.IsSet());
   ResetEvent(set);
   EXPECT_EQ(WaitForAny(handles, 0), 2U);
   ResetEvent(alsoSet);
   EXPECT_EQ(WaitForAny(handles, 0), WAIT_TIMEOUT);
}

TEST(MultiWait, IsOverAfterItsTime) {
   kit::ManualClock clock;
   const Handle first = Handle::AutoReset();
   const Handle second = Handle::AutoReset();
   Waiter waiter([&] { return WaitForAny<2>({first, second}, 50); });
   clock.AwaitSleepers(1);
   clock.AdvanceMs(49);
   EXPECT_FALSE(waiter.Done());
   clock.AdvanceMs(1);
   EXPECT_EQ(waiter.Result(), WAIT_TIMEOUT);
   SetEvent(first); // finds nobody on its list any more
   EXPECT_TRUE(first.IsSet());
}

TEST(MultiWait, AnyHandleOfEachKindEndsIt) {
   for (uint32_t which = 0; which < 3; ++which) {
      kit::ManualClock clock;
      const Handle autoReset = Handle::AutoReset();
      const Handle manualReset = Handle::ManualReset();
      EndableThread thread;
      clock.AwaitSleepers(1);
      Waiter waiter([&] { return WaitForAny<3>({autoReset, manualReset, thread}, INFINITE); });
      clock.AwaitSleepers(2);
      if (which == 2) {
         thread.End();
      } else {
         SetEvent(which == 0 ? static_cast<HANDLE>(autoReset) : manualReset);
      }
      EXPECT_EQ(waiter.Result(), which);
   }
}

TEST(MultiWait, OneSignalOfAnAutoResetEventWakesOneOfTwoAndTheOtherFindsItAtItsNextLook) {
   kit::ManualClock clock;
   const Handle event = Handle::AutoReset();
   const auto wait = [&] {
      return WaitForAny<1>({event}, 50);
   };
   Waiter first(wait);
   Waiter second(wait);
   clock.AwaitSleepers(2);
   SetEvent(event);
   while (!first.Done() && !second.Done()) {
      std::this_thread::yield();
   }
   EXPECT_TRUE(event.IsSet());
   EXPECT_EQ(clock.Sleepers(), 1U) << "only one is woken";
   clock.AdvanceMs(50);
   EXPECT_EQ(first.Result() + second.Result(), WAIT_OBJECT_0 + WAIT_TIMEOUT);
   EXPECT_EQ(wait(), WAIT_OBJECT_0);
}

TEST(MultiWait, AManualResetEventAndTheEndOfAThreadWakeAll) {
   kit::ManualClock clock;
   const Handle event = Handle::ManualReset();
   EndableThread thread;
   Waiter forEvent([&] { return WaitForAny<1>({event}, INFINITE); });
   Waiter forBoth([&] { return WaitForAny<2>({thread, event}, 50); });
   Waiter forThread([&] { return WaitForAny<1>({thread}, INFINITE); });
   Waiter forThreadToo([&] { return WaitForAny<1>({thread}, 50); });
   Waiter forThreadAlone([&] { return WaitForSingleObject(thread, INFINITE); });
   clock.AwaitSleepers(6); // with the thread itself
   SetEvent(event);
   EXPECT_EQ(forEvent.Result(), 0U);
   EXPECT_EQ(forBoth.Result(), 1U);
   thread.End();
   EXPECT_EQ(forThread.Result(), 0U);
   EXPECT_EQ(forThreadToo.Result(), 0U);
   EXPECT_EQ(forThreadAlone.Result(), 0U);
}

// Both would sleep for ever if the look and falling asleep were two steps.
TEST(MultiWait, ASignalBetweenTheLastLookAndTheSleepIsNotLost) {
   for (const bool manual : {false, true}) {
      const Handle event(CreateEvent(nullptr, manual, false, nullptr));
      GapClock clock;
      clock.beforeSleep = [&] {
         SetEvent(event);
      };
      EXPECT_EQ(WaitForAny<1>({event}, INFINITE), WAIT_OBJECT_0);
      EXPECT_TRUE(event.IsSet());
   }
}

// Required: a wake-up whose signal is gone by the time the waiter looks is a time-out, also of an endless wait.
TEST(MultiWait, RequiredAWakeUpThatFindsNothingSetIsATimeOut) {
   const Handle event = Handle::AutoReset();
   GapClock clock;
   clock.beforeSleep = [&] {
      SetEvent(event);
      ResetEvent(event);
   };
   EXPECT_EQ(WaitForAny<1>({event}, INFINITE), WAIT_TIMEOUT);
}

// ---- Who is picked for a signal of an auto-reset event --------------------------------------------------------------

struct Listed {
   explicit Listed(platforms::WindowsHandle &event)
       : ticket(condition.Ticket()) {
      EXPECT_TRUE(event.AddWaiter(&condition));
   }
   bool TakeSignal() {
      const bool signalled = condition.Ticket() != ticket;
      ticket = condition.Ticket();
      return signalled;
   }
   PthreadCondition condition;
   uint32_t ticket;
};

TEST(PickedWaiter, IsOneAtRandom) {
   WindowsEvent event(false, false);
   std::array<std::unique_ptr<Listed>, 3> waiters;
   for (auto &waiter : waiters) {
      waiter = std::make_unique<Listed>(event);
   }
   std::array<int, 3> times{};
   for (int round = 0; round < 300; ++round) {
      event.Set();
      int signalled = 0;
      for (size_t i = 0; i < waiters.size(); ++i) {
         const bool mine = waiters[i]->TakeSignal();
         signalled += mine ? 1 : 0;
         times[i] += mine ? 1 : 0;
      }
      ASSERT_EQ(signalled, 1);
      event.Reset();
   }
   for (size_t i = 0; i < waiters.size(); ++i) {
      EXPECT_GT(times[i], 40);
      event.RemoveWaiter(&waiters[i]->condition, false);
   }
}

struct TwoListed {
   TwoListed() {
      event.Set();
      const bool first = a.TakeSignal();
      EXPECT_NE(first, b.TakeSignal());
      picked = first ? &a : &b;
      other = first ? &b : &a;
   }
   WindowsEvent event{false, false};
   Listed a{event};
   Listed b{event};
   Listed *picked;
   Listed *other;
};

// The other one would sleep on although the event is set and nobody has taken it.
TEST(PickedWaiter, ThatLeavesWithoutUsingTheSignalPassesItOn) {
   TwoListed two;
   two.event.RemoveWaiter(&two.picked->condition, false);
   EXPECT_TRUE(two.other->TakeSignal());
   two.event.RemoveWaiter(&two.other->condition, true);
}

TEST(PickedWaiter, ThatHasUsedTheSignalDoesNotPassItOn) {
   TwoListed two;
   two.event.RemoveWaiter(&two.picked->condition, true);
   EXPECT_FALSE(two.other->TakeSignal());
   two.event.RemoveWaiter(&two.other->condition, false);
}

TEST(PickedWaiter, HasNothingToPassOnOnceTheEventIsClear) {
   TwoListed two;
   two.event.Reset();
   two.event.RemoveWaiter(&two.picked->condition, false);
   EXPECT_FALSE(two.other->TakeSignal());
   two.event.RemoveWaiter(&two.other->condition, false);
}

TEST(PickedWaiter, IsNotDisturbedByAnotherThatLeaves) {
   TwoListed two;
   two.event.RemoveWaiter(&two.other->condition, false);
   EXPECT_FALSE(two.picked->TakeSignal());
   two.event.RemoveWaiter(&two.picked->condition, true);
}

TEST(PickedWaiter, ThatReturnsAnotherHandlePassesTheSignalOn) {
   kit::ManualClock clock;
   const Handle stop = Handle::ManualReset();
   const Handle event = Handle::AutoReset();
   // The first wait is woken by the event, which only it waits for by now, and finds the other handle set before it.
   platforms::WindowsHandle *const both[] = {stop, event};
   auto wait = std::make_unique<platforms::MultiWait>(2U, both);
   SetEvent(event);
   ASSERT_TRUE(ResetEvent(event));
   Listed later(*static_cast<HANDLE>(event));
   SetEvent(event);
   const bool laterWasPicked = later.TakeSignal();
   SetEvent(stop);
   EXPECT_EQ(wait->Wait(osal::Clock::kNoDeadline), 0U);
   wait.reset();
   EXPECT_NE(later.TakeSignal(), laterWasPicked) << "signalled once: at first, or when the first wait left";
   static_cast<HANDLE>(event)->RemoveWaiter(&later.condition, true);
}

// ---- All ------------------------------------------------------------------------------------------------------------

TEST(WaitForAll, TakesEachInOrderWithTheWholeTime) {
   kit::ManualClock clock;
   const Handle first = Handle::AutoReset();
   const Handle second = Handle::AutoReset();
   const std::array<HANDLE, 2> handles{first, second};
   Waiter waiter([&] { return WaitForMultipleObjects(2, handles.data(), true, 50); });
   clock.AwaitSleepers(1);
   clock.AdvanceMs(40);
   SetEvent(first);
   while (clock.NextDeadlineNs() != clock.deadlineAfterMs(50)) {
      std::this_thread::yield(); // until it waits for the second, with 50 milliseconds of its own
   }
   clock.AdvanceMs(40);
   SetEvent(second);
   EXPECT_EQ(waiter.Result(), 0U);
   EXPECT_FALSE(first.IsSet());
   EXPECT_FALSE(second.IsSet());
}

TEST(WaitForAll, TheFirstFailureIsATimeOutAndWhatCameBeforeIsConsumed) {
   const Handle first = Handle::AutoReset(true);
   const Handle clear = Handle::AutoReset();
   const Handle third = Handle::AutoReset(true);
   const std::array<HANDLE, 3> handles{first, clear, third};
   EXPECT_EQ(WaitForMultipleObjects(3, handles.data(), true, 0), WAIT_TIMEOUT);
   EXPECT_FALSE(first.IsSet());
   EXPECT_TRUE(third.IsSet());
}

TEST(WaitForAll, RequiredATimeOfZeroConsumes) {
   const Handle event = Handle::AutoReset(true);
   const HANDLE handle = event;
   EXPECT_EQ(WaitForMultipleObjects(1, &handle, true, 0), WAIT_OBJECT_0);
   EXPECT_FALSE(event.IsSet());
}

// ---- Borders --------------------------------------------------------------------------------------------------------

TEST(MultiWait, OfNoHandles) {
   kit::ManualClock clock;
   clock.SetJumping(true);
   EXPECT_EQ(WaitForMultipleObjects(0, nullptr, true, 50), 0U);
   EXPECT_EQ(WaitForMultipleObjects(0, nullptr, true, INFINITE), 0U);
   EXPECT_EQ(WaitForMultipleObjects(0, nullptr, false, 0), WAIT_TIMEOUT);
   const uint64_t before = clock.monotonicNs();
   EXPECT_EQ(WaitForMultipleObjects(0, nullptr, false, 50), WAIT_TIMEOUT);
   EXPECT_EQ(clock.monotonicNs() - before, 50'000'000U);
   EXPECT_EQ(WaitForMultipleObjects(0, nullptr, false, INFINITE), WAIT_FAILED) << "it could never end";
}

TEST(MultiWait, OfBadHandles) {
   const Handle event = Handle::AutoReset(true);
   const std::array<HANDLE, 2> handles{event, nullptr};
   EXPECT_EQ(WaitForMultipleObjects(2, nullptr, false, INFINITE), WAIT_FAILED);
   EXPECT_EQ(WaitForMultipleObjects(2, nullptr, true, INFINITE), WAIT_FAILED);
   EXPECT_EQ(WaitForMultipleObjects(2, handles.data(), false, INFINITE), WAIT_FAILED);
   EXPECT_EQ(WaitForMultipleObjects(2, handles.data(), true, INFINITE), WAIT_TIMEOUT) << "a wait that failed";
}

TEST(MultiWait, TheSameHandleTwice) {
   kit::ManualClock clock;
   const Handle event = Handle::AutoReset();
   Waiter waiter([&] { return WaitForAny<2>({event, event}, INFINITE); });
   clock.AwaitSleepers(1);
   SetEvent(event);
   EXPECT_EQ(waiter.Result(), 0U);
   EXPECT_EQ(WaitForSingleObject(event, 1), WAIT_OBJECT_0);
}

TEST(MultiWait, OfManyHandles) {
   kit::ManualClock clock;
   std::vector<Handle> events;
   std::vector<HANDLE> handles;
   for (int i = 0; i < 200; ++i) {
      events.push_back(Handle::AutoReset());
      handles.push_back(events.back());
   }
   Waiter waiter([&] { return WaitForMultipleObjects(200, handles.data(), false, INFINITE); });
   clock.AwaitSleepers(1);
   SetEvent(events[199]);
   EXPECT_EQ(waiter.Result(), 199U);
}

} // namespace
