#include "lib/mfw/common/bsd_vsnprintf.h"

#include "tests/kit/TempDir.h"

#include <array>
#include <cerrno>
#include <climits>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <limits>
#include <string>

namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

// The compiler's check of formats is left aside: what it warns of is what is tested.
int Print(char *buffer, size_t size, const char *format, ...) {
   va_list args;
   va_start(args, format);
   static constexpr int (*kPrint)(char *, size_t, const char *, va_list) = &bsd_vsnprintf;
   const int length = kPrint(buffer, size, format, args);
   va_end(args);
   return length;
}

template <class... Values>
std::string Printed(const char *format, Values... values) {
   std::array<char, 1024> buffer;
   buffer.fill('#');
   const int length = Print(buffer.data(), buffer.size(), format, values...);
   EXPECT_EQ(static_cast<size_t>(length), std::strlen(buffer.data())) << format;
   return buffer.data();
}

// Both forms of a format: with nothing special in it, and with a conversion that has it taken apart.
template <class... Values>
void ExpectAsThePlatform(const char *format, Values... values) {
   static constexpr int (*kPrint)(char *, size_t, const char *, ...) = &std::snprintf;
   std::array<char, 1024> expected{};
   kPrint(expected.data(), expected.size(), format, values...);
   EXPECT_EQ(Printed(format, values...), expected.data()) << format;
   EXPECT_EQ(Printed((std::string(format) + "%ls").c_str(), values..., L"!"), expected.data() + std::string("!"))
      << format;
}

TEST(BsdVsnprintf, LeavesToThePlatformWhatIsNoConversion) {
#ifdef MAVR_THREAD_SANITIZED
   GTEST_SKIP() << "the thread sanitizer ends the process at such formats, wherever they are printed";
#endif
   for (const char *const format : {"a %", "a %5", "a %-", "a %.", "a %l", "a %{b", "a %~"}) {
      std::array<char, 64> expected{};
      std::array<char, 64> got{};
      static constexpr int (*kPrint)(char *, size_t, const char *, ...) = &std::snprintf;
      const int length = kPrint(expected.data(), expected.size(), format, 7);
      EXPECT_EQ(Print(got.data(), got.size(), format, 7), length) << format;
      EXPECT_EQ(got, expected) << format;
   }
}

TEST(BsdVsnprintf, FormatsAsThePlatformOtherwise) {
   ExpectAsThePlatform("[%Ld %Lu %Id]", 1234567890123LL, 5ULL, 17);
   ExpectAsThePlatform("plain");
   ExpectAsThePlatform("100%% of %s", "it");
   ExpectAsThePlatform("[%d %i %5d %-5d %05d %+d % d %.3d %.d]", 1, -2, 3, 4, 5, 6, 7, 8, 9);
   ExpectAsThePlatform("[%u %o %x %X %#x %#o %08x]", 1U, 8U, 255U, 255U, 255U, 8U, 255U);
   ExpectAsThePlatform("[%hhd %hd %hhu %hu]", 300, 70000, 300, 70000);
   ExpectAsThePlatform("[%ld %lu %lx]", LONG_MIN, ULONG_MAX, ULONG_MAX);
   ExpectAsThePlatform("[%lld %llu]", LLONG_MIN, ULLONG_MAX);
   ExpectAsThePlatform("[%jd %ju]", INTMAX_MIN, UINTMAX_MAX);
   ExpectAsThePlatform("[%zu %zd %td]", SIZE_MAX, static_cast<ssize_t>(-1), static_cast<ptrdiff_t>(-5));
   ExpectAsThePlatform("[%s %10s %-10s %.2s %5.1s]", "ab", "cd", "ef", "ghi", "jkl");
   ExpectAsThePlatform("[%*d %-*d %.*d %*d]", 6, 1, 6, 2, 3, 4, -6, 5);
   ExpectAsThePlatform("[%*.*s|%.*s]", 6, 2, "abc", -1, "abc");
   ExpectAsThePlatform("[%c %5c %-5c]", 'a', 'b', 'c');
   ExpectAsThePlatform("[%p]", static_cast<const void *>("x"));
   ExpectAsThePlatform("[%f %.2f %e %E %g %G %a %A %10.3f %-10.3f|%010.3f]", 1.5, 2.25, 3e10, 4e-10, 0.1, 1e100, 1.0,
                       2.0, 3.25, 4.5, -5.5);
   ExpectAsThePlatform("[%Lf %.3Lg]", 1.5L, 2.0L);
   ExpectAsThePlatform("[%--5d|%++05d]", 1, 2);
   ExpectAsThePlatform("[%i %x %o %li %lx %lo %llx]", -1, 255U, 8U, -1L, 255UL, 8UL, 255ULL);
}

// Each set of flags with each width, precision and conversion.
TEST(BsdVsnprintf, FormatsEveryCombinationAsThePlatform) {
   std::string flags;
   for (unsigned set = 0; set < 32; ++set) {
      flags.clear();
      for (unsigned bit = 0; bit < 5; ++bit) {
         if ((set >> bit & 1U) != 0) {
            flags += "-+ #0"[bit];
         }
      }
      for (const char *const width : {"", "1", "9"}) {
         for (const char *const precision : {"", ".", ".0", ".3", ".12"}) {
            const std::string layout = "[%" + flags + width + precision;
            for (const char *const conversion : {"d", "i", "u", "x", "X", "o", "hd", "hhu"}) {
               for (const int value : {0, 65, -1, INT_MIN}) {
                  ExpectAsThePlatform((layout + conversion + "]").c_str(), value);
               }
            }
            for (const char *const conversion : {"ld", "lu", "lx", "lld", "llX", "jd", "zu", "td"}) {
               ExpectAsThePlatform((layout + conversion + "]").c_str(), LONG_MIN);
            }
            for (const char *const conversion : {"f", "F", "e", "E", "g", "G", "a", "A"}) {
               for (const double value : {0.0, -1.5, 1e20, kInfinity, -kInfinity}) {
                  ExpectAsThePlatform((layout + conversion + "]").c_str(), value);
               }
            }
            ExpectAsThePlatform((layout + "c]").c_str(), 65);
            ExpectAsThePlatform((layout + "s]").c_str(), "text");
         }
      }
   }
}

TEST(BsdVsnprintf, SaysErrnoInWords) {
   errno = ENOENT;
   EXPECT_EQ(Printed("%ls: %m", L"a"), "a: No such file or directory");
   errno = ENOENT;
   EXPECT_EQ(Printed("%s: %m", "a"), "a: No such file or directory");
}

TEST(BsdVsnprintf, NumberedArgumentsGoToThePlatform) {
   EXPECT_EQ(Printed("%2$s %1$s", "a", "b"), "b a");
}

TEST(BsdVsnprintf, WideStringComesOutAsUtf8InAnyLocale) {
   std::setlocale(LC_ALL, "C");
   EXPECT_EQ(Printed("%ls", L"a\u00E4\u20AC\U0001F600"), "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80");
   EXPECT_EQ(Printed("%ls", L"\U00040000\U0010FFFF"), "\xF1\x80\x80\x80\xF4\x8F\xBF\xBF");
   EXPECT_EQ(Printed("<%S>", L"\u00E4"), "<\xC3\xA4>");
   EXPECT_EQ(Printed("<%s|%ls|%d>", "x", L"\u00E4", 5), "<x|\xC3\xA4|5>");
   EXPECT_EQ(Printed("%ls", L""), "");
}

TEST(BsdVsnprintf, WideCharacterComesOutAsUtf8) {
   EXPECT_EQ(Printed("%lc%C", static_cast<wint_t>(0xE4), static_cast<wint_t>(0x20AC)), "\xC3\xA4\xE2\x82\xAC");
   EXPECT_EQ(Printed("[%4lc|%-4lc]", static_cast<wint_t>(0xE4), static_cast<wint_t>(0xE4)), "[  \xC3\xA4|\xC3\xA4  ]");
}

TEST(BsdVsnprintf, WideStringCountsWidthAndPrecisionInBytesAndCutsNoCharacter) {
   EXPECT_EQ(Printed("[%5ls]", L"\u00E4"), "[   \xC3\xA4]");
   EXPECT_EQ(Printed("[%-5ls]", L"\u00E4"), "[\xC3\xA4   ]");
   EXPECT_EQ(Printed("[%.3ls]", L"\u00E4\u00E4"), "[\xC3\xA4]");
   EXPECT_EQ(Printed("[%.4ls]", L"\u00E4\u00E4"), "[\xC3\xA4\xC3\xA4]");
   EXPECT_EQ(Printed("[%.0ls]", L"a"), "[]");
   EXPECT_EQ(Printed("[%*.*ls]", -4, 1, L"ab"), "[a   ]");
}

TEST(BsdVsnprintf, WideStringNeedsNoEndBehindItsPrecision) {
   const std::array<wchar_t, 2> text{L'a', L'b'};
   EXPECT_EQ(Printed("%.2ls", text.data()), "ab");
}

TEST(BsdVsnprintf, WhatIsNoCharacterBecomesTheReplacementCharacter) {
   const std::array<wchar_t, 4> text{static_cast<wchar_t>(0xD800), static_cast<wchar_t>(0x110000),
                                     static_cast<wchar_t>(-1), 0};
   EXPECT_EQ(Printed("%ls", text.data()), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(BsdVsnprintf, NullStringPrintsNullInBrackets) {
   const char *const none = nullptr;
   const wchar_t *const wide = nullptr;
   EXPECT_EQ(Printed("<%s>", none), "<(null)>");
   EXPECT_EQ(Printed("<%ls|%S>", wide, wide), "<(null)|(null)>");
   EXPECT_EQ(Printed("<%10s|%-10s>", none, none), "<    (null)|(null)    >");
   EXPECT_EQ(Printed("<%.3s|%.*s|%.20s|%.*s>", none, 2, none, none, -1, none), "<(nu|(n|(null)|(null)>");
   EXPECT_EQ(Printed("<%.3ls|%8ls>", wide, wide), "<(nu|  (null)>");
}

TEST(BsdVsnprintf, InfinityAndNotANumberPrintByTheCaseOfTheConversion) {
   EXPECT_EQ(Printed("%f %e %g %a", kInfinity, kInfinity, kInfinity, kInfinity), "inf inf inf inf");
   EXPECT_EQ(Printed("%F %E %G %A", kInfinity, kInfinity, kInfinity, kInfinity), "INF INF INF INF");
   EXPECT_EQ(Printed("%f %F %+f [%6f]", -kInfinity, -kInfinity, kInfinity, kInfinity), "-inf -INF +inf [   inf]");
   EXPECT_EQ(Printed("%f %e %g %a", kNan, kNan, kNan, kNan), "nan nan nan nan");
   EXPECT_EQ(Printed("%F %E %G %A", kNan, kNan, kNan, kNan), "NAN NAN NAN NAN");
   EXPECT_EQ(Printed("%Lf", static_cast<long double>(kNan)), "nan");
}

TEST(BsdVsnprintf, NotANumberHasNoSign) {
   EXPECT_EQ(Printed("%f %F", -kNan, -kNan), "nan NAN");
   EXPECT_EQ(Printed("[%+f|%08f|%-6f|%6f]", kNan, kNan, kNan, -kNan), "[nan|     nan|nan   |   nan]");
}

TEST(BsdVsnprintf, GroupsNothingWhereTheLocaleDoesNot) {
   std::setlocale(LC_ALL, "C");
   EXPECT_EQ(Printed("%'d %'d", 1234567, -1), "1234567 -1");
   EXPECT_EQ(Printed("%'d %'d%ls", 1234567, -1, L""), "1234567 -1");
}

TEST(BsdVsnprintf, GroupingFollowsTheLocale) {
   // A locale of the test's own: which ones a machine has is its own business.
   const kit::TempDir dir;
   const std::string make = "localedef -i en_US -f UTF-8 " + (dir / "grouping") + " >/dev/null 2>&1";
   setenv("LOCPATH", dir.Path().c_str(), 1);
   if (std::system(make.c_str()) != 0 || std::setlocale(LC_ALL, "grouping") == nullptr) {
      GTEST_SKIP() << "localedef cannot make a locale here (package locales)";
   }
   EXPECT_EQ(Printed("%'d", 1234567), "1,234,567");
   EXPECT_EQ(Printed("%'d%ls", 1234567, L""), "1,234,567");
}

TEST(BsdVsnprintf, DecimalPointFollowsTheLocale) {
   const kit::TempDir dir;
   const std::string make = "localedef -i de_DE -f UTF-8 " + (dir / "comma") + " >/dev/null 2>&1";
   setenv("LOCPATH", dir.Path().c_str(), 1);
   if (std::system(make.c_str()) != 0 || std::setlocale(LC_ALL, "comma") == nullptr) {
      GTEST_SKIP() << "localedef cannot make a locale here (package locales)";
   }
   EXPECT_EQ(Printed("%.1f", 0.5), "0,5");
}

TEST(BsdVsnprintf, ReturnsTheWholeLengthOfATextThatIsCut) {
   std::array<char, 8> buffer;
   for (const char *const format : {"%s", "%.10s", "%ls"}) {
      buffer.fill('#');
      const bool wide = std::string(format) == "%ls";
      const int length =
         wide ? Print(buffer.data(), 5, format, L"abcdefgh") : Print(buffer.data(), 5, format, "abcdefgh");
      EXPECT_EQ(length, 8);
      EXPECT_STREQ(buffer.data(), "abcd") << format;
      EXPECT_EQ(buffer[5], '#') << format;
   }
   EXPECT_EQ(Print(nullptr, 0, "%ls-%d", L"\u00E4", 5), 4);
   EXPECT_EQ(Print(buffer.data(), 1, "%ls-%d", L"\u00E4", 5), 4);
   EXPECT_EQ(buffer[0], '\0');
}

TEST(BsdVsnprintf, CutsOnACodePointBoundaryAtMostFourBytesBack) {
   for (const std::string character : {"\xC3\xA4", "\xE2\x82\xAC", "\xF0\x9F\x98\x80"}) {
      for (size_t before = 0; before < 8; ++before) {
         const std::string text = std::string(before, 'a') + character + "bbbbbbbb";
         for (size_t size = 1; size < 16; ++size) {
            std::array<char, 32> narrow{};
            std::array<char, 32> taken{};
            ASSERT_EQ(Print(narrow.data(), size, "%s", text.c_str()), static_cast<int>(text.size()));
            ASSERT_EQ(Print(taken.data(), size, "%s%ls", text.c_str(), L""), static_cast<int>(text.size()));
            const bool split = size - 1 > before && size - 1 < before + character.size();
            const std::string expected = text.substr(0, split ? before : std::min(size - 1, text.size()));
            EXPECT_EQ(narrow.data(), expected) << before << " " << size;
            EXPECT_EQ(taken.data(), expected) << before << " " << size;
         }
      }
   }
}

TEST(BsdVsnprintf, LeavesBytesAloneThatAreNoUtf8) {
   std::array<char, 8> buffer{};
   Print(buffer.data(), 7, "%s", "\x80\x80\x80\x80\x80\x80\x80\x80");
   EXPECT_EQ(std::strlen(buffer.data()), 6U);
}

TEST(BsdVsnprintf, RefusesATextLongerThanAnIntCanSay) {
   std::array<char, 8> buffer{};
   EXPECT_LT(Print(buffer.data(), buffer.size(), "%*ls%*ls", INT_MAX, L"a", INT_MAX, L"b"), 0);
   EXPECT_EQ(errno, EOVERFLOW);
}

} // namespace
