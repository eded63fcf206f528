#include "tools/mavr/LevelMeter.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace mavr {
namespace {

std::vector<uint8_t> Sine(double amplitude) {
   std::vector<uint8_t> bytes;
   for (int i = 0; i < 4800; ++i) {
      const auto sample = static_cast<int>(std::lround(amplitude * 32767 * std::sin(2 * std::numbers::pi * i / 48)));
      bytes.push_back(static_cast<uint8_t>(sample & 0xFF));
      bytes.push_back(static_cast<uint8_t>(sample >> 8 & 0xFF));
   }
   return bytes;
}

TEST(LevelMeter, ReadsASineAtItsPeakAndThreeDecibelsLess) {
   for (const auto &[amplitude, peak] : {std::pair{1.0, 0.0}, {0.5, -6.02}, {0.1, -20.0}}) {
      LevelMeter meter;
      const auto bytes = Sine(amplitude);
      meter.Add(bytes.data(), bytes.size());
      EXPECT_NEAR(meter.PeakDb(), peak, 0.02);
      EXPECT_NEAR(meter.RmsDb(), peak - 3.01, 0.02);
   }
}

TEST(LevelMeter, ReadsTheLoudestSampleThereIsAsZero) {
   LevelMeter meter;
   const uint8_t lowest[] = {0x00, 0x80};
   meter.Add(lowest, 2);
   EXPECT_DOUBLE_EQ(meter.PeakDb(), 0);
   EXPECT_DOUBLE_EQ(meter.RmsDb(), 0);
}

TEST(LevelMeter, ReadsSilenceAndNothingAsTheFloor) {
   LevelMeter meter;
   EXPECT_DOUBLE_EQ(meter.PeakDb(), LevelMeter::kSilence);
   EXPECT_DOUBLE_EQ(meter.RmsDb(), LevelMeter::kSilence);
   const uint8_t zeros[5] = {};
   meter.Add(zeros, sizeof zeros);
   EXPECT_DOUBLE_EQ(meter.PeakDb(), LevelMeter::kSilence);
   EXPECT_DOUBLE_EQ(meter.RmsDb(), LevelMeter::kSilence);
}

} // namespace
} // namespace mavr
