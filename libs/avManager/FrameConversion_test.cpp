#include "libs/avManager/FrameConversion.h"

#include "bench/DescribedFrame.h"
#include "lib/mfw/common/logger.h"
#include "libs/avManager/IntermediateImage.h"
#include "libs/avManager/VideoScaleUtils.h"
#include "tests/kit/GuardedMemory.h"
#include "tests/kit/LogCapture.h"

#include <gtest/gtest.h>
#include <libyuv/planar_functions.h>

#include <cstring>
#include <limits>
#include <utility>
#include <vector>

namespace {

constexpr uint8_t kOld = 0x77;

// A camera's frame of noise whose planes end where the process may touch nothing more.
class NoisyFrame {
public:
   NoisyFrame(uint32_t width, uint32_t height, size_t padding = 0)
       : mLuma(Bytes(width, height, padding))
       , mChroma(Bytes((width + 1) / 2 * 2, (height + 1) / 2, padding)) {
      frame = {mLuma.Data(), mChroma.Data(), width + padding, (width + 1) / 2 * 2 + padding, width, height};
      uint32_t state = 4711;
      for (const kit::GuardedMemory *plane : {&mLuma, &mChroma}) {
         for (uint8_t &byte : *plane) {
            state = state * 1664525 + 1013904223;
            byte = static_cast<uint8_t>(state >> 24);
         }
      }
   }

   BiPlanarFrame frame{};

private:
   // The last row has no padding behind it.
   static size_t Bytes(uint32_t row, uint32_t rows, size_t padding) { return (row + padding) * rows - padding; }

   kit::GuardedMemory mLuma;
   kit::GuardedMemory mChroma;
};

size_t PictureSize(uint32_t width, uint32_t height) {
   return size_t{width} * height * 3 / 2;
}

std::vector<uint8_t> Converted(const BiPlanarFrame &frame, uint32_t width, uint32_t height, int32_t mode) {
   IntermediateImage image;
   EXPECT_TRUE(image.Setup(frame.mWidth, frame.mHeight));
   // Else it might be the memory of the image before, where the same frame's rows stand already.
   const size_t chromaRows = (size_t{frame.mHeight} + 1) / 2;
   std::memset(image.U(), kOld, 2 * chromaRows * static_cast<size_t>(image.ChromaBytesPerRow()));
   const kit::GuardedMemory picture(PictureSize(width, height), kOld);
   EXPECT_TRUE(ConvertFrame(frame, image, {picture.Data(), width, height, mode}));
   EXPECT_TRUE(picture.IsIntactBefore());
   return {picture.begin(), picture.end()};
}

std::vector<uint8_t> Described(const BiPlanarFrame &frame, uint32_t width, uint32_t height, int32_t mode) {
   std::vector<uint8_t> picture(PictureSize(width, height), kOld);
   bench::DescribedFrame(frame.mWidth, frame.mHeight).Convert(frame, {picture.data(), width, height, mode});
   return picture;
}

using Size = std::pair<uint32_t, uint32_t>;

TEST(FrameConversion, SplitsAFrameOfTheRightSizeIntoThreePlanes) {
   const uint8_t luma[] = {1, 2, 3, 4, 99, 5, 6, 7, 8};
   const uint8_t chroma[] = {10, 20, 11, 21};
   IntermediateImage image;
   ASSERT_TRUE(image.Setup(4, 2));
   std::vector<uint8_t> picture(12);
   ASSERT_TRUE(ConvertFrame({luma, chroma, 5, 4, 4, 2}, image, {picture.data(), 4, 2, kScaleLetterbox}));
   EXPECT_EQ(picture, (std::vector<uint8_t>{1, 2, 3, 4, 5, 6, 7, 8, 10, 11, 20, 21}));
}

TEST(FrameConversion, SplitsAFrameOfTheRightSizeWithoutTheImage) {
   const NoisyFrame noisy(4, 2);
   IntermediateImage image;
   ASSERT_TRUE(image.Setup(4, 2));
   std::memset(image.Y(), kOld, 12);
   std::vector<uint8_t> picture(12);
   ASSERT_TRUE(ConvertFrame(noisy.frame, image, {picture.data(), 4, 2, kScaleLetterbox}));
   EXPECT_EQ(std::vector<uint8_t>(image.Y(), image.Y() + 12), std::vector<uint8_t>(12, kOld));
}

TEST(FrameConversion, EqualsTheTwoStepsForSmallFrames) {
   for (const int32_t mode : {kScaleFill, kScaleCrop, kScaleLetterbox, kScaleCenter}) {
      for (uint32_t width = 1; width <= 20; width += 3) {
         for (uint32_t height = 1; height <= 13; ++height) {
            const NoisyFrame noisy(width, height, width % 4);
            for (const auto &[pictureWidth, pictureHeight] : {Size{8, 8}, {16, 4}, {4, 20}, {20, 12}, {12, 4}}) {
               ASSERT_EQ(Converted(noisy.frame, pictureWidth, pictureHeight, mode),
                         Described(noisy.frame, pictureWidth, pictureHeight, mode))
                  << width << "x" << height << " " << pictureWidth << "x" << pictureHeight << " " << mode;
            }
         }
      }
   }
}

TEST(FrameConversion, EqualsTheTwoStepsForCameraSizesOddOnesToo) {
   for (const auto &[width, height] :
        {Size{1280, 720}, {1920, 1080}, {640, 480}, {640, 481}, {1279, 719}, {641, 481}, {353, 289}}) {
      for (const size_t padding : {size_t{0}, size_t{1}, size_t{64}}) {
         const NoisyFrame noisy(width, height, padding);
         for (const auto &[pictureWidth, pictureHeight] : {Size{640, 480}, {1280, 720}, {352, 288}}) {
            EXPECT_EQ(Converted(noisy.frame, pictureWidth, pictureHeight, kScaleLetterbox),
                      Described(noisy.frame, pictureWidth, pictureHeight, kScaleLetterbox))
               << width << "x" << height << " " << pictureWidth << "x" << pictureHeight;
         }
      }
   }
}

TEST(FrameConversion, EqualsTheTwoStepsAtExactlyHalfTheSize) {
   for (const int32_t mode : {kScaleFill, kScaleCrop, kScaleLetterbox}) {
      for (uint32_t width = 4; width <= 160; width += 4) {
         for (uint32_t height = 4; height <= 40; height += 4) {
            const NoisyFrame noisy(2 * width, 2 * height, 3);
            ASSERT_EQ(Converted(noisy.frame, width, height, mode), Described(noisy.frame, width, height, mode))
               << width << "x" << height << " " << mode;
            ASSERT_EQ(Converted(noisy.frame, width, height + 8, mode), Described(noisy.frame, width, height + 8, mode))
               << "bars: " << width << "x" << height << " " << mode;
         }
      }
   }
}

TEST(FrameConversion, SplitsNoChromaRowThatThePictureAtHalfTheSizeDoesNotTake) {
   const NoisyFrame noisy(16, 8);
   const uint8_t *const chroma = noisy.frame.mChroma;
   IntermediateImage image;
   ASSERT_TRUE(image.Setup(16, 8));
   std::memset(image.U(), kOld, 64);
   std::vector<uint8_t> picture(PictureSize(8, 4));
   ASSERT_TRUE(ConvertFrame(noisy.frame, image, {picture.data(), 8, 4, kScaleLetterbox}));
   for (size_t row = 0; row < 4; ++row) {
      for (size_t column = 0; column < 8; ++column) {
         const bool isTaken = row % 2 == 1;
         EXPECT_EQ(image.U()[row * 8 + column], isTaken ? chroma[row * 16 + column * 2] : kOld);
         EXPECT_EQ(image.V()[row * 8 + column], isTaken ? chroma[row * 16 + column * 2 + 1] : kOld);
      }
   }
}

// Their chroma is not at exactly half the size, so that no row of it may be left out.
TEST(FrameConversion, EqualsTheTwoStepsForPicturesOfOddSizeAtHalfTheFramesSize) {
   for (const auto &[width, height] : {Size{33, 20}, {32, 21}, {33, 21}, {5, 3}}) {
      const NoisyFrame noisy(2 * width, 2 * height);
      const BiPlanarFrame &frame = noisy.frame;
      std::vector<uint8_t> u(size_t{width} * height);
      std::vector<uint8_t> v(u.size());
      const auto stride = static_cast<int>(width);
      libyuv::SplitUVPlane(frame.mChroma, static_cast<int>(frame.mChromaStride), u.data(), stride, v.data(), stride,
                           stride, static_cast<int>(height));
      std::vector<uint8_t> expected(PictureSize(width, height), kOld);
      ScaleCopyParams params{};
      params.mScaleMode = kScaleFill;
      params.mSrcY = frame.mLuma;
      params.mSrcU = u.data();
      params.mSrcV = v.data();
      params.mSrcStride = params.mSrcWidth = 2 * stride;
      params.mSrcHeight = 2 * static_cast<int>(height);
      params.mDstBase = expected.data();
      params.mDstStride = params.mDstWidth = stride;
      params.mDstHeight = static_cast<int>(height);
      ASSERT_TRUE(ScaleI420Frame(params, stride));
      EXPECT_EQ(Converted(frame, width, height, kScaleFill), expected) << width << "x" << height;
   }
}

TEST(FrameConversion, CutsAPictureOfOddSizeToItsWholeSamples) {
   for (const auto &[width, height] : {Size{640, 481}, {1279, 719}, {641, 481}, {353, 289}, {641, 480}, {1, 1}}) {
      const NoisyFrame noisy(width, height);
      const size_t pixels = size_t{width} * height;
      std::vector<uint8_t> expected(PictureSize(width, height), kOld); // as are the bytes behind the whole samples
      std::memcpy(expected.data(), noisy.frame.mLuma, pixels);
      for (size_t row = 0; row < height / 2; ++row) {
         for (size_t column = 0; column < width / 2; ++column) {
            const uint8_t *const pair = noisy.frame.mChroma + row * noisy.frame.mChromaStride + column * 2;
            const size_t at = pixels + row * (width / 2) + column;
            expected[at] = pair[0];
            expected[at + pixels / 4] = pair[1];
         }
      }
      EXPECT_TRUE(Converted(noisy.frame, width, height, kScaleLetterbox) == expected) << width << "x" << height;
   }
}

class FrameConversionRefusal : public testing::Test {
protected:
   // Whether nothing came of it but the line.
   bool IsRefused(const BiPlanarFrame &frame, const PictureRequest &picture) {
      const kit::LogCapture log;
      const bool done = ConvertFrame(frame, mImage, picture);
      EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Invalid frame: %ux%u in rows of %zu and %zu bytes, into %ux%u",
                          "ConvertFrame", frame.mWidth, frame.mHeight, frame.mLumaStride, frame.mChromaStride,
                          picture.mWidth, picture.mHeight))
         << log.Dump();
      return !done && mPicture == std::vector<uint8_t>(96, kOld);
   }

   void SetUp() override { ASSERT_TRUE(mImage.Setup(16, 8)); }

   const NoisyFrame mNoisy{16, 8};
   IntermediateImage mImage;
   std::vector<uint8_t> mPicture = std::vector<uint8_t>(96, kOld);
   const PictureRequest mRequest{mPicture.data(), 8, 8, kScaleLetterbox};
};

TEST_F(FrameConversionRefusal, OfPlanesThatHoldNoSuchFrame) {
   BiPlanarFrame frame = mNoisy.frame;
   frame.mLuma = nullptr;
   EXPECT_TRUE(IsRefused(frame, mRequest));
   frame = mNoisy.frame;
   frame.mChroma = nullptr;
   EXPECT_TRUE(IsRefused(frame, mRequest));
   for (const size_t stride : {size_t{0}, size_t{15}, size_t{1} << 31, std::numeric_limits<size_t>::max()}) {
      frame = mNoisy.frame;
      frame.mLumaStride = stride;
      EXPECT_TRUE(IsRefused(frame, mRequest));
      frame = mNoisy.frame;
      frame.mChromaStride = stride;
      EXPECT_TRUE(IsRefused(frame, mRequest));
   }
}

TEST_F(FrameConversionRefusal, OfAnImageThatIsSetUpForAnotherSize) {
   BiPlanarFrame frame = mNoisy.frame;
   frame.mHeight = 6;
   EXPECT_TRUE(IsRefused(frame, mRequest));
   frame = mNoisy.frame;
   frame.mWidth = 14;
   EXPECT_TRUE(IsRefused(frame, mRequest));
   EXPECT_FALSE(mImage.Setup(0, 0));
   frame.mWidth = frame.mHeight = 0;
   EXPECT_TRUE(IsRefused(frame, mRequest));
}

TEST_F(FrameConversionRefusal, OfARequestForNoPicture) {
   PictureRequest request = mRequest;
   request.mData = nullptr;
   EXPECT_TRUE(IsRefused(mNoisy.frame, request));
   for (const auto &[width, height] : {Size{0, 8}, {8, 0}, {0xFFFFFFFF, 0xFFFFFFFF}, {0x8000, 0x10000}}) {
      request = mRequest;
      request.mWidth = width;
      request.mHeight = height;
      EXPECT_TRUE(IsRefused(mNoisy.frame, request));
   }
}

TEST_F(FrameConversionRefusal, OfAnUnknownModeButOnlyWhenItMatters) {
   const kit::LogCapture log;
   EXPECT_FALSE(ConvertFrame(mNoisy.frame, mImage, {mPicture.data(), 8, 8, 4}));
   EXPECT_EQ(mPicture, std::vector<uint8_t>(96, kOld));
   std::vector<uint8_t> same(192);
   EXPECT_TRUE(ConvertFrame(mNoisy.frame, mImage, {same.data(), 16, 8, 4}));
}

} // namespace
