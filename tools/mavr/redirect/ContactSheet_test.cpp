#include "tools/mavr/redirect/ContactSheet.h"

#include <gtest/gtest.h>

namespace mavr::redirect {
namespace {

std::vector<uint8_t> Flat(uint32_t width, uint32_t height, uint8_t luma) {
   std::vector<uint8_t> i420(size_t{width} * height, luma);
   i420.resize(size_t{width} * height * 3 / 2, 200);
   return i420;
}

TEST(ContactSheet, TakesTwelveEvenlySpreadOverTheStream) {
   ContactSheet sheet(640, 480, 150);
   for (uint64_t number = 0; number < 150; ++number) {
      sheet.Offer(number, Flat(640, 480, 50).data());
   }
   EXPECT_EQ(sheet.Numbers(), (std::vector<uint64_t>{0, 12, 25, 37, 50, 62, 75, 87, 100, 112, 125, 137}));
}

TEST(ContactSheet, AStreamWithHolesGivesTheNextOnesThatCame) {
   ContactSheet sheet(640, 480, 120);
   for (const uint64_t number : {5U, 6U, 13U, 100U, 101U}) {
      sheet.Offer(number, Flat(640, 480, 50).data());
   }
   EXPECT_EQ(sheet.Numbers(), (std::vector<uint64_t>{5, 13, 100, 101}));
}

TEST(ContactSheet, LaysThumbsIntoRowsOnGrey) {
   ContactSheet sheet(640, 480, 6);
   for (uint64_t number = 0; number < 6; ++number) {
      sheet.Offer(number, Flat(640, 480, static_cast<uint8_t>(10 * number + 10)).data());
   }
   const ContactSheet::Sheet whole = sheet.Compose();
   EXPECT_EQ(whole.width, 660U);
   EXPECT_EQ(whole.height, 2U * 124 + 4);
   ASSERT_EQ(whole.i420.size(), size_t{660} * 252 * 3 / 2);
   const auto luma = [&](size_t x, size_t y) {
      return whole.i420[y * 660 + x];
   };
   EXPECT_EQ(luma(0, 0), 96);
   EXPECT_EQ(luma(4, 4), 10);
   EXPECT_EQ(luma(163, 123), 10);
   EXPECT_EQ(luma(164, 4), 96);
   EXPECT_EQ(luma(168, 4), 20);
   EXPECT_EQ(luma(4 + 164, 128), 60);
   EXPECT_EQ(luma(size_t{2} * 164 + 4, 128), 96) << "no seventh";
   EXPECT_EQ(whole.i420[size_t{660} * 252 + size_t{2} * 330 + 2], 200) << "colour";
   EXPECT_EQ(whole.i420[size_t{660} * 252], 128) << "none around";
}

TEST(ContactSheet, EveryShapeOfFrameHasAThumb) {
   struct {
      uint32_t width;
      uint32_t height;
   } const shapes[] = {{4, 4}, {8192, 4}, {4, 8192}, {1280, 720}, {8, 4}};
   for (const auto &shape : shapes) {
      ContactSheet sheet(shape.width, shape.height, 1);
      sheet.Offer(0, Flat(shape.width, shape.height, 50).data());
      EXPECT_EQ(sheet.Numbers().size(), 1U) << shape.width << "x" << shape.height;
      EXPECT_EQ(sheet.Compose().i420.size() % 3, 0U);
   }
}

TEST(ContactSheet, OfNothingIsAnEmptyRow) {
   const ContactSheet::Sheet empty = ContactSheet(640, 480, 0).Compose();
   EXPECT_EQ(empty.height, 128U);
}

} // namespace
} // namespace mavr::redirect
