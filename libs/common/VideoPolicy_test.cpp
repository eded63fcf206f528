#include "libs/common/VideoPolicy.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

constexpr uint32_t kMost = 0xFFFFFFFFu;

TEST(VideoPolicy, DimensionFollowsClientThenDefaultThenCeiling) {
   struct Case {
      uint32_t client, max, fallback, selected;
   };
   const Case cases[] = {
      {640, 0, 0, 640},     // the client's wish, no ceiling
      {1000, 640, 0, 640},  // under the ceiling
      {32, 0, 0, 32},       // the smallest wish
      {31, 0, 0, 320},      // no wish
      {0, 0, 0, 320},       // the built-in size
      {0, 800, 800, 800},   // a default that is not below the ceiling
      {0, 800, 801, 800},   //
      {0, 800, 799, 799},   //
      {0, 800, 0, 320},     //
      {0, 320, 0, 320},     // the built-in size at the ceiling is the ceiling
      {0, 100, 0, 100},     // and above it
      {0, 0, 16, kMost},    // a default that is no size
      {0, 0, 31, kMost},    //
      {0, 0, 32, 32},       //
      {31, 30, 100, 30},    // a ceiling below even a wish that does not count
      {31, 31, 100, 31},    //
      {0, 1, 0, 1},         //
      {kMost, 0, 0, kMost}, //
      {0, kMost, kMost, kMost},
   };
   for (const Case &c : cases) {
      EXPECT_EQ(SelectDimension(c.client, c.max, c.fallback, kBuiltInWidth), c.selected)
         << c.client << " " << c.max << " " << c.fallback;
   }
   EXPECT_EQ(SelectDimension(0, 0, 0, kBuiltInHeight), 240u);
}

TEST(VideoPolicy, DimensionNeverExceedsTheCeilingAndNeverIgnoresAWishBelowIt) {
   const uint32_t values[] = {0, 1, 16, 31, 32, 33, 240, 319, 320, 321, 640, 800, 0x7FFFFFFF, kMost};
   for (const uint32_t client : values) {
      for (const uint32_t max : values) {
         for (const uint32_t fallback : values) {
            const uint32_t selected = SelectDimension(client, max, fallback, kBuiltInWidth);
            if (max != 0) {
               EXPECT_LE(selected, max);
            }
            if (client >= 32 && (max == 0 || client <= max)) {
               EXPECT_EQ(selected, client);
            }
         }
      }
   }
}

TEST(VideoPolicy, RoundsDownTo16OrTo8WithH264) {
   EXPECT_EQ(RoundDimension(1000, false), 992u);
   EXPECT_EQ(RoundDimension(1000, true), 1000u);
   EXPECT_EQ(RoundDimension(1007, true), 1000u);
   EXPECT_EQ(RoundDimension(15, false), 0u);
   EXPECT_EQ(RoundDimension(kMost, false), 0xFFFFFFF0u) << "kept as such";
   EXPECT_EQ(RoundDimension(kMost, true), 0xFFFFFFF8u);
}

TEST(VideoPolicy, FrameRateOverItsWholeSpace) {
   struct Case {
      uint32_t policy, client, selected;
   };
   const Case cases[] = {{0, 60, 30},  {10, 0, 1},   {20, 0, 15},   {20, 20, 20}, {30, 30, 30},
                         {29, 30, 29}, {31, 60, 30}, {14, 0, 1},    {15, 0, 15},  {0, 0, 15},
                         {1, 0, 1},    {1, 60, 1},   {kMost, 1, 1}, {10, 15, 10}};
   for (const Case &c : cases) {
      EXPECT_EQ(SelectFrameRate(c.policy, c.client), c.selected) << c.policy << " " << c.client;
   }
   for (uint32_t policy = 0; policy < 40; ++policy) {
      const uint32_t cap = policy >= 1 && policy <= 29 ? policy : 30;
      for (uint32_t client = 1; client < 40; ++client) {
         EXPECT_EQ(SelectFrameRate(policy, client), std::min(client, cap));
      }
      EXPECT_EQ(SelectFrameRate(policy, 0), cap < 15 ? 1u : 15u);
   }
}

} // namespace
