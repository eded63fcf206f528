// What dead processes left behind.

#include "lib/log/LogTestKit.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using logtest::CaptureOutput;
using logtest::Exists;
using logtest::LogFixture;

namespace {

class LogPurgeTest : public LogFixture {
protected:
   // A log file of a process that cannot exist, `age` seconds old.
   std::string Leave(const std::string &name, int age) {
      std::string file = area + "/" + name;
      kit::WriteFile(file, "old");
      const timespec time{1'700'000'000 - age, 0};
      const timespec times[] = {time, time};
      utimensat(AT_FDCWD, file.c_str(), times, 0);
      return file;
   }
   bool Purge(const std::vector<std::string> &keys) {
      LogOutput *const output = CreateFile("", keys);
      const bool removed = LogFile_PurgeDead(output, nullptr, nullptr);
      Log_ReleaseOutput(output);
      return removed;
   }
   void SetUp() override { ASSERT_EQ(File_CreateDirectoryHierarchy(area.c_str(), 0), 1); }

   std::string area = folder / "Logs/Corvane";
};

} // namespace

TEST_F(LogPurgeTest, RemovesTheOldestBeyondTheKeepCount) {
   const std::string oldest = Leave("zenthar-MAVR-99999990.log", 50);
   const std::string middle = Leave("zenthar-MAVR-99999991.log", 40);
   const std::string kept = Leave("zenthar-MAVR-99999992-0.log", 30);
   const std::string newest = Leave("zenthar-MAVR-99999993.log", 20);
   const std::string alive = Leave("zenthar-MAVR-" + std::to_string(getpid()) + "-0.log", 90);
   const std::string other = Leave("zenthar-OTHER-99999990.log", 90);
   EXPECT_TRUE(Purge({"log.suffix=MAVR", "log.keepOld=2"}));
   EXPECT_FALSE(Exists(oldest));
   EXPECT_FALSE(Exists(middle));
   EXPECT_TRUE(Exists(kept) && Exists(newest) && Exists(alive) && Exists(other));
   EXPECT_FALSE(Purge({"log.suffix=MAVR", "log.keepOld=2"}));
}

TEST_F(LogPurgeTest, RunsAtTheStartWhenTheHostSaysSo) {
   Dictionary *const dictionary = Dictionary_Create();
   Dict_SetLong(dictionary, 1, "log.keepOld");
   for (const bool purge : {false, true}) {
      const std::string oldest = Leave("zenthar-99999990.log", 50);
      const std::string newest = Leave("zenthar-99999991.log", 40);
      LogOutput *const output = Log_Start(nullptr, dictionary, nullptr, purge);
      ASSERT_NE(output, nullptr);
      EXPECT_EQ(Exists(oldest), !purge);
      EXPECT_TRUE(Exists(newest));
      EXPECT_TRUE(Exists(LogFile_GetPath(output)));
      EXPECT_TRUE(Log_ReplaceOutput(output, nullptr, false));
   }
   Dictionary_Free(dictionary);
}

TEST_F(LogPurgeTest, TouchesNothingButPlainFilesOfItsUser) {
   ASSERT_EQ(symlink("nowhere", (area + "/zenthar-99999990.log").c_str()), 0);
   ASSERT_EQ(mkdir((area + "/zenthar-99999991.log").c_str(), 0700), 0);
   ASSERT_EQ(mkfifo((area + "/zenthar-99999992.log").c_str(), 0600), 0);
   const std::string foreign = Leave("zenthar-99999993.log", 90);
   const bool given = chown(foreign.c_str(), 65534, 65534) == 0;
   Leave("zenthar-99999994.log", 1);
   EXPECT_FALSE(Purge({"log.keepOld=1"}));
   EXPECT_TRUE(Exists(area + "/zenthar-99999990.log"));
   EXPECT_TRUE(Exists(area + "/zenthar-99999991.log"));
   EXPECT_TRUE(Exists(area + "/zenthar-99999992.log"));
   if (!given) {
      GTEST_SKIP() << "only the superuser can give a file away: another user's file was not tried";
   }
   EXPECT_TRUE(Exists(foreign));
}

TEST_F(LogPurgeTest, RunsOnlyForADefaultNameWithSomethingToKeep) {
   for (int count = 0; count < 9; ++count) {
      Leave("zenthar-9999999" + std::to_string(count) + ".log", count);
   }
   EXPECT_FALSE(Purge({"log.keepOld=0"}));
   EXPECT_FALSE(Purge({"log.fileName=" + area + "/explicit.log"}));
   CaptureOutput other;
   EXPECT_FALSE(LogFile_PurgeDead(&other, nullptr, nullptr));
   EXPECT_TRUE(Exists(area + "/zenthar-99999998.log"));
}

TEST_F(LogPurgeTest, AsksTheMatcherOfItsCaller) {
   const std::string mine = Leave("mine", 10);
   const std::string newer = Leave("zenthar-99999990.log", 5);
   LogOutput *const output = CreateFile("", {"log.keepOld=1"});
   int asked = 0;
   const LogFileMatcher everything = [](const char *, void *argument, uint32_t *outPid) {
      ++*static_cast<int *>(argument);
      *outPid = 99999990;
      return true;
   };
   EXPECT_TRUE(LogFile_PurgeDead(output, everything, &asked));
   EXPECT_EQ(asked, 2);
   EXPECT_FALSE(Exists(mine));
   EXPECT_TRUE(Exists(newer));
   Log_ReleaseOutput(output);
}

TEST_F(LogPurgeTest, FindsNothingInAnEmptyFolderAndInNone) {
   LogOutput *const output = CreateFile("", {"log.keepOld=1"});
   EXPECT_FALSE(LogFile_PurgeDead(output, nullptr, nullptr));
   ASSERT_EQ(rmdir(area.c_str()), 0);
   EXPECT_FALSE(LogFile_PurgeDead(output, nullptr, nullptr));
   Log_ReleaseOutput(output);
}

TEST_F(LogPurgeTest, KeepsAFileWhoseAgeIsNotKnown) {
   const std::string ageless = Leave("zenthar-99999990.log", 0);
   const timespec unknown{-1, 999'999'999}; // the one time that stands for none
   const timespec times[] = {unknown, unknown};
   ASSERT_EQ(utimensat(AT_FDCWD, ageless.c_str(), times, 0), 0);
   Leave("zenthar-99999991.log", 50);
   Leave("zenthar-99999992.log", 40);
   EXPECT_TRUE(Purge({"log.keepOld=1"}));
   EXPECT_TRUE(Exists(ageless));
   EXPECT_FALSE(Exists(area + "/zenthar-99999991.log"));
}

// Another process purges too: what it takes away between a look and the next one is no fault.
TEST_F(LogPurgeTest, PutsUpWithFilesThatGoMeanwhile) {
   enum class Takes { EachAtOnce, OldestTwo, SecondOldest };
   for (const Takes takes : {Takes::EachAtOnce, Takes::OldestTwo, Takes::SecondOldest}) {
      Leave("zenthar-99999990.log", 50);
      Leave("zenthar-99999991.log", 40);
      Leave("zenthar-99999992.log", 30);
      struct Thief {
         std::string folder;
         std::vector<std::string> seen;
         Takes takes;
      } thief{area, {}, takes};
      const LogFileMatcher stealing = [](const char *name, void *argument, uint32_t *outPid) {
         auto *const self = static_cast<Thief *>(argument);
         self->seen.push_back(self->folder + "/" + name);
         if (self->takes == Takes::EachAtOnce) {
            unlink(self->seen.back().c_str()); // before it is looked at
         } else if (self->seen.size() == 3) {  // when they have been, before they are removed
            unlink((self->folder + "/zenthar-99999991.log").c_str());
            if (self->takes == Takes::OldestTwo) {
               unlink((self->folder + "/zenthar-99999990.log").c_str());
            }
         }
         *outPid = 99999990;
         return true;
      };
      LogOutput *const output = CreateFile("", {"log.keepOld=1"});
      EXPECT_EQ(LogFile_PurgeDead(output, stealing, &thief), takes == Takes::SecondOldest);
      Log_ReleaseOutput(output);
      EXPECT_EQ(thief.seen.size(), 3U);
      for (const std::string &name : thief.seen) {
         unlink(name.c_str());
      }
   }
}
