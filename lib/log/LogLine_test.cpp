#include "lib/log/LogLine.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

namespace {

LogLineHeader Header(uint32_t level) {
   LogLineHeader header{};
   header.level = LogLevel_RowByNumber(level);
   std::strcpy(header.threadName, "main");
   std::strcpy(header.stamp.dateTime, "2026-11-12T18:30:00");
   std::strcpy(header.stamp.milliseconds, ".123");
   std::strcpy(header.stamp.zone, "Z");
   return header;
}

std::string Prefix(const LogPrefixFlags &flags, const LogLineHeader &header, size_t limit = kLogPrefixLimit) {
   std::string buffer(limit + 1, '#');
   const size_t length = Log_FormatLinePrefix(flags, header, limit, buffer.data());
   EXPECT_EQ(buffer[limit], '#') << "written behind the limit";
   EXPECT_EQ(std::strlen(buffer.c_str()), length);
   return buffer.substr(0, length);
}

std::string Truncated(std::string text, size_t limit) {
   text.resize(text.size() + 2, '\0');
   const size_t length = Log_TruncateUtf8Line(limit, text.data());
   EXPECT_EQ(std::strlen(text.c_str()), length);
   return text.c_str();
}

std::string Masked(std::string text) {
   Log_MaskText(text.data(), text.size());
   return text;
}

// One place after the other, as the rule reads.
std::string MaskedPlainly(std::string text) {
   for (size_t at = 0; at + 3 <= text.size();) {
      const bool hit = (text[at] == 't' || text[at] == 'T') && (text[at + 1] == 'l' || text[at + 1] == 'L') &&
                       (text[at + 2] == 'v' || text[at + 2] == 'V');
      if (hit) {
         text.replace(at, 3, "***");
      }
      at += hit ? 3 : 1;
   }
   return text;
}

} // namespace

TEST(LogLinePrefix, HasStampLevelAndThreadByDefault) {
   EXPECT_EQ(Prefix({}, Header(5)), "2026-11-12T18:30:00.123Z In(05) main ");
}

TEST(LogLinePrefix, MarksContinuationLines) {
   LogLineHeader header = Header(5);
   header.continuation = true;
   EXPECT_EQ(Prefix({}, header), "2026-11-12T18:30:00.123Z In(05)+ main ");
}

TEST(LogLinePrefix, LeavesOutWhatItsFlagsLeaveOut) {
   EXPECT_EQ(Prefix({.milliseconds = false}, Header(5)), "2026-11-12T18:30:00Z In(05) main ");
   EXPECT_EQ(Prefix({.timeStamps = false}, Header(23)), "Db(23) main ");
   EXPECT_EQ(Prefix({.levelDesignator = false}, Header(5)), "2026-11-12T18:30:00.123Z main ");
   EXPECT_EQ(Prefix({.threadName = false}, Header(0)), "2026-11-12T18:30:00.123Z No(00) ");
   EXPECT_EQ(Prefix({false, false, false, false, false}, Header(5)), "");
}

TEST(LogLinePrefix, PrintsADashForAnEmptyOpId) {
   LogLineHeader header = Header(3);
   EXPECT_EQ(Prefix({.opId = true}, header), "2026-11-12T18:30:00.123Z Wa(03) main - ");
   std::strcpy(header.opId, "op-17");
   EXPECT_EQ(Prefix({.opId = true}, header), "2026-11-12T18:30:00.123Z Wa(03) main op-17 ");
}

TEST(LogLinePrefix, StopsAtEveryLimit) {
   const std::string whole = Prefix({}, Header(5));
   for (size_t limit = 1; limit <= whole.size() + 1; ++limit) {
      EXPECT_EQ(Prefix({}, Header(5), limit), whole.substr(0, limit - 1));
   }
   char untouched = '#';
   EXPECT_EQ(Log_FormatLinePrefix({}, Header(5), 0, &untouched), 0U);
   EXPECT_EQ(untouched, '#') << "not even a terminator fits";
}

TEST(LogLinePrefix, IsCutBetweenCharacters) {
   LogLineHeader header = Header(5);
   std::strcpy(header.threadName, "\xC3\xA4");
   EXPECT_EQ(Prefix({.timeStamps = false, .levelDesignator = false}, header, 2), "");
   EXPECT_EQ(Prefix({.timeStamps = false, .levelDesignator = false}, header, 3), "\xC3\xA4");
}

TEST(LogTruncate, LeavesTwoBytesForNewlineAndTerminator) {
   EXPECT_EQ(Truncated("abcdefgh", 6), "abcd\n");
   EXPECT_EQ(Truncated("abcdefgh", 3), "a\n");
   EXPECT_EQ(Truncated("abcdefgh", 2), "\n");
}

TEST(LogTruncate, GivesANewlineForALimitOfOneAndForNoCompleteCharacter) {
   EXPECT_EQ(Truncated("abc", 1), "\n");
   EXPECT_EQ(Truncated("\xE2\x82\xAC", 4), "\n");
   EXPECT_EQ(Truncated("\x80\x80\x80", 5), "\n");
   EXPECT_EQ(Truncated("", 10), "\n");
}

TEST(LogTruncate, CutsAtEachPlaceOfEachSequenceLength) {
   // a, 2 bytes, 3 bytes, 4 bytes, z
   const std::string text = "a\xC3\xA4\xE2\x82\xAC\xF0\x9F\x98\x80z";
   const size_t ends[] = {0, 1, 1, 3, 3, 3, 6, 6, 6, 6, 10, 11};
   for (size_t limit = 2; limit <= text.size() + 1; ++limit) {
      EXPECT_EQ(Truncated(text + "tail", limit), text.substr(0, ends[limit - 2]) + "\n") << limit;
   }
}

TEST(LogTruncate, CutsInFrontOfWhatLeadsNoSequence) {
   EXPECT_EQ(Truncated("ab\xFF\x80tail", 6), "ab\n");
   EXPECT_EQ(Truncated("ab\xF8\x88\x80\x80tail", 8), "ab\n");
   EXPECT_EQ(Truncated("ab\x80\x80tail", 6), "ab\n") << "bytes that continue nothing";
}

TEST(LogTruncate, LooksAtSixContinuationBytesAndNoMore) {
   EXPECT_EQ(Log_Utf8CutLength("a\x80\x80\x80\x80\x80\x80", 7), 1U);
   EXPECT_EQ(Log_Utf8CutLength("a\x80\x80\x80\x80\x80\x80\x80", 8), 1U);
   EXPECT_EQ(Log_Utf8CutLength("a\x80\x80\x80\x80\x80\x80\x80\x80", 9), 2U);
}

TEST(LogTruncate, LeavesNoMoreThanTheLimitWhateverTheBytes) {
   std::mt19937 random(1);
   for (int round = 0; round < 20000; ++round) {
      std::string text(random() % 40, '\0');
      for (char &byte : text) {
         byte = static_cast<char>(random() % 255 + 1);
      }
      const size_t limit = random() % 42 + 1;
      const std::string cut = Truncated(text, limit);
      ASSERT_LE(cut.size(), std::max<size_t>(limit - 1, 1));
      ASSERT_EQ(cut.back(), '\n');
      ASSERT_EQ(cut.substr(0, cut.size() - 1), text.substr(0, cut.size() - 1));
   }
}

TEST(LogMask, ReplacesTheThreeLettersInAnyCase) {
   EXPECT_EQ(Masked("Found TLV device\n"), "Found *** device\n");
   EXPECT_EQ(Masked("tlvTLVtLv"), "*********");
   EXPECT_EQ(Masked("ttlvv"), "t***v");
   EXPECT_EQ(Masked("tl"), "tl");
   EXPECT_EQ(Masked(""), "");
   EXPECT_EQ(Masked("\x14lv \x54\x4C\x56"), "\x14lv ***");
}

TEST(LogMask, FindsThemAtEveryPlaceOfEveryLength) {
   for (size_t length = 3; length < 40; ++length) {
      for (size_t at = 0; at + 3 <= length; ++at) {
         std::string text(length, '.');
         text.replace(at, 3, "tLv");
         ASSERT_EQ(Masked(text), std::string(text).replace(at, 3, "***"));
      }
   }
}

TEST(LogMask, EqualsThePlainRuleOnRandomText) {
   std::mt19937 random(2);
   for (int round = 0; round < 20000; ++round) {
      std::string text(random() % 60, '\0');
      for (char &byte : text) {
         byte = "tlvTLV.\x80"[random() % 8];
      }
      ASSERT_EQ(Masked(text), MaskedPlainly(text)) << text;
   }
}
