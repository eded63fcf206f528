#include "libs/avManager/FrameConversion.h"
#include "libs/avManager/IntermediateImage.h"
#include "libs/avManager/VideoScaleUtils.h"
#include "tests/kit/Faults.h"

#include <gtest/gtest.h>

#include <vector>

namespace {

TEST(FrameAllocation, IsNoneForAFrameOfAnySize) {
   const std::vector<uint8_t> luma(641 * 481);
   const std::vector<uint8_t> chroma(642 * 241);
   std::vector<uint8_t> picture(1280 * 720 * 3 / 2);
   IntermediateImage image;
   for (const uint32_t width : {640U, 641U}) {
      for (const uint32_t height : {480U, 481U}) {
         ASSERT_TRUE(image.Setup(width, height));
         for (const int32_t mode : {kScaleFill, kScaleCrop, kScaleLetterbox, kScaleCenter}) {
            for (const auto &[pictureWidth, pictureHeight] :
                 {std::pair{640U, 480U}, {1280U, 720U}, {353U, 289U}, {641U, 481U}}) {
               const uint64_t before = kit::AllocationCount();
               const bool done = ConvertFrame({luma.data(), chroma.data(), width, 642, width, height}, image,
                                              {picture.data(), pictureWidth, pictureHeight, mode});
               const uint64_t allocations = kit::AllocationCount() - before;
               EXPECT_TRUE(done);
               EXPECT_EQ(allocations, 0U);
            }
         }
      }
   }
}

TEST(FrameAllocation, ThatFailsLeavesTheImageEmpty) {
   IntermediateImage image;
   ASSERT_TRUE(image.Setup(640, 480));
   {
      const kit::FailNth fault(kit::Fault::Allocation, 1);
      EXPECT_FALSE(image.Setup(1280, 720));
      EXPECT_TRUE(fault.Struck());
   }
   EXPECT_EQ(image.Y(), nullptr);
   EXPECT_EQ(image.Width(), 0U);
   EXPECT_EQ(image.FrameSize(), 0U);
   EXPECT_TRUE(image.Setup(1280, 720));
}

} // namespace
