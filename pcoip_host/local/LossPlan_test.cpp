#include "pcoip_host/local/LossPlan.h"

#include <gtest/gtest.h>

namespace pcoip_host {
namespace {

uint32_t LostOf(const LossPlan &plan, uint32_t count) {
   uint32_t lost = 0;
   for (uint32_t number = 0; number < count; ++number) {
      lost += plan.IsLost(number) ? 1 : 0;
   }
   return lost;
}

TEST(LossPlan, LosesTheShareThatWasAskedFor) {
   EXPECT_EQ(LostOf(LossPlan(1, "video", 0), 10'000), 0U);
   EXPECT_EQ(LostOf(LossPlan(1, "video", LossPlan::kAll), 10'000), 10'000U);
   for (uint64_t seed = 1; seed <= 20; ++seed) {
      // 10 % of 100 000, give or take 5 standard deviations.
      EXPECT_NEAR(LostOf(LossPlan(seed, "video", 100'000), 100'000), 10'000, 475) << "seed " << seed;
   }
}

TEST(LossPlan, IsTheSameOnEveryMachineAndInEveryVersion) {
   const LossPlan plan(7, "video", 500'000);
   uint64_t lost = 0;
   for (uint64_t number = 0; number < 64; ++number) {
      lost |= uint64_t{plan.IsLost(number)} << number;
   }
   EXPECT_EQ(lost, 0xEF8F573CE95EBE1D);
}

TEST(LossPlan, RepeatsWithTheSeedAndDiffersWithSeedAndChannel) {
   const LossPlan plan(7, "video", 500'000);
   const LossPlan same(7, "video", 500'000);
   const LossPlan seed(8, "video", 500'000);
   const LossPlan channel(7, "audio", 500'000);
   uint32_t differsBySeed = 0;
   uint32_t differsByChannel = 0;
   for (uint32_t number = 0; number < 1000; ++number) {
      EXPECT_EQ(plan.IsLost(number), same.IsLost(number));
      differsBySeed += plan.IsLost(number) != seed.IsLost(number) ? 1 : 0;
      differsByChannel += plan.IsLost(number) != channel.IsLost(number) ? 1 : 0;
   }
   EXPECT_NEAR(differsBySeed, 500, 80);
   EXPECT_NEAR(differsByChannel, 500, 80);
}

} // namespace
} // namespace pcoip_host
