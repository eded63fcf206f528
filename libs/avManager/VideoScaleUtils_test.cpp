#include "libs/avManager/VideoScaleUtils.h"

#include "lib/mfw/common/logger.h"
#include "tests/kit/GuardedMemory.h"
#include "tests/kit/LogCapture.h"

#include <gtest/gtest.h>

#include <libyuv/scale.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <string>
#include <tuple>
#include <vector>

namespace {

constexpr int32_t kModes[] = {kScaleFill, kScaleCrop, kScaleLetterbox, kScaleCenter};
constexpr uint8_t kOld = 0x77; ///< what a destination holds before

size_t ImageSize(int32_t stride, int32_t height) {
   const auto luma = static_cast<size_t>(stride) * static_cast<size_t>(height);
   return luma + luma / 4 * 2;
}

// Neighbouring bytes differ, also from one row and plane to the next.
void FillWithPattern(uint8_t *bytes, size_t size) {
   uint32_t state = 12345;
   for (size_t i = 0; i < size; ++i) {
      state = state * 1664525 + 1013904223;
      bytes[i] = static_cast<uint8_t>(state >> 24);
   }
}

ScaleCopyParams Sizes(int32_t mode, int32_t srcWidth, int32_t srcHeight, int32_t dstWidth, int32_t dstHeight) {
   ScaleCopyParams params{};
   params.mScaleMode = mode;
   params.mSrcStride = params.mSrcWidth = srcWidth;
   params.mSrcHeight = srcHeight;
   params.mDstStride = params.mDstWidth = dstWidth;
   params.mDstHeight = dstHeight;
   return params;
}

// A source and a destination of their own, each ending where the process may touch nothing more.
struct Images {
   explicit Images(const ScaleCopyParams &sizes)
       : params(sizes)
       , source(ImageSize(sizes.mSrcStride, sizes.mSrcHeight))
       , destination(ImageSize(sizes.mDstStride, sizes.mDstHeight), kOld) {
      FillWithPattern(source.Data(), source.Size());
      params.mSrcBase = source.Data();
      params.mDstBase = destination.Data();
   }

   [[nodiscard]] std::vector<uint8_t> Result() const { return {destination.begin(), destination.end()}; }

   ScaleCopyParams params;
   kit::GuardedMemory source;
   kit::GuardedMemory destination;
};

std::vector<int32_t> Source(const ScaleCopyParams &p) {
   return {p.mSrcX, p.mSrcYOffset, p.mSrcCopyWidth, p.mSrcCopyHeight};
}
std::vector<int32_t> Destination(const ScaleCopyParams &p) {
   return {p.mDstX, p.mDstYOffset, p.mDstCopyWidth, p.mDstCopyHeight};
}
using Rectangle = std::vector<int32_t>;

TEST(VideoScaleUtils, NamesEachMode) {
   EXPECT_EQ(ScaleModeName(0), "FILL");
   EXPECT_EQ(ScaleModeName(1), "CROP");
   EXPECT_EQ(ScaleModeName(2), "LETTERBOX");
   EXPECT_EQ(ScaleModeName(3), "CENTER");
   EXPECT_EQ(ScaleModeName(4), "INVALID");
   EXPECT_EQ(ScaleModeName(-1), "INVALID");
}

TEST(VideoScaleUtils, LetterboxesAWidePictureBetweenBandsAboveAndBelow) {
   Images images(Sizes(kScaleLetterbox, 1280, 720, 640, 480));
   ScaleCopyParams &p = images.params;
   ASSERT_TRUE(PrepareScaleCopy(p));
   EXPECT_EQ(Source(p), (Rectangle{0, 0, 1280, 720}));
   EXPECT_EQ(Destination(p), (Rectangle{0, 60, 640, 360}));
   EXPECT_EQ(p.mDstSize, 460800U);
   uint8_t *const base = images.destination.Data();
   EXPECT_EQ(p.mDstY - base, 60 * 640);
   EXPECT_EQ(p.mDstU - base, 307200 + 9600);
   EXPECT_EQ(p.mDstV - base, 307200 + 76800 + 9600);
   EXPECT_EQ(p.mSrcY, p.mSrcBase);
   EXPECT_EQ(p.mSrcU, p.mSrcBase + 921600);
   EXPECT_EQ(p.mSrcV, p.mSrcBase + 921600 + 230400);

   ASSERT_TRUE(ScaleI420Frame(p));
   const auto isBlack = [&](int row) {
      const uint8_t *const luma = base + row * 640;
      const uint8_t *const u = base + 307200 + row / 2 * 320;
      const uint8_t *const v = u + 76800;
      return std::all_of(luma, luma + 640, [](uint8_t byte) { return byte == 0; }) &&
             std::all_of(u, u + 320, [](uint8_t byte) { return byte == 128; }) &&
             std::all_of(v, v + 320, [](uint8_t byte) { return byte == 128; });
   };
   for (int row = 0; row < 480; ++row) {
      EXPECT_EQ(isBlack(row), row < 60 || row >= 420) << row;
   }
}

TEST(VideoScaleUtils, LetterboxesANarrowPictureBetweenBandsAtTheSides) {
   ScaleCopyParams p = Sizes(kScaleLetterbox, 640, 480, 1280, 720);
   ASSERT_TRUE(CalculateCopyParameters(p));
   EXPECT_EQ(Source(p), (Rectangle{0, 0, 640, 480}));
   EXPECT_EQ(Destination(p), (Rectangle{160, 0, 960, 720}));
}

TEST(VideoScaleUtils, PaintsNothingWhenALetterboxedPictureHasTheSameAspect) {
   Images images(Sizes(kScaleLetterbox, 1280, 720, 640, 360));
   ASSERT_TRUE(PrepareScaleCopy(images.params));
   EXPECT_EQ(Destination(images.params), (Rectangle{0, 0, 640, 360}));
   EXPECT_EQ(images.Result(), std::vector<uint8_t>(ImageSize(640, 360), kOld));
}

TEST(VideoScaleUtils, CropsTheSourceAndFillsTheDestination) {
   Images images(Sizes(kScaleCrop, 1280, 720, 640, 480));
   ScaleCopyParams &p = images.params;
   ASSERT_TRUE(PrepareScaleCopy(p));
   EXPECT_EQ(Source(p), (Rectangle{160, 0, 960, 720}));
   EXPECT_EQ(Destination(p), (Rectangle{0, 0, 640, 480}));
   EXPECT_EQ(p.mSrcY - p.mSrcBase, 160);
   EXPECT_EQ(p.mSrcU - p.mSrcBase, 921600 + 80);
   EXPECT_EQ(p.mSrcV - p.mSrcBase, 921600 + 230400 + 80);
   EXPECT_EQ(images.Result(), std::vector<uint8_t>(ImageSize(640, 480), kOld));
}

TEST(VideoScaleUtils, CentersByCuttingBothAxes) {
   Images images(Sizes(kScaleCenter, 1280, 720, 640, 480));
   ScaleCopyParams &p = images.params;
   ASSERT_TRUE(PrepareScaleCopy(p));
   EXPECT_EQ(Source(p), (Rectangle{320, 120, 640, 480}));
   EXPECT_EQ(Destination(p), (Rectangle{0, 0, 640, 480}));
   EXPECT_EQ(p.mSrcY - p.mSrcBase, 120 * 1280 + 320);
   EXPECT_EQ(p.mSrcU - p.mSrcBase, 921600 + 60 * 640 + 160);
}

TEST(VideoScaleUtils, CentersByBorderingBothAxes) {
   Images images(Sizes(kScaleCenter, 320, 240, 640, 480));
   ScaleCopyParams &p = images.params;
   ASSERT_TRUE(ScaleI420Frame(p));
   EXPECT_EQ(Source(p), (Rectangle{0, 0, 320, 240}));
   EXPECT_EQ(Destination(p), (Rectangle{160, 120, 320, 240}));
   const uint8_t *const picture = images.destination.Data() + 120 * 640 + 160;
   EXPECT_EQ(std::memcmp(picture, images.source.Data(), 320), 0);
   EXPECT_EQ(picture[-1], 0);
   EXPECT_EQ(picture[320], 0);
}

TEST(VideoScaleUtils, CentersByCuttingOneAxisAndBorderingTheOther) {
   ScaleCopyParams p = Sizes(kScaleCenter, 1280, 240, 640, 480);
   ASSERT_TRUE(CalculateCopyParameters(p));
   EXPECT_EQ(Source(p), (Rectangle{320, 0, 640, 240}));
   EXPECT_EQ(Destination(p), (Rectangle{0, 120, 640, 240}));
}

TEST(VideoScaleUtils, NeverPaintsWhenItFills) {
   for (const auto &[width, height] : {std::pair{8, 8}, {64, 2}, {2, 64}}) {
      Images images(Sizes(kScaleFill, 16, 16, width, height));
      ASSERT_TRUE(PrepareScaleCopy(images.params));
      EXPECT_EQ(Destination(images.params), (Rectangle{0, 0, width, height}));
      EXPECT_EQ(images.Result(), std::vector<uint8_t>(ImageSize(width, height), kOld));
   }
}

TEST(VideoScaleUtils, RefusesAnUnknownModeAndTouchesNothing) {
   for (const int32_t mode : {4, -1, std::numeric_limits<int32_t>::max()}) {
      const kit::LogCapture log;
      Images images(Sizes(mode, 16, 16, 8, 8));
      EXPECT_FALSE(CalculateCopyParameters(images.params));
      EXPECT_FALSE(PrepareScaleCopy(images.params));
      EXPECT_FALSE(ScaleI420Frame(images.params));
      EXPECT_EQ(log.Count(logger::ERROR, "%s - Invalid scale mode %d", "CalculateCopyParameters", mode), 3)
         << log.Dump();
      EXPECT_EQ(images.Result(), std::vector<uint8_t>(ImageSize(8, 8), kOld));
   }
}

TEST(VideoScaleUtils, RefusesASizeBelowOneInEveryMode) {
   for (const int32_t mode : kModes) {
      for (const int32_t size : {0, -1, std::numeric_limits<int32_t>::min()}) {
         for (int which = 0; which < 4; ++which) {
            ScaleCopyParams p =
               Sizes(mode, which == 0 ? size : 8, which == 1 ? size : 8, which == 2 ? size : 8, which == 3 ? size : 8);
            const kit::LogCapture log;
            EXPECT_FALSE(ScaleI420Frame(p));
            EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Invalid size: %dx%d into %dx%d", "CalculateCopyParameters",
                                p.mSrcWidth, p.mSrcHeight, p.mDstWidth, p.mDstHeight))
               << log.Dump();
         }
      }
   }
}

TEST(VideoScaleUtils, FindsRectanglesForTheLargestSizes) {
   constexpr int32_t kHuge = std::numeric_limits<int32_t>::max();
   for (const int32_t mode : kModes) {
      for (const auto &[sw, sh, dw, dh] : {std::tuple{kHuge, kHuge, kHuge, kHuge},
                                           {kHuge, 1, 1, kHuge},
                                           {1, kHuge, kHuge, 1},
                                           {1, 1, kHuge, kHuge},
                                           {kHuge, kHuge, 1, 1}}) {
         ScaleCopyParams p = Sizes(mode, sw, sh, dw, dh);
         ASSERT_TRUE(CalculateCopyParameters(p));
         EXPECT_GE(p.mSrcX, 0);
         EXPECT_GE(p.mDstYOffset, 0);
         EXPECT_LE(int64_t{p.mSrcX} + p.mSrcCopyWidth, sw);
         EXPECT_LE(int64_t{p.mSrcYOffset} + p.mSrcCopyHeight, sh);
         EXPECT_LE(int64_t{p.mDstX} + p.mDstCopyWidth, dw);
         EXPECT_LE(int64_t{p.mDstYOffset} + p.mDstCopyHeight, dh);
      }
   }
}

TEST(VideoScaleUtils, RefusesWithoutAPlaneAfterTheRectanglesAreFilled) {
   for (int missing = 0; missing < 3; ++missing) {
      Images images(Sizes(kScaleLetterbox, 16, 8, 8, 8));
      ScaleCopyParams &p = images.params;
      p.mSrcBase = nullptr;
      const uint8_t *const plane = images.source.Data();
      p.mSrcY = missing == 0 ? nullptr : plane;
      p.mSrcU = missing == 1 ? nullptr : plane;
      p.mSrcV = missing == 2 ? nullptr : plane;
      const kit::LogCapture log;
      EXPECT_FALSE(PrepareScaleCopy(p));
      EXPECT_EQ(Destination(p), (Rectangle{0, 2, 8, 4}));
      EXPECT_EQ(log.Lines().size(), 0U) << log.Dump();
      EXPECT_EQ(images.Result(), std::vector<uint8_t>(ImageSize(8, 8), kOld));
   }
}

TEST(VideoScaleUtils, RefusesLayoutsThatHoldNoSuchImage) {
   constexpr int32_t kHuge = std::numeric_limits<int32_t>::max();
   for (const int32_t stride : {15, 0, -16, kHuge, kHuge / 8 + 1}) {
      Images images(Sizes(kScaleLetterbox, 16, 8, 16, 16));
      const kit::LogCapture log;
      ScaleCopyParams source = images.params;
      source.mSrcStride = stride;
      EXPECT_FALSE(ScaleI420Frame(source));
      EXPECT_TRUE(
         log.Saw(logger::ERROR, "%s - Invalid source layout %dx%d, stride %d", "PrepareScaleCopy", 16, 8, stride))
         << log.Dump();
      ScaleCopyParams destination = images.params;
      destination.mDstStride = stride;
      EXPECT_FALSE(ScaleI420Frame(destination));
      EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Invalid destination layout %dx%d, stride %d, at %p", "PrepareScaleCopy",
                          16, 16, stride, static_cast<void *>(images.destination.Data())))
         << log.Dump();
      EXPECT_EQ(images.Result(), std::vector<uint8_t>(ImageSize(16, 16), kOld));
   }
   Images images(Sizes(kScaleLetterbox, 16, 8, 16, 16));
   images.params.mDstBase = nullptr;
   EXPECT_FALSE(PrepareScaleCopy(images.params));
}

TEST(VideoScaleUtils, TakesALayoutWhoseLumaSizeIsTheLargestNumber) {
   Images images(Sizes(kScaleFill, 2, 1, 2, 1));
   images.params.mSrcStride = 2147483647;
   ASSERT_TRUE(PrepareScaleCopy(images.params));
   EXPECT_EQ(images.params.mSrcU - images.source.Data(), 2147483647);
   EXPECT_EQ(images.params.mSrcV - images.source.Data(), 2147483647 + 536870911LL);
}

TEST(VideoScaleUtils, RefusesChromaRowsOfTheirOwnThatAreTooShortAndAContiguousImageWithSuch) {
   Images images(Sizes(kScaleFill, 15, 8, 8, 8));
   ScaleCopyParams p = images.params;
   EXPECT_FALSE(ScaleI420Frame(p, 8)); // a contiguous image has rows of its own
   p.mSrcBase = nullptr;
   p.mSrcY = p.mSrcU = p.mSrcV = images.source.Data();
   EXPECT_FALSE(ScaleI420Frame(p, 7));
   EXPECT_TRUE(ScaleI420Frame(p, 8));
   p.mScaleMode = kScaleCenter + 1;
   EXPECT_FALSE(ScaleI420Frame(p, 8)) << "rows that are long enough make no mode";
}

// Required: by itself it paints all; only ScaleI420Frame may spare what the picture will cover.
TEST(VideoScaleUtils, PaintsTheWholeDestinationWhenItOnlyPrepares) {
   Images images(Sizes(kScaleLetterbox, 16, 8, 8, 8));
   ASSERT_TRUE(PrepareScaleCopy(images.params));
   std::vector<uint8_t> black(64, 0);
   black.resize(96, 128);
   EXPECT_EQ(images.Result(), black);
}

// The two steps that ScaleI420Frame stands for, with room behind the image for what odd sizes write too much.
std::vector<uint8_t> Described(Images &images) {
   const size_t size = images.destination.Size();
   std::vector<uint8_t> result(size * 2 + 64, kOld);
   ScaleCopyParams p = images.params;
   p.mDstBase = result.data();
   if (PrepareScaleCopy(p)) {
      libyuv::I420Scale(p.mSrcY, p.mSrcStride, p.mSrcU, p.mSrcStride / 2, p.mSrcV, p.mSrcStride / 2, p.mSrcCopyWidth,
                        p.mSrcCopyHeight, p.mDstY, p.mDstStride, p.mDstU, p.mDstStride / 2, p.mDstV, p.mDstStride / 2,
                        p.mDstCopyWidth, p.mDstCopyHeight, libyuv::kFilterNone);
   }
   result.resize(size);
   return result;
}

TEST(VideoScaleUtils, EqualsPaintingAllAndScalingForAllEvenSizes) {
   for (const int32_t mode : kModes) {
      for (int32_t sw = 2; sw <= 18; sw += 4) {
         for (int32_t sh = 2; sh <= 18; sh += 2) {
            for (int32_t dw = 2; dw <= 20; dw += 2) {
               for (int32_t dh = 2; dh <= 20; dh += 6) {
                  Images images(Sizes(mode, sw, sh, dw, dh));
                  const std::vector<uint8_t> described = Described(images);
                  ASSERT_TRUE(ScaleI420Frame(images.params));
                  ASSERT_EQ(images.Result(), described) << mode << ": " << sw << "x" << sh << " " << dw << "x" << dh;
                  ASSERT_TRUE(images.destination.IsIntactBefore());
               }
            }
         }
      }
   }
}

TEST(VideoScaleUtils, EqualsPaintingAllAndScalingWithRowsLongerThanThePicture) {
   for (const int32_t mode : kModes) {
      for (const auto &[more, sw, sh] : {std::tuple{2, 16, 8}, {16, 8, 16}, {5, 6, 6}, {1, 20, 20}}) {
         ScaleCopyParams sizes = Sizes(mode, sw, sh, 12, 12);
         sizes.mSrcStride += more * 2;
         sizes.mDstStride += more;
         Images images(sizes);
         const std::vector<uint8_t> described = Described(images);
         ASSERT_TRUE(ScaleI420Frame(images.params));
         EXPECT_EQ(images.Result(), described) << mode << " " << more << " " << sw;
      }
   }
}

TEST(VideoScaleUtils, LeavesBlackWhereTheAspectLeavesNoPicture) {
   Images images(Sizes(kScaleLetterbox, 1000, 2, 4, 4));
   ASSERT_TRUE(ScaleI420Frame(images.params));
   EXPECT_EQ(images.params.mDstCopyHeight, 0);
   std::vector<uint8_t> black(16, 0);
   black.resize(24, 128);
   EXPECT_EQ(images.Result(), black);
}

TEST(VideoScaleUtils, LeavesBlackForASourceThatTheScalerRefuses) {
   for (const int32_t height : {2, 3}) {
      Images images(Sizes(kScaleLetterbox, 32770, height, 64, height + 1));
      const std::vector<uint8_t> described = Described(images);
      ASSERT_TRUE(ScaleI420Frame(images.params));
      EXPECT_EQ(images.Result(), described);
      EXPECT_EQ(images.Result()[0], 0);
   }
   Images tall(Sizes(kScaleFill, 3, 32769, 3, 32769)); // of odd sizes, whose planes are scaled one by one
   ASSERT_TRUE(ScaleI420Frame(tall.params));
   EXPECT_EQ(tall.Result()[0], kOld) << "covered by the picture, so that nothing is painted";
}

TEST(VideoScaleUtils, TakesTheLongestSourceThatTheScalerTakes) {
   for (const auto &[width, height] : {std::pair{3, 32768}, {32768, 3}}) {
      Images images(
         Sizes(kScaleFill, width, height, width, height)); // of odd sizes, whose planes are scaled one by one
      ASSERT_TRUE(ScaleI420Frame(images.params));
      EXPECT_EQ(std::memcmp(images.destination.Data(), images.source.Data(), size_t{3} * 32768), 0)
         << width << "x" << height;
   }
}

TEST(VideoScaleUtils, NeverReadsOrWritesOutsideItsImagesAtAnySize) {
   for (const int32_t mode : kModes) {
      for (int32_t source = 0; source < 11 * 11; ++source) {
         for (int32_t destination = 0; destination < 11 * 11; ++destination) {
            Images images(Sizes(mode, source / 11 + 1, source % 11 + 1, destination / 11 + 1, destination % 11 + 1));
            ASSERT_TRUE(ScaleI420Frame(images.params));
            ASSERT_TRUE(images.destination.IsIntactBefore());
         }
      }
   }
}

TEST(VideoScaleUtils, NeverReadsOrWritesOutsideItsImagesAtOddCameraSizes) {
   const std::pair<int32_t, int32_t> sizes[] = {{640, 481}, {1279, 719}, {641, 481}, {353, 289}, {640, 480}};
   for (const int32_t mode : kModes) {
      for (const auto &[sw, sh] : sizes) {
         for (const auto &[dw, dh] : sizes) {
            Images images(Sizes(mode, sw, sh, dw, dh));
            ASSERT_TRUE(ScaleI420Frame(images.params));
            ASSERT_TRUE(images.destination.IsIntactBefore());
         }
      }
   }
}

// Luma and every whole chroma sample are what the scaler gives in planes that are rounded up.
TEST(VideoScaleUtils, KeepsAllThatAPictureOfOddSizeHasRoomFor) {
   for (const auto &[width, height] : {std::pair{7, 6}, {6, 7}, {7, 7}, {1, 1}, {3, 64}, {353, 289}}) {
      Images images(Sizes(kScaleFill, 20, 12, width, height));
      const int chromaWidth = (width + 1) / 2;
      const int chromaHeight = (height + 1) / 2;
      std::vector<uint8_t> y(static_cast<size_t>(width * height));
      std::vector<uint8_t> u(static_cast<size_t>(chromaWidth * chromaHeight));
      std::vector<uint8_t> v(u.size());
      const uint8_t *const source = images.source.Data();
      libyuv::I420Scale(source, 20, source + 240, 10, source + 300, 10, 20, 12, y.data(), width, u.data(), chromaWidth,
                        v.data(), chromaWidth, width, height, libyuv::kFilterNone);
      ASSERT_TRUE(ScaleI420Frame(images.params));
      const uint8_t *const got = images.destination.Data();
      EXPECT_EQ(std::memcmp(got, y.data(), y.size()), 0) << width << "x" << height;
      const int plane = width * height / 4;
      for (int row = 0; row < height / 2; ++row) {
         const uint8_t *const gotU = got + width * height + row * (width / 2);
         const auto wholeSamples = static_cast<size_t>(width / 2);
         EXPECT_EQ(std::memcmp(gotU, &u[static_cast<size_t>(row * chromaWidth)], wholeSamples), 0) << row;
         EXPECT_EQ(std::memcmp(gotU + plane, &v[static_cast<size_t>(row * chromaWidth)], wholeSamples), 0) << row;
      }
   }
}

TEST(VideoScaleUtils, ShowsNoColourWhenTheSourceHasNotOneRowOfIt) {
   Images images(Sizes(kScaleFill, 2, 1, 4, 4)); // two bytes of luma, none of chroma
   ASSERT_TRUE(ScaleI420Frame(images.params));
   const std::vector<uint8_t> result = images.Result();
   EXPECT_EQ(std::vector<uint8_t>(result.begin() + 16, result.end()), std::vector<uint8_t>(8, 128));
}

} // namespace
