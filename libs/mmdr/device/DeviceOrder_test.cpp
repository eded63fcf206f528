#include "libs/mmdr/device/DeviceOrder.h"

#include <gtest/gtest.h>

namespace MMDev {
namespace {

DeviceInfo WithId(std::string id, std::string name = {}) {
   DeviceInfo record;
   record.mSystemId = std::move(id);
   record.mName = std::move(name);
   return record;
}

TEST(DeviceOrder, ComparesBytesUnsignedAndShorterFirst) {
   struct Case {
      std::string before;
      std::string after;
   };
   const Case cases[] = {
      {"Alpha", "alpha"}, // upper case before lower case
      {"Zeta", "alpha"},  // whatever the letter
      {"cam", "cam1"},    // a prefix before what it begins
      {"", "a"},          //
      {"~", "\xc3\xa9"},  // bytes above 127 come last
      {"cam10", "cam2"},  // digits are characters, not numbers
      {std::string("a\0", 2), std::string("a\0b", 3)},
   };
   for (const Case &c : cases) {
      EXPECT_TRUE(PrecedesBySystemId(WithId(c.before), WithId(c.after))) << c.before << " < " << c.after;
      EXPECT_FALSE(PrecedesBySystemId(WithId(c.after), WithId(c.before))) << c.before << " < " << c.after;
      EXPECT_FALSE(PrecedesBySystemId(WithId(c.before), WithId(c.before)));
   }
}

TEST(DeviceOrder, OnlyTheSystemIdCounts) {
   DeviceInfo a = WithId("1", "z");
   a.mUserId = "z#1";
   DeviceInfo b = WithId("2", "a");
   b.mUserId = "a#2";
   EXPECT_TRUE(PrecedesBySystemId(a, b));
}

TEST(DeviceOrder, SortsListsOfAnySizeAndKeepsTheOrderOfEqualIds) {
   DeviceList list;
   for (int i = 0; i < 200; ++i) {
      list.push_back(WithId("id" + std::to_string((i * 7919) % 100), std::to_string(i)));
   }
   SortBySystemId(list);
   for (size_t i = 1; i < list.size(); ++i) {
      ASSERT_FALSE(PrecedesBySystemId(list[i], list[i - 1]));
      if (list[i].mSystemId == list[i - 1].mSystemId) {
         EXPECT_LT(std::stoi(list[i - 1].mName), std::stoi(list[i].mName));
      }
   }
   DeviceList none;
   SortBySystemId(none);
   EXPECT_TRUE(none.empty());
}

} // namespace
} // namespace MMDev
