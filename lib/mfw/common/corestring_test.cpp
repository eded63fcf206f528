#include "lib/mfw/common/corestring.h"

#include "lib/mfw/common/coreException.h"
#include "lib/mfw/common/coreref.h"

#include <cstdlib>
#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <utility>
#include <vector>

using CORE::corestring;

namespace {

// What a call throws; "" for nothing.
std::string ThrownBy(const std::function<void()> &call) {
   try {
      call();
   } catch (const CORE::coreException &error) {
      EXPECT_EQ(error.Code(), 0);
      return error.Message() != nullptr ? error.Message() : "null";
   }
   return "";
}

std::string Std(const corestring &text) {
   return {text.Text(), text.Length()};
}

// Byte `offset` of the block, header first.
unsigned char &BlockByte(corestring &text, size_t offset) {
   return *(reinterpret_cast<unsigned char *>(text.Data()) - 32 + offset);
}

void SetMirror(corestring &text, uint32_t mirror) {
   std::memcpy(&BlockByte(text, 24), &mirror, sizeof mirror);
}

uint32_t Mirror(corestring &text) {
   uint32_t mirror = 0;
   std::memcpy(&mirror, &BlockByte(text, 24), sizeof mirror);
   return mirror;
}

// ---- Layout ---------------------------------------------------------------------------------------------------------

static_assert(sizeof(corestring) == sizeof(void *));

TEST(CoreString, EmptyTextIsANullPointer) {
   const corestring empty;
   EXPECT_EQ(empty.Data(), nullptr);
   EXPECT_EQ(empty.Length(), 0U);
   EXPECT_EQ(empty.Capacity(), 0U);
   EXPECT_TRUE(empty.IsEmpty());
   EXPECT_STREQ(empty.Text(), "");
   EXPECT_EQ(corestring("").Data(), nullptr);
   EXPECT_EQ(corestring(nullptr).Data(), nullptr);
}

TEST(CoreString, BlockIsHeaderCharactersZeroAndEndGuard) {
   corestring text("Hello");
   text.SetSecure();
   const unsigned char block[] = {
      5,    0,    0,    0,    0,   0, 0, 0, // length
      5,    0,    0,    0,    0,   0, 0, 0, // capacity
      0xFA, 0xFA, 0xFA, 0xFA,               // start guard
      1,    0,                              // flags: secure
      0xFB, 0xFB,                           // middle guard
      5,    0,    0,    0,                  // length mirror
      0,    0,    0,    0,                  // reserved
      'H',  'e',  'l',  'l',  'o', 0,       // the pointer points to the first
      0xFC, 0xFC, 0xFC, 0xFC,               // end guard
   };
   static_assert(sizeof block == 5 + 37);
   EXPECT_EQ(std::memcmp(&BlockByte(text, 0), block, sizeof block), 0);
}

TEST(CoreString, EndGuardLiesBehindTheCapacity) {
   corestring text("0123456789");
   text.SetLength(20);
   ASSERT_EQ(text.Capacity(), 148U);
   EXPECT_EQ(text.Data()[20], '\0');
   for (size_t i = 0; i < 4; ++i) {
      EXPECT_EQ(BlockByte(text, 33 + 148 + i), 0xFC);
   }
}

// ---- Room -----------------------------------------------------------------------------------------------------------

TEST(CoreString, RoomGrowsAndShrinksByTheRule) {
   struct {
      size_t before; // exact
      size_t length;
      bool exact;
      size_t capacity;
   } const cases[] = {
      {10, 20, false, 148},                                 // 128 more at least
      {1000, 100, false, 228},                              // 100 + 2 * 128 < 1000
      {356, 100, false, 356},                               // 100 + 2 * 128 is not below 356
      {357, 100, false, 228},                               // but below 357
      {1000, 1000, false, 1000}, {1000, 1001, false, 1501}, // half as much again
      {1000, 500, false, 1000},                             // 500 + 2 * 250
      {1001, 500, false, 750},   {255, 256, false, 384},    // 128 is half
      {255, 257, false, 385},    {255, 258, false, 387},    {10, 10, true, 10},   {10, 11, true, 11},
      {1000, 999, true, 999},    {1000, 0, true, 0},        {300, 1, false, 129}, {257, 1, false, 257},
   };
   for (const auto &each : cases) {
      corestring text;
      text.SetLength(each.before, true);
      ASSERT_EQ(text.Capacity(), each.before);
      text.SetLength(each.length, each.exact);
      EXPECT_EQ(text.Capacity(), each.capacity) << each.before << " to " << each.length;
      EXPECT_EQ(text.Length(), each.length);
      EXPECT_EQ(text.Data()[each.length], '\0');
      EXPECT_EQ(Mirror(text), each.length);
   }
}

TEST(CoreString, FirstBlockHasExactlyTheRoom) {
   for (const bool exact : {false, true}) {
      corestring text;
      text.SetLength(10, exact);
      EXPECT_EQ(text.Capacity(), 10U);
   }
}

TEST(CoreString, LengthZeroReleasesAndExactZeroKeepsABlock) {
   corestring text("abc");
   text.SetLength(0);
   EXPECT_EQ(text.Data(), nullptr);
   text.SetLength(0);
   EXPECT_EQ(text.Data(), nullptr);
   text.SetLength(0, true);
   ASSERT_NE(text.Data(), nullptr);
   EXPECT_EQ(text.Capacity(), 0U);
   EXPECT_TRUE(text.IsEmpty());
   EXPECT_STREQ(text.Text(), "");
   const corestring copy(text);
   EXPECT_EQ(copy.Data(), nullptr);
   text.Append("x");
   EXPECT_EQ(Std(text), "x");
}

TEST(CoreString, GrowthKeepsTheText) {
   corestring text("0123456789");
   text.SetLength(5000);
   EXPECT_EQ(std::memcmp(text.Data(), "0123456789", 10), 0);
   text.SetLength(4);
   EXPECT_EQ(Std(text), "0123");
}

TEST(CoreString, LengthThatTheMirrorCannotTellIsOutOfMemory) {
   corestring text("abc");
   const char byte = 'x';
   for (const size_t length :
        {size_t{INT32_MAX} + 1, size_t{UINT32_MAX}, size_t{UINT32_MAX} + 4, SIZE_MAX - 36, SIZE_MAX}) {
      EXPECT_EQ(ThrownBy([&] { text.SetLength(length); }), "OutOfMem") << length;
      EXPECT_EQ(ThrownBy([&] { text.SetLength(length, true); }), "OutOfMem") << length;
   }
   for (const ptrdiff_t length : {ptrdiff_t{-3}, PTRDIFF_MIN, PTRDIFF_MAX, ptrdiff_t{INT32_MAX} + 1}) {
      EXPECT_EQ(ThrownBy([&] { text.Assign(&byte, length); }), "OutOfMem") << length;
      EXPECT_EQ(ThrownBy([&] { text.Append(&byte, length); }), "OutOfMem") << length;
      EXPECT_EQ(ThrownBy([&] { text.Replace(1, 1, &byte, length); }), "OutOfMem") << length;
   }
   EXPECT_EQ(ThrownBy([&] { text.Append(&byte, INT32_MAX - 2); }), "OutOfMem");
   EXPECT_EQ(ThrownBy([&] { text.Replace(1, 1, &byte, INT32_MAX - 1); }), "OutOfMem");
   EXPECT_EQ(ThrownBy([&] { text.AssignBinary(&byte, 0x80000000); }), "OutOfMem");
   EXPECT_EQ(ThrownBy([&] { text.AssignBinary(&byte, UINT32_MAX); }), "OutOfMem");
   EXPECT_EQ(Std(text), "abc");
}

// ---- Assign ---------------------------------------------------------------------------------------------------------

TEST(CoreString, AssignsByLengthOrUpToTheZero) {
   corestring text;
   text.Assign("abcdef", 3);
   EXPECT_EQ(Std(text), "abc");
   text.Assign("de\0f");
   EXPECT_EQ(Std(text), "de");
   text.Assign("xyz", -2);
   EXPECT_EQ(Std(text), "xyz");
   text.Assign("a\0b", 3);
   EXPECT_EQ(Std(text), std::string("a\0b", 3));
   text.Assign("abc", 0);
   EXPECT_EQ(text.Data(), nullptr);
}

TEST(CoreString, NullIsAnEmptyTextEverywhere) {
   corestring text("abc");
   text.Append(nullptr);
   text.Append(nullptr, 5);
   text.TrimLeft(nullptr);
   text.TrimRight(nullptr);
   EXPECT_EQ(text.ReplaceAll(nullptr, "x"), 0U);
   EXPECT_EQ(Std(text), "abc");
   text.Replace(1, 1, nullptr);
   EXPECT_EQ(Std(text), "ac");
   text.Replace(1, 0, nullptr, 7);
   EXPECT_EQ(Std(text), "ac");
   EXPECT_EQ(text.ReplaceAll("a", nullptr), 1U);
   EXPECT_EQ(Std(text), "c");
   EXPECT_FALSE(text == nullptr);
   for (const ptrdiff_t length : {-1, -2, 0, 5}) {
      text.Assign("abc");
      text.Assign(nullptr, length);
      EXPECT_EQ(text.Data(), nullptr);
   }
   EXPECT_TRUE(text == nullptr);
   text.AssignBinary(nullptr, 4);
   EXPECT_TRUE(text.IsEmpty());
   EXPECT_EQ(text.BinarySize(), 0U);
   text.Assign("abc");
   void (corestring::*const formatV)(const char *, va_list) = &corestring::FormatV; // unseen by the compiler's checks
   va_list noArguments{};
   (text.*formatV)(nullptr, noArguments);
   EXPECT_EQ(text.Data(), nullptr);
   text.TrimLeft(" ");
   text.TrimRight(" ");
   EXPECT_EQ(text.ReplaceAll("a", "b"), 0U);
   EXPECT_EQ(text.Data(), nullptr);
}

TEST(CoreString, EqualsATextOfTheSameLengthOnlyWhenEachByteDoes) {
   const corestring text("abc");
   EXPECT_TRUE(text == "abc");
   EXPECT_FALSE(text == "abd");
   EXPECT_FALSE(text == corestring("abd"));
   EXPECT_FALSE(text == "ab");
   EXPECT_FALSE(text == "abcd");
}

TEST(CoreString, AssignsAPartOfItself) {
   corestring text("0123456789");
   text.Assign(text.Data() + 3, 4);
   EXPECT_EQ(Std(text), "3456");
   text.Assign(text.Data() + 1);
   EXPECT_EQ(Std(text), "456");
   text.Assign(text.Data());
   EXPECT_EQ(Std(text), "456");
   text.Assign(text.Data() + 3); // its zero
   EXPECT_EQ(text.Data(), nullptr);
}

TEST(CoreString, AssignsAPartOfItselfThatTakesASmallerBlock) {
   const std::string all(2000, 'x');
   corestring text((all + "tail").c_str());
   text.Assign(text.Data() + 2000, 4);
   EXPECT_EQ(Std(text), "tail");
   EXPECT_EQ(text.Capacity(), 132U);
}

TEST(CoreString, PartOfItselfMayIncludeTheZeroAndNoMore) {
   corestring text("0123456789");
   EXPECT_EQ(ThrownBy([&] { text.Assign(text.Data() + 4, 8); }), "buffer overrun in overlapping data");
   EXPECT_EQ(ThrownBy([&] { text.Assign(text.Data() + 10, 2); }), "buffer overrun in overlapping data");
   EXPECT_EQ(ThrownBy([&] { text.Append(text.Data() + 4, 8); }), "buffer overrun in overlapping data");
   EXPECT_EQ(ThrownBy([&] { text.Replace(0, 1, text.Data() + 4, 8); }), "buffer overrun in overlapping data");
   EXPECT_EQ(Std(text), "0123456789");
   text.Assign(text.Data() + 4, 7);
   EXPECT_EQ(Std(text), std::string("456789\0", 7));
   text.Assign(text.Data(), 8); // grows by the zero
   EXPECT_EQ(Std(text), std::string("456789\0\0", 8));
}

TEST(CoreString, SourceInTheRoomBehindTheZeroIsAnOverrun) {
   corestring text;
   text.SetLength(300, true);
   text.SetLength(100);
   ASSERT_EQ(text.Capacity(), 300U);
   for (const ptrdiff_t length : {ptrdiff_t{-1}, ptrdiff_t{1}, PTRDIFF_MAX}) {
      EXPECT_EQ(ThrownBy([&] { text.Assign(text.Data() + 200, length); }), "buffer overrun in overlapping data");
      EXPECT_EQ(ThrownBy([&] { text.Append(text.Data() + 200, length); }), "buffer overrun in overlapping data");
   }
   EXPECT_EQ(text.Length(), 100U);
}

// ---- Copy -----------------------------------------------------------------------------------------------------------

TEST(CoreString, CopiesHaveBlocksOfTheirOwn) {
   corestring text("abc");
   corestring copy(text);
   EXPECT_NE(copy.Data(), text.Data());
   copy.Data()[0] = 'x';
   EXPECT_EQ(Std(text), "abc");
   text.Copy(copy);
   EXPECT_EQ(Std(text), "xbc");
   const corestring &same = text;
   text = same;
   EXPECT_EQ(Std(text), "xbc");
   text.Copy(corestring());
   EXPECT_EQ(text.Data(), nullptr);
}

TEST(CoreString, MovesTakeTheBlock) {
   corestring text("abc");
   const char *const block = text.Data();
   corestring taken(std::move(text));
   EXPECT_EQ(taken.Data(), block);
   corestring other("x");
   other = std::move(taken);
   EXPECT_EQ(other.Data(), block);
   corestring &same = other;
   other = std::move(same);
   EXPECT_EQ(other.Data(), block);
}

TEST(CoreString, CopyOfASecureTextIsSecureAndASecureTextStaysSo) {
   corestring secret("secret");
   EXPECT_FALSE(secret.IsSecure());
   secret.SetSecure();
   EXPECT_TRUE(corestring(secret).IsSecure());
   corestring copy("x");
   copy.Copy(secret);
   EXPECT_TRUE(copy.IsSecure());
   copy.Copy(corestring("plain"));
   EXPECT_TRUE(copy.IsSecure());
   corestring empty;
   empty.SetSecure();
   EXPECT_FALSE(empty.IsSecure());
}

TEST(CoreString, EveryChangeOfASecureTextKeepsItSecure) {
   const std::string longText(9000, 'x');
   const std::function<void(corestring &)> changes[] = {
      [](corestring &text) { text.Append("more"); },
      [&](corestring &text) { text.Append(longText.c_str()); },
      [](corestring &text) { text.Append(text); },
      [](corestring &text) { text.Assign(text.Data() + 2); },
      [](corestring &text) { text.Assign("other"); },
      [](corestring &text) { text.Replace(0, 6, "x"); },
      [](corestring &text) { text.Replace(0, 2, text.Data() + 1); },
      [&](corestring &text) { text.Replace(2, 1, longText.c_str()); },
      [](corestring &text) { text.ReplaceAll("e", "xyz"); },
      [](corestring &text) { text.TrimLeft("s"); },
      [](corestring &text) { text.TrimRight("t"); },
      [](corestring &text) { text.Format("%s!", text.Text()); },
      [&](corestring &text) { text.Format("%s%s", text.Text(), longText.c_str()); },
      [](corestring &text) { text.SetLength(1000, true); },
      [](corestring &text) { text.AssignBinary("b", 1); },
   };
   for (const auto &change : changes) {
      corestring text("secret");
      text.SetSecure();
      change(text);
      EXPECT_TRUE(text.IsSecure()) << &change - changes;
   }
}

TEST(CoreString, BinaryValueIsMarkedInTheMirror) {
   corestring value;
   value.AssignBinary("a\0b\0", 4);
   EXPECT_EQ(Mirror(value), 0x80000004U);
   EXPECT_EQ(value.BinarySize(), 4U);
   EXPECT_EQ(Std(value), std::string("a\0b\0", 4));
   EXPECT_EQ(value.Capacity(), 4U);
   corestring copy("something longer");
   copy.Copy(value);
   EXPECT_EQ(Mirror(copy), 0x80000004U);
   EXPECT_EQ(copy.Capacity(), 4U); // exactly
   EXPECT_EQ(Std(copy), Std(value));
   copy.Append("x");
   EXPECT_EQ(copy.BinarySize(), 0U);
   EXPECT_EQ(Std(copy), std::string("a\0b\0x", 5));
   value.AssignBinary(value.Data() + 2, 2); // of itself
   EXPECT_EQ(Std(value), std::string("b\0", 2));
   EXPECT_EQ(value.BinarySize(), 2U);
}

TEST(CoreString, MarkWithoutACountIsAText) {
   corestring text("abc");
   SetMirror(text, 0x80000000);
   EXPECT_EQ(text.BinarySize(), 0U);
   corestring copy(text);
   EXPECT_EQ(Std(copy), "abc");
   EXPECT_EQ(Mirror(copy), 3U);
   text.AssignBinary("abc", 0);
   EXPECT_TRUE(text.IsEmpty());
   EXPECT_EQ(text.BinarySize(), 0U);
}

TEST(CoreString, MarkWithACountBeyondTheTextIsAText) {
   for (const uint32_t mirror : {0xFFFFFFFFU, 0x80000004U}) {
      corestring text("abc");
      SetMirror(text, mirror);
      const corestring copy(text);
      EXPECT_EQ(Std(copy), "abc");
   }
}

// ---- Damage ---------------------------------------------------------------------------------------------------------

TEST(CoreString, DamageOfEachGuardAndOfTheMirrorIsFoundAtRelease) {
   const size_t length = 5;
   const size_t places[] = {16, 17, 18, 19, 22, 23, 24, 25, 26, 33 + length, 34 + length, 35 + length, 36 + length};
   for (const size_t place : places) {
      corestring text("Hello");
      unsigned char &byte = BlockByte(text, place);
      byte ^= 1;
      EXPECT_EQ(ThrownBy([&] { text.Release(); }), "CORESTRING CORRUPTION") << place;
      ASSERT_NE(text.Data(), nullptr);
      byte ^= 1;
      EXPECT_EQ(Std(text), "Hello") << "nothing was lost";
      text.Release();
   }
}

TEST(CoreString, DamagedLengthIsFoundAtRelease) {
   corestring text("Hello");
   BlockByte(text, 0) = 6; // beyond the capacity
   EXPECT_EQ(ThrownBy([&] { text.Release(); }), "CORESTRING CORRUPTION");
   BlockByte(text, 24) = 6;
   EXPECT_EQ(ThrownBy([&] { text.Release(); }), "CORESTRING CORRUPTION");
   BlockByte(text, 0) = BlockByte(text, 24) = 5;
}

TEST(CoreString, OneByteBehindTheZeroIsFoundAtRelease) {
   corestring text("Hello");
   text.Data()[6] = '\0';
   EXPECT_EQ(ThrownBy([&] { text.Release(); }), "CORESTRING CORRUPTION");
   BlockByte(text, 32 + 6) = 0xFC;
}

TEST(CoreString, DamagedSecureBlockIsFoundWhenItIsGivenUpForAnother) {
   corestring text("Hello");
   text.SetSecure();
   text.Data()[6] = '\0';
   EXPECT_EQ(ThrownBy([&] { text.Append("a longer text"); }), "CORESTRING CORRUPTION");
   EXPECT_EQ(ThrownBy([&] { text.Replace(0, 1, "a longer text"); }), "CORESTRING CORRUPTION");
   EXPECT_EQ(ThrownBy([&] { text.ReplaceAll("l", "a longer text"); }), "CORESTRING CORRUPTION");
   EXPECT_EQ(Std(text), "Hello");
   BlockByte(text, 32 + 6) = 0xFC;
}

TEST(CoreString, NegativeMirrorIsRecomputedAtRelease) {
   for (const uint32_t mirror : {0x80000000U, 0xFFFFFFFFU, 0x80000005U}) {
      corestring text("Hello");
      SetMirror(text, mirror);
      EXPECT_EQ(ThrownBy([&] { text.Release(); }), "");
      EXPECT_EQ(text.Data(), nullptr);
   }
   corestring text("Hello"); // it was written back when damage is found later
   SetMirror(text, 0xFFFFFFFFU);
   text.Data()[6] = '\0';
   EXPECT_EQ(ThrownBy([&] { text.Release(); }), "CORESTRING CORRUPTION");
   EXPECT_EQ(Mirror(text), 5U);
   BlockByte(text, 32 + 6) = 0xFC;
}

using CoreStringDeathTest = testing::Test;

TEST(CoreStringDeathTest, DamageEndsTheProcessInADestructorAndInAMove) {
   GTEST_FLAG_SET(death_test_style, "threadsafe");
   EXPECT_DEATH(
      {
         corestring text("Hello");
         text.Data()[6] = 'x';
      },
      "coreException");
   EXPECT_DEATH(
      {
         corestring text("Hello");
         text.Data()[6] = 'x';
         text = corestring("other");
      },
      "coreException");
}

} // namespace
