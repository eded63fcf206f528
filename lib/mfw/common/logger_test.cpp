#include "lib/mfw/common/logger.h"

#include "tests/kit/TempDir.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <utility>
#include <vector>

namespace {

std::vector<std::pair<int, std::string>> gLines;

void Receive(const char *text, int level) {
   gLines.emplace_back(level, text);
}

class LoggerTest : public testing::Test {
protected:
   void SetUp() override {
      gLines.clear();
      logger::Init(&Receive);
   }
   void TearDown() override { logger::Release(); }
};

TEST_F(LoggerTest, HandsTextAndLevelToTheCallback) {
   logger::Log("a/b.cpp", 5, logger::WARN, "%s - %d", "Function", 7);
   ASSERT_EQ(gLines.size(), 1U);
   EXPECT_EQ(gLines[0], std::make_pair(3, std::string("Function - 7\n")));
}

TEST_F(LoggerTest, EveryMessageEndsInALineFeed) {
   MAVR_LOG_TRACE("%s", "");
   MAVR_LOG_DEBUG("a");
   MAVR_LOG_INFO("b\n");
   MAVR_LOG_FATAL("%s", std::string(100'000, 'x').c_str());
   ASSERT_EQ(gLines.size(), 4U);
   EXPECT_EQ(gLines[0].second, "\n");
   EXPECT_EQ(gLines[1].second, "a\n");
   EXPECT_EQ(gLines[2].second, "b\n\n");
   EXPECT_EQ(gLines[3].second.back(), '\n');
}

TEST_F(LoggerTest, MessageOf70000CharactersArrivesCutTo65532WithALineFeed) {
   const std::string text(70'000, 'x');
   MAVR_LOG_INFO("%s", text.c_str());
   ASSERT_EQ(gLines.size(), 1U);
   EXPECT_EQ(gLines[0].second, std::string(65532, 'x') + "\n");
}

TEST_F(LoggerTest, LongestMessageThatFitsArrivesWhole) {
   for (const size_t length : {65531U, 65532U}) {
      gLines.clear();
      MAVR_LOG_INFO("%s", std::string(length, 'x').c_str());
      EXPECT_EQ(gLines.at(0).second, std::string(length, 'x') + "\n");
   }
   gLines.clear();
   MAVR_LOG_INFO("%s", std::string(65533, 'x').c_str());
   EXPECT_EQ(gLines.at(0).second, std::string(65532, 'x') + "\n");
}

// Required: the formatted print leaves 65533 bytes that end on a character, and the line feed takes the last one.
TEST_F(LoggerTest, LineFeedCutsWithoutRegardToCharacters) {
   const std::string text = std::string(65531, 'x') + "\xC3\xA4" + "more";
   MAVR_LOG_INFO("%s", text.c_str());
   EXPECT_EQ(gLines.at(0).second, std::string(65531, 'x') + "\xC3\n");
}

TEST_F(LoggerTest, CharacterOnTheEdgeOfTheBufferLeavesNoGapBeforeTheLineFeed) {
   for (size_t before = 65525; before < 65540; ++before) {
      gLines.clear();
      const std::string text = std::string(before, 'x') + "\xF0\x9F\x98\x80" + "more";
      MAVR_LOG_INFO("%s", text.c_str());
      const std::string &line = gLines.at(0).second;
      ASSERT_EQ(line.back(), '\n') << before;
      ASSERT_GE(line.size(), 65531U) << before;
      ASSERT_LE(line.size(), 65533U) << before;
      ASSERT_EQ(line.substr(0, line.size() - 1), text.substr(0, line.size() - 1)) << before;
   }
}

TEST_F(LoggerTest, MessageThatCannotBeFormattedStillArrivesWithItsLineFeed) {
   const volatile int width = 0x7FFFFFFF;
   MAVR_LOG_INFO("a%*ls%*ls", width, L"b", width, L"c");
   ASSERT_EQ(gLines.size(), 1U);
   EXPECT_EQ(gLines[0].second.back(), '\n');
}

TEST_F(LoggerTest, WideStringArrivesAsUtf8) {
   MAVR_LOG_INFO("%ls", L"\u00E4");
   EXPECT_EQ(gLines.at(0).second, "\xC3\xA4\n");
}

TEST_F(LoggerTest, KeepsErrno) {
   errno = EDOM;
   const volatile int width = 0x7FFFFFFF;
   MAVR_LOG_INFO("%*ls%*ls", width, L"b", width, L"c");
   EXPECT_EQ(errno, EDOM);
}

TEST_F(LoggerTest, NumberThatIsNoLevelReachesTheCallbackWhateverIsDropped) {
   logger::SetDropBelow(logger::FATAL);
   MAVR_LOG(-1, "a");
   MAVR_LOG(6, "b");
   MAVR_LOG(logger::ERROR, "c");
   ASSERT_EQ(gLines.size(), 2U);
   EXPECT_EQ(gLines[0], std::make_pair(-1, std::string("a\n")));
   EXPECT_EQ(gLines[1], std::make_pair(6, std::string("b\n")));
}

TEST_F(LoggerTest, SecondCallbackTakesThePlaceOfTheFirst) {
   logger::SetDropBelow(logger::ERROR);
   logger::Instance().SetCallback([](const char *, int level) { gLines.emplace_back(level + 100, "second"); });
   MAVR_LOG_TRACE("a");
   ASSERT_EQ(gLines.size(), 1U);
   EXPECT_EQ(gLines[0].first, 100);
}

int gEvaluated = 0;
int Evaluate() {
   return ++gEvaluated;
}

TEST_F(LoggerTest, DroppedMessageIsNotFormattedNorItsArgumentsMade) {
   logger::SetDropBelow(logger::WARN);
   MAVR_LOG_INFO("%d", Evaluate());
   EXPECT_EQ(gEvaluated, 0);
   EXPECT_TRUE(gLines.empty());
   MAVR_LOG_WARN("%d", Evaluate());
   EXPECT_EQ(gEvaluated, 1);
   EXPECT_EQ(gLines.size(), 1U);
}

TEST_F(LoggerTest, ReleaseForgetsCallbackAndFilter) {
   logger::SetDropBelow(logger::FATAL);
   logger::Release();
   EXPECT_TRUE(logger::Wants(logger::TRACE));
   testing::internal::CaptureStdout();
   MAVR_LOG_TRACE("a");
   EXPECT_EQ(testing::internal::GetCapturedStdout(), "a\n\n");
   EXPECT_TRUE(gLines.empty());
   logger::Release();
   logger::Release();
}

TEST(LoggerWithoutCallback, MessageGoesToStandardOutputWithAnEmptyLineBehindIt) {
   testing::internal::CaptureStdout();
   MAVR_LOG_DEBUG("%s - text", "Function");
   EXPECT_EQ(testing::internal::GetCapturedStdout(), "Function - text\n\n");
}

TEST(LoggerWithoutCallback, AMessageIsOutBeforeTheProcessCanDie) {
   int ends[2];
   ASSERT_EQ(pipe(ends), 0);
   const pid_t child = fork();
   if (child == 0) {
      dup2(ends[1], STDOUT_FILENO);
      logger::Log("file", 1, logger::INFO, "last words");
      _exit(0);
   }
   close(ends[1]);
   char text[64] = "";
   EXPECT_EQ(read(ends[0], text, sizeof text - 1), 12);
   EXPECT_STREQ(text, "last words\n\n");
   close(ends[0]);
   EXPECT_EQ(waitpid(child, nullptr, 0), child);
}

TEST(LoggerWithoutCallback, StandardOutputThatFailsLeavesErrnoAlone) {
   std::fflush(stdout);
   const int kept = dup(STDOUT_FILENO);
   close(STDOUT_FILENO);
   errno = EDOM;
   MAVR_LOG_ERROR("%s - text", "Function");
   const int error = errno;
   dup2(kept, STDOUT_FILENO);
   close(kept);
   std::clearerr(stdout);
   EXPECT_EQ(error, EDOM);
}

TEST(LoggerObject, IsMadeOnceByThreadsThatMeet) {
   std::array<logger *, 4> seen{};
   std::vector<std::thread> threads;
   for (logger *&slot : seen) {
      threads.emplace_back([&slot] { slot = &logger::Instance(); });
   }
   for (std::thread &thread : threads) {
      thread.join();
   }
   for (const logger *const instance : seen) {
      EXPECT_EQ(instance, seen[0]);
   }
   logger::Release();
}

char *FormatMsg(char *buffer, size_t size, const char *format, ...) __attribute__((format(printf, 3, 4)));
char *FormatMsg(char *buffer, size_t size, const char *format, ...) {
   va_list args;
   va_start(args, format);
   char *const result = logger::FormatMsg(buffer, size, format, args);
   va_end(args);
   return result;
}

TEST(LoggerFormatMsg, KeepsErrno) {
   std::array<char, 8> buffer{};
   const volatile int width = 0x7FFFFFFF;
   errno = EDOM;
   FormatMsg(buffer.data(), buffer.size(), "%*ls%*ls", width, L"b", width, L"c");
   EXPECT_EQ(errno, EDOM);
}

TEST(LoggerFormatMsg, PlacesLineFeedAndZeroForAnyBuffer) {
   std::array<char, 8> buffer;
   buffer.fill('#');
   EXPECT_EQ(FormatMsg(buffer.data(), 6, "%s", "abcd"), buffer.data());
   EXPECT_STREQ(buffer.data(), "abcd\n");
   EXPECT_STREQ(FormatMsg(buffer.data(), 6, "%s", "abcde"), "abcd\n");
   EXPECT_STREQ(FormatMsg(buffer.data(), 6, "%s", "abcdefghij"), "abcd\n");
   EXPECT_EQ(buffer[6], '#');
   EXPECT_STREQ(FormatMsg(buffer.data(), 2, "%s", "abc"), "\n");
   EXPECT_STREQ(FormatMsg(buffer.data(), 8, "%s", ""), "\n");
}

TEST(LoggerDeathTest, ProgrammingFaultsAssert) {
   std::array<char, 8> buffer{};
   EXPECT_EXIT(logger::Init(nullptr), testing::KilledBySignal(SIGABRT), "clb");
   EXPECT_EXIT(logger::Instance().SetCallback(nullptr), testing::KilledBySignal(SIGABRT), "clb");
   EXPECT_EXIT(FormatMsg(nullptr, 8, "a"), testing::KilledBySignal(SIGABRT), "msgBuffer");
   EXPECT_EXIT(FormatMsg(buffer.data(), 1, "a"), testing::KilledBySignal(SIGABRT), "msgBufferLen > 1");
}

TEST(LoggerLevelName, IsFiveCharactersWide) {
   const std::array<const char *, 6> names{"TRACE", "DEBUG", "INFO ", "WARN ", "ERROR", "FATAL"};
   for (int level = 0; level < 6; ++level) {
      EXPECT_STREQ(logger::LevelName(level), names[static_cast<size_t>(level)]);
   }
   EXPECT_STREQ(logger::LevelName(6), "UNKNOWN");
   EXPECT_STREQ(logger::LevelName(-1), "UNKNOWN");
}

TEST(LoggerFileAndLine, StandsInSquareBrackets) {
   EXPECT_EQ(logger::FileAndLine("a/b.cpp", 12), " [a/b.cpp:12]");
}

} // namespace
