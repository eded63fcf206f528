#include "lib/corvanebase/corvanebase.h"
#include "lib/corvanebase/text.h"

#include <array>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

using corvanebase::HeapText;

namespace {

TEST(StrSprintf, WritesTheTextAndReturnsItsLength) {
   std::array<char, 16> buffer{};
   EXPECT_EQ(Str_Sprintf(buffer.data(), buffer.size(), "%s-%d", "ab", 7), 4U);
   EXPECT_STREQ(buffer.data(), "ab-7");
}

TEST(StrSprintf, NeverWritesBeyondTheSize) {
   std::array<char, 8> buffer;
   buffer.fill('#');
   EXPECT_EQ(Str_Sprintf(buffer.data(), 4, "%s", "abcdef"), 3U);
   EXPECT_STREQ(buffer.data(), "abc");
   EXPECT_EQ(buffer[4], '#');
}

TEST(StrSprintf, CutsInFrontOfASequenceThatDoesNotFit) {
   std::array<char, 16> buffer{};
   EXPECT_EQ(Str_Sprintf(buffer.data(), 4, "ab%s", "\xC3\xA4"), 2U);
   EXPECT_STREQ(buffer.data(), "ab");
   EXPECT_EQ(Str_Sprintf(buffer.data(), 5, "ab%s", "\xC3\xA4"), 4U);
   EXPECT_STREQ(buffer.data(), "ab\xC3\xA4");
   EXPECT_EQ(Str_Sprintf(buffer.data(), 5, "a%s", "\xF0\x9F\x98\x80"), 1U);
   EXPECT_EQ(Str_Sprintf(buffer.data(), 6, "a%sb", "\xF0\x9F\x98\x80"), 5U);
}

TEST(StrSprintf, LeavesBytesAloneThatAreNoUtf8) {
   std::array<char, 16> buffer{};
   EXPECT_EQ(Str_Sprintf(buffer.data(), 7, "%s", "\x80\x80\x80\x80\x80\x80\x80\x80"), 6U);
}

TEST(StrSprintf, TouchesNothingWithoutRoom) {
   char byte = '#';
   EXPECT_EQ(Str_Sprintf(&byte, 0, "%s", "abc"), 0U);
   EXPECT_EQ(byte, '#');
   EXPECT_EQ(Str_Sprintf(&byte, 1, "%s", "abc"), 0U);
   EXPECT_EQ(byte, '\0');
}

int Format(char *buffer, size_t size, const char *format, ...) CORVANE_PRINTF(3, 4);
int Format(char *buffer, size_t size, const char *format, ...) {
   va_list args;
   va_start(args, format);
   const int result = Str_Vsnprintf(buffer, size, format, args);
   va_end(args);
   return result;
}

TEST(StrVsnprintf, ReturnsTheLengthOfATextThatFits) {
   std::array<char, 8> buffer{};
   EXPECT_EQ(Format(buffer.data(), 4, "%s", "abc"), 3);
   EXPECT_STREQ(buffer.data(), "abc");
}

TEST(StrVsnprintf, ReturnsMinusOneAndKeepsWhatFits) {
   std::array<char, 8> buffer{};
   EXPECT_EQ(Format(buffer.data(), 4, "%s", "abcd"), -1);
   EXPECT_STREQ(buffer.data(), "abc");
   EXPECT_EQ(Format(buffer.data(), 0, "%s", ""), -1);
}

TEST(StrVsnprintf, ReturnsMinusOneForArgumentsThatCannotBeFormatted) {
   std::array<char, 8> buffer;
   buffer.fill('#');
   const wchar_t broken[] = {static_cast<wchar_t>(0x7FFFFFFF), 0};
   EXPECT_EQ(Format(buffer.data(), buffer.size(), "%ls", broken), -1);
   EXPECT_LT(strnlen(buffer.data(), buffer.size()), buffer.size());
}

TEST(StrSafeAsprintf, GivesTextAndLength) {
   size_t length = 0;
   const HeapText text(Str_SafeAsprintf(&length, "%s %0*d", "x", 5000, 1));
   EXPECT_EQ(length, 5002U);
   EXPECT_EQ(std::strlen(text.get()), 5002U);
   const HeapText other(Str_SafeAsprintf(nullptr, "%d", 1));
   EXPECT_STREQ(other.get(), "1");
}

TEST(StrSafeAsprintf, GivesEmptyTextForArgumentsThatCannotBeFormatted) {
   size_t length = 99;
   const wchar_t broken[] = {static_cast<wchar_t>(0x7FFFFFFF), 0};
   const HeapText text(Str_SafeAsprintf(&length, "%ls", broken));
   EXPECT_STREQ(text.get(), "");
   EXPECT_EQ(length, 0U);
}

TEST(StrStrcpy, CopiesWhatFitsExactly) {
   std::array<char, 4> buffer{};
   EXPECT_EQ(Str_Strcpy(buffer.data(), "abc", buffer.size()), buffer.data());
   EXPECT_STREQ(buffer.data(), "abc");
}

TEST(StrStrcpyDeathTest, PanicsWhenTheTextDoesNotFit) {
   std::array<char, 4> buffer{};
   EXPECT_EXIT(Str_Strcpy(buffer.data(), "abcd", buffer.size()), testing::KilledBySignal(SIGABRT),
               "Str_Strcpy: 5 bytes do not fit into 4");
}

TEST(StrDuplicate, TakesNull) {
   EXPECT_EQ(UtilSafeStrdup0(nullptr), nullptr);
   EXPECT_EQ(Unicode_Duplicate(nullptr), nullptr);
   const HeapText copy(UtilSafeStrdup0("abc"));
   EXPECT_STREQ(copy.get(), "abc");
   const HeapText unicode(Unicode_Duplicate("\xC3\xA4"));
   EXPECT_STREQ(unicode.get(), "\xC3\xA4");
}

TEST(LongOfText, AcceptsWholeDecimalNumbersInRangeOnly) {
   EXPECT_EQ(corvanebase::LongOfText("0"), 0);
   EXPECT_EQ(corvanebase::LongOfText("-1"), -1);
   EXPECT_EQ(corvanebase::LongOfText("+1"), 1);
   EXPECT_EQ(corvanebase::LongOfText("2147483647"), INT_MAX);
   EXPECT_EQ(corvanebase::LongOfText("-2147483648"), INT_MIN);
   for (const char *const bad :
        {"", "+", "-", "+-1", "--1", "2147483648", "-2147483649", " 1", "1 ", "1.0", "0x10", "a"}) {
      EXPECT_EQ(corvanebase::LongOfText(bad), std::nullopt) << bad;
   }
}

TEST(BoolOfText, KnowsFourWordsForEach) {
   for (const char *const yes : {"true", "TRUE", "Yes", "on", "1"}) {
      EXPECT_EQ(corvanebase::BoolOfText(yes), true) << yes;
   }
   for (const char *const no : {"false", "No", "OFF", "0"}) {
      EXPECT_EQ(corvanebase::BoolOfText(no), false) << no;
   }
   for (const char *const bad : {"", "2", "tru", "true ", "enabled"}) {
      EXPECT_EQ(corvanebase::BoolOfText(bad), std::nullopt) << bad;
   }
}

TEST(UtilThrottle, LetsFewerThroughTheMoreThereAre) {
   EXPECT_TRUE(Util_Throttle(1));
   EXPECT_TRUE(Util_Throttle(100));
   EXPECT_FALSE(Util_Throttle(101));
   EXPECT_FALSE(Util_Throttle(199));
   EXPECT_TRUE(Util_Throttle(200));
   EXPECT_TRUE(Util_Throttle(10000));
   EXPECT_FALSE(Util_Throttle(10100));
   EXPECT_TRUE(Util_Throttle(20000));
   EXPECT_FALSE(Util_Throttle(UINT32_MAX));
}

TEST(ErrString, SaysErrnoInWordsAndKeepsIt) {
   errno = ENOENT;
   EXPECT_STREQ(Err_ErrString(), "No such file or directory");
   EXPECT_EQ(errno, ENOENT);
   errno = 99999;
   EXPECT_STREQ(Err_ErrString(), "Unknown error 99999");
}

TEST(Encoding, IsUtf8) {
   EXPECT_STREQ(CodeSet_GetCurrentCodeSet(), "UTF-8");
   EXPECT_EQ(Unicode_GetCurrentEncoding(), 0);
   EXPECT_STREQ(Unicode_EncodingEnumToName(0), "UTF-8");
   EXPECT_STREQ(Unicode_EncodingEnumToName(1), "Unknown");
   EXPECT_STREQ(Unicode_EncodingEnumToName(-1), "Unknown");
}

TEST(DynBuf, GrowsAndHandsOver) {
   DynBuf buffer;
   DynBuf_Init(&buffer);
   for (int round = 0; round < 100; ++round) {
      ASSERT_TRUE(DynBuf_Append(&buffer, "abc", 3));
   }
   EXPECT_EQ(buffer.size, 300U);
   const HeapText bytes(static_cast<char *>(DynBuf_Detach(&buffer)));
   EXPECT_EQ(std::memcmp(bytes.get() + 297, "abc", 3), 0);
   EXPECT_EQ(buffer.size, 0U);
   EXPECT_EQ(buffer.data, nullptr);
   DynBuf_Destroy(&buffer);
}

TEST(DynBuf, RefusesASizeThatCannotBe) {
   DynBuf buffer;
   DynBuf_Init(&buffer);
   ASSERT_TRUE(DynBuf_Append(&buffer, "abc", 3));
   EXPECT_FALSE(DynBuf_Append(&buffer, "abc", SIZE_MAX));
   EXPECT_EQ(buffer.size, 3U);
   DynBuf_Destroy(&buffer);
}

} // namespace
