#include "osal/simulated/ToneGenerator.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>
#include <vector>

namespace osal {
namespace {

std::vector<int16_t> Samples(const ToneGenerator &tone, uint64_t position, size_t count) {
   std::vector<char> bytes(2 * count);
   tone.Fill(position, count, bytes.data());
   std::vector<int16_t> samples;
   for (size_t i = 0; i < count; ++i) {
      samples.push_back(
         static_cast<int16_t>(static_cast<uint8_t>(bytes[2 * i]) | static_cast<uint8_t>(bytes[2 * i + 1]) << 8));
   }
   return samples;
}

TEST(ToneGenerator, IsTheSineToTheSample) {
   for (const int32_t rate : {8000, 16000, 44100, 48000}) {
      const ToneGenerator tone(440, 0.5, rate);
      const std::vector<int16_t> samples = Samples(tone, 0, 2000);
      for (size_t i = 0; i < samples.size(); ++i) {
         const double exact =
            0.5 * 32767 * std::sin(2 * std::numbers::pi * std::fmod(440.0 * static_cast<double>(i) / rate, 1.0));
         ASSERT_NEAR(samples[i], exact, 0.501) << rate << " at " << i;
      }
   }
}

TEST(ToneGenerator, BytesAreLittleEndian) {
   const ToneGenerator tone(12000, 1, 48000); // 0, 32767, 0, -32767
   char bytes[8];
   tone.Fill(0, 4, bytes);
   EXPECT_EQ(std::string(bytes, 8), std::string("\x00\x00\xFF\x7F\x00\x00\x01\x80", 8));
}

TEST(ToneGenerator, PiecesJoinWithoutAClickWhereverTheyAreCut) {
   const ToneGenerator tone(997, 0.9, 44100);
   const std::vector<int16_t> whole = Samples(tone, 0, 5000);
   size_t at = 0;
   for (size_t piece = 1; at + piece <= whole.size(); at += piece, piece = piece * 7 % 601 + 1) {
      const std::vector<int16_t> part = Samples(tone, at, piece);
      for (size_t i = 0; i < piece; ++i) {
         ASSERT_NEAR(part[i], whole[at + i], 1) << at + i;
      }
   }
}

TEST(ToneGenerator, AfterADayItIsStillInPhase) {
   const ToneGenerator tone(440, 0.5, 48000);
   constexpr uint64_t kDay = uint64_t{86400} * 48000; // whole seconds: whole periods
   EXPECT_EQ(Samples(tone, kDay, 1000), Samples(tone, 0, 1000));
}

TEST(ToneGenerator, SilenceAndFullScale) {
   EXPECT_EQ(Samples(ToneGenerator(0, 1, 48000), 5, 3), (std::vector<int16_t>{0, 0, 0}));
   EXPECT_EQ(Samples(ToneGenerator(440, 0, 48000), 5, 3), (std::vector<int16_t>{0, 0, 0}));
   for (const int16_t sample : Samples(ToneGenerator(96000, 1, 1), 0, 100)) {
      EXPECT_EQ(sample, 0) << "whole periods a sample";
   }
}

} // namespace
} // namespace osal
