// The log without memory: it drops, refuses and stays silent, and works as soon as there is some.

#include "lib/log/LogRing.h"
#include "lib/log/LogTestKit.h"
#include "tests/kit/Faults.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

using kit::FailNth;
using kit::Fault;
using kit::Repeat;
using logtest::LogFixture;

namespace {

class LogMemory : public LogFixture {};

} // namespace

TEST_F(LogMemory, WithoutALockEveryCallAnswersNoAndAMessageIsDropped) {
   testing::internal::CaptureStderr();
   {
      const FailNth fault(Fault::Allocation, 1, Repeat::FromThenOn); // the lock is made at the first use
      Log_SetStderrLevel(0, 5);
      Log_Info("dropped");
      EXPECT_FALSE(Log_AddOutput(&capture));
      EXPECT_FALSE(Log_ReleaseOutput(&capture));
      EXPECT_FALSE(Log_ReplaceOutput(&capture, nullptr, false));
      EXPECT_EQ(Log_GetFilePath(), nullptr);
      EXPECT_EQ(Log_SetOutputLevel(&capture, 7), 23);
      EXPECT_EQ(capture.fileLevel, 23) << "unchanged";
      Log_DisableThrottling();
      Log_SetOpIdProvider([](size_t, char *) { return true; });
      Log_Stop();
      EXPECT_TRUE(fault.Struck());
   }
   EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
   EXPECT_EQ(gLogState.opIdProvider, nullptr);
   EXPECT_EQ(gLogState.busy.load(), 0U);
   Log_SetStderrLevel(0, -1);
   ASSERT_TRUE(Log_AddOutput(&capture));
   Log_Info("there is memory");
   EXPECT_EQ(capture.lines.size(), 1U) << capture.Dump();
}

TEST_F(LogMemory, AMessageForStandardErrorAloneIsDroppedWithoutALock) {
   Log_SetFileLevel(0, -1);
   Log_SetStderrLevel(0, 5);
   testing::internal::CaptureStderr();
   {
      const FailNth fault(Fault::Allocation, 1, Repeat::FromThenOn);
      Log_Info("dropped");
      EXPECT_TRUE(fault.Struck());
   }
   EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST_F(LogMemory, ARingIsWholeOrNone) {
   for (const uint64_t nth : {1U, 2U}) {
      const FailNth fault(Fault::Allocation, nth);
      EXPECT_EQ(LogRing_Create(1000), nullptr);
   }
   LogRing_Destroy(nullptr);
   LogRing *const ring = LogRing_Create(1000);
   EXPECT_NE(ring, nullptr);
   LogRing_Destroy(ring);
}

// Whichever allocation fails: no exception, and an output that works, or none and a line that says why.
TEST_F(LogMemory, AStartThatFindsNoMemoryIsRefusedWithALineAndTheNextOneWorks) {
   const std::string given = folder / "given.log";
   const std::initializer_list<std::function<LogOutput *()>> starts = {
      [] { return Log_CreateFileOutput("MAVR", "file", nullptr, Log_GetConfigSource()); },
      [] { return Log_Start("MAVR", nullptr, nullptr, true); },
      [&] { return Log_StartWithPath("MAVR", nullptr, given.c_str()); },
   };
   std::vector<const char *> unseen = {"Log_CreateFileOutput", "Log_StartWithPath", "LogFile_Start"};
   Log_Info("makes the lock");
   for (const auto &start : starts) {
      for (uint64_t nth = 1;; ++nth) {
         FailNth fault(Fault::Allocation, nth);
         LogOutput *const output = start();
         fault.Disarm();
         const bool struck = fault.Struck();
         const bool attached = Log_GetFilePath() != nullptr;
         if (output != nullptr && !attached) {
            EXPECT_TRUE(Log_ReleaseOutput(output));
         }
         Log_Stop();
         ASSERT_TRUE(Log_AddOutput(&capture));
         EXPECT_TRUE(output != nullptr || std::any_of(capture.lines.begin(), capture.lines.end(),
                                                      [](const auto &line) { return line.level == kLogLevelWarning; }))
            << "allocation " << nth;
         std::erase_if(unseen, [this](const char *function) {
            return capture.Saw(kLogLevelWarning, "%s: out of memory\n", function);
         });
         EXPECT_TRUE(Log_ReplaceOutput(&capture, nullptr, false));
         capture.lines.clear();
         if (!struck) {
            EXPECT_NE(output, nullptr);
            break;
         }
      }
   }
   EXPECT_EQ(unseen, std::vector<const char *>());
}

TEST_F(LogMemory, ModuleFiltersThatFindNoMemoryStayAsTheyAre) {
   std::filesystem::create_directory(folder / "corvane");
   kit::WriteFile(folder / "corvane/config.toml", std::string("\"log.filter.minLogLevel.") + Log_ModuleNameById(1) +
                                                     "\" = \"debug\"\n\"log.filter.minLogLevel." +
                                                     Log_ModuleNameById(314) + "\" = \"debug\"\n");
   Preference_Init();
   ASSERT_TRUE(Log_AddOutput(&capture));
   Log_SetFileLevel(1, 9);
   Log_SetFileLevel(314, 9);
   {
      const FailNth fault(Fault::Allocation, 100);
      Log_LoadModuleFilters("MAVR", Log_GetConfigSource());
      EXPECT_TRUE(fault.Struck());
   }
   EXPECT_TRUE(capture.Saw(kLogLevelWarning, "%s: out of memory\n", "Log_LoadModuleFilters"));
   EXPECT_EQ(Log_GetFileLevel(1), 8) << "read before memory was short";
   EXPECT_EQ(Log_GetFileLevel(314), 9);
   Log_LoadModuleFilters("MAVR", Log_GetConfigSource());
   EXPECT_EQ(Log_GetFileLevel(314), 8);
}

TEST_F(LogMemory, AMergeThatFindsNoMemoryChangesNothing) {
   LogOutput *const former = StartFile(folder / "former.log");
   LogOutput *const later = CreateFile(folder / "later.log");
   ASSERT_TRUE(former != nullptr && later != nullptr && later->start(later));
   {
      const FailNth fault(Fault::Allocation, 1);
      EXPECT_FALSE(Log_ReplaceOutput(former, later, true));
      EXPECT_TRUE(fault.Struck());
   }
   Log_Info("the next line brings it");
   EXPECT_NE(kit::ReadFile(folder / "former.log").find(" Log_ReplaceOutput: out of memory\n"), std::string::npos);
   EXPECT_STREQ(Log_GetFilePath(), (folder / "former.log").c_str());
   EXPECT_TRUE(Log_ReplaceOutput(former, later, true));
   EXPECT_STREQ(Log_GetFilePath(), (folder / "later.log").c_str());
}
