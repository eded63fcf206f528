#include "osal/posix/PosixPreferencesTestKit.h"

#include "osal/posix/FaultyFileLayerTestKit.h"
#include "tests/kit/ManualClock.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <thread>
#include <vector>

namespace osal {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

TEST_F(PosixPreferencesTest, AChildForkedDuringAWriteDoesNotKeepTheLock) {
   FaultyFileLayer layer;
   const auto preferences = MakePosixPreferences(mFile, layer);
   ASSERT_TRUE(preferences->setAppValue("key", int64_t{1}).ok());
   const int calls = layer.Calls();
   int pipeEnds[2];
   ASSERT_EQ(pipe2(pipeEnds, O_CLOEXEC), 0);
   pid_t child = 0;
   layer.At(calls - 4, [&] { // inside the second write, with the lock held
      child = fork();
      if (child == 0) {
         char byte = 0;
         close(pipeEnds[1]);
         _exit(read(pipeEnds[0], &byte, 1) < 0 ? 1 : 0);
      }
   });
   ASSERT_TRUE(preferences->setAppValue("key", int64_t{2}).ok());
   ASSERT_GT(child, 0);
   const kit::ManualClock clock;
   EXPECT_TRUE(Open()->setAppValue("key", int64_t{3}).ok());
   close(pipeEnds[1]);
   ASSERT_EQ(waitpid(child, nullptr, 0), child);
   close(pipeEnds[0]);
}

TEST_F(PosixPreferencesTest, ATemporaryFileOfAKilledWriterIsReplaced) {
   MakeFolder();
   kit::WriteFile(mFile + ".tmp", "half");
   ASSERT_TRUE(Open()->setAppValue("key", int64_t{1}).ok());
   EXPECT_THAT(Names(), ElementsAre("d.plist", "d.plist.lock"));
   // One that is a link to something precious is removed, not written through.
   kit::WriteFile(mHome / "precious", "precious");
   ASSERT_EQ(symlink((mHome / "precious").c_str(), (mFile + ".tmp").c_str()), 0);
   ASSERT_TRUE(Open()->setAppValue("key", int64_t{2}).ok());
   EXPECT_EQ(kit::ReadFile(mHome / "precious"), "precious");
   EXPECT_THAT(Names(), ElementsAre("d.plist", "d.plist.lock"));
}

TEST_F(PosixPreferencesTest, AWriteIsOnDiskBeforeItsNameAndTheNameBeforeItIsAcknowledged) {
   FaultyFileLayer layer;
   const auto preferences = MakePosixPreferences(mFile, layer);
   ASSERT_TRUE(preferences->setAppValue("key", int64_t{1}).ok());
   std::vector<std::string> calls;
   layer.Record(&calls);
   ASSERT_TRUE(preferences->setAppValue("key", int64_t{2}).ok());
   layer.Record(nullptr);
   EXPECT_THAT(calls, ElementsAre("readlink d.plist", "stat corvane", "open d.plist.lock", "lock", "stat d.plist",
                                  "access d.plist", "stat d.plist", "open d.plist", "fstat", "read", "read", "close",
                                  "unlink d.plist.tmp", "open corvane", "open d.plist.tmp", "fchmod", "write", "write",
                                  "fsync", "close", "rename d.plist.tmp d.plist", "fsync", "close", "unlock", "close"));
}

TEST_F(PosixPreferencesTest, AReadInTheSameStepOfTheFileClockAsksTheOpenFileOnly) {
   FaultyFileLayer layer;
   WriteRaw(Plist("<key>key</key><integer>7</integer>"));
   const auto preferences = MakePosixPreferences(mFile, layer);
   LetFileClockPass();
   std::vector<std::string> calls;
   for (int i = 0; i < 1000 && calls != std::vector<std::string>{"fstat"}; ++i) {
      EXPECT_EQ(preferences->copyAppValue("key"), PreferenceValue(int64_t{7}));
      calls.clear();
      layer.Record(&calls);
      EXPECT_EQ(preferences->copyAppValue("key"), PreferenceValue(int64_t{7}));
      layer.Record(nullptr);
   }
   EXPECT_THAT(calls, ElementsAre("fstat"));
}

TEST_F(PosixPreferencesTest, AnExchangedFolderIsSeenInTheNextStepOfTheFileClock) {
   WriteRaw(Plist("<key>key</key><integer>7</integer>"));
   const auto preferences = Open();
   LetFileClockPass();
   EXPECT_EQ(preferences->copyAppValue("key"), PreferenceValue(int64_t{7}));
   std::filesystem::rename(mHome / "corvane", mHome / "corvane.old");
   WriteRaw(Plist("<key>key</key><integer>8</integer>"));
   LetFileClockPass();
   EXPECT_EQ(preferences->copyAppValue("key"), PreferenceValue(int64_t{8}));
}

TEST_F(PosixPreferencesTest, EveryFaultOfAWriteLeavesTheOldOrTheNewContentAndNothingBeside) {
   using Length = FaultyFileLayer::Length;
   FaultyFileLayer layer;
   const auto preferences = MakePosixPreferences(mFile, layer);
   ASSERT_TRUE(preferences->setAppValue("key", int64_t{0}).ok());
   ASSERT_TRUE(preferences->setAppValue("other", Text(std::string(700, 'o'))).ok());
   layer.Reset();
   ASSERT_TRUE(preferences->setAppValue("key", int64_t{0}).ok());
   const int calls = layer.Calls();
   ASSERT_GT(calls, 12);
   int64_t current = 0;
   int refused = 0;
   const kit::ManualClock clock;
   for (const int error : {ENOSPC, EIO, EMFILE, EACCES}) {
      for (const Length length : {Length::Once, Length::FromThenOn}) {
         for (int n = 1; n <= calls; ++n) {
            layer.FailAt(n, error, length);
            const Status status = preferences->setAppValue("key", current + 1);
            layer.Reset();
            current += status.ok() ? 1 : 0;
            refused += status.ok() ? 0 : 1;
            if (!status.ok()) {
               EXPECT_THAT(status.reason, HasSubstr(mFile)) << n;
            }
            EXPECT_EQ(preferences->copyAppValue("key"), PreferenceValue(current)) << n;
            EXPECT_EQ(Open()->copyAppValue("key"), PreferenceValue(current)) << n;
            EXPECT_EQ(Open()->copyAppValue("other"), Text(std::string(700, 'o'))) << n;
            if (length == Length::Once) {
               EXPECT_THAT(Names(), ElementsAre("d.plist", "d.plist.lock")) << n;
            }
            while (!preferences->takeTrouble().ok()) {
            }
         }
      }
   }
   EXPECT_GT(refused, 4 * 2 * 10);
   ASSERT_TRUE(preferences->setAppValue("key", int64_t{99}).ok());
   EXPECT_THAT(Names(), ElementsAre("d.plist", "d.plist.lock"));
}

TEST_F(PosixPreferencesTest, EveryFaultOfAReadIsSurvivedAndOverWhenItIsOver) {
   using Length = FaultyFileLayer::Length;
   const kit::ManualClock clock;
   WriteRaw(Plist("<key>key</key><integer>7</integer>"));
   FaultyFileLayer layer;
   {
      const auto counted = MakePosixPreferences(mFile, layer);
      EXPECT_EQ(counted->copyAppValue("key"), PreferenceValue(int64_t{7}));
   }
   const int calls = layer.Calls();
   for (const Length length : {Length::Once, Length::FromThenOn}) {
      for (int n = 1; n <= calls; ++n) {
         layer.FailAt(n, EMFILE, length);
         const auto preferences = MakePosixPreferences(mFile, layer);
         const auto value = preferences->copyAppValue("key");
         EXPECT_TRUE(!value || *value == PreferenceValue(int64_t{7})) << n;
         layer.Reset();
         EXPECT_EQ(preferences->copyAppValue("key"), PreferenceValue(int64_t{7})) << n;
      }
   }
   EXPECT_THAT(Names(), ElementsAre("d.plist"));
}

TEST_F(PosixPreferencesTest, AnInterruptionOrAFileSystemThatConfirmsNothingStopsNoWriteAtItsOwnCall) {
   FaultyFileLayer layer;
   const auto preferences = MakePosixPreferences(mFile, layer);
   ASSERT_TRUE(preferences->setAppValue("key", int64_t{0}).ok());
   layer.Reset();
   ASSERT_TRUE(preferences->setAppValue("key", int64_t{0}).ok());
   const int calls = layer.Calls();
   int64_t current = 0;
   const kit::ManualClock clock;
   for (const int error : {EINTR, EINVAL, EROFS, ENOTSUP}) {
      int done = 0;
      for (int n = 1; n <= calls; ++n) {
         layer.FailAt(n, error, FaultyFileLayer::Length::Once);
         const Status status = preferences->setAppValue("key", current + 1);
         layer.Reset();
         current += status.ok() ? 1 : 0;
         done += status.ok() && preferences->takeTrouble().ok() ? 1 : 0;
         EXPECT_EQ(Open()->copyAppValue("key"), PreferenceValue(current)) << error << " at " << n;
         while (!preferences->takeTrouble().ok()) {
         }
      }
      EXPECT_GT(done, 0) << error;
   }
}

TEST_F(PosixPreferencesTest, TroubleThatNobodyTakesDoesNotPileUp) {
   FaultyFileLayer layer;
   const auto preferences = MakePosixPreferences(mFile, layer);
   std::vector<std::string> calls;
   layer.Record(&calls);
   ASSERT_TRUE(preferences->setAppValue("key", int64_t{0}).ok());
   ASSERT_TRUE(preferences->setAppValue("key", int64_t{0}).ok());
   layer.Record(nullptr);
   const auto last = static_cast<int>(
      std::find_if(calls.rbegin(), calls.rend(), [](const std::string &call) { return call.starts_with("fsync"); }) -
      calls.rbegin());
   layer.Reset();
   ASSERT_TRUE(preferences->setAppValue("key", int64_t{0}).ok());
   const int confirms = layer.Calls() - last; // the folder's fsync, which only the disk's word depends on
   for (int round = 0; round < 100; ++round) {
      layer.FailAt(confirms, EIO, FaultyFileLayer::Length::Once);
      EXPECT_TRUE(preferences->setAppValue("key", int64_t{round}).ok());
   }
   layer.Reset();
   int troubles = 0;
   while (!preferences->takeTrouble().ok()) {
      ++troubles;
   }
   EXPECT_EQ(troubles, 16);
}

TEST_F(PosixPreferencesTest, ValuesStayInForceWhileTheFileCannotBeOpenedForAReasonThatPasses) {
   for (const int error : {EMFILE, ENFILE, ENOMEM, EIO, EINTR, EAGAIN}) {
      FaultyFileLayer layer;
      WriteRaw(Plist("<key>key</key><integer>7</integer>"));
      const auto preferences = MakePosixPreferences(mFile, layer);
      EXPECT_EQ(preferences->copyAppValue("key"), PreferenceValue(int64_t{7}));
      WriteRaw(Plist("<key>key</key><integer>8</integer>"));
      layer.FailAt(1, error, FaultyFileLayer::Length::FromThenOn);
      EXPECT_EQ(preferences->copyAppValue("key"), PreferenceValue(int64_t{7})) << error;
      EXPECT_EQ(preferences->copyAppValue("key"), PreferenceValue(int64_t{7})) << error;
      EXPECT_EQ(preferences->takeTrouble().code, error);
      EXPECT_TRUE(preferences->takeTrouble().ok()) << "told once";
      layer.Reset();
      EXPECT_EQ(preferences->copyAppValue("key"), PreferenceValue(int64_t{8})) << error;
   }
}

TEST_F(PosixPreferencesTest, AFileIsFoundByARelativeNameAndThroughALinkToAnotherFolder) {
   MakeFolder();
   const std::string elsewhere = mHome / "elsewhere.plist";
   ASSERT_EQ(symlink(elsewhere.c_str(), mFile.c_str()), 0);
   ASSERT_TRUE(Open()->setAppValue("key", int64_t{1}).ok());
   EXPECT_EQ(MakePosixPreferences(elsewhere)->copyAppValue("key"), PreferenceValue(int64_t{1}));
   ASSERT_EQ(chdir(mHome.Path().c_str()), 0);
   ASSERT_EQ(symlink("elsewhere.plist", "relative.plist"), 0);
   const auto relative = MakePosixPreferences("relative.plist");
   ASSERT_TRUE(relative->setAppValue("key", int64_t{2}).ok());
   EXPECT_EQ(Open()->copyAppValue("key"), PreferenceValue(int64_t{2}));
}

TEST_F(PosixPreferencesTest, ADamagedFileThatCannotBeMovedStaysAndIsToldOnce) {
   const kit::ManualClock clock;
   WriteRaw("broken");
   FaultyFileLayer counting;
   {
      const auto preferences = MakePosixPreferences(mFile, counting);
      EXPECT_EQ(preferences->takeTrouble().code, EBADMSG);
   }
   const int calls = counting.Calls();
   for (int n = 1; n <= calls; ++n) {
      std::filesystem::remove_all(mHome / "corvane");
      WriteRaw("broken");
      FaultyFileLayer layer;
      layer.FailAt(n, EROFS, FaultyFileLayer::Length::FromThenOn);
      const auto preferences = MakePosixPreferences(mFile, layer);
      EXPECT_EQ(preferences->copyAppValue("key"), std::nullopt);
      EXPECT_EQ(preferences->copyAppValue("key"), std::nullopt);
      int told = 0;
      while (!preferences->takeTrouble().ok()) {
         ++told;
      }
      EXPECT_GE(told, 1) << n;
      EXPECT_LE(told, 2) << n;
      const bool isMoved = std::filesystem::exists(mFile + ".damaged");
      EXPECT_EQ(kit::ReadFile(isMoved ? mFile + ".damaged" : mFile), "broken") << n;
      layer.Reset();
      EXPECT_TRUE(preferences->setAppValue("key", int64_t{1}).ok()) << n;
      EXPECT_EQ(kit::ReadFile(mFile + ".damaged"), "broken") << n;
      EXPECT_EQ(preferences->copyAppValue("key"), PreferenceValue(int64_t{1})) << n;
   }
}

TEST_F(PosixPreferencesTest, AProcessKilledAtAnyPointLosesNothingAcknowledged) {
   FaultyFileLayer layer;
   {
      const auto preferences = MakePosixPreferences(mFile, layer);
      ASSERT_TRUE(preferences->setAppValue("acknowledged", int64_t{0}).ok());
      layer.Reset();
      ASSERT_TRUE(preferences->setAppValue("acknowledged", int64_t{0}).ok());
   }
   const int calls = layer.Calls();
   for (int n = 1; n <= calls; ++n) {
      ASSERT_TRUE(Open()->setAppValue("acknowledged", int64_t{n}).ok());
      const pid_t child = fork();
      if (child == 0) {
         FaultyFileLayer dying;
         const auto preferences = MakePosixPreferences(mFile, dying);
         dying.At(n, [] { _exit(42); });
         _exit(preferences->setAppValue("unacknowledged", int64_t{n}).ok() ? 0 : 1);
      }
      int status = 0;
      ASSERT_EQ(waitpid(child, &status, 0), child);
      ASSERT_EQ(WEXITSTATUS(status), 42) << n;
      const auto preferences = Open();
      EXPECT_TRUE(preferences->takeTrouble().ok()) << n;
      EXPECT_EQ(preferences->copyAppValue("acknowledged"), PreferenceValue(int64_t{n})) << n;
      ASSERT_TRUE(preferences->setAppValue("next", int64_t{n}).ok()) << n;
      EXPECT_THAT(Names(), ElementsAre("d.plist", "d.plist.lock")) << n;
   }
}

// The writes that do more than replace a file: the first one, which makes the folders, and one that meets a damaged
// file.
TEST_F(PosixPreferencesTest, AProcessKilledInAnUncommonWriteLeavesNothingHalf) {
   const kit::ManualClock clock;
   for (const bool isDamaged : {false, true}) {
      bool wasKilled = true;
      int n = 0;
      for (n = 1; wasKilled; ++n) {
         std::filesystem::remove_all(mHome / "corvane");
         if (isDamaged) {
            WriteRaw(Plist("<key>key</key><true/>"));
         }
         const pid_t child = fork();
         if (child == 0) {
            FaultyFileLayer dying;
            const auto preferences = MakePosixPreferences(mFile, dying);
            if (isDamaged) {
               WriteRaw("broken");
            }
            dying.At(n, [] { _exit(42); });
            _exit(preferences->setAppValue("written", int64_t{n}).ok() ? 0 : 1);
         }
         int status = 0;
         ASSERT_EQ(waitpid(child, &status, 0), child);
         wasKilled = WEXITSTATUS(status) == 42;
         ASSERT_TRUE(wasKilled || WEXITSTATUS(status) == 0) << n;
         const auto preferences = Open();
         const auto written = preferences->copyAppValue("written");
         EXPECT_TRUE(!written || *written == PreferenceValue(int64_t{n})) << n;
         EXPECT_TRUE(wasKilled || written.has_value()) << "acknowledged";
         if (isDamaged) {
            EXPECT_EQ(kit::ReadFile(mFile + ".damaged"), "broken") << n;
         }
         ASSERT_TRUE(preferences->setAppValue("next", int64_t{n}).ok()) << n;
         EXPECT_FALSE(Names().contains("d.plist.tmp")) << n;
      }
      EXPECT_GT(n, 20);
   }
}

TEST_F(PosixPreferencesTest, TwoProcessesThatWriteDifferentKeysLoseNeither) {
   constexpr int kWrites = 40;
   std::vector<pid_t> children;
   for (int c = 0; c < 2; ++c) {
      const pid_t child = fork();
      if (child == 0) {
         const auto preferences = Open();
         bool isGood = true;
         for (int64_t i = 0; i < kWrites; ++i) {
            isGood = isGood && preferences->setAppValue("p" + std::to_string(c) + "." + std::to_string(i), i).ok();
         }
         _exit(isGood ? 0 : 1);
      }
      children.push_back(child);
   }
   for (const pid_t child : children) {
      int status = -1;
      ASSERT_EQ(waitpid(child, &status, 0), child);
      EXPECT_EQ(status, 0);
   }
   const auto preferences = Open();
   for (int c = 0; c < 2; ++c) {
      for (int64_t i = 0; i < kWrites; ++i) {
         EXPECT_EQ(preferences->copyAppValue("p" + std::to_string(c) + "." + std::to_string(i)), PreferenceValue(i));
      }
   }
}

TEST_F(PosixPreferencesTest, TwoObjectsAndManyThreadsLoseNothing) {
   const auto one = Open();
   const auto two = Open();
   std::vector<std::thread> threads;
   for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&, t] {
         Preferences &mine = t % 2 == 0 ? *one : *two;
         for (int64_t i = 0; i < 10; ++i) {
            EXPECT_TRUE(mine.setAppValue("t" + std::to_string(t) + "." + std::to_string(i), i).ok());
            EXPECT_TRUE(mine.copyAppValue("t" + std::to_string(t) + "." + std::to_string(i)).has_value());
            EXPECT_TRUE(mine.takeTrouble().ok());
         }
      });
   }
   for (std::thread &thread : threads) {
      thread.join();
   }
   for (int t = 0; t < 4; ++t) {
      for (int64_t i = 0; i < 10; ++i) {
         EXPECT_EQ(one->copyAppValue("t" + std::to_string(t) + "." + std::to_string(i)), PreferenceValue(i));
      }
   }
}

TEST_F(PosixPreferencesTest, DescriptorsAreClosedOnExecAndNoneIsLeft) {
   const auto descriptors = [] {
      std::set<std::string> open;
      for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fd")) {
         open.insert(entry.path().filename().string());
      }
      return open.size();
   };
   const size_t before = descriptors();
   {
      FaultyFileLayer layer;
      const auto preferences = MakePosixPreferences(mFile, layer);
      for (int n = 1; n < 40; ++n) {
         layer.At(n, [] {
            for (int fd = 3; fd < 64; ++fd) {
               const int flags = fcntl(fd, F_GETFD);
               char path[PATH_MAX] = "";
               const ssize_t length = readlink(("/proc/self/fd/" + std::to_string(fd)).c_str(), path, sizeof(path) - 1);
               if (flags >= 0 && length > 0 && std::strstr(path, "/corvane") != nullptr) {
                  EXPECT_TRUE((flags & FD_CLOEXEC) != 0) << path;
               }
            }
         });
         ASSERT_TRUE(preferences->setAppValue("key", int64_t{n}).ok());
         ASSERT_TRUE(preferences->copyAppValue("key").has_value());
      }
      EXPECT_LE(descriptors(), before + 1) << "the file that was read stays open";
   }
   EXPECT_EQ(descriptors(), before);
}

} // namespace
} // namespace osal
