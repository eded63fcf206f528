#include "tools/mavr/LevelMeter.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>

namespace mavr {
namespace {

double Decibels(double level) {
   constexpr double kFullScale = 32768;
   return level > 0 ? std::max(20 * std::log10(level / kFullScale), LevelMeter::kSilence) : LevelMeter::kSilence;
}

} // namespace

void LevelMeter::Add(const uint8_t *samples, size_t bytes) {
   for (size_t at = 0; at + 1 < bytes; at += 2) {
      const auto sample = static_cast<int16_t>(samples[at] | samples[at + 1] << 8);
      mPeak = std::max(mPeak, std::abs(int32_t{sample}));
      mSquares += static_cast<double>(int32_t{sample} * sample);
      ++mCount;
   }
}

double LevelMeter::PeakDb() const {
   return Decibels(mPeak);
}

double LevelMeter::RmsDb() const {
   return mCount > 0 ? Decibels(std::sqrt(mSquares / static_cast<double>(mCount))) : kSilence;
}

} // namespace mavr
