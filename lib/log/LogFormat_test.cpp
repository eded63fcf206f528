#include "lib/log/LogFormat.h"

#include <climits>
#include <cstdio>
#include <cstring>
#include <gtest/gtest.h>
#include <string>

namespace {

constexpr size_t kRoom = 64;

struct Formatted {
   int length;
   std::string bytes;
   bool operator==(const Formatted &) const = default;
};

std::ostream &operator<<(std::ostream &out, const Formatted &formatted) {
   return out << formatted.length << " '" << formatted.bytes.c_str() << "'";
}

using Formatter = int (*)(char *, size_t, const char *, va_list);

CORVANE_PRINTF(3, 4) Formatted Format(Formatter formatter, size_t size, const char *format, ...) {
   std::string bytes(kRoom, '#');
   va_list args;
   va_start(args, format);
   const int length = formatter(bytes.data(), size, format, args);
   va_end(args);
   // Behind the terminator the buffer's content says nothing.
   bytes.resize(size > 0 ? std::strlen(bytes.c_str()) : 0);
   return {length, bytes};
}

// The bytes and the result are those of Str_Vsnprintf, at every size of the buffer. A macro, so that the compiler
// checks each format against its arguments.
#define EXPECT_SAME(...)                                                                                               \
   for (size_t size = 1; size <= kRoom; ++size) {                                                                      \
      EXPECT_EQ(Format(&Log_FormatText, size, __VA_ARGS__), Format(&Str_Vsnprintf, size, __VA_ARGS__))                 \
         << "into " << size;                                                                                           \
   }

TEST(LogFormat, PlainTextAndBareFieldsAreFormattedAsThePlatformDoes) {
   EXPECT_SAME("no field at all");
   EXPECT_SAME("%s", "");
   EXPECT_SAME("%s", "a text");
   EXPECT_SAME("MAVR: %s", "Grüße aus 東京 🎥\n");
   EXPECT_SAME("%s%s", "a", "b");
   EXPECT_SAME("a %d b %u c %% d", -17, 17U);
   EXPECT_SAME("%d %d %d", INT_MIN, INT_MAX, 0);
   EXPECT_SAME("%u %u", UINT_MAX, 0U);
   const char *volatile nothing = nullptr; // volatile: the compiler would see it and complain
   EXPECT_SAME("%s and %d", nothing, 1);
}

TEST(LogFormat, EveryOtherFieldIsLeftToThePlatform) {
   EXPECT_SAME("%5s|%-5d|%05u", "ab", 12, 34U);
   EXPECT_SAME("%s %ld %zu %llu %x %c", "a", -5L, sizeof(int), 7ULL, 255U, 'z');
   EXPECT_SAME("%.3f %s", 2.5, "behind");
   EXPECT_SAME("%s %.2s %s", "first", "cut", "last");
   EXPECT_SAME("%hhd %hu", static_cast<signed char>(-3), static_cast<unsigned short>(65000));
}

CORVANE_PRINTF(2, 3) void ExpectTwice(const char *expected, const char *format, ...) {
   va_list args;
   va_start(args, format);
   for (int time = 0; time < 2; ++time) {
      char text[kRoom];
      Log_FormatText(text, sizeof text, format, args);
      EXPECT_STREQ(text, expected);
   }
   va_end(args);
}

TEST(LogFormat, IntoNoRoomAtAllNothingIsWrittenAndNothingFits) {
   EXPECT_EQ(Format(&Log_FormatText, 0, "%s", "a text"), (Formatted{-1, ""}));
   EXPECT_EQ(Format(&Log_FormatText, 0, "%s", ""), (Formatted{-1, ""}));
}

TEST(LogFormat, TheArgumentsCanBeReadAgain) {
   ExpectTwice("a 1 b", "%s %d %s", "a", 1, "b");
   ExpectTwice("a 1 b", "%s %ld %s", "a", 1L, "b");
}

} // namespace
