#include "lib/mfw/common/coreshutdown.h"

#include "lib/mfw/common/corethreadgroup.h"
#include "lib/mfw/common/linuxSupport.h"
#include "tests/kit/ManualClock.h"

#include <cstdio>
#include <gtest/gtest.h>
#include <stdexcept>
#include <string>
#include <thread>

namespace CORE {
namespace {

std::vector<std::string> gCalls;

void First() {
   gCalls.emplace_back("first");
}
void Second() {
   gCalls.emplace_back(registerShutdownCallback(First) ? "second, registered" : "second, refused");
}

/// What waitForAllThreads_NotifyWithWait tells.
struct Messages {
   std::vector<corestring> list;

   [[nodiscard]] std::string All() const {
      std::string all;
      for (const corestring &line : list) {
         all.append(line.Text()).append("\n");
      }
      return all;
   }
   [[nodiscard]] int Count(const char *format, ...) const __attribute__((format(printf, 2, 3))) {
      char text[512];
      va_list args;
      va_start(args, format);
      std::vsnprintf(text, sizeof text, format, args);
      va_end(args);
      int count = 0;
      for (const corestring &line : list) {
         count += line == text ? 1 : 0;
      }
      return count;
   }
};

/// A shutdown that goes on until the thread which it waits for is let go.
class LongShutdown {
public:
   explicit LongShutdown(kit::ManualClock &clock) {
      allThreadsGroup().Add(1'000'000, mThread);
      mShutdown = std::thread([] { waitForAllThreads(INFINITE); });
      clock.AwaitSleepers(1);
   }
   /// With the clock jumping, so that its 25 milliseconds pass.
   void End() {
      SetEvent(mThread);
      mShutdown.join();
   }

private:
   const HANDLE mThread = CreateEvent(nullptr, true, false, nullptr);
   std::thread mShutdown;
};

TEST(Shutdown, CallsEachFunctionOnceInOrderAndForgetsIt) {
   kit::ManualClock clock;
   EXPECT_TRUE(registerShutdownCallback(First));
   EXPECT_TRUE(registerShutdownCallback(Second));
   EXPECT_TRUE(registerShutdownCallback(First));
   EXPECT_EQ(waitForAllThreads(0), 0U);
   EXPECT_EQ(gCalls, (std::vector<std::string>{"first", "second, refused", "first"}));
   EXPECT_EQ(waitForAllThreads(0), 0U);
   EXPECT_EQ(gCalls.size(), 3U);
   EXPECT_TRUE(registerShutdownCallback(First)) << "between two shutdowns it is open again";
   waitForAllThreads(0);
   EXPECT_EQ(gCalls.size(), 4U);
}

TEST(Shutdown, RegistersAKnownFunctionOnce) {
   kit::ManualClock clock;
   EXPECT_TRUE(registerShutdownCallbackOnce(First));
   EXPECT_TRUE(registerShutdownCallbackOnce(First));
   waitForAllThreads(0);
   EXPECT_EQ(gCalls.size(), 1U);
}

TEST(Shutdown, RestsFor25MillisecondsAndTellsHowManyThreadsAreLeft) {
   kit::ManualClock clock;
   clock.SetJumping(true);
   allThreadsGroup().Add(1'000'000, CreateEvent(nullptr, true, false, nullptr));
   const uint64_t before = clock.monotonicNs();
   EXPECT_EQ(waitForAllThreads(300), 1U);
   EXPECT_EQ(clock.monotonicNs() - before, 325'000'000U);
}

TEST(Shutdown, DoesNothingWhileTheProcessIsExiting) {
   registerShutdownCallback(First);
   allThreadsGroup().Add(1'000'000, CreateEvent(nullptr, true, false, nullptr));
   coreExiting = true;
   EXPECT_EQ(waitForAllThreads(INFINITE), 0U);
   coreExiting = false;
   EXPECT_TRUE(gCalls.empty());
}

TEST(Shutdown, IsOverWhenAFunctionThrows) {
   kit::ManualClock clock;
   registerShutdownCallback([] { throw std::runtime_error("in the way"); });
   EXPECT_THROW(waitForAllThreads(0), std::runtime_error);
   EXPECT_TRUE(registerShutdownCallback(First));
}

TEST(NotifyWithWait, RegistersAtOnceWhenNoShutdownIsRunning) {
   kit::ManualClock clock;
   Messages messages;
   EXPECT_TRUE(waitForAllThreads_NotifyWithWait(First, 1000, messages.list));
   EXPECT_EQ(messages.list.size(), 2U) << messages.All();
   EXPECT_EQ(messages.Count("Trace: waitForAllThreads_NotifyWithWait: starting wait loop, timeout=%d ms", 1000), 1)
      << messages.All();
   EXPECT_EQ(messages.Count("Trace: waitForAllThreads_NotifyWithWait: registered successfully after %d attempts "
                            "(%d ms), final threadCount=%zu",
                            1, 0, size_t{0}),
             1)
      << messages.All();
   waitForAllThreads(0);
   EXPECT_EQ(gCalls.size(), 1U);
}

TEST(NotifyWithWait, WithoutTimeDoesNotEvenLook) {
   kit::ManualClock clock;
   Messages messages;
   EXPECT_FALSE(waitForAllThreads_NotifyWithWait(First, 0, messages.list));
   EXPECT_EQ(messages.Count("Error: waitForAllThreads_NotifyWithWait: TIMED OUT after %d ms (%d attempts)", 0, 1), 1)
      << messages.All();
}

// The event is made in the middle of the shutdown, so the first look comes at once, and the rounds begin after it.
TEST(NotifyWithWait, RidesOutAShutdownOf12SecondsAndSaysTwiceThatItStillWaits) {
   kit::ManualClock clock;
   LongShutdown shutdown(clock);
   Messages messages;
   bool registered = false;
   std::thread waiter([&] { registered = waitForAllThreads_NotifyWithWait(First, INFINITE, messages.list); });
   for (int second = 0; second < 12; ++second) {
      clock.AwaitSleepers(2);
      clock.AdvanceMs(1000);
   }
   clock.AwaitSleepers(2);
   shutdown.End();
   waiter.join();
   EXPECT_TRUE(registered);
   EXPECT_EQ(messages.Count("Trace: waitForAllThreads_NotifyWithWait: starting wait loop, timeout=%d ms", -1), 1)
      << messages.All();
   EXPECT_EQ(messages.Count("Trace: waitForAllThreads_NotifyWithWait: new shutdown detected, threadCount=%zu, retrying",
                            size_t{1}),
             1)
      << messages.All();
   for (const int round : {1, 2}) {
      EXPECT_EQ(messages.Count("Warn: waitForAllThreads_NotifyWithWait: still waiting, elapsed=%d ms, attempts=%d, "
                               "threadCount=%zu",
                               round * 5000, round + 1, size_t{1}),
                1)
         << messages.All();
   }
   EXPECT_EQ(messages.Count("Trace: waitForAllThreads_NotifyWithWait: registered successfully after %d attempts "
                            "(%d ms), final threadCount=%zu",
                            4, 12025, size_t{0}),
             1)
      << messages.All();
   EXPECT_EQ(messages.list.size(), 5U) << messages.All();
}

TEST(NotifyWithWait, WhoseEventIsThereWaitsBeforeItsFirstLook) {
   kit::ManualClock clock;
   Messages before;
   waitForAllThreads_NotifyWithWait(First, 1, before.list);
   LongShutdown shutdown(clock);
   Messages messages;
   bool registered = true;
   std::thread waiter([&] { registered = waitForAllThreads_NotifyWithWait(Second, 12000, messages.list); });
   for (int second = 0; second < 12; ++second) {
      clock.AwaitSleepers(2);
      clock.AdvanceMs(1000);
   }
   waiter.join();
   shutdown.End();
   EXPECT_FALSE(registered);
   EXPECT_EQ(messages.Count("Warn: waitForAllThreads_NotifyWithWait: still waiting, elapsed=%d ms, attempts=%d, "
                            "threadCount=%zu",
                            10000, 2, size_t{1}),
             1)
      << messages.All();
   EXPECT_EQ(messages.Count("Error: waitForAllThreads_NotifyWithWait: TIMED OUT after %d ms (%d attempts)", 12000, 4),
             1)
      << messages.All();
   EXPECT_EQ(messages.list.size(), 4U) << messages.All();
}

TEST(NotifyWithWait, GivesUpWhenTheProcessIsExitingInTheMiddleOfAShutdown) {
   kit::ManualClock clock;
   LongShutdown shutdown(clock);
   coreExiting = true;
   Messages messages;
   EXPECT_FALSE(waitForAllThreads_NotifyWithWait(First, INFINITE, messages.list));
   coreExiting = false;
   shutdown.End();
}

} // namespace
} // namespace CORE
