#include "lib/mfw/messageframework/wirestring.h"

#include "lib/mfw/common/logger.h"
#include "tests/kit/LogCapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace CORE {
namespace {

using Bytes = std::vector<uint8_t>;

corestring Text(std::string_view text) {
   return {text.data(), text.size()};
}
std::string_view View(const corestring &text) {
   return {text.Text(), text.Length()};
}

// A cursor over a block of its own and of exactly that size.
class WireString : public ::testing::Test {
protected:
   void Room(size_t size) {
      block = std::make_unique<uint8_t[]>(size);
      cursor.Init(block.get(), static_cast<uint32_t>(size));
      cursor.mCount = 0;
      chars = 0;
   }
   void Content(const Bytes &bytes) {
      Room(bytes.size());
      std::copy(bytes.begin(), bytes.end(), block.get());
   }
   [[nodiscard]] Bytes Written() const { return {block.get(), block.get() + cursor.GetConsumed()}; }
   // Whether the cursor is where it was, and nothing was counted.
   [[nodiscard]] bool Stayed() const { return cursor.GetConsumed() == 0 && cursor.mCount == 0 && chars == 0; }

   std::unique_ptr<uint8_t[]> block;
   bytecursor cursor;
   uint32_t chars = 0;
   corestring text = "before";
   kit::LogCapture log;
};

TEST_F(WireString, NamesEncodingsByTheirBits) {
   EXPECT_STREQ(EncodingName(0), "Undefined");
   EXPECT_STREQ(EncodingName(1), "Utf8");
   EXPECT_STREQ(EncodingName(2), "Utf16");
   EXPECT_STREQ(EncodingName(3), "Utf8,Utf16");
   EXPECT_STREQ(EncodingName(4), "Unrecognized");
   EXPECT_STREQ(EncodingName(0x80000000), "Unrecognized");
   EXPECT_STREQ(EncodingName(5), "Utf8");
   EXPECT_STREQ(EncodingName(0xFFFFFFFF), "Utf8,Utf16");
}

TEST_F(WireString, WritesUtf8AsItIs) {
   Room(8);
   chars = 5;
   EXPECT_TRUE(WriteString(Text("\u00E9"), Utf8, cursor, chars));
   EXPECT_EQ(Written(), (Bytes{0xC3, 0xA9}));
   EXPECT_EQ(cursor.mCount, 2U);
   EXPECT_EQ(chars, 7U);
}

TEST_F(WireString, WritesUtf16InUnitsOfHostOrder) {
   Room(8);
   chars = 5;
   EXPECT_TRUE(WriteString(Text("\u00E9"), Utf16, cursor, chars));
   EXPECT_EQ(Written(), (Bytes{0xE9, 0x00}));
   EXPECT_EQ(cursor.mCount, 1U);
   EXPECT_EQ(chars, 6U);
}

TEST_F(WireString, WritesASurrogatePair) {
   Room(4);
   EXPECT_TRUE(WriteString(Text("\U0001F600"), Utf16, cursor, chars));
   EXPECT_EQ(Written(), (Bytes{0x3D, 0xD8, 0x00, 0xDE}));
   EXPECT_EQ(chars, 2U);
}

TEST_F(WireString, WritesStringsOneBehindTheOther) {
   Room(7);
   EXPECT_TRUE(WriteString(Text("a"), Utf8, cursor, chars));
   EXPECT_TRUE(WriteString(Text("b\u20AC"), Utf16, cursor, chars)) << "at an odd address";
   EXPECT_TRUE(WriteString(Text("cd"), Utf8, cursor, chars));
   EXPECT_EQ(Written(), (Bytes{'a', 'b', 0x00, 0xAC, 0x20, 'c', 'd'}));
   EXPECT_EQ(cursor.mCount, 5U);
   EXPECT_EQ(chars, 5U);
}

TEST_F(WireString, WritesAnEmptyStringInAnyEncodingAndAnywhere) {
   for (const uint32_t encoding : {0U, 1U, 2U, 3U, 99U}) {
      EXPECT_TRUE(WriteString({}, encoding, cursor, chars));
   }
   EXPECT_TRUE(Stayed());
   EXPECT_TRUE(log.Lines().empty()) << log.Dump();
}

TEST_F(WireString, WritesZerosInsideAString) {
   Room(6);
   EXPECT_TRUE(WriteString(Text({"a\0b", 3}), Utf16, cursor, chars));
   EXPECT_EQ(Written(), (Bytes{'a', 0, 0, 0, 'b', 0}));
}

TEST_F(WireString, ABufferOfTwoBytesTakesOneCharacterAndNotTwo) {
   Room(2);
   EXPECT_FALSE(WriteString(Text("\u20AC\u20AC"), Utf16, cursor, chars));
   EXPECT_TRUE(log.Saw(logger::ERROR, "Not enough buffer to copy re-encoded string (UTF8 to UTF16)")) << log.Dump();
   EXPECT_EQ(log.Lines().size(), 1U);
   EXPECT_TRUE(Stayed());
   EXPECT_TRUE(WriteString(Text("\u20AC"), Utf16, cursor, chars));
   EXPECT_EQ(Written(), (Bytes{0xAC, 0x20}));
}

TEST_F(WireString, AFailedWriteMayLeaveBytesBehindTheCursorButNoneBehindTheBuffer) {
   Room(3);
   EXPECT_FALSE(WriteString(Text("ab"), Utf16, cursor, chars));
   EXPECT_TRUE(log.Saw(logger::ERROR, "Not enough buffer to copy re-encoded string (UTF8 to UTF16)")) << log.Dump();
   EXPECT_TRUE(Stayed());
   EXPECT_EQ(block[0], 'a');
   EXPECT_EQ(block[2], 0);
}

TEST_F(WireString, HalfAUnitIsNoRoomForOne) {
   Room(1);
   EXPECT_FALSE(WriteString(Text("a"), Utf16, cursor, chars));
   EXPECT_TRUE(log.Saw(logger::ERROR, "Not enough buffer to copy re-encoded string (UTF8 to UTF16)")) << log.Dump();
}

TEST_F(WireString, APairNeedsRoomForBothUnits) {
   Room(3);
   EXPECT_FALSE(WriteString(Text("\U0001F600"), Utf16, cursor, chars));
   EXPECT_TRUE(log.Saw(logger::ERROR, "Not enough buffer available to copy Utf16 surrogate pair")) << log.Dump();
   EXPECT_EQ(log.Lines().size(), 1U);
   EXPECT_TRUE(Stayed());
}

TEST_F(WireString, WritesUtf16NowhereWithoutABuffer) {
   Room(2);
   ASSERT_TRUE(cursor.Skip(2));
   EXPECT_FALSE(WriteString(Text("a"), Utf16, cursor, chars));
   cursor.mConsumed = 3;
   EXPECT_FALSE(WriteString(Text("a"), Utf16, cursor, chars));
   cursor.Init(nullptr, 2);
   EXPECT_FALSE(WriteString(Text("a"), Utf16, cursor, chars));
   EXPECT_EQ(log.Count(logger::ERROR, "No buffer available to copy string"), 3) << log.Dump();
   EXPECT_EQ(log.Lines().size(), 3U);
   EXPECT_TRUE(Stayed());
}

TEST_F(WireString, WritesUtf8NowhereWithoutRoom) {
   Room(2);
   EXPECT_FALSE(WriteString(Text("abc"), Utf8, cursor, chars));
   EXPECT_TRUE(log.Saw(logger::ERROR, "Not enough buffer left, total=%ld, consumed=%ld, required=%ld", 2L, 0L, 3L))
      << log.Dump();
   EXPECT_TRUE(Stayed());
   cursor.Init(nullptr, 8);
   EXPECT_FALSE(WriteString(Text("abc"), Utf8, cursor, chars));
   EXPECT_TRUE(Stayed());
}

TEST_F(WireString, WritesNothingOfBrokenUtf8) {
   Room(64);
   EXPECT_FALSE(WriteString(Text("good, then \xE2\x82"), Utf16, cursor, chars));
   EXPECT_TRUE(log.Saw(logger::ERROR, "Invalid input, expected 3 bytes")) << log.Dump();
   EXPECT_EQ(log.Lines().size(), 1U);
   EXPECT_TRUE(Stayed());
}

TEST_F(WireString, WritesInOneEncodingOnly) {
   Room(8);
   for (const uint32_t encoding : {0U, 3U, 4U, 0xFFFFFFFFU}) {
      EXPECT_FALSE(WriteString(Text("a"), encoding, cursor, chars));
      EXPECT_TRUE(log.Saw(logger::ERROR, "Unsupported conversion code=%d", static_cast<int>(encoding))) << log.Dump();
   }
   EXPECT_EQ(log.Lines().size(), 4U);
   EXPECT_TRUE(Stayed());
}

TEST_F(WireString, WritesAStringIntoItself) {
   text = "abcdefgh";
   cursor.Init(reinterpret_cast<uint8_t *>(text.Data()) + 2, 6);
   corestring whole("abcd");
   EXPECT_TRUE(WriteString(whole, Utf8, cursor, chars));
   cursor.Init(reinterpret_cast<uint8_t *>(whole.Data()), 4);
   EXPECT_TRUE(WriteString(whole, Utf8, cursor, chars));
   EXPECT_EQ(View(text), "ababcdgh");
   EXPECT_EQ(View(whole), "abcd");
}

TEST_F(WireString, ReadsUtf8UncheckedAsRequired) {
   Content({'a', 0xFF, 0x00, 0xC3, 'b'});
   EXPECT_TRUE(ReadString(text, cursor, 4, Utf8));
   EXPECT_EQ(View(text), std::string_view("a\xFF\0\xC3", 4));
   EXPECT_EQ(cursor.GetConsumed(), 4U);
   EXPECT_EQ(cursor.mCount, 4U);
   EXPECT_TRUE(log.Lines().empty()) << log.Dump();
}

TEST_F(WireString, ReadsASurrogatePair) {
   Content({0x3D, 0xD8, 0x00, 0xDE});
   EXPECT_TRUE(ReadString(text, cursor, 2, Utf16));
   EXPECT_EQ(View(text), "\xF0\x9F\x98\x80");
   EXPECT_EQ(cursor.GetConsumed(), 4U);
   EXPECT_EQ(cursor.mCount, 2U);
}

TEST_F(WireString, ReadsU40000AsASmallerCodePointAsRequired) {
   Content({0xC0, 0xD8, 0x00, 0xDC});
   EXPECT_TRUE(ReadString(text, cursor, 2, Utf16));
   EXPECT_EQ(View(text), "\xF0\x80\x80\x80");
}

TEST_F(WireString, ReadsALoneLowSurrogateAsRequired) {
   Content({0x00, 0xDC});
   EXPECT_TRUE(ReadString(text, cursor, 1, Utf16));
   EXPECT_EQ(View(text), "\xED\xB0\x80");
}

TEST_F(WireString, ReadsZerosInsideAString) {
   Content({'a', 0, 0, 0, 'b', 0});
   EXPECT_TRUE(ReadString(text, cursor, 3, Utf16));
   EXPECT_EQ(View(text), std::string_view("a\0b", 3));
}

TEST_F(WireString, ReadsNoCharactersWithoutAnyChange) {
   cursor.Init(nullptr, 0);
   for (const uint32_t encoding : {0U, 1U, 2U, 3U, 99U}) {
      EXPECT_TRUE(ReadString(text, cursor, 0, encoding));
   }
   EXPECT_EQ(View(text), "before");
   EXPECT_TRUE(Stayed());
   EXPECT_TRUE(log.Lines().empty()) << log.Dump();
}

TEST_F(WireString, NeedsAllBytesToReadUtf8) {
   Content({'a', 'b'});
   EXPECT_FALSE(ReadString(text, cursor, 3, Utf8));
   EXPECT_TRUE(log.Saw(logger::ERROR, "Not enough bytes left to read from(Utf8 to Utf8), found=%ld, need=%ld", 2L, 3L))
      << log.Dump();
   EXPECT_EQ(log.Lines().size(), 1U);
   EXPECT_TRUE(Stayed());
   EXPECT_EQ(View(text), "before");
}

TEST_F(WireString, NeedsAllBytesToReadUtf16) {
   Content({'a', 0, 'b'});
   EXPECT_FALSE(ReadString(text, cursor, 2, Utf16));
   EXPECT_TRUE(log.Saw(logger::ERROR, "Not enough bytes left to read from(Utf16 to Utf8), found=%ld, need=%ld", 3L, 4L))
      << log.Dump();
   EXPECT_EQ(log.Lines().size(), 1U);
   EXPECT_TRUE(Stayed());
   EXPECT_EQ(View(text), "before");
}

TEST_F(WireString, TakesConsumedBeyondTotalForNothingLeft) {
   Content({'a', 0});
   cursor.mConsumed = 3;
   EXPECT_FALSE(ReadString(text, cursor, 1, Utf8));
   EXPECT_FALSE(ReadString(text, cursor, 1, Utf16));
   EXPECT_TRUE(log.Saw(logger::ERROR, "Not enough bytes left to read from(Utf8 to Utf8), found=%ld, need=%ld", 0L, 1L))
      << log.Dump();
   EXPECT_TRUE(log.Saw(logger::ERROR, "Not enough bytes left to read from(Utf16 to Utf8), found=%ld, need=%ld", 0L, 2L))
      << log.Dump();
   EXPECT_EQ(cursor.GetConsumed(), 3U);
}

TEST_F(WireString, ReadsNothingWithoutABuffer) {
   cursor.Init(nullptr, 8);
   EXPECT_FALSE(ReadString(text, cursor, 1, Utf8));
   EXPECT_FALSE(ReadString(text, cursor, 1, Utf16));
   EXPECT_EQ(log.CountLevel(logger::ERROR), 2) << log.Dump();
   EXPECT_TRUE(Stayed());
}

TEST_F(WireString, NoNumberOfCharactersWraps) {
   Content({'a', 0, 'b', 0});
   for (const uint32_t count : {0x80000000U, 0x80000001U, 0x40000001U, UINT32_MAX}) {
      EXPECT_FALSE(ReadString(text, cursor, count, Utf8));
      EXPECT_FALSE(ReadString(text, cursor, count, Utf16));
      EXPECT_TRUE(log.Saw(logger::ERROR, "Not enough bytes left to read from(Utf16 to Utf8), found=%ld, need=%ld", 4L,
                          2L * count))
         << log.Dump();
   }
   EXPECT_TRUE(Stayed());
}

TEST_F(WireString, RefusesTextsThatAStringCannotHold) {
   Content({'a', 0});
   cursor.mTotal = UINT32_MAX; // nothing of it is touched here
   EXPECT_FALSE(ReadString(text, cursor, 0x80000000U, Utf8));
   EXPECT_FALSE(ReadString(text, cursor, UINT32_MAX, Utf8));
   EXPECT_EQ(log.Count(logger::ERROR, "Failed to allocate memory(Utf8 to Utf8)"), 2) << log.Dump();
   EXPECT_FALSE(ReadString(text, cursor, 0x7FFFFFFFU, Utf16));
   EXPECT_TRUE(log.Saw(logger::ERROR, "Failed to allocate memory(Utf16 to Utf8)")) << log.Dump();
   EXPECT_EQ(log.Lines().size(), 3U);
   EXPECT_TRUE(Stayed());
   EXPECT_EQ(View(text), "before");
}

TEST_F(WireString, StaysAtAHighSurrogateThatEndsAString) {
   Content({'a', 0, 0x3D, 0xD8, 0x00, 0xDE});
   EXPECT_FALSE(ReadString(text, cursor, 2, Utf16)) << "the low half lies beyond the string";
   EXPECT_TRUE(log.Saw(logger::DEBUG, "Incomplete surrogate char found")) << log.Dump();
   EXPECT_EQ(log.Lines().size(), 1U);
   EXPECT_TRUE(Stayed());
   EXPECT_EQ(View(text), "before");
}

TEST_F(WireString, StaysAtAHighSurrogateWithoutALowOne) {
   Content({0x3D, 0xD8, 'a', 0});
   EXPECT_FALSE(ReadString(text, cursor, 2, Utf16));
   EXPECT_TRUE(log.Saw(logger::ERROR, "Invalid low surrogate value")) << log.Dump();
   EXPECT_TRUE(Stayed());
}

TEST_F(WireString, ReadsInOneEncodingOnly) {
   Content({'a', 0});
   for (const uint32_t encoding : {0U, 3U, 4U, 0xFFFFFFFFU}) {
      EXPECT_FALSE(ReadString(text, cursor, 1, encoding));
      EXPECT_TRUE(log.Saw(logger::ERROR, "Unsupported encoding code=%d", static_cast<int>(encoding))) << log.Dump();
   }
   EXPECT_TRUE(Stayed());
   EXPECT_EQ(View(text), "before");
}

TEST_F(WireString, ReadsUnitsAtAnyAddress) {
   Bytes bytes{0xFF};
   for (int i = 0; i < 40; ++i) {
      bytes.insert(bytes.end(), {'x', 0, 0xAC, 0x20});
   }
   Content(bytes);
   ASSERT_TRUE(cursor.Skip(1));
   EXPECT_TRUE(ReadString(text, cursor, 80, Utf16));
   EXPECT_EQ(View(text).substr(0, 8), "x\u20ACx\u20AC");
   EXPECT_EQ(text.Length(), 160U);
}

TEST_F(WireString, WritesAndReadsStringsOfEveryLength) {
   for (const std::string_view piece : {"a", "\u00E9", "\u20AC", "\U0001F600", "ab\u00E9\u20AC\U0001F600"}) {
      std::string whole;
      for (int length = 0; length < 300; ++length) {
         whole += piece;
         Room(whole.size() * 2);
         ASSERT_TRUE(WriteString(Text(whole), Utf16, cursor, chars));
         const uint32_t units = chars;
         const Bytes bytes = Written();
         ASSERT_EQ(bytes.size(), size_t{units} * 2);
         Content(bytes);
         ASSERT_TRUE(ReadString(text, cursor, units, Utf16)) << log.Dump();
         ASSERT_EQ(View(text), whole);
         ASSERT_EQ(cursor.GetConsumed(), units * 2);
      }
   }
}

TEST_F(WireString, KeepsASecureStringSecure) {
   for (const uint32_t units : {2U, 4000U}) {
      Content(Bytes(units * size_t{2}, 'a'));
      text.SetSecure();
      EXPECT_TRUE(ReadString(text, cursor, units, Utf16));
      EXPECT_TRUE(text.IsSecure());
      EXPECT_TRUE(ReadString(text, cursor, 0, Utf8));
   }
}

TEST_F(WireString, ALongStringTakesNoMoreRoomThanItNeeds) {
   Content(Bytes(8000, 0));
   std::fill(block.get(), block.get() + 8000, uint8_t{0x21}); // U+2121, three bytes
   EXPECT_TRUE(ReadString(text, cursor, 4000, Utf16));
   EXPECT_EQ(text.Length(), 12000U);
   EXPECT_EQ(text.Capacity(), 12000U);
}

} // namespace
} // namespace CORE
