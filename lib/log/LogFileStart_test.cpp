#include "lib/log/LogTestKit.h"

#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using logtest::CountOf;
using logtest::Exists;
using logtest::LogFixture;
using logtest::Saw;
using logtest::SizeLimit;

namespace {

class LogFileStart : public LogFixture {
protected:
   size_t CountRotations() { return CountOf(Captured().Dump(), "LogRotation: Rotating"); }
};

} // namespace

TEST_F(LogFileStart, MakesAFileWithTheModeOfItsKey) {
   umask(0);
   ASSERT_NE(StartFile(path, {"log.permissions=416"}), nullptr);
   struct stat file {};
   ASSERT_EQ(stat(path.c_str(), &file), 0);
   EXPECT_EQ(file.st_mode & 0777, 0640U);
}

TEST_F(LogFileStart, StartsOnce) {
   LogOutput *const output = StartFile(path);
   Log_Info("kept");
   EXPECT_TRUE(LogFile_Start(output));
   EXPECT_EQ(CountOf(kit::ReadFile(path), "kept"), 1U);
}

TEST_F(LogFileStart, RefusesASymbolicLinkAndNeverMakesItsTarget) {
   const std::string target = folder / "target";
   for (const char *const key : {"log.keepOld=0", "log.keepOld=3", "log.append=true"}) {
      ASSERT_EQ(symlink(target.c_str(), path.c_str()), 0);
      EXPECT_EQ(StartFile(path, {key}), nullptr) << key;
      EXPECT_FALSE(Exists(target)) << key;
      ASSERT_EQ(unlink(path.c_str()), 0);
   }
   EXPECT_TRUE(Captured().Saw(3, "Log file '%s' is a symbolic link.\n", path.c_str())) << Captured().Dump();
   EXPECT_TRUE(Captured().Saw(3, "Open of '%s' failed\n", path.c_str()));
   EXPECT_TRUE(
      Captured().Saw(3, "Could not open log file '%s' for append, ignoring log.append option\n", path.c_str()));
}

TEST_F(LogFileStart, LeavesTheTargetOfALinkAsItIs) {
   const std::string target = folder / "target";
   kit::WriteFile(target, "precious");
   ASSERT_EQ(symlink(target.c_str(), path.c_str()), 0);
   EXPECT_EQ(StartFile(path), nullptr);
   EXPECT_EQ(kit::ReadFile(target), "precious");
}

TEST_F(LogFileStart, RefusesWhatIsNoPlainFileBeforeAnyOpen) {
   ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
   EXPECT_EQ(StartFile(path), nullptr);
   EXPECT_TRUE(Captured().Saw(3, "Rejecting '%s' because it is not an acceptable type.\n", path.c_str()));
   EXPECT_EQ(StartFile("/dev/null"), nullptr);
   EXPECT_TRUE(Captured().Saw(3, "Rejecting '%s' because it is not an acceptable type.\n", "/dev/null"));
   EXPECT_EQ(StartFile(folder.Path()), nullptr);
   EXPECT_TRUE(Exists(path)) << "nothing was moved aside";
}

TEST_F(LogFileStart, SaysWhyAFileCannotBeOpened) {
   const std::string missing = folder / "no/such/folder/my.log";
   EXPECT_EQ(StartFile(missing), nullptr);
   EXPECT_TRUE(Captured().Saw(3, "Unable to open '%s': %s\n", missing.c_str(), "No such file or directory"))
      << Captured().Dump();
   EXPECT_TRUE(Captured().Saw(3, "Open of '%s' failed\n", missing.c_str()));
}

TEST_F(LogFileStart, KeepsOlderFilesOfAnExplicitName) {
   for (int count = 0; count < 5; ++count) {
      ASSERT_NE(StartFile(path), nullptr);
      Log_Info("run %d", count);
      Log_Stop();
   }
   EXPECT_EQ(CountOf(kit::ReadFile(path), "run 4"), 1U);
   EXPECT_EQ(CountOf(kit::ReadFile(folder / "my-0.log"), "run 3"), 1U);
   EXPECT_EQ(CountOf(kit::ReadFile(folder / "my-2.log"), "run 1"), 1U);
   EXPECT_FALSE(Exists(folder / "my-3.log"));
}

TEST_F(LogFileStart, EmptiesAnExplicitFileOfWhichNothingIsKept) {
   kit::WriteFile(path, "of a former run");
   ASSERT_NE(StartFile(path, {"log.keepOld=0"}), nullptr);
   EXPECT_EQ(kit::ReadFile(path).find("of a former"), std::string::npos);
   EXPECT_FALSE(Exists(folder / "my-0.log"));
   EXPECT_EQ(CountRotations(), 0U);
}

TEST_F(LogFileStart, LooksBehindTheFirstGapUnlessRotationIsToBeFast) {
   for (const bool fast : {true, false}) {
      kit::WriteFile(path, "former");
      kit::WriteFile(folder / "my-7.log", "of a larger keep count");
      LogOutput *const output = StartFile(path, {fast ? "log.fastRotation=true" : "log.fastRotation=false"});
      ASSERT_NE(output, nullptr);
      EXPECT_EQ(Exists(folder / "my-7.log"), fast);
      EXPECT_TRUE(Log_ReplaceOutput(output, nullptr, false));
   }
}

TEST_F(LogFileStart, RotatesNoDefaultNameAtTheStart) {
   LogOutput *const output = CreateFile("");
   const std::string own = LogFile_GetPath(output);
   kit::WriteFile(own, "of a former process with this id");
   ASSERT_TRUE(Log_AddOutput(output));
   EXPECT_EQ(kit::ReadFile(own).find("of a former"), std::string::npos);
   EXPECT_EQ(CountRotations(), 0U);
}

TEST_F(LogFileStart, GoesOnBehindAnOlderLogThatCannotBeMovedAside) {
   kit::WriteFile(path, "precious\n");
   ASSERT_EQ(mkdir((folder / "my-0.log").c_str(), 0700), 0);
   ASSERT_EQ(mkdir((folder / "my-1.log").c_str(), 0700), 0);
   ASSERT_EQ(mkdir((folder / "my-2.log").c_str(), 0700), 0);
   kit::WriteFile(folder / "my-2.log/in", "the way");
   kit::WriteFile(folder / "my-1.log/in", "the way");
   ASSERT_NE(StartFile(path), nullptr);
   EXPECT_EQ(kit::ReadFile(path).rfind("precious\n", 0), 0U);
   EXPECT_EQ(CountOf(kit::ReadFile(path), "Log for "), 1U);
}

TEST_F(LogFileStart, RemovesAFileThatItCannotLabel) {
   {
      const SizeLimit full(0);
      EXPECT_EQ(StartFile(path), nullptr);
   }
   EXPECT_FALSE(Exists(path));
   EXPECT_TRUE(Captured().Saw(3, "Unable to label log file '%s'\n", path.c_str())) << Captured().Dump();
   EXPECT_NE(StartFile(path), nullptr);
}

TEST_F(LogFileStart, SaysThatNoDescriptorIsLeft) {
   LogOutput *const output = CreateFile(path);
   rlimit former{};
   getrlimit(RLIMIT_NOFILE, &former);
   const rlimit none{3, former.rlim_max};
   setrlimit(RLIMIT_NOFILE, &none);
   const bool attached = Log_AddOutput(output);
   setrlimit(RLIMIT_NOFILE, &former);
   EXPECT_FALSE(attached);
   EXPECT_TRUE(Log_ReleaseOutput(output));
   EXPECT_TRUE(Captured().Saw(3, "Unable to open '%s': %s\n", path.c_str(), "Too many open files"))
      << Captured().Dump();
}

TEST_F(LogFileStart, RotatesWhenTheSizeIsOverTheLimitAndNotBefore) {
   LogFileOutput *const file = StartDue();
   file->fileSize = 100000;
   Log_Info("at the limit");
   EXPECT_FALSE(Exists(folder / "my-0.log"));
   Log_Info("first of the new file");
   EXPECT_EQ(CountOf(kit::ReadFile(folder / "my-0.log"), "at the limit"), 1U);
   const std::string content = kit::ReadFile(path);
   EXPECT_EQ(CountOf(content, "Log for "), 1U);
   EXPECT_EQ(CountOf(content, "first of the new file"), 1U);
   EXPECT_EQ(file->fileSize, content.size() - content.find("first of the new file") +
                                std::string(content.substr(0, content.find(" Log for "))).size() + 1)
      << "the label does not count";
   Log_Info("next");
   EXPECT_EQ(
      CountOf(kit::ReadFile(path), "LogRotation: Rotating to a new log file (keepOld 3) took 0.000000 seconds.\n"), 1U);
}

TEST_F(LogFileStart, LabelsARotatedFileAsInfoWhateverLineIsDue) {
   LogFileOutput *const file = StartDue();
   file->fileSize = 99900;
   Log_Warning("%s\nsecond\n", std::string(200, 'x').c_str()); // the second line finds the limit passed
   const std::string content = kit::ReadFile(path);
   EXPECT_EQ(content.find(" In(05) "), content.find(' ')) << content;
   EXPECT_EQ(CountOf(content, "In(05)+"), 0U);
   EXPECT_EQ(CountOf(content, " Wa(03)+ "), 1U);
   EXPECT_EQ(CountOf(content, " second\n"), 1U);
}

TEST_F(LogFileStart, WritesItsRotationLine) {
   StartDue();
   Captured();
   Log_Info("a");
   Log_Info("b");
   EXPECT_TRUE(
      Captured().Saw(5, "%s: Rotating to a new log file (keepOld %d) took %f seconds.\n", "LogRotation", 3, 0.0))
      << Captured().Dump();
}

TEST_F(LogFileStart, OpensTheSameFileAgainWithNothingToKeepAndDoesNotEmptyIt) {
   LogFileOutput *const file = StartDue({"log.keepOld=0"});
   Log_Info("%s", std::string(5000, 'x').c_str());
   file->fileSize = 100001;
   const size_t before = kit::ReadFile(path).size();
   Log_Info("short");
   EXPECT_EQ(kit::ReadFile(path).size(), before);
   EXPECT_EQ(CountOf(kit::ReadFile(path), "short\n"), 1U);
   EXPECT_LT(file->fileSize, 200U);
   EXPECT_FALSE(Exists(folder / "my-0.log"));
}

TEST_F(LogFileStart, GoesOnInTheOldFileWhileANewOneCannotBeOpened) {
   LogFileOutput *const file = StartDue();
   ASSERT_EQ(rename(folder.Path().c_str(), (folder.Path() + "-away").c_str()), 0);
   for (int count = 0; count < 5; ++count) {
      Log_Info("line %d", count);
   }
   ASSERT_EQ(rename((folder.Path() + "-away").c_str(), folder.Path().c_str()), 0);
   for (int count = 0; count < 5; ++count) {
      EXPECT_EQ(CountOf(kit::ReadFile(path), "line " + std::to_string(count) + "\n"), 1U) << count;
   }
   EXPECT_EQ(file->retry.failures, 2U) << "the first, one at the next message, then a rest";
   clock.AdvanceMs(250);
   Log_Info("in a new file");
   EXPECT_EQ(CountOf(kit::ReadFile(path), "in a new file"), 1U);
   EXPECT_EQ(CountOf(kit::ReadFile(folder / "my-0.log"), "line 4"), 1U);
   EXPECT_TRUE(CountOf(kit::ReadFile(path), "Unable to open") +
                  CountOf(kit::ReadFile(folder / "my-0.log"), "Unable to open") >
               0U);
}

TEST_F(LogFileStart, TriesARotationThatFailsOncePerMessage) {
   LogFileOutput *const file = StartDue();
   ASSERT_EQ(mkdir((folder / "my-0.log").c_str(), 0700), 0);
   ASSERT_EQ(mkdir((folder / "my-1.log").c_str(), 0700), 0);
   ASSERT_EQ(mkdir((folder / "my-2.log").c_str(), 0700), 0);
   kit::WriteFile(folder / "my-1.log/in", "the way");
   kit::WriteFile(folder / "my-2.log/in", "the way");
   Captured();
   Log_Info("one\ntwo\nthree\n");
   EXPECT_EQ(file->retry.failures, 1U);
   Log_Info("next");
   EXPECT_EQ(file->retry.failures, 2U) << "the waiting lines and the message share one try";
   for (int count = 0; count < 50; ++count) {
      Log_Info("many");
   }
   EXPECT_EQ(file->retry.failures, 2U);
   EXPECT_EQ(CountRotations(), 2U);
   EXPECT_EQ(CountOf(kit::ReadFile(path), "many\n"), 50U);
}

TEST_F(LogFileStart, NeverDrainsWithoutEndWhileRotationsFail) {
   LogFileOutput *const file = StartDue();
   file->retry.failures = 0;
   ASSERT_EQ(rename(folder.Path().c_str(), (folder.Path() + "-away").c_str()), 0);
   for (int count = 0; count < 200; ++count) {
      clock.AdvanceMs(60'000); // each message may try
      Log_Info("line %d", count);
   }
   ASSERT_EQ(rename((folder.Path() + "-away").c_str(), folder.Path().c_str()), 0);
   EXPECT_EQ(CountOf(kit::ReadFile(path), "line 199\n"), 1U);
}

TEST_F(LogFileStart, GoesBackToTheOldFileWhenTheNewOneCannotBeLabelled) {
   LogFileOutput *const file = StartDue();
   const uint64_t size = file->fileSize;
   file->discarded = 1000;
   {
      const SizeLimit full(0);
      Log_Info("lost");
   }
   EXPECT_FALSE(Exists(path)) << "the new one was removed";
   EXPECT_EQ(file->fileSize, size);
   EXPECT_GT(file->discarded, 1000U) << "what was missing before is missing still";
   Log_Info("kept");
   const std::string all = kit::ReadFile(path) + kit::ReadFile(folder / "my-0.log");
   EXPECT_EQ(CountOf(all, " kept\n"), 1U);
}

TEST_F(LogFileStart, KeepsTheNameOfItsFileWhenNothingIsKeptAndTheLabelFails) {
   StartDue({"log.keepOld=0"});
   {
      const SizeLimit full(0);
      Log_Info("lost");
   }
   EXPECT_TRUE(Exists(path));
   Log_Info("kept");
   EXPECT_EQ(CountOf(kit::ReadFile(path), " kept\n"), 1U);
}

TEST_F(LogFileStart, ReportsAFileThatHasChangedSinceItWasOpened) {
   // A folder at the path, once the file has been moved aside by someone else: with nothing to keep it is in the way.
   StartDue({"log.keepOld=0"});
   ASSERT_EQ(rename(path.c_str(), (folder / "elsewhere").c_str()), 0);
   ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
   Captured();
   Log_Info("kept");
   Log_Info("next");
   EXPECT_TRUE(Captured().Saw(3, "Rejecting '%s' because it is not an acceptable type.\n", path.c_str()))
      << Captured().Dump();
   EXPECT_EQ(CountOf(kit::ReadFile(folder / "elsewhere"), " kept\n"), 1U);
}

TEST_F(LogFileStart, LabelsAFileLineByLine) {
   Log_SetProduct("Product", "1.2.3", "build-7", nullptr);
   Log_SetProduct("another", "x", "y", "z");
   StartFile(path, {"log.useTimeStamps=false", "log.useThreadName=false"});
   char *const system = Hostinfo_GetOSDetailedData();
   const std::string content = kit::ReadFile(path);
   const std::string expected =
      "In(05) Log for Product pid=" + std::to_string(getpid()) + " version=1.2.3 build=build-7 option=unknown\n";
   EXPECT_EQ(content.rfind(expected, 0), 0U) << content;
   EXPECT_EQ(CountOf(content, "\nIn(05) The host is "), 1U);
   EXPECT_EQ(CountOf(content, "\nIn(05) Host codepage=UTF-8 encoding=UTF-8\n"
                              "In(05) Log creation time is 2026-11-12T18:30:00.123Z\n"
                              "In(05) Host is " +
                                 std::string(system) + "\nIn(05) Host offset from UTC is "),
             1U)
      << content;
   std::free(system);
}

TEST_F(LogFileStart, LabelsWithTheOffsetFromUtc) {
   const struct {
      int64_t seconds;
      const char *line;
   } cases[] = {{0, " Host offset from UTC is +00:00.\n"},
                {19800, " Host offset from UTC is +05:30.\n"},
                {-12600, " Host offset from UTC is -03:30.\n"},
                {50400, " Host offset from UTC is +14:00.\n"}};
   for (const auto &each : cases) {
      LogOutput *const output = CreateFile(path);
      AsFile(output)->utcOffset = each.seconds;
      ASSERT_TRUE(Log_AddOutput(output));
      EXPECT_EQ(CountOf(kit::ReadFile(path), each.line), 1U) << each.line;
      EXPECT_TRUE(Log_ReplaceOutput(output, nullptr, false));
   }
}

TEST_F(LogFileStart, TakesTheOffsetOfItsTimeZone) {
   setenv("TZ", "XST-5:30", 1);
   tzset();
   LogOutput *const output = CreateFile(path);
   EXPECT_EQ(AsFile(output)->utcOffset, 19800);
   EXPECT_TRUE(Log_ReleaseOutput(output));
}

TEST_F(LogFileStart, CutsALabelLineThatIsTooLongAtItsEnd) {
   static const std::string product(10000, 'p');
   Log_SetProduct(product.c_str(), "1.2.3", "build-7", nullptr);
   StartFile(path);
   const std::string content = kit::ReadFile(path);
   const std::string first = content.substr(0, content.find('\n'));
   EXPECT_LT(first.size(), 2100U);
   EXPECT_EQ(first.back(), 'p');
   EXPECT_EQ(CountOf(content, " The host is "), 1U) << "the next line begins a line";
}

TEST_F(LogFileStart, TakesADefaultNameWithNeitherKeysNorConfiguration) {
   LogOutput *const output = Log_CreateFileOutput(nullptr, "file", nullptr, nullptr);
   ASSERT_NE(output, nullptr);
   EXPECT_EQ(LogFile_GetPath(output), folder / "Logs/Corvane/zenthar-" + std::to_string(getpid()) + ".log");
   EXPECT_TRUE(Log_ReleaseOutput(output));
}

TEST_F(LogFileStart, AsksNoConfigurationForANameWhereThereIsNone) {
   const LogConfigSource noTexts{};
   for (const LogConfigSource *const source : {static_cast<const LogConfigSource *>(nullptr), &noTexts}) {
      Dictionary *const dictionary = Dictionary_Create();
      Dict_SetString(dictionary, "where.the.name.is", "log.config");
      Dict_SetString(dictionary, path.c_str(), "log.fileName");
      LogOutput *const output = Log_CreateFileOutput(nullptr, "file", dictionary, source);
      Dictionary_Free(dictionary);
      ASSERT_NE(output, nullptr);
      EXPECT_EQ(LogFile_GetPath(output), path);
      EXPECT_TRUE(Log_ReleaseOutput(output));
   }
}

TEST_F(LogFileStart, BeginsAtNothingInAFileThatIsAppendedToAndEmpty) {
   kit::WriteFile(path, "");
   LogOutput *const output = StartFile(path, {"log.append=true"});
   ASSERT_NE(output, nullptr);
   EXPECT_EQ(AsFile(output)->fileSize, 0U);
   EXPECT_EQ(kit::ReadFile(path), "") << "what is appended to has no new label";
}

TEST_F(LogFileStart, HasNoPathForAFileNamedAsTheHomeOfAUserWithoutOne) {
   if (geteuid() != 0) {
      GTEST_SKIP() << "only the superuser can become a user whom nobody knows";
   }
   ASSERT_EQ(chmod(folder.Path().c_str(), 0777), 0);
   EXPECT_EXIT(
      {
         unsetenv("HOME");
         const bool unknown = setuid(54321) == 0;
         _exit(unknown && CreateFile(folder / "~") == nullptr && CreateFile(folder / "name") != nullptr ? 0 : 1);
      },
      testing::ExitedWithCode(0), "");
}

TEST_F(LogFileStart, RemovesAFileWhoseLabelWasCutByAFullDisk) {
   {
      const SizeLimit full(10);
      EXPECT_EQ(StartFile(path), nullptr);
   }
   EXPECT_FALSE(Exists(path));
}

TEST_F(LogFileStart, LeavesAnOlderLogThatCouldNotBeMovedAsideWhenTheLabelFails) {
   const std::string older(2000, 'o');
   kit::WriteFile(path, older);
   for (const char *const name : {"my-0.log", "my-1.log", "my-2.log"}) {
      ASSERT_EQ(mkdir((folder / name).c_str(), 0700), 0);
      kit::WriteFile(folder / name + "/in", "the way");
   }
   {
      const SizeLimit full(2000);
      EXPECT_EQ(StartFile(path), nullptr);
   }
   EXPECT_EQ(kit::ReadFile(path), older);
}

TEST_F(LogFileStart, PrintsNoCreationTimeWhereEachLineHasOne) {
   StartFile(path);
   EXPECT_EQ(CountOf(kit::ReadFile(path), "Log creation time"), 0U);
   EXPECT_EQ(CountOf(kit::ReadFile(path), "Log for unknown pid="), 1U);
}

TEST_F(LogFileStart, StopsTheProgramOnAWordSizeThatCannotBe) {
   char name[32];
#if defined(__aarch64__)
   LogFile_ArchitectureName(64, name, sizeof name);
   EXPECT_STREQ(name, "64-bit Arm");
#else
   LogFile_ArchitectureName(64, name, sizeof name);
   EXPECT_STREQ(name, "x86_64");
   LogFile_ArchitectureName(32, name, sizeof name);
   EXPECT_STREQ(name, "x86");
   EXPECT_EXIT(
      {
         Panic_SetSink(
            [](const char *text) { _exit(Saw(text, "%s: unknown bitness (%d)\n", "LogArchString", 16) ? 0 : 1); });
         LogFile_ArchitectureName(16, name, sizeof name);
      },
      testing::ExitedWithCode(0), "");
#endif
}
