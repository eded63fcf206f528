// Every rectangle of all four modes for all sizes from 1 to 65 on each side, against a reference in integers: 64-bit
// floating point is worked out by hand, so that neither the compiler nor the processor has a say in the expected
// values.

#include "libs/avManager/VideoScaleUtils.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <functional>
#include <memory>

namespace {

constexpr int kMost = 65;
constexpr int kSides = kMost + 1;

// mantissa * 2^exponent, the mantissa of 53 bits.
struct Number {
   uint64_t mantissa;
   int exponent;
};

// To 53 bits, to nearest, ties to even; `isMore` says that a little is missing below the mantissa's last bit.
Number Round(Number exact, bool isMore) {
   bool half = false;
   while (exact.mantissa >> 53 != 0) {
      isMore = isMore || half;
      half = (exact.mantissa & 1) != 0;
      exact.mantissa >>= 1;
      ++exact.exponent;
   }
   if (half && (isMore || (exact.mantissa & 1) != 0)) {
      ++exact.mantissa; // 2^53 at most, which is a number too
   }
   return exact;
}

// Long division, to 56 bits and the remainder.
Number Divide(uint64_t dividend, const Number &divisor) {
   uint64_t rest = dividend;
   uint64_t unit = divisor.mantissa;
   int exponent = -divisor.exponent;
   for (; rest < unit; rest <<= 1) {
      --exponent;
   }
   for (; rest >= unit * 2; unit <<= 1) {
      ++exponent;
   }
   uint64_t quotient = 1;
   rest -= unit;
   for (int bit = 1; bit < 56; ++bit) {
      rest <<= 1;
      quotient <<= 1;
      --exponent;
      if (rest >= unit) {
         rest -= unit;
         quotient |= 1;
      }
   }
   return Round({quotient, exponent}, rest != 0);
}

Number Multiply(uint64_t factor, const Number &number) {
   return Round({factor * number.mantissa, number.exponent}, false);
}

// Adds a half, truncates, clears the lowest bit.
int EvenOf(Number number) {
   while (number.mantissa >> 52 == 0) {
      number.mantissa <<= 1;
      --number.exponent;
   }
   if (number.exponent < -54) {
      return 0; // below a quarter
   }
   const Number sum = Round({number.mantissa + (uint64_t{1} << (-1 - number.exponent)), number.exponent}, false);
   return static_cast<int>(sum.mantissa >> -sum.exponent) & ~1;
}

using Table = std::array<std::array<std::array<int, kSides>, kSides>, kSides>;

// [side][a][b]: the even length of side * (a / b), or of side / (a / b).
std::unique_ptr<Table> MakeTable(const std::function<Number(uint64_t side, const Number &ratio)> &scale) {
   auto table = std::make_unique<Table>();
   for (uint64_t a = 1; a <= kMost; ++a) {
      for (uint64_t b = 1; b <= kMost; ++b) {
         const Number ratio = Divide(a, {b, 0});
         for (uint64_t side = 1; side <= kMost; ++side) {
            (*table)[side][a][b] = EvenOf(scale(side, ratio));
         }
      }
   }
   return table;
}

struct Sizes {
   int srcWidth, srcHeight, dstWidth, dstHeight;
};

struct Rectangles {
   int srcX, srcY, srcWidth, srcHeight, dstX, dstY, dstWidth, dstHeight;
   friend bool operator==(const Rectangles &, const Rectangles &) = default;
};

template <typename Reference>
void ExpectEverywhere(int32_t mode, const Reference &reference) {
   uint64_t wrong = 0;
   ScaleCopyParams params{};
   params.mScaleMode = mode;
   Sizes sizes{};
   for (sizes.srcWidth = 1; sizes.srcWidth <= kMost; ++sizes.srcWidth) {
      for (sizes.srcHeight = 1; sizes.srcHeight <= kMost; ++sizes.srcHeight) {
         for (sizes.dstWidth = 1; sizes.dstWidth <= kMost; ++sizes.dstWidth) {
            for (sizes.dstHeight = 1; sizes.dstHeight <= kMost; ++sizes.dstHeight) {
               params.mSrcWidth = sizes.srcWidth;
               params.mSrcHeight = sizes.srcHeight;
               params.mDstWidth = sizes.dstWidth;
               params.mDstHeight = sizes.dstHeight;
               const bool done = CalculateCopyParameters(params);
               const Rectangles got{params.mSrcX, params.mSrcYOffset, params.mSrcCopyWidth, params.mSrcCopyHeight,
                                    params.mDstX, params.mDstYOffset, params.mDstCopyWidth, params.mDstCopyHeight};
               if (!done || got != reference(sizes)) {
                  ++wrong;
                  EXPECT_GT(wrong, 5U) << sizes.srcWidth << "x" << sizes.srcHeight << " into " << sizes.dstWidth << "x"
                                       << sizes.dstHeight;
               }
            }
         }
      }
   }
   EXPECT_EQ(wrong, 0U);
}

TEST(VideoScaleRectangles, FillTakesAllOfBothFromAllSizes) {
   ExpectEverywhere(kScaleFill, [](const Sizes &s) {
      return Rectangles{0, 0, s.srcWidth, s.srcHeight, 0, 0, s.dstWidth, s.dstHeight};
   });
}

TEST(VideoScaleRectangles, CropCutsTheSourceOfAllSizes) {
   const auto table = MakeTable(Divide);
   ExpectEverywhere(kScaleCrop, [&](const Sizes &s) {
      const bool byWidth = s.dstWidth * s.srcHeight >= s.dstHeight * s.srcWidth;
      const auto a = static_cast<size_t>(byWidth ? s.dstWidth : s.dstHeight);
      const auto b = static_cast<size_t>(byWidth ? s.srcWidth : s.srcHeight);
      const int width = (*table)[static_cast<size_t>(s.dstWidth)][a][b];
      const int height = (*table)[static_cast<size_t>(s.dstHeight)][a][b];
      return Rectangles{
         (s.srcWidth - width) / 2, (s.srcHeight - height) / 2, width, height, 0, 0, s.dstWidth, s.dstHeight};
   });
}

TEST(VideoScaleRectangles, LetterboxBordersTheDestinationOfAllSizes) {
   const auto table = MakeTable(Multiply);
   ExpectEverywhere(kScaleLetterbox, [&](const Sizes &s) {
      const bool byWidth = s.dstWidth * s.srcHeight <= s.dstHeight * s.srcWidth;
      const auto a = static_cast<size_t>(byWidth ? s.dstWidth : s.dstHeight);
      const auto b = static_cast<size_t>(byWidth ? s.srcWidth : s.srcHeight);
      const int width = (*table)[static_cast<size_t>(s.srcWidth)][a][b];
      const int height = (*table)[static_cast<size_t>(s.srcHeight)][a][b];
      return Rectangles{0,     0,     s.srcWidth, s.srcHeight, (s.dstWidth - width) / 2, (s.dstHeight - height) / 2,
                        width, height};
   });
}

TEST(VideoScaleRectangles, CenterCutsOrBordersEachAxisOfAllSizes) {
   ExpectEverywhere(kScaleCenter, [](const Sizes &s) {
      const int width = s.srcWidth < s.dstWidth ? s.srcWidth : s.dstWidth;
      const int height = s.srcHeight < s.dstHeight ? s.srcHeight : s.dstHeight;
      return Rectangles{(s.srcWidth - width) / 2, (s.srcHeight - height) / 2, width, height,
                        (s.dstWidth - width) / 2, (s.dstHeight - height) / 2, width, height};
   });
}

} // namespace
