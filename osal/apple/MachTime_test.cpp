#include "osal/apple/MachTime.h"

#include "osal/apple/fakes/Fakes.h"

#include <gtest/gtest.h>

#include <utility>

namespace osal {
namespace {

TEST(MachTimeTest, TicksAreNanosecondsWithoutOverflow) {
   EXPECT_EQ(TicksToNs(0, 125, 3), 0u);
   EXPECT_EQ(TicksToNs(1, 1, 1), 1u);
   EXPECT_EQ(TicksToNs(1, 125, 3), 41u);
   EXPECT_EQ(TicksToNs(2, 125, 3), 83u);
   EXPECT_EQ(TicksToNs(3, 125, 3), 125u);
   // A hundred years at 24 MHz: the product of ticks and 125 alone would not fit.
   constexpr uint64_t kCentury = 24'000'000ull * 3600 * 24 * 36525;
   EXPECT_EQ(TicksToNs(kCentury, 125, 3), 3600ull * 24 * 36525 * 1'000'000'000);
   EXPECT_EQ(TicksToNs(UINT64_MAX, 1, 1), UINT64_MAX);
   EXPECT_EQ(TicksToNs(UINT64_MAX, UINT32_MAX, UINT32_MAX), UINT64_MAX);
}

TEST(MachTimeTest, TheSystemsTicksAreCountedInItsTimeBase) {
   fakes::SetMachTime(24'000'000, 125, 3);
   EXPECT_EQ(MachNowNs(), 1'000'000'000u);
   fakes::SetMachTime(1'000'000'000, 1, 1);
   EXPECT_EQ(MachNowNs(), 1'000'000'000u);
   for (const auto &[numerator, denominator] : {std::pair{0U, 0U}, {0U, 1U}, {1U, 0U}}) {
      fakes::SetMachTime(77, numerator, denominator);
      EXPECT_EQ(MachNowNs(), 77u) << "of a time base that can't be read";
   }
}

} // namespace
} // namespace osal
