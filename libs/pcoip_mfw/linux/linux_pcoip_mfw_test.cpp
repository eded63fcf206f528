#include "libs/pcoip_mfw/linux/linux_pcoip_mfw.h"

#include "lib/corvanebase/corvanebase.h"
#include "lib/log/Log.h"
#include "lib/mfw/common/logger.h"
#include "libs/utils/ConfigSettings.h"
#include "tests/kit/FakePreferences.h"
#include "tests/kit/TempDir.h"

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <unistd.h>

namespace {

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
   std::string Log() const { return kit::ReadFile(mPath); }

   // How many lines of the log file have this level and text.
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
   EXPECT_TRUE(Saw(kInfo, "MAVR: %s - traced", "Test")) << Log();
}

TEST_F(MfwLogTest, ErrorIsLevelFourAndWarningsStillArrive) {
   mSettings.SetText("LogLevel", "error");
   MfwLog_Init();
   EXPECT_EQ(MfwLog_Level(), 4);
   MAVR_LOG_INFO("%s - informed", "Test");
   MAVR_LOG_WARN("%s - warned", "Test");
   EXPECT_FALSE(Saw(kInfo, "MAVR: %s - informed", "Test")) << Log();
   EXPECT_TRUE(Saw(kWarning, "MAVR: %s - warned", "Test")) << Log();
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

TEST_F(MfwLogTest, LinesOfTheComponentLogArriveByTheirLevel) {
   mSettings.SetText("LogLevel", "info");
   MfwLog_Init();
   MAVR_LOG_DEBUG("%s - debugged", "Test");
   MfwLog_Redirect("Test - debugged past the filter\n", logger::DEBUG);
   MAVR_LOG_INFO("%s - informed", "Test");
   MAVR_LOG_WARN("%s - warned", "Test");
   MAVR_LOG_ERROR("%s - failed", "Test");
   EXPECT_EQ(Log().find("debugged"), std::string::npos) << Log();
   EXPECT_EQ(Count(kInfo, "MAVR: %s - informed", "Test"), 1) << Log();
   EXPECT_EQ(Count(kWarning, "MAVR: %s - warned", "Test"), 1) << Log();
   EXPECT_EQ(Count(kWarning, "MAVR: %s - failed", "Test"), 1) << Log();
}

TEST_F(MfwLogTest, DroppedLinesAreNotEvenFormatted) {
   mSettings.SetText("LogLevel", "error");
   MfwLog_Init();
   EXPECT_FALSE(logger::Wants(logger::INFO));
   EXPECT_TRUE(logger::Wants(logger::WARN));
}

TEST_F(MfwLogTest, AtTheInitialLevelOnlyTraceIsDropped) {
   MfwLog_Init();
   EXPECT_FALSE(logger::Wants(logger::TRACE));
   EXPECT_TRUE(logger::Wants(logger::DEBUG));
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
   EXPECT_TRUE(Saw(kInfo, "MAVR: %s - still here", "Test")) << Log();
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
   EXPECT_TRUE(Saw(kInfo, "MAVR: %s - early", "Test")) << Log();
   EXPECT_EQ(Count(kInfo, "Redirected MFW log output to standard sorv logging.\n"), 2) << Log();
   EXPECT_EQ(Count(kWarning, "Configuration file not used: %s\n", Preference_Trouble()), 1) << Log();
}

// A death test runs in a child with a process id, and so with a log file, of its own.
class MfwLogDeathTest : public MfwLogTest {
protected:
   std::string ChildLog() const {
      std::string log;
      for (const auto &entry : std::filesystem::directory_iterator(mDir / "state/Logs/Corvane")) {
         log += kit::ReadFile(entry.path());
      }
      return log;
   }
};

TEST_F(MfwLogDeathTest, FatalEndsTheProcessWithItsTextInTheLog) {
   EXPECT_EXIT(
      {
         MfwLog_Init();
         MAVR_LOG_FATAL("%s - %d", "Test", 7);
      },
      testing::KilledBySignal(SIGABRT), "MAVR: Test - 7\n");
   EXPECT_NE(ChildLog().find("(01) "), std::string::npos) << ChildLog();
   EXPECT_NE(ChildLog().find(" MAVR: Test - 7\n"), std::string::npos) << ChildLog();
}

TEST_F(MfwLogDeathTest, LevelThatDoesNotExistEndsTheProcess) {
   EXPECT_EXIT(MfwLog_Redirect("text\n", 6), testing::KilledBySignal(SIGABRT),
               "NOT_REACHED libs/pcoip_mfw/linux/linux_pcoip_mfw:[0-9]+\n");
   EXPECT_EXIT(MfwLog_Redirect("text\n", -1), testing::KilledBySignal(SIGABRT), "NOT_REACHED");
}

} // namespace
