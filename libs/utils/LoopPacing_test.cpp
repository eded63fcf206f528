#include "libs/utils/LoopPacing.h"

#include <gtest/gtest.h>

namespace {

TEST(LoopPacing, AnIntervalAboveZeroIsTheWait) {
   LoopPacing pacing(1000);
   EXPECT_EQ(pacing.NextWait(1000), 1000);
   EXPECT_EQ(pacing.NextWait(20), 20);
   EXPECT_EQ(pacing.NextWait(LoopPacing::kForever), LoopPacing::kForever);
}

TEST(LoopPacing, AnIntervalOfZeroOrLessIsTheWaitBefore) {
   LoopPacing pacing(0);
   EXPECT_EQ(pacing.NextWait(0), 0);
   EXPECT_EQ(pacing.NextWait(30), 30);
   EXPECT_EQ(pacing.NextWait(0), 30);
   EXPECT_EQ(pacing.NextWait(-1), 30);
   EXPECT_EQ(LoopPacing(-1).NextWait(-1), -1);
}

TEST(LoopPacing, RequiredFixedRateReadsSecondsAndOnlyEverAddsWhatIsLeftOver) {
   LoopPacing pacing(2);
   EXPECT_EQ(pacing.NextFixedRateWait(2, 0.5), 1500);
   EXPECT_EQ(pacing.NextFixedRateWait(2, 0.5), 3000); // not 1500: the carry is not reduced by the wait
   EXPECT_EQ(pacing.NextFixedRateWait(2, 5.25), 0);   // carry -0.25
   EXPECT_EQ(pacing.NextFixedRateWait(2, 1.7497), 0); // carry 0.0003, rounded down
   EXPECT_EQ(pacing.NextFixedRateWait(LoopPacing::kForever, 1), LoopPacing::kForever);
}

TEST(LoopPacing, TheOrdinaryFormGoesOnFromAFixedRateWait) {
   LoopPacing pacing(2);
   EXPECT_EQ(pacing.NextFixedRateWait(2, 0.5), 1500);
   EXPECT_EQ(pacing.NextWait(0), 1500);
}

TEST(LoopPacing, AWaitIsCutTo32BitsSoThatMinusOneHasNoLimit) {
   EXPECT_EQ(LoopPacing::ToTimeout(0), 0U);
   EXPECT_EQ(LoopPacing::ToTimeout(1000.9), 1000U);
   EXPECT_EQ(LoopPacing::ToTimeout(2147483647.0), 2147483647U);
   EXPECT_EQ(LoopPacing::ToTimeout(-1), 0xFFFFFFFFU);
   EXPECT_EQ(LoopPacing::ToTimeout(LoopPacing::kForever), 0xFFFFFFFFU);
   EXPECT_EQ(LoopPacing::ToTimeout(4294967296.0 + 5), 5U);
   EXPECT_EQ(LoopPacing::ToTimeout(1e300), 0xFFFFFFFFU);
}

} // namespace
