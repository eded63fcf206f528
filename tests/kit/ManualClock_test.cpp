#include "tests/kit/ManualClock.h"

#include "osal/WaitWord.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <thread>

namespace kit {
namespace {

using osal::Clock;
constexpr uint64_t kMs = 1'000'000;

// A thread's wait on a word for as long as the word is 0, and how it ended.
class Waiting {
public:
   explicit Waiting(uint64_t deadlineNs)
       : mThread([this, deadlineNs] {
          while (mWord.load() == 0 && mInTime) {
             mInTime = Clock::current().waitWhile(mWord, 0, deadlineNs);
          }
       }) {}
   void Wake() {
      mWord = 1;
      osal::waitword::wakeAll(mWord);
   }
   bool EndedInTime() {
      mThread.join();
      return mInTime;
   }

private:
   std::atomic<uint32_t> mWord{0};
   bool mInTime = true;
   std::thread mThread;
};

TEST(ManualClock, MovesBothClocksByWhatItIsTold) {
   ManualClock clock;
   EXPECT_EQ(clock.monotonicNs(), 1'000'000'000'000U);
   EXPECT_EQ(clock.wallTime().seconds, 1'794'508'200);
   EXPECT_EQ(clock.wallTime().microseconds, 123'000);
   clock.AdvanceNs(1'500);
   clock.AdvanceNs(500);
   EXPECT_EQ(clock.monotonicNs(), 1'000'000'002'000U);
   EXPECT_EQ(clock.wallTime().microseconds, 123'002);
   clock.sleepNs(2 * kMs);
   EXPECT_EQ(clock.wallTime().microseconds, 125'002);
}

TEST(ManualClock, MakesADeadlineOfMilliseconds) {
   ManualClock clock;
   EXPECT_EQ(clock.deadlineAfterMs(0), clock.monotonicNs());
   EXPECT_EQ(clock.deadlineAfterMs(50), clock.monotonicNs() + 50 * kMs);
   EXPECT_EQ(clock.deadlineAfterMs(0xFFFFFFFE), clock.monotonicNs() + 0xFFFFFFFE * kMs);
   EXPECT_EQ(clock.deadlineAfterMs(0xFFFFFFFF), Clock::kNoDeadline);
}

TEST(ManualClock, EndsTheWaitsThatAreDueAndNoOthers) {
   ManualClock clock;
   Waiting shorter(clock.deadlineAfterMs(10));
   Waiting longer(clock.deadlineAfterMs(20));
   clock.AwaitSleepers(2);
   EXPECT_EQ(clock.NextDeadlineNs(), clock.monotonicNs() + 10 * kMs);
   clock.AdvanceMs(9);
   EXPECT_EQ(clock.NextDeadlineNs(), clock.monotonicNs() + 1 * kMs);
   clock.AdvanceMs(1);
   EXPECT_FALSE(shorter.EndedInTime());
   clock.AwaitSleepers(1);
   EXPECT_EQ(clock.NextDeadlineNs(), clock.monotonicNs() + 10 * kMs);
   longer.Wake();
   EXPECT_TRUE(longer.EndedInTime());
   EXPECT_EQ(clock.Sleepers(), 0U);
   EXPECT_EQ(clock.NextDeadlineNs(), Clock::kNoDeadline);
}

TEST(ManualClock, NoStepEndsAWaitWithoutLimit) {
   ManualClock clock;
   Waiting waiting(Clock::kNoDeadline);
   clock.AwaitSleepers(1);
   clock.AdvanceMs(uint64_t{1} << 40);
   EXPECT_EQ(clock.NextDeadlineNs(), Clock::kNoDeadline);
   waiting.Wake();
   EXPECT_TRUE(waiting.EndedInTime());
}

TEST(ManualClock, AWaitWhoseTimeIsOverDoesNotSleep) {
   ManualClock clock;
   const std::atomic<uint32_t> word{0};
   EXPECT_FALSE(clock.waitWhile(word, 0, clock.monotonicNs()));
   EXPECT_TRUE(clock.waitWhile(word, 1, clock.monotonicNs()));
}

TEST(ManualClock, JumpsToTheEndOfAWaitWhenToldSo) {
   ManualClock clock;
   clock.SetJumping(true);
   const std::atomic<uint32_t> word{0};
   const uint64_t deadline = clock.deadlineAfterMs(50);
   EXPECT_FALSE(clock.waitWhile(word, 0, deadline));
   EXPECT_EQ(clock.monotonicNs(), deadline);
   EXPECT_TRUE(clock.waitWhile(word, 1, clock.deadlineAfterMs(50)));
   EXPECT_EQ(clock.monotonicNs(), deadline);
}

#if defined(__linux__) // elsewhere a wait is no cancellation point
TEST(ManualClock, ForgetsACancelledWait) {
   ManualClock clock;
   pthread_t thread{};
   ASSERT_EQ(pthread_create(
                &thread, nullptr,
                [](void *) -> void * {
                   const std::atomic<uint32_t> word{0};
                   for (;;) {
                      Clock::current().waitWhile(word, 0, Clock::kNoDeadline);
                   }
                },
                nullptr),
             0);
   clock.AwaitSleepers(1);
   EXPECT_EQ(pthread_cancel(thread), 0);
   EXPECT_EQ(pthread_join(thread, nullptr), 0);
   EXPECT_EQ(clock.Sleepers(), 0U);
}
#endif

TEST(ManualClock, GivesWayToTheFormerClock) {
   Clock *const former = &Clock::current();
   {
      ManualClock clock;
      EXPECT_EQ(&Clock::current(), &clock);
   }
   EXPECT_EQ(&Clock::current(), former);
}

} // namespace
} // namespace kit
