#include "libs/avManager/IntermediateImage.h"

#include <gtest/gtest.h>

#include <cstring>
#include <tuple>

namespace {

void ExpectEmpty(const IntermediateImage &image) {
   EXPECT_EQ(image.Width(), 0U);
   EXPECT_EQ(image.Height(), 0U);
   EXPECT_EQ(image.BytesPerRow(), 0U);
   EXPECT_EQ(image.FrameSize(), 0U);
   EXPECT_EQ(image.Y(), nullptr);
}

TEST(IntermediateImage, HasThePlanesOfAnEvenSizeBackToBack) {
   IntermediateImage image;
   ASSERT_TRUE(image.Setup(1280, 720));
   EXPECT_EQ(image.Width(), 1280U);
   EXPECT_EQ(image.Height(), 720U);
   EXPECT_EQ(image.BytesPerRow(), 1280U);
   EXPECT_EQ(image.ChromaBytesPerRow(), 640);
   EXPECT_EQ(image.FrameSize(), 1382400U);
   EXPECT_EQ(image.U() - image.Y(), 921600);
   EXPECT_EQ(image.V() - image.U(), 230400);
}

TEST(IntermediateImage, RoundsThePlanesOfAnOddSizeUpAndNamesThePlainSize) {
   for (const auto &[width, height, frameSize, chroma] : {std::tuple{640U, 481U, 461760U, 320 * 241},
                                                          {1279U, 719U, 1379401U, 640 * 360},
                                                          {641U, 481U, 462481U, 321 * 241},
                                                          {353U, 289U, 153025U, 177 * 145},
                                                          {1U, 1U, 1U, 1}}) {
      IntermediateImage image;
      ASSERT_TRUE(image.Setup(width, height));
      EXPECT_EQ(image.FrameSize(), frameSize);
      EXPECT_EQ(image.V() - image.U(), chroma);
      std::memset(image.V(), 1, static_cast<size_t>(chroma)); // the sanitizer watches
   }
}

TEST(IntermediateImage, IsEmptyAfterASizeThatItCannotHold) {
   IntermediateImage image;
   ExpectEmpty(image);
   for (const auto &[width, height] :
        {std::pair{0U, 480U}, {640U, 0U}, {0xFFFFFFFFU, 0xFFFFFFFFU}, {0x10000U, 0x10000U}, {0x80000000U, 1U}}) {
      ASSERT_TRUE(image.Setup(4, 4));
      EXPECT_FALSE(image.Setup(width, height));
      ExpectEmpty(image);
   }
}

} // namespace
