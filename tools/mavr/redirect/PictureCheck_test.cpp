#include "tools/mavr/redirect/PictureCheck.h"

#include "osal/simulated/FrameCounter.h"

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace mavr::redirect {
namespace {

constexpr uint32_t kWidth = 640;
constexpr uint32_t kHeight = 480;
using Place = PictureCheck::Place;

// A 16:9 picture between dark bars, as scaling leaves it.
std::vector<uint8_t> Picture(uint32_t number) {
   std::vector<uint8_t> luma(size_t{kWidth} * kHeight, 0);
   osal::PaintFrameCounter(number, luma.data() + size_t{60} * kWidth, kWidth, kWidth, 360);
   return luma;
}

PictureCheck::Result Of(const std::vector<uint32_t> &numbers) {
   PictureCheck check;
   for (const uint32_t number : numbers) {
      check.Take(Picture(number).data(), kWidth, kHeight, Place::kInOrder);
   }
   return check.Found();
}

TEST(PictureCheck, NumbersRiseAndMaySkip) {
   const auto found = Of({7, 8, 10, 100});
   EXPECT_TRUE(found.HasNumbers());
   EXPECT_EQ(found.pictures, 4U);
   EXPECT_EQ(found.Unreadable(), 0U);
   EXPECT_EQ(found.backwards, 0U);
   EXPECT_EQ(found.first, 7U);
   EXPECT_EQ(found.last, 100U);
}

TEST(PictureCheck, APictureTwiceOrTooLateIsSeen) {
   EXPECT_EQ(Of({7, 7}).backwards, 1U);
   EXPECT_EQ(Of({7, 6, 8}).backwards, 1U);
   EXPECT_EQ(Of({UINT32_MAX, 0}).backwards, 0U) << "the number goes round";
}

TEST(PictureCheck, OneThatWasOvertakenOnItsWayIsNoFault) {
   PictureCheck check;
   check.Take(Picture(2).data(), kWidth, kHeight, Place::kInOrder);
   check.Take(Picture(1).data(), kWidth, kHeight, Place::kOvertaken);
   check.Take(Picture(3).data(), kWidth, kHeight, Place::kInOrder);
   EXPECT_EQ(check.Found().backwards, 0U);
}

TEST(PictureCheck, ATornPictureIsUnreadable) {
   std::vector<uint8_t> torn = Picture(5);
   const std::vector<uint8_t> next = Picture(6);
   std::memcpy(torn.data(), next.data(), torn.size() / 2);
   PictureCheck check;
   check.Take(Picture(4).data(), kWidth, kHeight, Place::kInOrder);
   check.Take(Picture(5).data(), kWidth, kHeight, Place::kInOrder);
   check.Take(torn.data(), kWidth, kHeight, Place::kInOrder);
   EXPECT_EQ(check.Found().Unreadable(), 1U);
   EXPECT_TRUE(check.Found().HasNumbers());
}

TEST(PictureCheck, OtherPicturesShowNone) {
   std::vector<uint8_t> grey(size_t{kWidth} * kHeight, 128);
   PictureCheck check;
   check.Take(grey.data(), kWidth, kHeight, Place::kInOrder);
   EXPECT_FALSE(check.Found().HasNumbers());
   EXPECT_FALSE(PictureCheck().Found().HasNumbers());
}

} // namespace
} // namespace mavr::redirect
