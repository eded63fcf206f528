#include "osal/simulated/FramePainter.h"

#include "osal/simulated/FrameCounter.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace osal {
namespace {

struct Colour {
   uint8_t luma;
   uint8_t cb;
   uint8_t cr;
};

/// Full-range BT.601.
Colour ColourOf(double red, double green, double blue) {
   const double luma = 0.299 * red + 0.587 * green + 0.114 * blue;
   const auto byte = [](double value) {
      return static_cast<uint8_t>(std::clamp(std::lround(value), 0L, 255L));
   };
   return {byte(luma), byte(128 + (blue - luma) / 1.772), byte(128 + (red - luma) / 1.402)};
}

/// From `first` to `last` in `count` steps, rounded down.
uint8_t Ramp(size_t step, size_t count, int first, int last) {
   const int64_t steps = std::max<int64_t>(static_cast<int64_t>(count) - 1, 1);
   return static_cast<uint8_t>(first + (last - first) * static_cast<int64_t>(step) / steps);
}

struct Planes {
   uint8_t *luma;
   uint8_t *chroma;
   size_t stride;
   size_t width;
   size_t height;
   size_t pairs; // of chroma in a row
   size_t chromaRows;
};

Planes PlanesOf(SimulatedFrame *frame) {
   const size_t width = frame->width();
   const size_t height = frame->height();
   return {frame->Luma(), frame->Chroma(), frame->Stride(), width, height, (width + 1) / 2, (height + 1) / 2};
}

/// Copies the first row of a plane, `bytes` long, to the others.
void RepeatFirstRow(uint8_t *plane, size_t stride, size_t bytes, size_t rows) {
   for (size_t y = 1; y < rows; ++y) {
      std::memcpy(plane + y * stride, plane, bytes);
   }
}

void PaintBars(const Planes &to) {
   constexpr double kOn = 191;
   const auto colourAt = [&](size_t x) {
      const size_t bar = std::min<size_t>(x, to.width - 1) * 8 / to.width;
      return ColourOf((bar & 2) == 0 ? kOn : 0, (bar & 4) == 0 ? kOn : 0, (bar & 1) == 0 ? kOn : 0);
   };
   for (size_t x = 0; x < to.width; ++x) {
      to.luma[x] = colourAt(x).luma;
   }
   for (size_t pair = 0; pair < to.pairs; ++pair) {
      const Colour colour = colourAt(2 * pair);
      to.chroma[2 * pair] = colour.cb;
      to.chroma[2 * pair + 1] = colour.cr;
   }
   RepeatFirstRow(to.luma, to.stride, to.width, to.height);
   RepeatFirstRow(to.chroma, to.stride, 2 * to.pairs, to.chromaRows);
}

void PaintGradient(const Planes &to) {
   for (size_t x = 0; x < to.width; ++x) {
      to.luma[x] = Ramp(x, to.width, 0, 255);
   }
   RepeatFirstRow(to.luma, to.stride, to.width, to.height);
   for (size_t y = 0; y < to.chromaRows; ++y) {
      const uint8_t cb = Ramp(y, to.chromaRows, 16, 240);
      for (size_t pair = 0; pair < to.pairs; ++pair) {
         to.chroma[y * to.stride + 2 * pair] = cb;
         to.chroma[y * to.stride + 2 * pair + 1] = 128;
      }
   }
}

void PaintTint(const Planes &to) {
   for (size_t y = 0; y < to.chromaRows; ++y) {
      const uint8_t cr = Ramp(y, to.chromaRows, 96, 160);
      for (size_t pair = 0; pair < to.pairs; ++pair) {
         to.chroma[y * to.stride + 2 * pair] = Ramp(pair, to.pairs, 96, 160);
         to.chroma[y * to.stride + 2 * pair + 1] = cr;
      }
   }
}

/// Random bytes, eight at a time: the sequence of one seed, by a mixing counter.
class Noise {
public:
   explicit Noise(uint32_t seed)
       : mState(seed * uint64_t{0xD1342543DE82EF95}) {}

   void Fill(uint8_t *bytes, size_t count) {
      for (; count >= sizeof(uint64_t); bytes += sizeof(uint64_t), count -= sizeof(uint64_t)) {
         const uint64_t drawn = Next();
         std::memcpy(bytes, &drawn, sizeof(drawn));
      }
      const uint64_t drawn = Next();
      std::memcpy(bytes, &drawn, count);
   }

private:
   uint64_t Next() {
      uint64_t value = mState += 0x9E3779B97F4A7C15;
      value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9;
      value = (value ^ (value >> 27)) * 0x94D049BB133111EB;
      return value ^ (value >> 31);
   }
   uint64_t mState;
};

void PaintNoise(const Planes &to, uint32_t number) {
   Noise noise(number);
   for (size_t y = 0; y < to.height; ++y) {
      noise.Fill(to.luma + y * to.stride, to.width);
   }
   for (size_t y = 0; y < to.chromaRows; ++y) {
      noise.Fill(to.chroma + y * to.stride, 2 * to.pairs);
   }
}

void PaintCounter(const Planes &to, uint32_t number, const SimulatedFrame::Content *former) {
   if (former != nullptr) {
      RepaintFrameCounter(former->number, number, to.luma, to.stride, to.width, to.height);
      return;
   }
   PaintFrameCounter(number, to.luma, to.stride, to.width, to.height);
   PaintTint(to);
}

} // namespace

void PaintFrame(SimulatedPattern pattern, VideoDimensions size, uint32_t number, SimulatedFrame *frame) {
   const bool isKept = frame->Painted() && frame->Painted()->pattern == pattern && frame->Painted()->size == size;
   frame->Shape(size);
   const Planes planes = PlanesOf(frame);
   switch (pattern) {
   case SimulatedPattern::Bars:
      if (!isKept) {
         PaintBars(planes);
      }
      break;
   case SimulatedPattern::Gradient:
      if (!isKept) {
         PaintGradient(planes);
      }
      break;
   case SimulatedPattern::Noise:
      PaintNoise(planes, number);
      break;
   case SimulatedPattern::Counter:
      PaintCounter(planes, number, isKept ? &*frame->Painted() : nullptr);
      break;
   }
   frame->NotePainted({pattern, size, number});
}

} // namespace osal
