#include "osal/simulated/FramePainter.h"

#include "osal/simulated/FrameCounter.h"

#include <gtest/gtest.h>

#include <array>
#include <vector>

namespace osal {
namespace {

constexpr SimulatedPattern kPatterns[] = {SimulatedPattern::Bars, SimulatedPattern::Gradient, SimulatedPattern::Noise,
                                          SimulatedPattern::Counter};

std::vector<uint8_t> Pixels(const SimulatedFrame &frame) {
   std::vector<uint8_t> pixels;
   const size_t widths[] = {frame.width(), (frame.width() + 1) / 2 * 2};
   const size_t rows[] = {frame.height(), (frame.height() + 1) / 2};
   for (size_t plane = 0; plane < 2; ++plane) {
      for (size_t y = 0; y < rows[plane]; ++y) {
         const uint8_t *const row = frame.baseAddressOfPlane(plane) + y * frame.bytesPerRowOfPlane(plane);
         pixels.insert(pixels.end(), row, row + widths[plane]);
      }
   }
   return pixels;
}

std::vector<uint8_t> Fresh(SimulatedPattern pattern, VideoDimensions size, uint32_t number) {
   SimulatedFrame frame;
   EXPECT_TRUE(frame.Allocate(size));
   PaintFrame(pattern, size, number, &frame);
   return Pixels(frame);
}

TEST(FramePainter, AUsedFrameIsPaintedAsAFreshOne) {
   for (const SimulatedPattern pattern : kPatterns) {
      SimulatedFrame frame;
      ASSERT_TRUE(frame.Allocate({64, 48}));
      const std::pair<VideoDimensions, uint32_t> steps[] = {{{64, 48}, 0}, {{64, 48}, 1}, {{32, 24}, 2},
                                                            {{64, 48}, 3}, {{33, 27}, 3}, {{64, 48}, 900}};
      for (const auto &[size, number] : steps) {
         PaintFrame(pattern, size, number, &frame);
         EXPECT_EQ(Pixels(frame), Fresh(pattern, size, number)) << static_cast<int>(pattern);
      }
   }
   SimulatedFrame frame;
   ASSERT_TRUE(frame.Allocate({64, 48}));
   for (const SimulatedPattern pattern : kPatterns) {
      PaintFrame(pattern, {64, 48}, 7, &frame);
      EXPECT_EQ(Pixels(frame), Fresh(pattern, {64, 48}, 7)) << static_cast<int>(pattern);
   }
}

TEST(FramePainter, OddAndTinySizesStayInTheirPlanes) {
   for (const VideoDimensions size :
        {VideoDimensions{1, 1}, {2, 1}, {1, 2}, {3, 3}, {63, 65}, {641, 481}, {353, 289}, {1279, 719}}) {
      for (const SimulatedPattern pattern : kPatterns) {
         EXPECT_FALSE(Fresh(pattern, size, 5).empty()); // the address sanitizer sees the rest
      }
   }
}

TEST(FramePainter, BarsAreEightColoursAtThreeQuarters) {
   const std::vector<uint8_t> pixels = Fresh(SimulatedPattern::Bars, {16, 2}, 0);
   const std::array<uint8_t, 8> luma = {191, 169, 134, 112, 79, 57, 22, 0};
   const std::array<uint8_t, 16> chroma = {128, 128, 32, 144, 160, 32, 64, 48, 192, 208, 96, 224, 224, 112, 128, 128};
   for (size_t bar = 0; bar < 8; ++bar) {
      EXPECT_EQ(pixels[2 * bar], luma[bar]) << bar;
      EXPECT_EQ(pixels[2 * bar + 1], luma[bar]) << bar;
      EXPECT_EQ(pixels[16 + 2 * bar], luma[bar]) << bar;
      EXPECT_NEAR(pixels[32 + 2 * bar], chroma[2 * bar], 1) << bar;
      EXPECT_NEAR(pixels[32 + 2 * bar + 1], chroma[2 * bar + 1], 1) << bar;
   }
}

TEST(FramePainter, AGradientRisesFromLeftToRight) {
   const std::vector<uint8_t> pixels = Fresh(SimulatedPattern::Gradient, {256, 4}, 0);
   for (size_t x = 0; x < 256; ++x) {
      EXPECT_EQ(pixels[x], x);
      EXPECT_EQ(pixels[3 * 256 + x], x);
   }
   EXPECT_EQ(pixels[4 * 256], 16);
   EXPECT_EQ(pixels[4 * 256 + 1], 128);
   EXPECT_EQ(pixels[5 * 256], 240);
}

TEST(FramePainter, NoiseIsTheSameInEveryRunAndAnotherInEachFrame) {
   const std::vector<uint8_t> first = Fresh(SimulatedPattern::Noise, {64, 64}, 0);
   EXPECT_EQ(first, Fresh(SimulatedPattern::Noise, {64, 64}, 0));
   EXPECT_NE(first, Fresh(SimulatedPattern::Noise, {64, 64}, 1));
   const std::array<uint8_t, 4> begin = {first[0], first[1], first[2], first[3]};
   EXPECT_EQ(begin, (std::array<uint8_t, 4>{0xAF, 0xCD, 0x1D, 0x7B}));
   const std::array<uint8_t, 4> secondRow = {first[64], first[65], first[66], first[67]};
   EXPECT_EQ(secondRow, (std::array<uint8_t, 4>{0xA6, 0xB0, 0x8C, 0x36}));
   double sum = 0;
   for (const uint8_t value : first) {
      sum += value;
   }
   EXPECT_NEAR(sum / static_cast<double>(first.size()), 127.5, 5);
}

TEST(FramePainter, TheCounterIsReadFromTheLumaPlane) {
   SimulatedFrame frame;
   ASSERT_TRUE(frame.Allocate({320, 240}));
   for (uint32_t number = 0; number < 300; ++number) {
      PaintFrame(SimulatedPattern::Counter, {320, 240}, number, &frame);
      ASSERT_EQ(ReadFrameCounter(frame.Luma(), frame.Stride(), 320, 240), number);
   }
}

} // namespace
} // namespace osal
