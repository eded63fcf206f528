#include "libs/utils/StringUtils.h"

#include "lib/mfw/common/logger.h"
#include "tests/kit/LogCapture.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <regex>
#include <string>
#include <utility>

namespace StringUtils {
namespace {

using Pieces = std::vector<std::string>;

Pieces SplitOf(std::string_view text, char delimiter = '#') {
   Pieces pieces{"left over"};
   const size_t count = Split(text, delimiter, &pieces);
   EXPECT_EQ(count, pieces.size());
   return pieces;
}

TEST(StringUtils, SplitGivesEveryPieceEmptyOnesToo) {
   EXPECT_EQ(SplitOf(""), Pieces{""});
   EXPECT_EQ(SplitOf("a"), Pieces{"a"});
   EXPECT_EQ(SplitOf("a#b"), (Pieces{"a", "b"}));
   EXPECT_EQ(SplitOf("a#"), (Pieces{"a", ""}));
   EXPECT_EQ(SplitOf("#"), (Pieces{"", ""}));
   EXPECT_EQ(SplitOf("##a"), (Pieces{"", "", "a"}));
   EXPECT_EQ(SplitOf(std::string_view("a\0b", 3), '\0'), (Pieces{"a", "b"}));
   EXPECT_EQ(SplitOf(std::string(100'000, '#')).size(), 100'001u);
}

TEST(StringUtils, ToIntReadsANumberAtTheStart) {
   EXPECT_EQ(ToInt(""), 0);
   EXPECT_EQ(ToInt("12"), 12);
   EXPECT_EQ(ToInt("  -12abc"), -12);
   EXPECT_EQ(ToInt("abc"), 0);
   EXPECT_EQ(ToInt("0x10"), 0);
   EXPECT_EQ(ToInt("2147483647"), std::numeric_limits<int>::max());
   static_cast<void>(ToInt(std::string(1000, '9'))); // too large: some number, and no fault
}

TEST(StringUtils, ParseBoolTakesTrueInAnyCaseAndNumbersOtherThanZero) {
   for (const char *text : {"true", "TRUE", "True", "1", "-1", "7up"}) {
      EXPECT_TRUE(ParseBool(text)) << text;
   }
   for (const char *text : {"", "false", "0", "yes", "truely", "x1"}) {
      EXPECT_FALSE(ParseBool(text)) << text;
   }
}

TEST(StringUtils, ComparesAndLowersWithoutRegardToCase) {
   EXPECT_TRUE(EqualsNoCase("", ""));
   EXPECT_TRUE(EqualsNoCase("crvH264Opus", "CRVh264OPUS"));
   EXPECT_FALSE(EqualsNoCase("a", "ab"));
   EXPECT_FALSE(EqualsNoCase("", "a"));
   EXPECT_EQ(ToLower("AbC 1\xc3\x84"), "abc 1\xc3\x84") << "bytes outside ASCII stay";
}

TEST(StringUtils, WithoutCutCharacterEndsOnAWholeCharacter) {
   EXPECT_EQ(WithoutCutCharacter(""), "");
   for (const std::string character : {"a", "\xc3\xa4", "\xe2\x82\xac", "\xf0\x9f\x93\xb7"}) {
      for (const std::string before : {"", "x", "\xd7\xa9", "\xff"}) {
         EXPECT_EQ(WithoutCutCharacter(before + character), before + character);
         for (size_t length = 1; length < character.size(); ++length) {
            EXPECT_EQ(WithoutCutCharacter(before + character.substr(0, length)), before) << character << length;
         }
      }
   }
   EXPECT_EQ(WithoutCutCharacter("\x80\x80\x80\x80"), "\x80\x80\x80\x80") << "nothing there was cut";
   EXPECT_EQ(WithoutCutCharacter("a\x80"), "a\x80");
   // The first and the last byte that announces so many.
   for (const auto &[first, count] :
        {std::pair{'\xC0', 2}, {'\xDF', 2}, {'\xE0', 3}, {'\xEF', 3}, {'\xF0', 4}, {'\xF7', 4}}) {
      for (int length = 1; length < count; ++length) {
         const std::string cut = first + std::string(static_cast<size_t>(length - 1), '\x80');
         EXPECT_EQ(WithoutCutCharacter("a" + cut), "a") << count << " " << length;
      }
      const std::string whole = "a" + (first + std::string(static_cast<size_t>(count - 1), '\x80'));
      EXPECT_EQ(WithoutCutCharacter(whole), whole) << count;
   }
}

TEST(StringUtils, IntToTextIsDecimal) {
   EXPECT_EQ(IntToText(0), "0");
   EXPECT_EQ(IntToText(-5), "-5");
   EXPECT_EQ(IntToText(4294967295), "4294967295");
   EXPECT_EQ(IntToText(std::numeric_limits<int64_t>::min()), "-9223372036854775808");
}

TEST(StringUtils, CiModeTakesTheBracketsOfAMicrophoneArray) {
   struct Case {
      const char *name;
      const char *result;
   };
   const Case cases[] = {
      {"Microphone Array (Realtek Audio)", "Realtek Audio"},
      {"2- Microphone Array (Realtek)", "Realtek"},                      // not anchored at the start
      {"Microphone Array (A (B))", "A (B)"},                             // greedy
      {"Microphone Array (A) (B)", "A) (B"},                             //
      {"Microphone Array (Microphone Array (A)", "Microphone Array (A"}, // the first head counts
      {"Microphone Array ())", ")"},                                     //
      {"Microphone Array ()", "Microphone Array ()"},                    // at least one character
      {"Microphone Array (A) ", "Microphone Array (A) "},                // anchored at the end
      {"Microphone Array (A)\n", "Microphone Array (A)\n"},              // which is not in front of a last line feed
      {"Microphone Array (A\nB)", "Microphone Array (A\nB)"},            // '.' stays on its line
      {"Microphone Array (A\rB)", "Microphone Array (A\rB)"},
      {"Microphone Array (A\nMicrophone Array (B)", "B"},
      {"microphone array (A)", "microphone array (A)"},
      {"Microphone Array(A)", "Microphone Array(A)"},
      {"Microphone Array (\xff\xe2\x80\xa8)", "\xff\xe2\x80\xa8"},
      {"", ""},
      {")", ")"},
   };
   for (const Case &c : cases) {
      EXPECT_EQ(ProcessDevNameInCIMode(c.name), c.result) << c.name;
   }
}

TEST(StringUtils, CiModeLogsWhatItDid) {
   kit::LogCapture log;
   static_cast<void>(ProcessDevNameInCIMode("Microphone Array (A)"));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - MAVR run in CI mode, will truncate the microphone device name %s",
                       "ProcessDevNameInCIMode", "Microphone Array (A)"))
      << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "regex match"));
   EXPECT_EQ(log.Lines().size(), 2u);
   log.Clear();
   static_cast<void>(ProcessDevNameInCIMode("Desk"));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "regex not match, use original device name")) << log.Dump();
   EXPECT_EQ(log.Lines().size(), 2u);
}

TEST(StringUtils, CiModeStandsNamesThatWouldEndTheStack) {
   const kit::LogCapture log;
   const std::string inside(200'000, 'x');
   EXPECT_EQ(ProcessDevNameInCIMode("Microphone Array (" + inside + ")"), inside);
   std::string heads;
   for (int i = 0; i < 20'000; ++i) {
      heads += "Microphone Array (";
   }
   EXPECT_EQ(ProcessDevNameInCIMode(heads), heads);
   EXPECT_EQ(ProcessDevNameInCIMode(heads + ")"), heads.substr(18));
}

// The matcher by hand against the standard library's, on texts put together from everything that matters to it.
TEST(StringUtils, MatchMicrophoneArrayIsTheRegularExpression) {
   const std::regex expression("Microphone Array \\((.+)\\)$", std::regex::ECMAScript);
   const std::string pieces[] = {"Microphone Array (", "Microphone Array", ")", "(", "x", "\n", "\r", " ",
                                 std::string(1, '\0'), "\xe2\x80\xa8"};
   uint32_t random = 12345;
   int matches = 0;
   for (int round = 0; round < 20'000; ++round) {
      std::string name;
      for (int i = 0; i < 7; ++i) {
         random = random * 1664525u + 1013904223u;
         const uint32_t pick = (random >> 16) % 16;
         name += pieces[pick < 10 ? pick : (pick < 13 ? 0 : 2)]; // heads and closing brackets come more often
      }
      std::smatch match;
      const bool wanted = std::regex_search(name, match, expression);
      const std::optional<std::string_view> got = MatchMicrophoneArray(name);
      ASSERT_EQ(got.has_value(), wanted) << ::testing::PrintToString(name);
      if (wanted) {
         ++matches;
         ASSERT_EQ(*got, match[1].str()) << ::testing::PrintToString(name);
      }
   }
   EXPECT_GT(matches, 1000) << "the texts must put the matcher to work";
}

} // namespace
} // namespace StringUtils
