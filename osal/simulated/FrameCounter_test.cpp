#include "osal/simulated/FrameCounter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace osal {
namespace {

struct Plane {
   size_t width;
   size_t height;
   size_t stride;
   std::vector<uint8_t> luma;

   Plane(size_t w, size_t h, uint8_t fill = 0)
       : width(w)
       , height(h)
       , stride(w + 7)
       , luma(stride * h, fill) {}
   std::optional<uint32_t> Read() const { return ReadFrameCounter(luma.data(), stride, width, height); }
   uint8_t &At(size_t x, size_t y) { return luma[y * stride + x]; }
   uint8_t At(size_t x, size_t y) const { return luma[y * stride + x]; }
};

Plane Painted(uint32_t number, size_t width, size_t height) {
   Plane plane(width, height);
   PaintFrameCounter(number, plane.luma.data(), plane.stride, width, height);
   return plane;
}

/// `from`, by the nearest pixel, as the `width` x `height` rectangle at (left, top) of `to`.
void Scale(const Plane &from, size_t left, size_t top, size_t width, size_t height, Plane *to) {
   for (size_t y = 0; y < height; ++y) {
      for (size_t x = 0; x < width; ++x) {
         to->At(left + x, top + y) = from.At(x * from.width / width, y * from.height / height);
      }
   }
}

constexpr uint32_t kNumbers[] = {0,          1,          2,          255,        256,       0x01234567,
                                 0x89ABCDEF, 0x7FFFFFFF, 0x80000000, 0xFFFFFFFE, 0xFFFFFFFF};

TEST(FrameCounter, IsReadBackInEverySizeFromTheSmallestOn) {
   for (const auto &[width, height] : {std::pair<size_t, size_t>{kFrameCounterSmallest, kFrameCounterSmallest},
                                       {21, 20},
                                       {33, 47},
                                       {160, 120},
                                       {353, 289},
                                       {640, 481},
                                       {1279, 719},
                                       {1920, 1080}}) {
      for (const uint32_t number : kNumbers) {
         EXPECT_EQ(Painted(number, width, height).Read(), number) << width << "x" << height;
      }
   }
}

TEST(FrameCounter, WritesNothingBesideThePicture) {
   Plane plane(41, 37, 0xEE);
   PaintFrameCounter(7, plane.luma.data(), plane.stride, 41, 36);
   for (size_t y = 0; y < 37; ++y) {
      for (size_t x = y < 36 ? 41 : 0; x < plane.stride; ++x) {
         ASSERT_EQ(plane.luma[y * plane.stride + x], 0xEE) << x << "," << y;
      }
   }
}

TEST(FrameCounter, RepaintingGivesTheSamePictureAsPainting) {
   Plane plane = Painted(kNumbers[0], 97, 61);
   uint32_t former = kNumbers[0];
   for (const uint32_t number : kNumbers) {
      RepaintFrameCounter(former, number, plane.luma.data(), plane.stride, plane.width, plane.height);
      former = number;
      EXPECT_EQ(plane.luma, Painted(number, 97, 61).luma);
   }
}

TEST(FrameCounter, SurvivesScalingAndLetterboxBars) {
   const Plane picture = Painted(0x00ABCDEF, 1280, 720);
   for (const auto &[width, height] :
        {std::pair<size_t, size_t>{640, 480}, {320, 240}, {176, 144}, {720, 1280}, {1920, 1080}, {64, 64}}) {
      for (const uint8_t bar : {uint8_t{0}, uint8_t{16}}) {
         Plane boxed(width, height, bar);
         const size_t fitting = std::min(height, width * 720 / 1280) / 2 * 2;
         const size_t wide = std::min(width, fitting * 1280 / 720 + 1);
         Scale(picture, (width - wide) / 2, (height - fitting) / 2, wide, fitting, &boxed);
         EXPECT_EQ(boxed.Read(), 0x00ABCDEFu) << width << "x" << height;
      }
   }
}

TEST(FrameCounter, IsFoundBetweenBarsOfFourWidths) {
   Plane boxed(200, 150);
   Scale(Painted(0x00ABCDEF, 160, 120), 50, 11, 120, 99, &boxed);
   EXPECT_EQ(boxed.Read(), 0x00ABCDEFu);
}

TEST(FrameCounter, SurvivesBlurAndNoise) {
   Plane plane = Painted(123456, 160, 120);
   const Plane sharp = plane;
   uint32_t random = 1;
   for (size_t y = 1; y + 1 < 120; ++y) {
      for (size_t x = 1; x + 1 < 160; ++x) {
         random = random * 1664525 + 1013904223;
         const int mean = (sharp.At(x - 1, y) + sharp.At(x + 1, y) + sharp.At(x, y - 1) + sharp.At(x, y + 1)) / 4;
         plane.At(x, y) = static_cast<uint8_t>(std::clamp(mean + static_cast<int>(random >> 26) - 32, 0, 255));
      }
   }
   EXPECT_EQ(plane.Read(), 123456u);
}

struct Rim {
   size_t block; // pixels along its side
   size_t rim;   // of them, on either side, that do not count
};
constexpr Rim kRims[] = {{1, 0}, {2, 0}, {3, 0}, {4, 0}, {5, 1}, {8, 1}, {9, 2}, {12, 2}, {13, 3}, {17, 4}};
constexpr uint32_t kStriped = 0x0123ABCD;

/// The number in blocks as little bright and dark as is still told apart, and of the columns (or rows) of each that are
/// `depth` pixels from its sides the utmost opposite.
Plane Striped(size_t block, size_t depth, bool inColumns) {
   Plane plane = Painted(kStriped, 10 * block, 10 * block);
   for (size_t y = block; y < 9 * block; ++y) {
      for (size_t x = block; x < 9 * block; ++x) {
         const size_t at = (inColumns ? x : y) % block;
         const bool isBright = plane.At(x, y) == 210;
         if (at == depth || block - 1 - at == depth) {
            plane.At(x, y) = isBright ? 0 : 255;
         } else {
            plane.At(x, y) = isBright ? 126 : 125;
         }
      }
   }
   return plane;
}

TEST(FrameCounter, TheOuterQuarterOfABlockDoesNotCount) {
   for (const auto &[block, rim] : kRims) {
      for (size_t depth = 0; depth < rim; ++depth) {
         EXPECT_EQ(Striped(block, depth, true).Read(), kStriped) << block << " " << depth;
         EXPECT_EQ(Striped(block, depth, false).Read(), kStriped) << block << " " << depth;
      }
   }
}

TEST(FrameCounter, AllThatIsInsideTheOuterQuarterOfABlockCounts) {
   for (const auto &[block, rim] : kRims) {
      EXPECT_EQ(Striped(block, rim, true).Read(), ~kStriped) << block;
      EXPECT_EQ(Striped(block, rim, false).Read(), ~kStriped) << block;
   }
}

TEST(FrameCounter, ATornPictureIsNoNumber) {
   for (const uint32_t number : {0u, 1u, 254u, 255u, 65535u, 1u << 24}) {
      const Plane upper = Painted(number + 1, 100, 100);
      const Plane lower = Painted(number, 100, 100);
      // From behind the first row of bits to the middle of the last one.
      for (const size_t tear : {20u, 30u, 50u, 70u, 80u, 83u}) {
         Plane torn = upper;
         const auto from = static_cast<ptrdiff_t>(tear * torn.stride);
         std::copy(lower.luma.begin() + from, lower.luma.end(), torn.luma.begin() + from);
         EXPECT_EQ(torn.Read(), std::nullopt) << number << " at " << tear;
      }
   }
}

TEST(FrameCounter, WhatShowsNoNumberGivesNone) {
   EXPECT_EQ(Plane(640, 480, 0).Read(), std::nullopt);
   EXPECT_EQ(Plane(640, 480, 16).Read(), std::nullopt);
   EXPECT_EQ(Plane(640, 480, 128).Read(), std::nullopt);
   EXPECT_EQ(Plane(640, 480, 255).Read(), std::nullopt);
   EXPECT_EQ(Plane(9, 100, 255).Read(), std::nullopt);
   EXPECT_EQ(Plane(100, 1, 255).Read(), std::nullopt);
   EXPECT_EQ(ReadFrameCounter(nullptr, 0, 0, 0), std::nullopt);
   Plane half = Painted(5, 100, 100);
   std::fill(half.luma.begin() + 5000, half.luma.end(), uint8_t{0});
   EXPECT_EQ(half.Read(), std::nullopt);
}

} // namespace
} // namespace osal
