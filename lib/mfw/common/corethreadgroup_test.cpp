#include "lib/mfw/common/corethreadgroup.h"

#include "lib/mfw/common/logger.h"
#include "lib/mfw/common/threadWrapper.h"
#include "tests/kit/LogCapture.h"
#include "tests/kit/ManualClock.h"
#include "tests/kit/PerturbedSchedule.h"

#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace CORE {
namespace {

HANDLE Event() {
   return CreateEvent(nullptr, true, false, nullptr);
}

TEST(ThreadGroup, WaitsForThreadsThatEnd) {
   corethreadgroup group("group");
   const HANDLE first = Event();
   const HANDLE second = Event();
   group.Add(7, first);
   group.Add(3, second);
   EXPECT_EQ(group.Size(), 2U);
   SetEvent(first);
   SetEvent(second);
   group.Wait(INFINITE); // and closes both
   EXPECT_EQ(group.Size(), 0U);
}

TEST(ThreadGroup, WithoutThreadsIsNotWaitedFor) {
   corethreadgroup group;
   EXPECT_EQ(group.Name(), nullptr);
   group.Wait(INFINITE);
}

TEST(ThreadGroup, WaitsOnceForLessThanASecond) {
   kit::ManualClock clock;
   clock.SetJumping(true);
   kit::LogCapture log;
   corethreadgroup group;
   group.Add(1, Event());
   const uint64_t before = clock.monotonicNs();
   group.Wait(500);
   EXPECT_EQ(clock.monotonicNs() - before, 500'000'000U);
   EXPECT_EQ(group.Size(), 1U);
   EXPECT_TRUE(log.Lines().empty()) << log.Dump();
}

TEST(ThreadGroup, WaitsInRoundsOfASecondUntilTheTimeIsOver) {
   kit::ManualClock clock;
   clock.SetJumping(true);
   corethreadgroup group;
   group.Add(1, Event());
   for (const uint32_t ms : {0U, 1U, 999U, 1000U, 1001U, 2500U, 7000U}) {
      const uint64_t before = clock.monotonicNs();
      group.Wait(ms);
      EXPECT_EQ(clock.monotonicNs() - before, ms * uint64_t{1'000'000});
   }
}

TEST(ThreadGroup, IsNotStretchedByAWallClockThatIsSetBack) {
   kit::ManualClock clock;
   corethreadgroup group;
   group.Add(1, Event());
   std::thread waiter([&] { group.Wait(1500); });
   clock.AwaitSleepers(1);
   clock.SetWallUs(0);
   clock.AdvanceMs(1000);
   clock.AwaitSleepers(1);
   clock.AdvanceMs(500);
   waiter.join();
}

TEST(ThreadGroup, SaysWhomItWaitsForAfterTwoSeconds) {
   kit::ManualClock clock;
   clock.SetJumping(true);
   kit::LogCapture log;
   corethreadgroup group;
   group.Add(12, Event());
   group.Add(5, Event());
   group.Wait(2000);
   EXPECT_TRUE(log.Lines().empty()) << log.Dump();
   group.Wait(10000);
   EXPECT_EQ(log.Count(logger::TRACE, "corethreadgroup::wait threadIds:%s", " 5 12"), 1) << log.Dump();
   EXPECT_EQ(log.Count(logger::TRACE, "corethreadgroup::wait done"), 1) << log.Dump();
}

TEST(ThreadGroup, SaysSoAgainWhenTheirNumberHasChanged) {
   kit::ManualClock clock;
   kit::LogCapture log;
   corethreadgroup group;
   const HANDLE lowest = Event();
   group.Add(5, lowest);
   group.Add(12, Event());
   std::thread waiter([&] { group.Wait(5000); });
   for (int second = 0; second < 3; ++second) {
      clock.AwaitSleepers(1);
      clock.AdvanceMs(1000);
   }
   clock.AwaitSleepers(1); // the round at 3000 has logged
   SetEvent(lowest);
   while (group.Size() != 1) {
      std::this_thread::yield();
   }
   for (int second = 3; second < 5; ++second) {
      clock.AwaitSleepers(1);
      clock.AdvanceMs(1000);
   }
   waiter.join();
   EXPECT_TRUE(log.Saw(logger::TRACE, "corethreadgroup::wait threadIds:%s", " 5 12")) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::TRACE, "corethreadgroup::wait threadIds:%s", " 12")) << log.Dump();
   EXPECT_EQ(log.Lines().size(), 3U) << log.Dump();
}

TEST(ThreadGroup, KeepsAThreadWhoseIdHasBeenGivenAnotherHandle) {
   kit::ManualClock clock;
   corethreadgroup group;
   const HANDLE former = Event();
   group.Add(1, former);
   std::thread waiter([&] { group.Wait(999); });
   clock.AwaitSleepers(1);
   group.Add(1, Event());
   SetEvent(former);
   while (clock.Sleepers() != 1 || clock.NextDeadlineNs() == 0) {
      std::this_thread::yield();
   }
   clock.AdvanceMs(5000);
   waiter.join();
   EXPECT_EQ(group.Size(), 1U);
   CloseHandle(former); // its owner's again
}

TEST(ThreadGroup, ForgetsABadHandle) {
   corethreadgroup group;
   group.Add(1, nullptr);
   group.Wait(INFINITE);
   EXPECT_EQ(group.Size(), 0U);
}

TEST(ThreadGroup, RemovesTheCallingThreadAlone) {
   corethreadgroup group;
   const HANDLE own = Event();
   const HANDLE other = Event();
   group.Add(GetCurrentThreadId(), own);
   group.Add(GetCurrentThreadId() + 1, other);
   group.Remove(false);
   EXPECT_EQ(group.Size(), 1U);
   SetEvent(own); // still there
   CloseHandle(own);
   group.Remove(true);
   EXPECT_EQ(group.Size(), 1U) << "a thread that is not registered removes nothing";
}

TEST(ThreadGroup, IsNotWaitedForWhileTheProcessIsExiting) {
   corethreadgroup group;
   group.Add(1, Event());
   coreExiting = true;
   group.Wait(INFINITE);
   coreExiting = false;
   EXPECT_EQ(group.Size(), 1U);
}

TEST(ThreadGroup, TracksEachThreadOfARunnable) {
   corethreadgroup group("group");
   struct Job {
      HANDLE go = Event();
      std::atomic<int> running{0};
   } job;
   auto *const run = new corerun(
      nullptr,
      [](void *argument) {
         auto &self = *static_cast<Job *>(argument);
         ++self.running;
         WaitForSingleObject(self.go, INFINITE);
      },
      &job, nullptr, &group, 3);
   ASSERT_TRUE(run->Start());
   ASSERT_TRUE(run->Start());
   EXPECT_EQ(group.Size(), 2U);
   EXPECT_EQ(run->ThreadId(), 0U) << "a thread in a group is the group's";
   SetEvent(job.go);
   group.Wait(INFINITE);
   EXPECT_EQ(group.Size(), 0U);
   EXPECT_EQ(job.running.load(), 2);
   run->Release();
   while (group.GetRefCount() != 1) { // a thread gives its runnable back after it has left the group
      std::this_thread::yield();
   }
   CloseHandle(job.go);
}

// A thread closes its own handle when it leaves the group; without shared handles the waiters' would be gone.
TEST(ThreadGroup, IsWaitedForByManyWhileThreadsComeAndGo) {
   const kit::PerturbedSchedule schedule;
   corethreadgroup group("group");
   std::atomic<int> runs{0};
   auto *const run = new corerun(
      nullptr, [](void *argument) { ++*static_cast<std::atomic<int> *>(argument); }, &runs, nullptr, &group, 3);
   std::vector<std::thread> threads;
   for (int i = 0; i < 2; ++i) {
      threads.emplace_back([&] {
         for (int n = 0; n < 100; ++n) {
            EXPECT_TRUE(run->Start());
         }
      });
      threads.emplace_back([&] {
         for (int n = 0; n < 100; ++n) {
            group.Wait(INFINITE);
         }
      });
   }
   for (std::thread &thread : threads) {
      thread.join();
   }
   group.Wait(INFINITE);
   EXPECT_EQ(group.Size(), 0U);
   run->Release();
   while (group.GetRefCount() != 1) {
      std::this_thread::yield();
   }
   EXPECT_EQ(runs.load(), 200);
}

TEST(AllThreadsGroup, SaysWhetherItExists) {
   static_cast<void>(allThreadsGroup());
   EXPECT_TRUE(corerunnable_allThreadsGroup::Exists());
   { const corerunnable_allThreadsGroup another; }
   EXPECT_FALSE(corerunnable_allThreadsGroup::Exists());
}

} // namespace
} // namespace CORE
