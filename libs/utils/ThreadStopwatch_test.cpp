#include "libs/utils/ThreadStopwatch.h"

#include "tests/kit/ManualClock.h"

#include <gtest/gtest.h>

using Command = ThreadStopwatch::Command;

namespace {

constexpr uint64_t kMs = 1'000'000;

class ThreadStopwatchTest : public testing::Test {
protected:
   kit::ManualClock mClock;
   ThreadStopwatch mWatch;
};

TEST_F(ThreadStopwatchTest, EveryCommandReturnsTheTimeAsItStoodOnEntry) {
   for (const Command command : {Command::Restart, Command::RestartRunning, Command::RestartPaused, Command::Pause,
                                 Command::Resume, Command::Look, Command{6}, Command{-1}}) {
      ThreadStopwatch watch;
      watch.Ticks(Command::RestartRunning);
      mClock.AdvanceMs(7);
      EXPECT_EQ(watch.Ticks(command), 7 * kMs) << static_cast<int>(command);
   }
}

TEST_F(ThreadStopwatchTest, RestartKeepsTheMode) {
   mWatch.Ticks(Command::RestartRunning);
   mClock.AdvanceMs(5);
   mWatch.Ticks(Command::Restart);
   mClock.AdvanceMs(3);
   EXPECT_EQ(mWatch.Ticks(), 3 * kMs);

   mWatch.Ticks(Command::Pause);
   mWatch.Ticks(Command::Restart);
   mClock.AdvanceMs(3);
   EXPECT_EQ(mWatch.Ticks(), 0U);
   mWatch.Ticks(Command::Resume);
   mClock.AdvanceMs(2);
   EXPECT_EQ(mWatch.Ticks(), 2 * kMs);
}

TEST_F(ThreadStopwatchTest, PausedTimeDoesNotCount) {
   mWatch.Ticks(Command::RestartRunning);
   mClock.AdvanceMs(10);
   mWatch.Ticks(Command::Pause);
   mClock.AdvanceMs(100);
   mWatch.Ticks(Command::Pause); // paused already: keeps the first pause
   EXPECT_EQ(mWatch.Ticks(), 10 * kMs);
   mWatch.Ticks(Command::Resume);
   mClock.AdvanceMs(1);
   mWatch.Ticks(Command::Resume); // running already
   EXPECT_EQ(mWatch.Ticks(), 11 * kMs);
}

TEST_F(ThreadStopwatchTest, RestartAndRunAndRestartAndPauseSetTheMode) {
   mWatch.Ticks(Command::RestartPaused);
   mClock.AdvanceMs(4);
   EXPECT_EQ(mWatch.Ticks(Command::RestartRunning), 0U);
   mClock.AdvanceMs(4);
   EXPECT_EQ(mWatch.Ticks(Command::RestartPaused), 4 * kMs);
   mClock.AdvanceMs(4);
   EXPECT_EQ(mWatch.Ticks(), 0U);
}

TEST_F(ThreadStopwatchTest, SecondsAreTicksOverTheTicksOfASecond) {
   mWatch.Ticks(Command::RestartRunning);
   mClock.AdvanceMs(1250);
   EXPECT_EQ(mWatch.Seconds(Command::Pause), 1.25);
   EXPECT_EQ(mWatch.Seconds(), 1.25);
}

} // namespace
