#include "libs/avManager/FramePacing.h"

#include <array>
#include <cmath>
#include <gtest/gtest.h>

namespace {

TEST(FramePacing, KeepsAllUnlessTheCameraIsTooFast) {
   EXPECT_EQ(KeepRatio(30, 30), 1.0F);
   EXPECT_EQ(KeepRatio(0, 30), 1.0F);
   EXPECT_EQ(KeepRatio(29, 30), 1.0F);
   EXPECT_EQ(KeepRatio(30, 15), 0.5F);
   EXPECT_EQ(KeepRatio(30, 0), 0.0F);
   EXPECT_EQ(KeepRatio(UINT32_MAX, UINT32_MAX), 1.0F);
}

TEST(FramePacing, TakesTheNearestShare) {
   EXPECT_EQ(DropParametersFor(KeepRatio(30, 15)), (DropParameters{2, 1}));
   EXPECT_EQ(DropParametersFor(KeepRatio(30, 25)), (DropParameters{6, 5}));
   EXPECT_EQ(DropParametersFor(KeepRatio(30, 7)), (DropParameters{6, 1}));
   EXPECT_EQ(DropParametersFor(KeepRatio(30, 30)), (DropParameters{1, 1}));
}

TEST(FramePacing, RequiredLimitsAreInclusive) {
   EXPECT_EQ(DropParametersFor(0.0F), (DropParameters{6, 1}));
   EXPECT_EQ(DropParametersFor(0.25F), (DropParameters{6, 1}));
   EXPECT_EQ(DropParametersFor(std::nextafter(0.25F, 1.0F)), (DropParameters{3, 1}));
   EXPECT_EQ(DropParametersFor(0.75F), (DropParameters{3, 2}));
   EXPECT_EQ(DropParametersFor(std::nextafter(0.75F, 1.0F)), (DropParameters{6, 5}));
   EXPECT_EQ(DropParametersFor(1.0F), (DropParameters{1, 1}));
}

// The 32-bit neighbours of 0.416, 0.583 and 0.916: which side each lies on is decided in 64 bits.
TEST(FramePacing, RequiredTheOtherLimitsAreComparedIn64Bits) {
   const auto at = [](float limit, double exact, DropParameters below, DropParameters above) {
      EXPECT_EQ(DropParametersFor(limit), static_cast<double>(limit) <= exact ? below : above) << limit;
   };
   at(0.416F, 0.416, {3, 1}, {2, 1});
   at(0.583F, 0.583, {2, 1}, {3, 2});
   at(0.916F, 0.916, {6, 5}, {1, 1});
   EXPECT_EQ(DropParametersFor(0.4159F), (DropParameters{3, 1}));
   EXPECT_EQ(DropParametersFor(0.4161F), (DropParameters{2, 1}));
   EXPECT_EQ(DropParametersFor(0.5829F), (DropParameters{2, 1}));
   EXPECT_EQ(DropParametersFor(0.5831F), (DropParameters{3, 2}));
   EXPECT_EQ(DropParametersFor(0.9159F), (DropParameters{6, 5}));
   EXPECT_EQ(DropParametersFor(0.9161F), (DropParameters{1, 1}));
}

// Every pair of camera rate and target: the share kept is the nearest of the six to what is wanted, apart from the
// rounding of the limits.
TEST(FramePacing, IsNearestForEveryPairOfRates) {
   constexpr std::array<double, 6> kShares{1.0 / 6, 1.0 / 3, 1.0 / 2, 2.0 / 3, 5.0 / 6, 1.0};
   for (uint32_t camera = 1; camera <= 60; ++camera) {
      for (uint32_t target = 1; target <= 60; ++target) {
         const double wanted = std::min(1.0, static_cast<double>(target) / camera);
         const DropParameters chosen = DropParametersFor(KeepRatio(camera, target));
         const double share = static_cast<double>(chosen.keep) / chosen.group;
         double best = 1;
         for (const double candidate : kShares) {
            best = std::min(best, std::abs(candidate - wanted));
         }
         EXPECT_LE(std::abs(share - wanted), best + 0.002) << camera << " -> " << target;
      }
   }
}

TEST(FramePacing, ChecksTheSizeOfARequest) {
   EXPECT_TRUE(IsCaptureSize(640, 480));
   EXPECT_TRUE(IsCaptureSize(8000, 5120));
   EXPECT_TRUE(IsCaptureSize(4, 4));
   EXPECT_FALSE(IsCaptureSize(642, 480));
   EXPECT_FALSE(IsCaptureSize(640, 482));
   EXPECT_FALSE(IsCaptureSize(8004, 5120));
   EXPECT_FALSE(IsCaptureSize(8000, 5124));
   EXPECT_FALSE(IsCaptureSize(0, 480));
   EXPECT_FALSE(IsCaptureSize(640, 0));
}

} // namespace
