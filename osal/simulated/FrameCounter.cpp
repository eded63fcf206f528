#include "osal/simulated/FrameCounter.h"

#include <array>
#include <bit>
#include <cstring>

namespace osal {
namespace {

constexpr size_t kGrid = 10;
constexpr size_t kBits = 8; // rows and columns of them, inside the ring
constexpr uint8_t kBright = 210;
constexpr uint8_t kDark = 40;
constexpr uint8_t kBetween = (kBright + kDark) / 2;

using Rows = std::array<uint8_t, kBits>;

Rows RowsOf(uint32_t number) {
   Rows rows{};
   for (size_t i = 0; i < 4; ++i) {
      const auto byte = static_cast<uint8_t>(number >> (8 * i));
      rows[i] = byte;
      rows[kBits - 1 - i] = static_cast<uint8_t>(~byte);
   }
   return rows;
}

struct Rectangle {
   size_t left = 0;
   size_t top = 0;
   size_t width = 0;
   size_t height = 0;
};

/// The block in `column` and `row` of the grid that fills `picture`.
Rectangle Block(const Rectangle &picture, size_t column, size_t row) {
   const size_t left = picture.width * column / kGrid;
   const size_t top = picture.height * row / kGrid;
   return {picture.left + left, picture.top + top, picture.width * (column + 1) / kGrid - left,
           picture.height * (row + 1) / kGrid - top};
}

void FillBlock(const Rectangle &block, uint8_t value, uint8_t *luma, size_t stride) {
   for (size_t y = block.top; y < block.top + block.height; ++y) {
      std::memset(luma + y * stride + block.left, value, block.width);
   }
}

/// Paints the bits of `rows` that are not those of `before`, which the picture shows.
void PaintChanges(const Rows &before, const Rows &rows, const Rectangle &picture, uint8_t *luma, size_t stride) {
   for (size_t row = 0; row < kBits; ++row) {
      for (unsigned changed = before[row] ^ rows[row]; changed != 0; changed &= changed - 1) {
         const auto bit = static_cast<size_t>(std::countr_zero(changed));
         const bool isBright = (rows[row] >> bit & 1) != 0;
         FillBlock(Block(picture, bit + 1, row + 1), isBright ? kBright : kDark, luma, stride);
      }
   }
}

/// Whether the middle of a block is bright: its rim may have been mixed with the neighbour's.
bool IsBright(const Rectangle &block, const uint8_t *luma, size_t stride) {
   const size_t rimX = (block.width - 1) / 4;
   const size_t rimY = (block.height - 1) / 4;
   uint64_t sum = 0;
   uint64_t count = 0;
   for (size_t y = block.top + rimY; y < block.top + block.height - rimY; ++y) {
      for (size_t x = block.left + rimX; x < block.left + block.width - rimX; ++x) {
         sum += luma[y * stride + x];
         ++count;
      }
   }
   return sum > count * kBetween;
}

/// How many of `count` pixels from `first` on, `step` apart, come before the first bright one.
size_t DarkOnes(const uint8_t *first, ptrdiff_t step, size_t count) {
   size_t dark = 0;
   while (dark < count && first[static_cast<ptrdiff_t>(dark) * step] <= kBetween) {
      ++dark;
   }
   return dark;
}

/// The picture between its bars: the ring is bright where the middle lines of the plane cross it.
std::optional<Rectangle> FindPicture(const uint8_t *luma, size_t stride, size_t width, size_t height) {
   const auto down = static_cast<ptrdiff_t>(stride);
   const uint8_t *const row = luma + height / 2 * stride;
   const uint8_t *const column = luma + width / 2;
   const size_t left = DarkOnes(row, 1, width);
   const size_t right = DarkOnes(row + width - 1, -1, width);
   const size_t top = DarkOnes(column, down, height);
   const size_t bottom = DarkOnes(column + (height - 1) * stride, -down, height);
   if (left + right + kGrid > width || top + bottom + kGrid > height) {
      return std::nullopt;
   }
   return Rectangle{left, top, width - left - right, height - top - bottom};
}

} // namespace

void PaintFrameCounter(uint32_t number, uint8_t *luma, size_t stride, size_t width, size_t height) {
   const Rectangle picture{0, 0, width, height};
   FillBlock(picture, kBright, luma, stride);
   Rows bright{};
   bright.fill(0xFF);
   PaintChanges(bright, RowsOf(number), picture, luma, stride);
}

void RepaintFrameCounter(uint32_t former, uint32_t number, uint8_t *luma, size_t stride, size_t width, size_t height) {
   PaintChanges(RowsOf(former), RowsOf(number), {0, 0, width, height}, luma, stride);
}

std::optional<uint32_t> ReadFrameCounter(const uint8_t *luma, size_t stride, size_t width, size_t height) {
   if (width < kGrid || height < kGrid) {
      return std::nullopt;
   }
   const std::optional<Rectangle> picture = FindPicture(luma, stride, width, height);
   if (!picture) {
      return std::nullopt;
   }
   Rows rows{};
   for (size_t row = 0; row < kBits; ++row) {
      for (size_t bit = 0; bit < kBits; ++bit) {
         if (IsBright(Block(*picture, bit + 1, row + 1), luma, stride)) {
            rows[row] = static_cast<uint8_t>(rows[row] | 1u << bit);
         }
      }
   }
   uint32_t number = 0;
   for (size_t i = 0; i < 4; ++i) {
      number |= static_cast<uint32_t>(rows[i]) << (8 * i);
   }
   return rows == RowsOf(number) ? std::optional(number) : std::nullopt;
}

} // namespace osal
