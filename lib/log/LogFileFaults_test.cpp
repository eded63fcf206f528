#include "lib/log/LogFileSystem.h"
#include "lib/log/LogTestKit.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

using logtest::CaptureOutput;
using logtest::CountOf;
using logtest::Exists;
using logtest::LogFixture;
using logtest::SizeLimit;

// What the file output does when the system fails it: every call once, and from then on.

namespace {

std::string gPath; // of the log file, for the faults below
int gCalls = 0;    // of the call that has a fault in its place
int gFirstFault = 0;
bool gFailsOn = false; // and not just once

bool Fails() {
   ++gCalls;
   return gCalls == gFirstFault || (gFailsOn && gCalls > gFirstFault);
}

int FailingFstat(int descriptor, struct stat *out) {
   errno = EIO;
   return Fails() ? -1 : fstat(descriptor, out);
}

int FailingLstat(const char *path, struct stat *out) {
   errno = EACCES;
   return Fails() ? -1 : lstat(path, out);
}

int FailingTruncate(FileIODescriptor *descriptor, int64_t size) {
   errno = EIO;
   return Fails() ? 0 : FileIO_Truncate(descriptor, size);
}

// Somebody puts another file at the path, between the open and the look at it.
int ReplacingLstat(const char *path, struct stat *out) {
   if (Fails()) {
      EXPECT_EQ(rename(path, (gPath + ".away").c_str()), 0);
      kit::WriteFile(path, "somebody else's");
   }
   return lstat(path, out);
}

// Somebody puts a link there.
int LinkingLstat(const char *path, struct stat *out) {
   if (Fails()) {
      EXPECT_EQ(rename(path, (gPath + ".away").c_str()), 0);
      EXPECT_EQ(symlink((gPath + ".away").c_str(), path), 0);
   }
   return lstat(path, out);
}

int CountingSync(FileIODescriptor *descriptor) {
   ++gCalls;
   return FileIO_Sync(descriptor);
}

size_t CountDescriptors() {
   size_t count = 0;
   for (int fd = 0; fd < 256; ++fd) {
      count += fcntl(fd, F_GETFD) != -1 ? 1 : 0;
   }
   return count;
}

class LogFileFaults : public LogFixture {
protected:
   LogFileFaults() { gPath = path; }
   ~LogFileFaults() override { gLogFileSystem = kWorking; }

   // The calls from the `first` on fail, or only that one.
   static void FailFrom(int first, bool on) {
      gCalls = 0;
      gFirstFault = first;
      gFailsOn = on;
   }
   // Whether a log starts while the fault is in place; nothing of a failed start may stay behind.
   bool Starts(const std::vector<std::string> &keys = {}) {
      const size_t before = CountDescriptors();
      const bool started = StartFile(path, keys) != nullptr;
      gLogFileSystem = kWorking;
      EXPECT_TRUE(started || CountDescriptors() == before) << "a descriptor is left";
      return started;
   }
   // Every file of the folder, one behind the other.
   std::string All() const {
      std::string all;
      for (const auto &entry : std::filesystem::directory_iterator(folder.Path())) {
         all += entry.is_regular_file() && !entry.is_symlink() ? kit::ReadFile(entry.path()) : "";
      }
      return all;
   }

   static inline const LogFileSystem kWorking = gLogFileSystem;
};

/// While it lives, a test of the superuser has the rights of nobody.
class NoRights {
public:
   explicit NoRights(const std::string &readable) {
      if (geteuid() == 0) {
         EXPECT_EQ(chown(readable.c_str(), kNobody, static_cast<gid_t>(-1)), 0);
         EXPECT_EQ(seteuid(kNobody), 0);
         mChanged = true;
      }
   }
   ~NoRights() {
      if (mChanged) {
         EXPECT_EQ(seteuid(0), 0);
      }
   }
   NoRights(const NoRights &) = delete;
   NoRights &operator=(const NoRights &) = delete;

private:
   static constexpr uid_t kNobody = 65534;
   bool mChanged = false;
};

} // namespace

TEST_F(LogFileFaults, SaysThatTheOpenFileCannotBeLookedAt) {
   FailFrom(1, true);
   gLogFileSystem.fstat = &FailingFstat;
   EXPECT_FALSE(Starts());
   EXPECT_TRUE(Captured().Saw(3, "Cannot fstat the file '%s': '%s'\n", path.c_str(), "Input/output error"))
      << Captured().Dump();
   EXPECT_TRUE(Captured().Saw(3, "Open of '%s' failed\n", path.c_str()));
   EXPECT_TRUE(Starts());
}

TEST_F(LogFileFaults, SaysThatThePathCannotBeLookedAt) {
   FailFrom(1, true);
   gLogFileSystem.lstat = &FailingLstat;
   EXPECT_FALSE(Starts());
   EXPECT_TRUE(Captured().Saw(3, "Cannot lstat the file '%s': '%s'\n", path.c_str(), "Permission denied"))
      << Captured().Dump();
   EXPECT_TRUE(Starts());
}

TEST_F(LogFileFaults, RefusesAFileThatHasChangedSinceItWasOpened) {
   FailFrom(1, false);
   gLogFileSystem.lstat = &ReplacingLstat;
   EXPECT_FALSE(Starts());
   EXPECT_TRUE(Captured().Saw(3, "Log file '%s' has changed.\n", path.c_str())) << Captured().Dump();
   EXPECT_EQ(kit::ReadFile(path), "somebody else's");
}

TEST_F(LogFileFaults, RefusesAFileOfTheSameNumberOnAnotherDevice) {
   gLogFileSystem.lstat = [](const char *name, struct stat *out) {
      const int result = lstat(name, out);
      ++out->st_dev;
      return result;
   };
   EXPECT_FALSE(Starts());
   EXPECT_TRUE(Captured().Saw(3, "Log file '%s' has changed.\n", path.c_str())) << Captured().Dump();
   EXPECT_TRUE(Starts());
}

TEST_F(LogFileFaults, RefusesALinkThatHasComeSinceTheOpen) {
   FailFrom(1, false);
   gLogFileSystem.lstat = &LinkingLstat;
   EXPECT_FALSE(Starts());
   EXPECT_TRUE(Captured().Saw(3, "Log file '%s' is a symbolic link.\n", path.c_str())) << Captured().Dump();
   EXPECT_EQ(kit::ReadFile(path), "") << "no label through the link";
}

TEST_F(LogFileFaults, RemovesAFileThatItCannotEmpty) {
   FailFrom(1, true);
   gLogFileSystem.truncate = &FailingTruncate;
   EXPECT_FALSE(Starts());
   EXPECT_TRUE(Captured().Saw(3, "Truncation of '%s' failed: %s\n", path.c_str(), "Input/output error"))
      << Captured().Dump();
   EXPECT_FALSE(Exists(path));
   EXPECT_TRUE(Starts());
}

TEST_F(LogFileFaults, DoesNotStartWithoutMemoryForItsRing) {
   gLogFileSystem.createRing = [](size_t) -> LogRing * {
      return nullptr;
   };
   EXPECT_FALSE(Starts());
   EXPECT_TRUE(Starts());
}

TEST_F(LogFileFaults, GoesOnWithoutAppendWhenTheFirstOpenFails) {
   kit::WriteFile(path, "older\n");
   FailFrom(1, false);
   gLogFileSystem.fstat = &FailingFstat;
   EXPECT_TRUE(Starts({"log.append=true"}));
   EXPECT_EQ(CountOf(kit::ReadFile(path), " Could not open log file '" + path + "' for append"), 1U);
   EXPECT_EQ(kit::ReadFile(folder / "my-0.log"), "older\n");
   LogFileSettings settings{};
   ASSERT_TRUE(LogFile_GetSettings(gLogState.outputs[0], &settings));
   EXPECT_FALSE(settings.append);
}

TEST_F(LogFileFaults, LosesNoLineWhateverCallOfARotationFails) {
   const auto faults = {+[](LogFileSystem *system) { system->fstat = &FailingFstat; },
                        +[](LogFileSystem *system) { system->lstat = &FailingLstat; },
                        +[](LogFileSystem *system) { system->lstat = &ReplacingLstat; },
                        +[](LogFileSystem *system) {
                           system->lstat = &LinkingLstat;
                        }};
   int round = 0;
   for (const auto fault : faults) {
      for (int call = 1; call <= 3; ++call) {
         for (const bool on : {false, true}) {
            path = folder / ("round" + std::to_string(++round) + ".log");
            gPath = path;
            ASSERT_NE(StartDue({"log.keepOld=20"}), nullptr);
            const size_t descriptors = CountDescriptors();
            LogOutput *const output = gLogState.outputs[0];
            FailFrom(call, on);
            fault(&gLogFileSystem);
            for (int line = 0; line < 6; ++line) {
               clock.AdvanceMs(60'000);
               AsFile(output)->fileSize = 100001;
               Log_Info("line %d of %d", line, round);
            }
            gLogFileSystem = kWorking;
            EXPECT_EQ(CountDescriptors(), descriptors) << round;
            EXPECT_EQ(AsFile(output)->discarded, 0U) << round;
            EXPECT_TRUE(Log_ReplaceOutput(output, nullptr, false));
            const std::string all = All();
            for (int line = 0; line < 6; ++line) {
               EXPECT_EQ(CountOf(all, " line " + std::to_string(line) + " of " + std::to_string(round) + "\n"), 1U)
                  << line << " of " << round;
            }
         }
      }
   }
}

TEST_F(LogFileFaults, GoesOnInTheOldFileWhileNoDescriptorIsLeft) {
   StartDue();
   rlimit former{};
   getrlimit(RLIMIT_NOFILE, &former);
   const rlimit none{3, former.rlim_max};
   setrlimit(RLIMIT_NOFILE, &none);
   for (int line = 0; line < 5; ++line) {
      Log_Info("line %d", line);
   }
   setrlimit(RLIMIT_NOFILE, &former);
   clock.AdvanceMs(60'000);
   Log_Info("in a new file");
   Captured();
   for (int line = 0; line < 5; ++line) {
      EXPECT_EQ(CountOf(kit::ReadFile(folder / "my-0.log"), " line " + std::to_string(line) + "\n"), 1U) << line;
   }
   EXPECT_EQ(CountOf(kit::ReadFile(path), " in a new file\n"), 1U);
   EXPECT_EQ(CountOf(All(), "Unable to open '" + path + "': Too many open files\n"), 2U) << All();
}

TEST_F(LogFileFaults, SyncsAfterEachLineWhenToldTo) {
   gLogFileSystem.sync = &CountingSync;
   for (const bool told : {false, true}) {
      LogOutput *const output = StartFile(path, {told ? "log.syncAfterWrite=true" : "log.syncAfterWrite=false"});
      gCalls = 0;
      Log_Info("one\ntwo\n");
      Log_Info("three");
      EXPECT_EQ(gCalls, told ? 3 : 0);
      {
         const SizeLimit full(0);
         gCalls = 0;
         Log_Info("lost");
      }
      EXPECT_EQ(gCalls, 0) << "nothing was written";
      EXPECT_TRUE(Log_ReplaceOutput(output, nullptr, false));
   }
}

/* ---- Folders ----------------------------------------------------------------------------------------------------- */

TEST_F(LogFileFaults, SaysThatThereIsNoPlaceForLogs) {
   gLogFileSystem.userLibraryFolder = [] {
      errno = ENOENT;
      return std::string();
   };
   EXPECT_EQ(CreateFile(""), nullptr);
   EXPECT_EQ(CreateFile(path), nullptr) << "a name of its own needs the place all the same";
   EXPECT_TRUE(
      Captured().Saw(3, "Failed to establish the safe logging directory area: %s\n", "No such file or directory"))
      << Captured().Dump();
}

TEST_F(LogFileFaults, ExpandsTheUsersFolder) {
   setenv("HOME", folder.Path().c_str(), 1);
   gLogFileSystem.userLibraryFolder = [] {
      return std::string("~/Library");
   };
   LogOutput *const output = CreateFile("");
   ASSERT_NE(output, nullptr);
   EXPECT_EQ(std::string(AsFile(output)->area.get()), folder / "Library/Logs/Corvane");
   EXPECT_TRUE(Log_ReleaseOutput(output));
}

TEST_F(LogFileFaults, TakesTheMachinesFolderWhenTheHostSaysSo) {
   // Without rights, so that the test leaves no folder behind: what the log says tells where it looked.
   const NoRights nobody(folder.Path());
   LogOutput *const output = CreateFile("", {"log.systemAreaTemp=true"});
   if (output != nullptr) {
      EXPECT_STREQ(AsFile(output)->area.get(), "/Library/Logs/Corvane");
      EXPECT_EQ(std::string(LogFile_GetPath(output)),
                "/Library/Logs/Corvane/zenthar-" + std::to_string(getpid()) + ".log");
      EXPECT_TRUE(Log_ReleaseOutput(output));
      return;
   }
   EXPECT_TRUE(Captured().Saw(3, "Safe logging area '%s' validation failed!\n", "/Library/Logs/Corvane"))
      << Captured().Dump();
}

TEST_F(LogFileFaults, SaysThatTheFolderCannotBeWrittenTo) {
   LogOutput *const output = CreateFile(path);
   ASSERT_NE(output, nullptr);
   const NoRights nobody(folder.Path());
   ASSERT_EQ(chmod(folder.Path().c_str(), 0500), 0);
   EXPECT_FALSE(Log_AddOutput(output));
   EXPECT_TRUE(Log_ReleaseOutput(output));
   setenv("XDG_STATE_HOME", (folder / "state").c_str(), 1);
   EXPECT_EQ(CreateFile(""), nullptr);
   ASSERT_EQ(chmod(folder.Path().c_str(), 0700), 0);
   EXPECT_TRUE(Captured().Saw(3, "Unable to open '%s': %s\n", path.c_str(), "Permission denied")) << Captured().Dump();
   EXPECT_TRUE(
      Captured().Saw(3, "Safe logging area '%s' validation failed!\n", (folder / "state/Logs/Corvane").c_str()));
}

TEST_F(LogFileFaults, RefusesASocket) {
   const int descriptor = socket(AF_UNIX, SOCK_STREAM, 0);
   sockaddr_un address{};
   address.sun_family = AF_UNIX;
   path.copy(address.sun_path, sizeof address.sun_path - 1);
   ASSERT_EQ(bind(descriptor, reinterpret_cast<const sockaddr *>(&address), sizeof address), 0);
   EXPECT_FALSE(Starts());
   EXPECT_TRUE(Captured().Saw(3, "Rejecting '%s' because it is not an acceptable type.\n", path.c_str()));
   close(descriptor);
}

/* ---- Merge ------------------------------------------------------------------------------------------------------- */

TEST_F(LogFileFaults, SaysThatAMergedFileCannotBeWritten) {
   const struct {
      rlim_t room;
      const char *reason;
   } cases[] = {{0, "Input/output error"}, {100, "No space left"}};
   for (const auto &each : cases) {
      LogOutput *const old = StartFile(folder / "old.log");
      Log_Info("%s", std::string(20000, 'x').c_str());
      LogOutput *const replacement = CreateFile(path);
      ASSERT_TRUE(LogFile_Start(replacement));
      {
         const SizeLimit limit(each.room);
         ASSERT_TRUE(Log_ReplaceOutput(old, replacement, true));
      }
      EXPECT_EQ(AsFile(replacement)->fileSize, each.room);
      EXPECT_EQ(AsFile(replacement)->throttle.totalBytes, each.room);
      EXPECT_FALSE(Exists(folder / "old.log")) << "it goes whatever became of its content";
      Captured();
      Log_Info("next");
      EXPECT_TRUE(Captured().Saw(3, "Write failed on '%s': %s\n", path.c_str(), each.reason)) << Captured().Dump();
      EXPECT_TRUE(Log_ReplaceOutput(replacement, nullptr, false));
   }
}
