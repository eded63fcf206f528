#include "lib/mfw/common/coretimerclock.h"

#include <gtest/gtest.h>

namespace CORE {
namespace {

TEST(TimerClock, FollowsTheTickCountAcrossItsWrap) {
   coretimerclock clock(0xFFFFFFF0);
   EXPECT_EQ(clock.Advance(0xFFFFFFF0), 0);
   EXPECT_EQ(clock.Advance(0x10), 0x20);
   EXPECT_EQ(clock.Advance(0x7FFFFFFF + 0x10U), 0x20 + 0x7FFFFFFFLL);
}

TEST(TimerClock, StandsWhenTheTickCountGoesBackAndGoesOnFromThere) {
   coretimerclock clock(1000);
   EXPECT_EQ(clock.Advance(1500), 500);
   EXPECT_EQ(clock.Advance(200), 500);
   EXPECT_EQ(clock.Advance(250), 550);
}

TEST(TimerClock, TrustsTheRestWhenTicksSayLess) {
   coretimerclock clock(10'000);
   EXPECT_EQ(clock.Advance(9'000, 5'000), 5'000);
   EXPECT_EQ(clock.Advance(9'100, 100), 5'100);
   EXPECT_EQ(clock.Advance(9'101, 3), 5'103) << "2 ms less than the rest is a step back";
}

TEST(TimerClock, TrustsTheTicksWhenTheySayMoreOrAsGoodAsTheSame) {
   coretimerclock clock(0);
   EXPECT_EQ(clock.Advance(5'000, 1'000), 5'000);
   EXPECT_EQ(clock.Advance(5'999, 1'000), 5'999) << "rounding";
   EXPECT_EQ(clock.Advance(5'998, 0), 5'999) << "but never back";
}

TEST(TimerClock, KnowsRestsLongerThanHalfTheTickCount) {
   coretimerclock clock(0);
   EXPECT_EQ(clock.Advance(0xFFFFFFFE, 0xFFFFFFFE), 0xFFFFFFFELL);
   EXPECT_EQ(clock.Advance(0xFFFFFFFE + 5, 0x100000005), 0xFFFFFFFELL + 0x100000005LL);
}

} // namespace
} // namespace CORE
