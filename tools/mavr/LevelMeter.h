#pragma once

#include <cstddef>
#include <cstdint>

namespace mavr {

/// How loud sound is: the peak and the root mean square in dBFS, where 0 is full scale, a square wave's as well as its
/// peak's, and a sine of full scale has -3.01 dBFS RMS. A plain value.
class LevelMeter {
public:
   /// What silence reads as.
   static constexpr double kSilence = -96.33;

   /// Signed 16-bit little-endian samples; an odd byte at the end is left out.
   void Add(const uint8_t *samples, size_t bytes);
   [[nodiscard]] double PeakDb() const;
   [[nodiscard]] double RmsDb() const;

private:
   uint64_t mCount = 0;
   double mSquares = 0;
   int32_t mPeak = 0;
};

} // namespace mavr
