#include "lib/mfw/common/linuxSupportText.h"

#include "lib/mfw/common/unsupportedMethodException.h"

#include <array>
#include <cerrno>
#include <climits>
#include <clocale>
#include <gtest/gtest.h>

namespace {

// ---- Numbers as text ------------------------------------------------------------------------------------------------

template <typename Char, typename Number>
std::basic_string<Char> Written(Char *(*write)(Number, Char *, size_t, int), Number number, size_t size = 24) {
   std::array<Char, 32> buffer{};
   buffer.fill('#');
   EXPECT_EQ(write(number, buffer.data(), size, 10), buffer.data());
   EXPECT_EQ(buffer[size], '#') << "nothing behind the buffer is touched";
   return buffer.data();
}

TEST(NumberText, IsDecimal) {
   EXPECT_EQ(Written(_itoa_s, 0), "0");
   EXPECT_EQ(Written(_itoa_s, INT_MIN), "-2147483648");
   EXPECT_EQ(Written(_ltoa_s, LONG_MIN), "-9223372036854775808");
   EXPECT_EQ(Written(_ltoa_s, LONG_MAX), "9223372036854775807");
   EXPECT_EQ(Written(_ultoa_s, ULONG_MAX), "18446744073709551615");
   EXPECT_EQ(Written(_i64toa_s, LLONG_MIN), "-9223372036854775808");
   EXPECT_EQ(Written(_ui64toa_s, ULLONG_MAX), "18446744073709551615");
}

TEST(NumberText, IsDecimalInWideCharactersToo) {
   EXPECT_EQ(Written(_itow_s, 0), L"0");
   EXPECT_EQ(Written(_itow_s, INT_MIN), L"-2147483648");
   EXPECT_EQ(Written(_ultow_s, ULONG_MAX), L"18446744073709551615");
   EXPECT_EQ(Written(_i64tow_s, LLONG_MIN), L"-9223372036854775808");
   EXPECT_EQ(Written(_ui64tow_s, ULLONG_MAX), L"18446744073709551615");
}

TEST(NumberText, IsCutWhereItDoesNotFit) {
   EXPECT_EQ(Written(_itoa_s, -12345, 6), "-1234");
   EXPECT_EQ(Written(_itoa_s, -12345, 7), "-12345");
   EXPECT_EQ(Written(_itow_s, -12345, 6), L"-1234");
   EXPECT_EQ(Written(_itow_s, -12345, 7), L"-12345");
   EXPECT_EQ(Written(_itoa_s, 7, 1), "");
   EXPECT_EQ(Written(_itow_s, 7, 1), L"");
   char narrow = '#';
   wchar_t wide = L'#';
   _itoa_s(7, &narrow, 0, 10);
   _itow_s(7, &wide, 0, 10);
   EXPECT_EQ(narrow, '#');
   EXPECT_EQ(wide, L'#');
}

TEST(NumberTextDeathTest, AnotherRadixEndsTheProcess) {
   char narrow[24];
   wchar_t wide[24];
   EXPECT_DEATH(_itoa_s(1, narrow, 24, 16), "_itoa_s.*radix == 10");
   EXPECT_DEATH(_ltoa_s(1, narrow, 24, 16), "_ltoa_s.*radix == 10");
   EXPECT_DEATH(_ultoa_s(1, narrow, 24, 16), "_ultoa_s.*radix == 10");
   EXPECT_DEATH(_i64toa_s(1, narrow, 24, 2), "_i64toa_s.*radix == 10");
   EXPECT_DEATH(_ui64toa_s(1, narrow, 24, 8), "_ui64toa_s.*radix == 10");
   EXPECT_DEATH(_itow_s(1, wide, 24, 16), "_itow_s.*radix == 10");
   EXPECT_DEATH(_ultow_s(1, wide, 24, 16), "_ultow_s.*radix == 10");
   EXPECT_DEATH(_i64tow_s(1, wide, 24, 16), "_i64tow_s.*radix == 10");
   EXPECT_DEATH(_ui64tow_s(1, wide, 24, 0), "_ui64tow_s.*radix == 10");
}

// ---- Text as a number -----------------------------------------------------------------------------------------------

TEST(TextNumber, IsReadInDecimal) {
   EXPECT_EQ(_atoi64(" -42x"), -42);
   EXPECT_EQ(_atoi64("010"), 10);
   EXPECT_EQ(_atoi64("x"), 0);
   EXPECT_EQ(_atoi64("9223372036854775807"), LLONG_MAX);
   errno = 0;
   EXPECT_EQ(_atoi64("-9223372036854775809"), LLONG_MIN);
   EXPECT_EQ(errno, ERANGE);
}

TEST(TextNumber, TheOtherCallIsNotSupported) {
   try {
      _strtoi64("1", nullptr, 10);
   } catch (const std::exception &exception) {
      EXPECT_STREQ(exception.what(), "Unsupported method: _strtoi64");
      EXPECT_NE(dynamic_cast<const platforms::UnsupportedMethodException *>(&exception), nullptr);
   }
   EXPECT_THROW(_strtoi64("1", nullptr, 10), platforms::UnsupportedMethodException);
}

// ---- Case -----------------------------------------------------------------------------------------------------------

TEST(Case, ChangesAsManyCharactersAsItIsTold) {
   char text[] = "AbC\0dEf";
   EXPECT_EQ(_strlwr_s(text, 2), text);
   EXPECT_STREQ(text, "abC");
   EXPECT_EQ(_strupr_s(text, 7), text);
   EXPECT_EQ(std::string(text, 7), std::string("ABC\0DEF", 7));
   wchar_t wide[] = L"AbC\0dEf";
   EXPECT_EQ(_wcslwr_s(wide, 2), wide);
   EXPECT_STREQ(wide, L"abC");
   EXPECT_EQ(_wcsupr_s(wide, 7), wide);
   EXPECT_EQ(std::wstring(wide, 7), std::wstring(L"ABC\0DEF", 7));
}

TEST(Case, ALengthOfZeroLeavesTheTextAlone) {
   char text[] = "Ab";
   wchar_t wide[] = L"Ab";
   EXPECT_EQ(_strlwr_s(text, 0), text);
   EXPECT_EQ(_strupr_s(text, 0), text);
   EXPECT_EQ(_wcslwr_s(wide, 0), wide);
   EXPECT_EQ(_wcsupr_s(wide, 0), wide);
   EXPECT_STREQ(text, "Ab");
   EXPECT_STREQ(wide, L"Ab");
}

TEST(Case, LeavesTheBytesOfLongerCharactersAlone) {
   char text[] = "\xC3\x89X"; // E with an acute accent
   EXPECT_STREQ(_strlwr_s(text, 3), "\xC3\x89x");
}

TEST(Case, FollowsTheLocaleForWideCharacters) {
   ASSERT_NE(std::setlocale(LC_ALL, "C.UTF-8"), nullptr);
   wchar_t wide[] = L"\u00C9\u03A9";
   EXPECT_STREQ(_wcslwr_s(wide, 2), L"\u00E9\u03C9");
   EXPECT_STREQ(_wcsupr_s(wide, 2), L"\u00C9\u03A9");
   std::setlocale(LC_ALL, "C");
}

// ---- Narrow and wide ------------------------------------------------------------------------------------------------

TEST(NarrowAndWide, TakeEveryCodePointThereAndBack) {
   std::wstring all;
   for (uint32_t point = 0; point <= 0x10FFFF; ++point) {
      if (point < 0xD800 || point > 0xDFFF) {
         all.push_back(static_cast<wchar_t>(point));
      }
   }
   const std::string narrow = NarrowFromWide(all);
   EXPECT_EQ(narrow.size(), 0x80U + 2 * 0x780 + 3 * (0x10000 - 0x800 - 0x800) + 4 * 0x100000U);
   EXPECT_TRUE(WideFromNarrow(narrow) == all);
}

TEST(NarrowAndWide, AreSpelledOutInBytes) {
   EXPECT_EQ(NarrowFromWide(L""), "");
   EXPECT_EQ(NarrowFromWide(L"a\u00E9\u20AC\U0001F3A5"), "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x8E\xA5");
   EXPECT_EQ(NarrowFromWide(std::wstring(L"a\0b", 3)), std::string("a\0b", 3));
   EXPECT_EQ(WideFromNarrow(std::string("a\0b", 3)), std::wstring(L"a\0b", 3));
}

TEST(NarrowAndWide, AMalformedWideCharacterIsReplaced) {
   const wchar_t bad[] = {static_cast<wchar_t>(0xD800),
                          static_cast<wchar_t>(0xDFFF),
                          static_cast<wchar_t>(0x110000),
                          static_cast<wchar_t>(-1),
                          L'x',
                          0};
   EXPECT_EQ(NarrowFromWide(bad), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBDx");
}

TEST(NarrowAndWide, EachLongestRunThatCouldHaveBegunACharacterIsReplacedOnce) {
   struct Case {
      std::string narrow;
      std::wstring wide;
   };
   const Case cases[] = {
      {"\x80z", L"\uFFFDz"},                               // continues nothing
      {"\xFF\xFEz", L"\uFFFD\uFFFDz"},                     // never in a text
      {"\xC0\xAFz", L"\uFFFD\uFFFDz"},                     // overlong
      {"\xE0\x9F\xBFz", L"\uFFFD\uFFFD\uFFFDz"},           // overlong
      {"\xF0\x8F\xBF\xBFz", L"\uFFFD\uFFFD\uFFFD\uFFFDz"}, // overlong
      {"\xC3\xC0z", L"\uFFFD\uFFFDz"},                     // the next byte begins a character of its own
      {"\xE1\xC0\x80z", L"\uFFFD\uFFFD\uFFFDz"},
      {"\xE1\x80\xC0z", L"\uFFFD\uFFFDz"},
      {"\xF1\xC0\x80\x80z", L"\uFFFD\uFFFD\uFFFD\uFFFDz"},
      {"\xE1\x7Fz", L"\uFFFD\x7Fz"},
      {"\xED\xA0\x80z", L"\uFFFD\uFFFD\uFFFDz"},           // a surrogate
      {"\xF4\x90\x80\x80z", L"\uFFFD\uFFFD\uFFFD\uFFFDz"}, // past the last
      {"\xF5z", L"\uFFFDz"},                               // past the last
      {"\xE2\x82z", L"\uFFFDz"},                           // cut short
      {"\xF0\x9F\x8Ez", L"\uFFFDz"},                       // cut short
      {"\xF0\x9F\x8E", L"\uFFFD"},                         // cut short by the end
      {"\xC3", L"\uFFFD"},                                 //
      {"\xC3\xC3\xA9", L"\uFFFD\u00E9"},                   // begins anew
      {"\xE2\x82\xE2\x82\xAC", L"\uFFFD\u20AC"},           //
   };
   for (const Case &one : cases) {
      EXPECT_EQ(WideFromNarrow(one.narrow), one.wide) << testing::PrintToString(one.narrow);
   }
}

} // namespace
