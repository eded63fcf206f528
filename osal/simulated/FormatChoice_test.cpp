#include "osal/simulated/FormatChoice.h"

#include <gtest/gtest.h>

#include <vector>

namespace osal {
namespace {

const std::vector<CaptureDeviceFormat> kFormats = {{FourCC("420v"), {0, 480}, 1, 30},
                                                   {FourCC("420v"), {640, 480}, 1, 30},
                                                   {FourCC("420f"), {640, 480}, 1, 60},
                                                   {FourCC("420f"), {1280, 720}, 1, 15},
                                                   {FourCC("420f"), {720, 1280}, 1, 15}};

VideoDimensions Chosen(std::optional<VideoDimensions> wanted) {
   return ChooseFormat(kFormats, wanted)->dimensions;
}

TEST(FormatChoice, TakesTheAskedSizeElseTheNearestElseTheFirst) {
   EXPECT_EQ(Chosen(std::nullopt), (VideoDimensions{640, 480}));
   EXPECT_EQ(Chosen(VideoDimensions{1280, 720}), (VideoDimensions{1280, 720}));
   EXPECT_EQ(Chosen(VideoDimensions{1, 1}), (VideoDimensions{640, 480}));
   EXPECT_EQ(Chosen(VideoDimensions{1920, 1080}), (VideoDimensions{1280, 720}));
   EXPECT_EQ(Chosen(VideoDimensions{1000, 1000}), (VideoDimensions{1280, 720})) << "of two as near the first";
   EXPECT_EQ(Chosen(VideoDimensions{INT32_MAX, INT32_MIN}), (VideoDimensions{1280, 720}));
   EXPECT_EQ(ChooseFormat(kFormats, VideoDimensions{640, 480})->maxFrameRate, 30) << "the first of that size";
}

TEST(FormatChoice, FormatsWithoutPixelsAreNone) {
   EXPECT_EQ(ChooseFormat({}, std::nullopt).has_value(), false);
   EXPECT_EQ(ChooseFormat(std::span(kFormats).first(1), VideoDimensions{0, 480}).has_value(), false);
   for (const VideoDimensions empty : {VideoDimensions{640, 0}, VideoDimensions{0, 480}}) {
      auto format = kFormats[0];
      format.dimensions = empty;
      EXPECT_EQ(ChooseFormat(std::span(&format, 1), std::nullopt).has_value(), false);
   }
}

TEST(FormatChoice, TheRateIsTheFormatsHighestElseTheFloorThatWasSetElseThirty) {
   EXPECT_EQ(ChooseRate({0, {1, 1}, 1, 25}, 0), 25);
   EXPECT_EQ(ChooseRate({0, {1, 1}, 1, 25}, 1.0 / 60), 25) << "a camera can't do more than it can";
   EXPECT_EQ(ChooseRate({0, {1, 1}, 1, 25}, 1.0 / 5), 25);
   EXPECT_EQ(ChooseRate({0, {1, 1}, 0, 0}, 0.125), 8);
   EXPECT_EQ(ChooseRate({0, {1, 1}, 0, 0}, 0), 30);
   EXPECT_EQ(ChooseRate({0, {1, 1}, 0, 1e-300}, 0), 0.001);
   EXPECT_EQ(ChooseRate({0, {1, 1}, 0, 0}, 1e300), 0.001);
}

TEST(FormatChoice, AnotherSizeIsHalf) {
   EXPECT_EQ(OtherSize({1280, 720}), (VideoDimensions{640, 360}));
   EXPECT_EQ(OtherSize({641, 481}), (VideoDimensions{321, 241}));
   EXPECT_EQ(OtherSize({2, 1}), (VideoDimensions{1, 1}));
   EXPECT_EQ(OtherSize({1, 1}), (VideoDimensions{2, 2}));
}

} // namespace
} // namespace osal
