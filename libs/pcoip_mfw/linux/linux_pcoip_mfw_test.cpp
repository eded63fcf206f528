#include "libs/pcoip_mfw/linux/linux_pcoip_mfw.h"

#include "lib/corvanebase/corvanebase.h"
#include "lib/log/Log.h"
#include "lib/mfw/common/corelogger.h"
#include "lib/mfw/common/logger.h"
#include "libs/utils/ConfigSettings.h"
#include "tests/kit/FakePreferences.h"
#include "tests/kit/TempDir.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <unistd.h>

namespace {

constexpr int kPanic = 1;
constexpr int kWarning = 3;
constexpr int kInfo = 5;

class MfwLogTest : public testing::Test {
protected:
   MfwLogTest() {
      setenv("XDG_STATE_HOME", (mDir / "state").c_str(), 1);
      setenv("XDG_CONFIG_HOME", (mDir / "config").c_str(), 1);
   }
   ~MfwLogTest() override {
      logger::Release();
      ConfigSettings::Shutdown();
      Log_Stop();
   }

   void WriteConfiguration(const std::string &content) {
      std::filesystem::create_directories(mDir / "config/corvane");
      kit::WriteFile(mDir / "config/corvane/config.toml", content);
   }
   // What all log files hold: a child that a death test has made writes one of its own.
   std::string Log() const {
      std::string log;
      std::error_code none;
      for (const auto &entry : std::filesystem::directory_iterator(mDir / "state/Logs/Corvane", none)) {
         log += kit::ReadFile(entry.path());
      }
      return log;
   }

   // How many lines of the log have this level and text.
   int Count(int level, const char *format, ...) const CORVANE_PRINTF(3, 4) {
      va_list args;
      va_start(args, format);
      const int count = CountV(level, format, args);
      va_end(args);
      return count;
   }
   bool Saw(int level, const char *format, ...) const CORVANE_PRINTF(3, 4) {
      va_list args;
      va_start(args, format);
      const int count = CountV(level, format, args);
      va_end(args);
      return count > 0;
   }

   const kit::TempDir mDir;
   kit::FakePreferences mSettings;
   const std::string mPath = mDir / ("state/Logs/Corvane/zenthar-MAVR-" + std::to_string(getpid()) + ".log");

private:
   // A line is "TIME Xx(LL) THREAD TEXT".
   int CountV(int level, const char *format, va_list args) const CORVANE_PRINTF(3, 0) {
      std::string text(4096, '\0');
      text.resize(static_cast<size_t>(std::vsnprintf(text.data(), text.size(), format, args)));
      if (!text.empty() && text.back() == '\n') {
         text.pop_back();
      }
      std::string number(8, '\0');
      number.resize(Str_Sprintf(number.data(), number.size(), "(%02d)", level));
      std::istringstream lines(Log());
      int count = 0;
      for (std::string line; std::getline(lines, line);) {
         std::istringstream words(line);
         std::string time;
         std::string designator;
         std::string thread;
         words >> time >> designator >> thread;
         std::string rest;
         std::getline(words, rest);
         count += designator.size() == 6 && designator.substr(2) == number && rest == " " + text ? 1 : 0;
      }
      return count;
   }
};

TEST_F(MfwLogTest, StartsTheLogUnderItsPlaceAndName) {
   MfwLog_Init();
   EXPECT_TRUE(std::filesystem::exists(mPath));
   EXPECT_TRUE(Saw(kInfo, "Log for %s pid=%d version=%s build=%s option=%s\n", "MAVR client library", getpid(), "2.0.0",
                   ProductState_GetBuildNumberString(), ProductState_GetCompilationOption()))
      << Log();
   EXPECT_TRUE(Saw(kInfo, "Redirected MFW log output to standard sorv logging.\n")) << Log();
   EXPECT_TRUE(ConfigSettings::IsInitialised());
}

TEST_F(MfwLogTest, DebugAtTheInitialLevelLogsNoSwitching) {
   mSettings.SetText("LogLevel", "debug");
   MfwLog_Init();
   EXPECT_EQ(MfwLog_Level(), 1);
   EXPECT_EQ(Log().find("Switching"), std::string::npos) << Log();
   EXPECT_EQ(Log().find("Bad log level"), std::string::npos) << Log();
}

TEST_F(MfwLogTest, MissingLevelMeansDebug) {
   MfwLog_Init();
   EXPECT_EQ(MfwLog_Level(), 1);
   EXPECT_EQ(Log().find("Switching"), std::string::npos) << Log();
}

TEST_F(MfwLogTest, OtherWordsSwitch) {
   mSettings.SetText("LogLevel", "info");
   MfwLog_Init();
   EXPECT_EQ(MfwLog_Level(), 2);
   EXPECT_EQ(Count(kInfo, "Switching to log level '%s'\n", "info"), 1) << Log();
}

TEST_F(MfwLogTest, TraceIsLevelZero) {
   mSettings.SetText("LogLevel", "trace");
   MfwLog_Init();
   EXPECT_EQ(MfwLog_Level(), 0);
   EXPECT_EQ(Count(kInfo, "Switching to log level '%s'\n", "trace"), 1) << Log();
   MAVR_LOG_TRACE("%s - traced", "Test");
   EXPECT_TRUE(Saw(kInfo, "MAVR: %s", "Test - traced\n")) << Log();
}

TEST_F(MfwLogTest, ErrorIsLevelFourAndWarningsStillArrive) {
   mSettings.SetText("LogLevel", "error");
   MfwLog_Init();
   EXPECT_EQ(MfwLog_Level(), 4);
   MAVR_LOG_INFO("%s - informed", "Test");
   MAVR_LOG_WARN("%s - warned", "Test");
   EXPECT_FALSE(Saw(kInfo, "MAVR: %s", "Test - informed\n")) << Log();
   EXPECT_TRUE(Saw(kWarning, "MAVR: %s", "Test - warned\n")) << Log();
}

// Required: there is no word for the level of warnings, and words are compared with their case.
TEST_F(MfwLogTest, WarnIsABadLevelAndRunsAtDebug) {
   mSettings.SetText("LogLevel", "warn");
   MfwLog_Init();
   EXPECT_EQ(MfwLog_Level(), 1);
   EXPECT_EQ(Count(kInfo, "Bad log level specified, '%s'\n", "warn"), 1) << Log();
   EXPECT_EQ(Log().find("Switching"), std::string::npos) << Log();
}

TEST_F(MfwLogTest, LevelInCapitalsIsBad) {
   mSettings.SetText("LogLevel", "INFO");
   MfwLog_Init();
   EXPECT_EQ(MfwLog_Level(), 1);
   EXPECT_EQ(Count(kInfo, "Bad log level specified, '%s'\n", "INFO"), 1) << Log();
}

TEST_F(MfwLogTest, EmptyLevelIsBad) {
   mSettings.SetText("LogLevel", "");
   MfwLog_Init();
   EXPECT_EQ(MfwLog_Level(), 1);
   EXPECT_EQ(Count(kInfo, "Bad log level specified, '%s'\n", ""), 1) << Log();
}

TEST_F(MfwLogTest, LinesOfTheComponentLogArriveByTheirLevel) {
   mSettings.SetText("LogLevel", "info");
   MfwLog_Init();
   MAVR_LOG_DEBUG("%s - debugged", "Test");
   MfwLog_Redirect("Test - debugged past the filter\n", logger::DEBUG);
   MAVR_LOG_INFO("%s - informed", "Test");
   MAVR_LOG_WARN("%s - warned", "Test");
   MAVR_LOG_ERROR("%s - failed", "Test");
   EXPECT_EQ(Log().find("debugged"), std::string::npos) << Log();
   EXPECT_EQ(Count(kInfo, "MAVR: %s", "Test - informed\n"), 1) << Log();
   EXPECT_EQ(Count(kWarning, "MAVR: %s", "Test - warned\n"), 1) << Log();
   EXPECT_EQ(Count(kWarning, "MAVR: %s", "Test - failed\n"), 1) << Log();
}

// The levels that reach the log when a message is made in the usual way, and when it goes past the filter in front of
// the formatting, straight to the callback.
class LogFilterTest : public MfwLogTest {
protected:
   void ExpectLevelsFrom(int least) const {
      for (int level = logger::TRACE; level <= logger::ERROR; ++level) {
         const bool passes = level >= std::min<int>(least, logger::WARN);
         const int asLevel = level >= logger::WARN ? kWarning : kInfo;
         const std::string text = "level " + std::to_string(level) + " at " + std::to_string(least);
         MAVR_LOG(level, "%s", text.c_str());
         MfwLog_Redirect((text + " redirected\n").c_str(), level);
         EXPECT_EQ(Count(asLevel, "MAVR: %s", text.c_str()), passes ? 1 : 0) << text;
         EXPECT_EQ(Count(asLevel, "MAVR: %s redirected", text.c_str()), passes ? 1 : 0) << text;
         EXPECT_EQ(logger::Wants(level), passes) << text << ": not even formatted";
      }
      EXPECT_TRUE(logger::Wants(logger::FATAL));
      EXPECT_TRUE(logger::Wants(logger::FATAL + 1)) << "the callback has its own answer";
      EXPECT_TRUE(logger::Wants(-1)) << "the callback has its own answer";
   }
};

TEST_F(LogFilterTest, HidesNothingThatTheCallbackLetsThroughAtTrace) {
   mSettings.SetText("LogLevel", "trace");
   MfwLog_Init();
   ExpectLevelsFrom(logger::TRACE);
}

TEST_F(LogFilterTest, HidesNothingThatTheCallbackLetsThroughAtTheInitialLevel) {
   MfwLog_Init();
   ExpectLevelsFrom(logger::DEBUG);
}

TEST_F(LogFilterTest, HidesNothingThatTheCallbackLetsThroughAtInfo) {
   mSettings.SetText("LogLevel", "info");
   MfwLog_Init();
   ExpectLevelsFrom(logger::INFO);
}

TEST_F(LogFilterTest, HidesNothingThatTheCallbackLetsThroughAtError) {
   mSettings.SetText("LogLevel", "error");
   MfwLog_Init();
   ExpectLevelsFrom(logger::ERROR);
}

TEST_F(LogFilterTest, FollowsTheLevelThroughStartsThatAreTriedAgain) {
   kit::WriteFile(mDir / "state", "a file where the folder should be");
   for (const auto &[word, level] : {std::pair{"error", logger::ERROR},
                                     {"trace", logger::TRACE},
                                     {"info", logger::INFO},
                                     {"warn", logger::DEBUG}}) {
      mSettings.SetText("LogLevel", word);
      MfwLog_Init();
      ASSERT_FALSE(Log_HasOutputs());
      EXPECT_EQ(MfwLog_Level(), level) << word;
   }
   mSettings.SetText("LogLevel", "error");
   MfwLog_Init();
   mSettings.SetText("LogLevel", "trace");
   std::filesystem::remove(mDir / "state");
   MfwLog_Init();
   ASSERT_TRUE(Log_HasOutputs());
   EXPECT_EQ(MfwLog_Level(), logger::TRACE);
   ExpectLevelsFrom(logger::TRACE);
   MfwLog_TearDown();
   MfwLog_Init();
   EXPECT_TRUE(logger::Wants(logger::TRACE));
}

TEST_F(MfwLogTest, LinesOfTheSetUpComeInTheirOrder) {
   mSettings.SetText("LogLevel", "info");
   mSettings.SetText("ciEnabled", "true");
   MfwLog_Init();
   const std::string log = Log();
   const size_t switching = log.find("Switching to log level 'info'\n");
   const size_t redirected = log.find("Redirected MFW log output to standard sorv logging.\n");
   const size_t closing = log.find("In CI mode. close stderr\n");
   EXPECT_LT(switching, redirected) << log;
   EXPECT_LT(redirected, closing) << log;
   EXPECT_NE(closing, std::string::npos) << log;
}

TEST_F(MfwLogTest, SecondInitReturnsAtOnceAndChangesNothing) {
   MfwLog_Init();
   const std::string before = Log();
   mSettings.SetText("LogLevel", "error");
   mSettings.SetText("ciEnabled", "true");
   MfwLog_Init();
   EXPECT_EQ(MfwLog_Level(), 1);
   EXPECT_EQ(Log(), before);
}

// Required: the log stays up and the settings stay closed.
TEST_F(MfwLogTest, TearDownClosesTheSettingsForGood) {
   MfwLog_Init();
   MfwLog_TearDown();
   EXPECT_FALSE(ConfigSettings::IsInitialised());
   MfwLog_Init();
   EXPECT_FALSE(ConfigSettings::IsInitialised());
   MAVR_LOG_INFO("%s - still here", "Test");
   EXPECT_TRUE(Saw(kInfo, "MAVR: %s", "Test - still here\n")) << Log();
   MfwLog_TearDown();
}

TEST_F(MfwLogTest, CiModeClosesStderr) {
   WriteConfiguration("\"log.stderrLevel\" = \"debug\"\n");
   mSettings.SetText("ciEnabled", "true");
   MfwLog_Init();
   EXPECT_EQ(Log_GetStderrLevel(0), -1);
   EXPECT_EQ(Count(kInfo, "In CI mode. close stderr"), 1) << Log();
}

TEST_F(MfwLogTest, CiModeInCapitalsDoesNot) {
   WriteConfiguration("\"log.stderrLevel\" = \"debug\"\n");
   mSettings.SetText("ciEnabled", "TRUE");
   MfwLog_Init();
   EXPECT_EQ(Log_GetStderrLevel(0), 8);
   EXPECT_EQ(Log().find("In CI mode"), std::string::npos) << Log();
}

TEST_F(MfwLogTest, ConfiguredFileNameIsUsed) {
   WriteConfiguration("[MAVR.log]\nfileName = \"" + (mDir / "own.log") + "\"\n");
   MfwLog_Init();
   EXPECT_NE(kit::ReadFile(mDir / "own.log").find("Redirected MFW log output"), std::string::npos);
   EXPECT_FALSE(std::filesystem::exists(mPath));
}

TEST_F(MfwLogTest, DamagedConfigurationFileIsReportedOnce) {
   WriteConfiguration("a = 1\nb = = 2\n");
   MfwLog_Init();
   ASSERT_NE(Preference_Trouble(), nullptr);
   EXPECT_EQ(Count(kWarning, "Configuration file not used: %s\n", Preference_Trouble()), 1) << Log();
}

TEST_F(MfwLogTest, FailedStartIsTriedAgainAndLosesNoLine) {
   kit::WriteFile(mDir / "state", "a file where the folder should be");
   WriteConfiguration("a = = 1\n");
   MfwLog_Init();
   EXPECT_FALSE(Log_HasOutputs());
   EXPECT_TRUE(ConfigSettings::IsInitialised());
   MAVR_LOG_INFO("%s - early", "Test");
   std::filesystem::remove(mDir / "state");
   MfwLog_Init();
   EXPECT_TRUE(Log_HasOutputs());
   EXPECT_TRUE(Saw(kInfo, "MAVR: %s", "Test - early\n")) << Log();
   EXPECT_EQ(Count(kInfo, "Redirected MFW log output to standard sorv logging.\n"), 2) << Log();
   EXPECT_EQ(Count(kWarning, "Configuration file not used: %s\n", Preference_Trouble()), 1) << Log();
}

// A death test runs in a child with a process id, and so with a log file, of its own.
using MfwLogDeathTest = MfwLogTest;

TEST_F(MfwLogDeathTest, FatalEndsTheProcessWithItsTextInTheLog) {
   EXPECT_EXIT(
      {
         MfwLog_Init();
         MAVR_LOG_FATAL("%s - %d", "Test", 7);
      },
      testing::KilledBySignal(SIGABRT), "MAVR: Test - 7\n");
   EXPECT_EQ(Count(kPanic, "MAVR: %s", "Test - 7\n"), 1) << Log();
}

TEST_F(MfwLogDeathTest, UnknownLevelOfTheCoreLoggerArrivesAsFatalAndEndsTheProcess) {
   EXPECT_EXIT(
      {
         MfwLog_Init();
         CORE::corelogger::Log("facility", 7, "%s - %d", "Level", 7);
      },
      testing::KilledBySignal(SIGABRT), "MAVR: Level - 7\n");
   EXPECT_EQ(Count(kPanic, "MAVR: %s", "Level - 7\n"), 1) << Log();
}

TEST_F(MfwLogDeathTest, LevelThatDoesNotExistEndsTheProcess) {
   static constexpr char kSource[] = "libs/pcoip_mfw/linux/linux_pcoip_mfw";
   for (const int level : {logger::FATAL + 1, -1}) {
      EXPECT_EXIT(
         {
            MfwLog_Init();
            MAVR_LOG(level, "%s", "text");
         },
         testing::KilledBySignal(SIGABRT), "NOT_REACHED libs/pcoip_mfw/linux/linux_pcoip_mfw:[0-9]+\n");
   }
   // Any line number will do.
   const std::string log = Log();
   const size_t source = log.find(kSource);
   ASSERT_NE(source, std::string::npos) << log;
   const int line = std::atoi(log.c_str() + source + sizeof kSource);
   EXPECT_GT(line, 0);
   EXPECT_EQ(Count(kPanic, "NOT_REACHED %s:%d\n", kSource, line), 2) << log;
}

} // namespace
