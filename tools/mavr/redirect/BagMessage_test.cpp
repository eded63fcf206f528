#include "tools/mavr/redirect/BagMessage.h"

#include <gtest/gtest.h>

#include <string>

namespace mavr::redirect {
namespace {

using CORE::PropertyBag;

std::string Packed(const PropertyBag &bag) {
   const std::vector<uint8_t> bytes = PackBag(bag);
   return {bytes.begin(), bytes.end()};
}

bool Reads(const std::string &bytes, PropertyBag &out) {
   return UnpackBag(bytes.data(), bytes.size(), out);
}

std::string Bytes(const char *text, size_t size) {
   return {text, size};
}

TEST(BagMessage, IsTheBytesOfItsPage) {
   PropertyBag bag("message=ready", nullptr);
   PropertyBag video("rate=30", "name=", nullptr);
   bag.AddBag("video", video, true);
   const std::string expected = Bytes("\0\2"                                             // 2 entries
                                      "\1\0\7message\0\5ready"                           // a text
                                      "\2\0\5video\0\2\1\0\4rate\0\00230\1\0\4name\0\0", // a bag of 2 texts
                                      2 + 17 + 8 + 2 + 11 + 9);
   EXPECT_EQ(Packed(bag), expected);
   PropertyBag again;
   ASSERT_TRUE(Reads(expected, again));
   EXPECT_TRUE(again.Equals(bag, true, true));
}

TEST(BagMessage, EmptyAndRepeatedAndNestedEntriesAreKept) {
   PropertyBag bag("a=1", "a=2", "=", "x=caf\xC3\xA9", nullptr);
   bag.AddBag("", PropertyBag(), false);
   PropertyBag again;
   ASSERT_TRUE(Reads(Packed(bag), again));
   EXPECT_TRUE(again.Equals(bag, true, true));
   PropertyBag none;
   EXPECT_EQ(Packed(none), Bytes("\0\0", 2));
   EXPECT_TRUE(Reads(Bytes("\0\0", 2), none));
   EXPECT_EQ(none.GetCount(), 0U);
}

TEST(BagMessage, LeavesOutWhatItHasNoRoomFor) {
   PropertyBag bag("kept=1", nullptr);
   bag.AddBinary("bytes", "\1\2", 2);
   bag.Add("long", std::string(65536, 'x').c_str());
   bag.Add(std::string(65536, 'n').c_str(), "x");
   bag.Add("longest", std::string(65535, 'x').c_str());
   PropertyBag again;
   ASSERT_TRUE(Reads(Packed(bag), again));
   EXPECT_EQ(again.GetCount(), 2U);
   EXPECT_STREQ(again.GetStringOrNull("kept"), "1");
   EXPECT_EQ(again.GetString("longest").Length(), 65535U);
}

TEST(BagMessage, BagsAreEightLevelsDeepAtMost) {
   PropertyBag bag("level=9", nullptr);
   for (int level = 8; level >= 1; --level) {
      PropertyBag outer;
      outer.Set("level", std::to_string(level).c_str());
      outer.AddBag("inner", bag, true);
      bag.Assign(outer);
   }
   PropertyBag again;
   ASSERT_TRUE(Reads(Packed(bag), again));
   size_t levels = 1;
   PropertyBag at;
   for (at.Share(again); at.IsBag("inner"); at.Share(at.GetBag("inner"))) {
      ++levels;
   }
   EXPECT_EQ(levels, kDeepest);
   std::string deep;
   for (int level = 0; level < 9; ++level) {
      deep += Bytes("\0\1\2\0\1i", 6);
   }
   PropertyBag refused;
   EXPECT_FALSE(Reads(deep + Bytes("\0\0", 2), refused));
}

TEST(BagMessage, RefusesEveryPieceOfOneAndWhatHangsOn) {
   PropertyBag bag("message=end", "frames=150", nullptr);
   bag.AddBag("video", PropertyBag("lost=3", nullptr), true);
   const std::string whole = Packed(bag);
   for (size_t size = 0; size < whole.size(); ++size) {
      PropertyBag out("kept=1", nullptr);
      EXPECT_FALSE(Reads(whole.substr(0, size), out)) << size;
      EXPECT_EQ(out.GetCount(), 1U) << "unchanged";
   }
   PropertyBag out;
   EXPECT_FALSE(Reads(whole + "x", out));
}

TEST(BagMessage, RefusesUnknownKindsZerosAndSizesBeyondTheEnd) {
   for (const std::string &bytes :
        {Bytes("\0\1\3\0\1a\0\1b", 9), Bytes("\0\1\0\0\1a\0\1b", 9), Bytes("\0\1\1\0\1\0\0\1b", 9),
         Bytes("\0\1\1\0\1a\0\1\0", 9), Bytes("\0\1\1\377\377a\0\1b", 9), Bytes("\377\377\1\0\1a\0\1b", 9)}) {
      PropertyBag out;
      EXPECT_FALSE(Reads(bytes, out));
   }
}

} // namespace
} // namespace mavr::redirect
