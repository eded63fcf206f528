#include "lib/log/LogTestKit.h"

#include <memory>
#include <unistd.h>

using logtest::CaptureOutput;
using logtest::CountOf;
using logtest::LogFixture;

namespace {
class LogRegistryTest : public LogFixture {};
} // namespace

TEST_F(LogRegistryTest, TakesTenOutputsAndRefusesTheEleventh) {
   std::vector<std::string> names;
   for (int at = 0; at < 11; ++at) {
      names.push_back("output" + std::to_string(at));
   }
   std::vector<std::unique_ptr<CaptureOutput>> outputs;
   for (int at = 0; at < 10; ++at) {
      outputs.push_back(std::make_unique<CaptureOutput>(names[static_cast<size_t>(at)].c_str()));
      EXPECT_TRUE(Log_AddOutput(outputs.back().get()));
   }
   CaptureOutput eleventh(names[10].c_str());
   EXPECT_FALSE(Log_AddOutput(&eleventh));
   EXPECT_EQ(eleventh.starts, 1);
   Log_Info("x");
   EXPECT_EQ(outputs[9]->lines.size(), 1U);
}

TEST_F(LogRegistryTest, RefusesASecondOutputOfTheSameKindAndName) {
   CaptureOutput first("same");
   CaptureOutput second("same");
   CaptureOutput file("same", kLogOutputFile);
   EXPECT_TRUE(Log_AddOutput(&first));
   EXPECT_FALSE(Log_AddOutput(&second));
   EXPECT_TRUE(Log_AddOutput(&file)) << "another kind";
   file.tag = kLogOutputKind3; // so that nothing takes it for a real file output
}

TEST_F(LogRegistryTest, TakesAnOutputOnce) {
   CaptureOutput output("once");
   EXPECT_TRUE(Log_AddOutput(&output));
   EXPECT_FALSE(Log_AddOutput(&output));
   Log_Info("x");
   EXPECT_EQ(output.lines.size(), 1U);
}

TEST_F(LogRegistryTest, RefusesAnythingBesideAnOutputThatHasLostItsKind) {
   CaptureOutput output("first");
   CaptureOutput second("second");
   ASSERT_TRUE(Log_AddOutput(&output));
   output.tag = 0; // as in one that was destroyed
   EXPECT_FALSE(Log_AddOutput(&second));
   output.tag = kLogOutputKind3;
   EXPECT_TRUE(Log_AddOutput(&second));
}

TEST_F(LogRegistryTest, RefusesWhatItDoesNotKnow) {
   CaptureOutput strange("strange", 0x11111);
   EXPECT_FALSE(Log_AddOutput(&strange));
   EXPECT_FALSE(Log_AddOutput(nullptr));
   CaptureOutput stopped("stopped");
   stopped.startResult = false;
   EXPECT_FALSE(Log_AddOutput(&stopped));
   EXPECT_FALSE(Log_HasOutputs());
}

TEST_F(LogRegistryTest, KeepsKindsApartThatDoNotGoTogether) {
   CaptureOutput third("a", kLogOutputKind3);
   CaptureOutput fourth("b", kLogOutputKind4);
   EXPECT_TRUE(Log_AddOutput(&third));
   EXPECT_FALSE(Log_AddOutput(&fourth));
}

TEST_F(LogRegistryTest, RecomputesTheGlobalPair) {
   CaptureOutput first("first");
   CaptureOutput second("second");
   first.fileLevel = 3;
   first.stderrLevel = 2;
   second.fileLevel = 8;
   second.stderrLevel = 9;
   EXPECT_EQ(Log_GetFileLevel(0), 5);
   EXPECT_EQ(Log_GetStderrLevel(0), -1);
   ASSERT_TRUE(Log_AddOutput(&first));
   EXPECT_EQ(Log_GetFileLevel(0), 3);
   ASSERT_TRUE(Log_AddOutput(&second));
   EXPECT_EQ(Log_GetFileLevel(0), 8);
   EXPECT_EQ(Log_GetStderrLevel(0), 2) << "standard error goes by the first output";
   EXPECT_EQ(Log_SetOutputLevel(&second, -1), 8);
   EXPECT_EQ(Log_GetFileLevel(0), 3);
   EXPECT_TRUE(Log_ReplaceOutput(&first, nullptr, false));
   EXPECT_EQ(Log_GetFileLevel(0), -1);
   EXPECT_TRUE(Log_ReplaceOutput(&second, nullptr, false));
   EXPECT_EQ(Log_GetFileLevel(0), 5);
   EXPECT_EQ(Log_GetStderrLevel(0), -1);
   EXPECT_EQ(first.destroys, 1);
}

TEST_F(LogRegistryTest, LeavesThePairAloneForAnOutputThatIsNotAttached) {
   CaptureOutput lone;
   EXPECT_EQ(Log_SetOutputLevel(&lone, 2), 23);
   EXPECT_EQ(lone.fileLevel, 2);
   EXPECT_EQ(Log_GetFileLevel(0), 5);
}

TEST_F(LogRegistryTest, HasLevelsForIdsUpTo314) {
   for (const uint32_t id : {0U, 1U, 314U}) {
      EXPECT_EQ(Log_SetFileLevel(id, 7), 7);
      EXPECT_EQ(Log_GetFileLevel(id), 7);
      EXPECT_EQ(Log_SetStderrLevel(id, 6), 6);
      EXPECT_EQ(Log_GetStderrLevel(id), 6);
   }
   EXPECT_EQ(Log_SetFileLevel(315, 7), -1);
   EXPECT_EQ(Log_GetFileLevel(315), -1);
   EXPECT_EQ(Log_SetStderrLevel(UINT32_MAX, 7), -1);
}

TEST_F(LogRegistryTest, SaysWhetherAMessageWouldBeWanted) {
   EXPECT_FALSE(Log_IsEnabled(0)) << "no output";
   CaptureOutput output;
   ASSERT_TRUE(Log_AddOutput(&output));
   Log_SetFileLevel(0, 5);
   Log_SetStderrLevel(0, 23);
   EXPECT_TRUE(Log_IsEnabled(0));
   EXPECT_TRUE(Log_IsEnabled(5));
   EXPECT_FALSE(Log_IsEnabled(6)) << "standard error plays no part";
   EXPECT_FALSE(Log_IsEnabled(32 + 1));
   EXPECT_TRUE(Log_IsEnabled(32)) << "level 0 of a module";
   EXPECT_FALSE(Log_IsEnabled(10080));
   Log_SetFileLevel(314, 31);
   EXPECT_TRUE(Log_IsEnabled(10079));
}

TEST_F(LogRegistryTest, ReleasesOnlyWhatIsNotAttached) {
   CaptureOutput output;
   EXPECT_TRUE(Log_ReleaseOutput(nullptr));
   ASSERT_TRUE(Log_AddOutput(&output));
   EXPECT_FALSE(Log_ReleaseOutput(&output));
   EXPECT_EQ(output.destroys, 0);
   CaptureOutput lone("lone");
   EXPECT_TRUE(Log_ReleaseOutput(&lone));
   EXPECT_EQ(lone.destroys, 1);
}

TEST_F(LogRegistryTest, ReplacesOnlyWhatFits) {
   CaptureOutput old("same");
   CaptureOutput fitting("same");
   CaptureOutput other("other");
   ASSERT_TRUE(Log_AddOutput(&old));
   EXPECT_FALSE(Log_ReplaceOutput(&old, &other, false)) << "another name";
   EXPECT_FALSE(Log_ReplaceOutput(&fitting, &old, false)) << "not attached";
   EXPECT_FALSE(Log_ReplaceOutput(nullptr, &fitting, false));
   EXPECT_FALSE(Log_ReplaceOutput(&old, &old, false));
   EXPECT_FALSE(Log_ReplaceOutput(&old, &fitting, true)) << "only file outputs can be merged";
   EXPECT_FALSE(Log_ReplaceOutput(&old, nullptr, true));
   fitting.startResult = false;
   EXPECT_FALSE(Log_ReplaceOutput(&old, &fitting, false));
   fitting.startResult = true;
   EXPECT_TRUE(Log_ReplaceOutput(&old, &fitting, false));
   Log_Info("x");
   EXPECT_TRUE(old.lines.empty());
   EXPECT_EQ(fitting.lines.size(), 1U);
}

TEST_F(LogRegistryTest, MergesTheOldFileIntoTheNewOne) {
   LogOutput *const old = StartFile(folder / "old.log");
   Log_Info("in the old file");
   LogOutput *const replacement = CreateFile(folder / "new.log");
   ASSERT_TRUE(Log_ReplaceOutput(old, replacement, true));
   Log_Info("in the new file");
   const std::string content = kit::ReadFile(folder / "new.log");
   EXPECT_EQ(content.find("Log for "), content.rfind("Log for ")) << "one label: the old file's";
   EXPECT_LT(content.find("in the old file"), content.find("in the new file"));
   EXPECT_EQ(content.find('\0'), std::string::npos);
   EXPECT_NE(access((folder / "old.log").c_str(), F_OK), 0);
   EXPECT_EQ(AsFile(replacement)->throttle.totalBytes > 0, true);
}

TEST_F(LogRegistryTest, MergesAFileOfSeveralBlocksWholeFromWhateverDevice) {
   for (const char *const place : {"", "/dev/shm"}) { // another file system, where there is one
      const std::string old =
         (*place != '\0' ? std::string(place) : folder.Path()) + "/mavr-merged-" + std::to_string(getpid()) + ".log";
      std::string content;
      for (int line = 0; content.size() <= 40000; ++line) {
         content += "line " + std::to_string(line) + "\n";
      }
      kit::WriteFile(old, content);
      LogOutput *const output = StartFile(folder / "new.log");
      LogFile_Merge(old.c_str(), output);
      EXPECT_EQ(kit::ReadFile(folder / "new.log"), content);
      EXPECT_EQ(AsFile(output)->fileSize, content.size());
      EXPECT_FALSE(logtest::Exists(old));
      unlink(old.c_str());
      EXPECT_TRUE(Log_ReplaceOutput(output, nullptr, false));
   }
}

TEST_F(LogRegistryTest, MergesBehindWhatIsThereWithAppend) {
   kit::WriteFile(folder / "new.log", "older content\n");
   LogOutput *const old = StartFile(folder / "old.log");
   Log_Info("in the old file");
   LogOutput *const replacement = CreateFile(folder / "new.log", {"log.append=true"});
   ASSERT_TRUE(Log_ReplaceOutput(old, replacement, true));
   const std::string content = kit::ReadFile(folder / "new.log");
   EXPECT_EQ(content.rfind("older content\n", 0), 0U);
   EXPECT_EQ(CountOf(content, "in the old file"), 1U);
}

TEST_F(LogRegistryTest, MergesNoFileIntoItself) {
   LogOutput *const old = StartFile(folder / "one.log");
   Log_Info("precious");
   LogOutput *const replacement = CreateFile(folder / "one.log", {"log.append=true"});
   ASSERT_TRUE(Log_ReplaceOutput(old, replacement, true));
   EXPECT_EQ(CountOf(kit::ReadFile(folder / "one.log"), "precious"), 1U);
}

TEST_F(LogRegistryTest, SaysWhatCannotBeMerged) {
   LogOutput *const output = StartFile(folder / "new.log");
   ASSERT_TRUE(Log_AddOutput(&capture));
   Log_Info("kept");
   LogFile_Merge((folder / "missing.log").c_str(), output);
   EXPECT_TRUE(capture.Saw(3, "Open failed on '%s': %s\n", (folder / "missing.log").c_str(), "File not found"))
      << capture.Dump();
   EXPECT_EQ(CountOf(kit::ReadFile(folder / "new.log"), "kept"), 1U);
   const std::string directory = folder / "directory";
   ASSERT_EQ(File_CreateDirectoryHierarchy(directory.c_str(), 0), 1);
   LogFile_Merge(directory.c_str(), output);
   EXPECT_TRUE(capture.Saw(3, "Read failed on '%s': %s\n", directory.c_str(), "Input/output error")) << capture.Dump();
}

TEST_F(LogRegistryTest, KeepsAFileThatCannotBeMergedIntoAClosedOne) {
   LogOutput *const output = StartFile(folder / "new.log");
   ASSERT_TRUE(Log_AddOutput(&capture));
   kit::WriteFile(folder / "old.log", "old");
   FileIO_Close(&AsFile(output)->file);
   LogFile_Merge((folder / "old.log").c_str(), output);
   EXPECT_TRUE(capture.Saw(3, "Write failed on '%s': %s\n", (folder / "new.log").c_str(), "Input/output error"))
      << capture.Dump();
}

TEST_F(LogRegistryTest, StopsAndStartsAgain) {
   CaptureOutput output;
   ASSERT_TRUE(Log_AddOutput(&output));
   Log_SetFileLevel(0, 8);
   Log_Stop();
   EXPECT_EQ(output.destroys, 1);
   EXPECT_FALSE(Log_HasOutputs());
   EXPECT_EQ(Log_GetFileLevel(0), 8) << "the filters stay";
   Log_Info("waits");
   CaptureOutput next("next");
   ASSERT_TRUE(Log_AddOutput(&next));
   EXPECT_EQ(next.lines.size(), 1U);
}

TEST_F(LogRegistryTest, TellsAllOutputsToStopThrottling) {
   CaptureOutput output;
   ASSERT_TRUE(Log_AddOutput(&output));
   Log_DisableThrottling();
   EXPECT_EQ(output.stops, 1);
}

TEST_F(LogRegistryTest, GivesThePathOfTheFirstFile) {
   EXPECT_EQ(Log_GetFilePath(), nullptr);
   CaptureOutput output;
   ASSERT_TRUE(Log_AddOutput(&output));
   EXPECT_EQ(Log_GetFilePath(), nullptr);
   StartFile(folder / "a.log");
   EXPECT_STREQ(Log_GetFilePath(), (folder / "a.log").c_str());
}

TEST_F(LogRegistryTest, GivesTheLockBackWhateverTheFlagSaysMeanwhile) {
   CaptureOutput output;
   output.onWrite = [] {
      Log_SetNoLock(true);
   };
   ASSERT_TRUE(Log_AddOutput(&output));
   Log_Info("x");
   Log_SetNoLock(false);
   EXPECT_EQ(MXUser_IsCurThreadHoldingRecLock(gLogState.lock.load()), 0);
}
