#include "libs/mmdr/device/DeviceNaming.h"

#include <gtest/gtest.h>

namespace MMDev {
namespace {

std::vector<std::string> Unique(std::vector<std::string> names) {
   std::vector<std::string *> pointers;
   for (std::string &name : names) {
      pointers.push_back(&name);
   }
   MakeNamesUnique(pointers);
   return names;
}

using Names = std::vector<std::string>;

TEST(DeviceNaming, FirstOfANameKeepsItLaterOnesAreNumbered) {
   EXPECT_EQ(Unique({}), Names{});
   EXPECT_EQ(Unique({"Cam"}), Names{"Cam"});
   EXPECT_EQ(Unique({"Cam", "Cam", "Cam"}), (Names{"Cam", "Cam 2", "Cam 3"}));
   EXPECT_EQ(Unique({"Cam", "Other", "Cam", "Other"}), (Names{"Cam", "Other", "Cam 2", "Other 2"}));
}

TEST(DeviceNaming, ComparesExactly) {
   EXPECT_EQ(Unique({"Cam", "cam", "Cam "}), (Names{"Cam", "cam", "Cam "}));
   EXPECT_EQ(Unique({"", ""}), (Names{"", " 2"})) << "the empty name is a name";
}

TEST(DeviceNaming, RequiredARawNameWithANumberIsCountedUnderItsFullText) {
   EXPECT_EQ(Unique({"Cam", "Cam", "Cam 2"}), (Names{"Cam", "Cam 2", "Cam 2"}));
   EXPECT_EQ(Unique({"Cam 2", "Cam", "Cam", "Cam 2"}), (Names{"Cam 2", "Cam", "Cam 2", "Cam 2 2"}));
}

TEST(DeviceNaming, NumbersGoOnPastOneDigit) {
   const Names names = Unique(Names(200, "Cam"));
   EXPECT_EQ(names[0], "Cam");
   EXPECT_EQ(names[9], "Cam 10");
   EXPECT_EQ(names[199], "Cam 200");
}

TEST(DeviceNaming, ListFormChangesTheNameAndLeavesTheUserId) {
   DeviceList list(2);
   for (DeviceInfo &record : list) {
      record.mName = "Cam";
      record.mUserId = BuildUserId("Cam", "x");
   }
   MakeNamesUnique(list);
   EXPECT_EQ(list[0].mName, "Cam");
   EXPECT_EQ(list[1].mName, "Cam 2");
   EXPECT_EQ(list[1].mUserId, "Cam#x");
}

TEST(DeviceNaming, UserIdIsNameHashIdAsTheyAre) {
   EXPECT_EQ(BuildUserId("Desk Camera", "sim-cam-1"), "Desk Camera#sim-cam-1");
   EXPECT_EQ(BuildUserId("", ""), "#");
   EXPECT_EQ(BuildUserId("A#B", "C#D"), "A#B#C#D") << "nothing escapes a # in the name";
   EXPECT_EQ(BuildUserId("\xff\xfe", "\x80"), "\xff\xfe#\x80") << "ill-formed UTF-8 passes through";
   EXPECT_EQ(BuildUserId(std::string(300, 'n'), "i").size(), 302u);
}

} // namespace
} // namespace MMDev
