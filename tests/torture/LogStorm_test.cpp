#include "lib/log/LogTestKit.h"
#include "tests/torture/Torture.h"

#include <array>
#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <latch>
#include <random>
#include <string_view>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

// The log where it hurts: a disk that is full, a path that changes hands, a process that is killed at any moment, many
// threads, forks in the midst of them.

namespace {

using logtest::CountOf;
using logtest::LogFixture;
using torture::Child;

/// A word that processes share.
struct Shared {
   std::atomic<uint64_t> rotations;
   std::atomic<uint64_t> acknowledged; ///< lines whose call has returned
};

class SharedMemory {
public:
   SharedMemory()
       : mShared(new (mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0))
                    Shared{}) {}
   ~SharedMemory() { munmap(mShared, sizeof(Shared)); }
   SharedMemory(const SharedMemory &) = delete;
   SharedMemory &operator=(const SharedMemory &) = delete;
   Shared *operator->() const { return mShared; }

private:
   Shared *mShared;
};

class LogStorm : public LogFixture {};

/// A file system of its own of 256 KiB, for this process alone; gone with it.
std::string MountSmall(const std::string &folder) {
   const int spaces = geteuid() == 0 ? CLONE_NEWNS : CLONE_NEWNS | CLONE_NEWUSER;
   if (unshare(spaces) != 0) {
      return std::string("no mount space of its own: ") + std::strerror(errno);
   }
   if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
       mount("small", folder.c_str(), "tmpfs", 0, "size=256k") != 0) {
      return std::string("no small file system: ") + std::strerror(errno);
   }
   return "";
}

TEST_F(LogStorm, AFullFileSystemCostsWhatDoesNotFitAndNothingElse) {
   const std::string report = Child::Run([&](const Child::Complain &complain) {
      if (const std::string trouble = MountSmall(folder.Path()); !trouble.empty()) {
         complain("skip: " + trouble);
         return;
      }
      kit::WriteFile(folder / "ballast", std::string(100'000, 'b'));
      auto *const file = AsFile(StartFile(path, {"log.throttleBytesPerSec=-1"}));
      if (file == nullptr) {
         complain("the log does not start");
         return;
      }
      const uint64_t label = file->fileSize - file->account.written;
      int line = 0;
      for (; line < 5000 && file->account.discarded == 0; ++line) {
         Log_Info("line %05d %s", line, std::string(90, '.').c_str());
      }
      for (const int full = line + 100; line < full; ++line) {
         Log_Info("line %05d %s", line, std::string(90, '.').c_str());
      }
      const uint64_t lost = file->discarded;
      std::filesystem::remove(folder / "ballast");
      Log_Info("there is room");
      const std::string content = kit::ReadFile(path);
      char words[96];
      std::snprintf(words, sizeof words, ">>> Error writing log, %llu bytes discarded. Disk full?\n",
                    static_cast<unsigned long long>(lost));
      const LogFileAccount &account = file->account;
      if (lost == 0 || CountOf(content, words) != 1 || CountOf(content, " there is room\n") != 1) {
         complain("lost " + std::to_string(lost) + ", and the report does not say so");
      }
      if (account.offered != account.written + account.discarded || account.discarded != lost) {
         complain("the account does not balance");
      }
      constexpr size_t kReportPrefix = sizeof "2026-11-12T18:30:00.123Z No(00) log_storm_test " - 1;
      if (content.size() != label + account.written + kReportPrefix + std::strlen(words)) {
         complain("the file has " + std::to_string(content.size()) + " bytes, the account " +
                  std::to_string(account.written) + ", the label " + std::to_string(label) + "\n" +
                  content.substr(content.size() - 600));
      }
   });
   if (report.starts_with("skip: ")) {
      GTEST_SKIP() << "NOT TESTED on a full file system: " << report;
   }
   EXPECT_EQ(report, "");
}

// Whenever somebody puts a link to a file of theirs in the place of the log, that file stays as it is.
TEST_F(LogStorm, ALinkInThePlaceOfTheLogIsNeverWrittenThrough) {
   struct Swap final : kit::SystemCallWatch {
      void Before(const char *call, const char *which) override {
         if (path == which && ++calls == at) {
            struck = call;
            std::error_code absent; // in the midst of a rotation there may be nothing to take away
            std::filesystem::rename(path, path + ".taken", absent);
            std::filesystem::create_symlink(victim, path);
         }
      }
      std::string path;
      std::string victim;
      uint64_t at = 0;
      uint64_t calls = 0;
      std::string struck;
   };
   for (const bool rotating : {false, true}) {
      for (uint64_t at = 1;; ++at) {
         std::filesystem::remove_all(folder / "case");
         std::filesystem::create_directory(folder / "case");
         path = folder / "case/my.log";
         const std::string victim = folder / "case/victim";
         kit::WriteFile(victim, "theirs\n");
         kit::WriteFile(path, "former\n");
         LogOutput *output = rotating ? StartFile(path, {"log.rotateSize=100000"}) : nullptr;
         Swap swap;
         swap.path = path;
         swap.victim = victim;
         swap.at = at;
         if (rotating) {
            AsFile(output)->fileSize = 100'001;
            Log_Info("one");
            clock.AdvanceMs(120'000);
            Log_Info("two");
         } else {
            output = StartFile(path, {"log.throttleBytesPerSec=-1"});
            Log_Info("one");
         }
         EXPECT_EQ(kit::ReadFile(victim), "theirs\n") << "before call " << at << " " << swap.struck;
         Log_Stop();
         if (swap.struck.empty() || HasFailure()) {
            break;
         }
         torture::Count("swaps");
      }
   }
}

/* ---- Killed ------------------------------------------------------------------------------------------------------ */

// Lines until it is killed, in files of some 20 lines each, of which 50 are kept.
void LogUntilKilled(LogFileOutput *file, int life, const SharedMemory &shared) {
   struct Watch final : kit::SystemCallWatch {
      Watch(const SharedMemory &memory, const std::string &logPath)
          : shared(memory)
          , path(logPath) {}
      void Before(const char *call, const char *which) override {
         if (path == which && std::string_view(call) == "rename") {
            shared->rotations.fetch_add(1);
         }
      }
      const SharedMemory &shared;
      const std::string path;
   } watch(shared, file->path.get());
   file->rotateSize = 1000;
   for (uint64_t line = 0;; ++line) {
      Log_Info("life %d line %llu end", life, static_cast<unsigned long long>(line));
      shared->acknowledged.store(line + 1);
   }
}

struct Serial {
   int life = -1;
   uint64_t line = 0;
};

// What one life has left behind, oldest first: its lines without a gap. Complains about everything else.
class Remains {
public:
   explicit Remains(const std::string &folder) {
      for (int number = 60; number >= 0; --number) {
         Read(folder + "/my-" + std::to_string(number) + ".log");
      }
      Read(folder + "/my.log");
   }
   Serial last;
   std::string trouble;

private:
   void Read(const std::string &file) {
      const std::string content = kit::ReadFile(file);
      for (size_t at = 0; at < content.size();) {
         const size_t end = content.find('\n', at);
         if (end == std::string::npos) {
            return; // torn, as only the last line of a life may be: any other would be a gap in its lines
         }
         Take(content.substr(at, end - at), file);
         at = end + 1;
      }
   }
   void Take(const std::string &line, const std::string &file) {
      Serial next;
      unsigned long long number = 0;
      const size_t text = line.find(" life ");
      if (text == std::string::npos) {
         return; // a label, or a line about a rotation
      }
      if (std::sscanf(line.c_str() + text, " life %d line %llu end", &next.life, &number) != 2 ||
          !line.ends_with(" end")) {
         trouble += file + ": torn: " + line + "\n";
      }
      next.line = number;
      const bool follows = next.life == last.life ? next.line == last.line + 1 : next.life > last.life;
      if (last.life >= 0 && !follows) {
         trouble += file + ": " + line + " behind line " + std::to_string(last.line) + "\n";
      }
      last = next;
   }
};

TEST_F(LogStorm, KilledAtAnyMomentOfARotationItLosesNothing) {
   const uint64_t wanted = torture::Rounds(10'000, 400);
   const SharedMemory shared;
   std::mt19937 random(20261112);
   uint64_t kills = 0;
   for (int life = 0; shared->rotations.load() < wanted && !HasFailure(); ++life) {
      shared->acknowledged.store(0);
      const uint64_t before = shared->rotations.load();
      const pid_t child = fork();
      if (child == 0) {
         alarm(120);
         LogOutput *const output =
            StartFile(path, {"log.throttleBytesPerSec=-1", "log.keepOld=50", "log.rotateSize=100000"});
         if (output != nullptr) {
            LogUntilKilled(AsFile(output), life, shared);
         }
         _exit(1);
      }
      // Some rotations, and then a moment more that ends anywhere.
      const uint64_t enough = before + random() % 40;
      while (shared->rotations.load() <= enough && kill(child, 0) == 0 && waitpid(child, nullptr, WNOHANG) == 0) {
         std::this_thread::yield();
      }
      std::this_thread::sleep_for(std::chrono::microseconds(random() % 300));
      kill(child, SIGKILL);
      int status = 0;
      waitpid(child, &status, 0);
      EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "it ended by itself";
      ++kills;
      const Remains remains(folder.Path());
      EXPECT_EQ(remains.trouble, "");
      EXPECT_EQ(remains.last.life, life);
      EXPECT_GE(remains.last.line + 1, shared->acknowledged.load()) << "a line is lost whose call had returned";
   }
   torture::Count("rotations_killed", shared->rotations.load());
   torture::Count("kills", kills);
}

/* ---- Many threads ------------------------------------------------------------------------------------------------ */

TEST_F(LogStorm, LinesOfManyThreadsAreAllThereWholeAndInOrder) {
   constexpr int kThreads = 32;
   const auto lines = static_cast<int>(torture::Rounds(100'000, 4'000));
   ASSERT_NE(StartFile(path, {"log.throttleBytesPerSec=-1"}), nullptr);
   std::vector<std::thread> threads;
   for (int thread = 0; thread < kThreads; ++thread) {
      threads.emplace_back([=] {
         for (int line = 0; line < lines; ++line) {
            Log_Info("thread %d line %d end", thread, line);
         }
      });
   }
   for (std::thread &thread : threads) {
      thread.join();
   }
   Log_Stop();
   std::array<int, kThreads> next{};
   std::ifstream in(path);
   for (std::string line; std::getline(in, line) && !HasFailure();) {
      const size_t text = line.find(" thread ");
      if (text == std::string::npos) {
         continue; // the label
      }
      int thread = -1;
      int number = -1;
      ASSERT_EQ(std::sscanf(line.c_str() + text, " thread %d line %d end", &thread, &number), 2) << line;
      ASSERT_TRUE(thread >= 0 && thread < kThreads && line.ends_with(" end")) << line;
      ASSERT_EQ(number, next[static_cast<size_t>(thread)]++) << line;
   }
   for (const int count : next) {
      EXPECT_EQ(count, lines);
   }
   torture::Count("lines", static_cast<uint64_t>(lines) * kThreads);
}

TEST_F(LogStorm, AChildOfAForkInTheMidstOfThreadsLogsAndEnds) {
   constexpr int kThreads = 8;
   const auto rounds = static_cast<int>(torture::Rounds(1'000, 100));
   ASSERT_NE(StartFile(path, {"log.throttleBytesPerSec=-1", "log.append=true"}), nullptr);
   // Nobody asks for memory from the first fork on: not every sanitizer's heap survives a fork in the midst of that.
   const std::string padding(1000, 'x');
   std::latch logging(kThreads);
   std::atomic<bool> stop{false};
   std::vector<std::thread> threads;
   for (int thread = 0; thread < kThreads; ++thread) {
      threads.emplace_back([&, thread] {
         Log_Info("thread %d", thread);
         logging.count_down();
         for (int line = 0; !stop.load(); ++line) {
            // Some are long: they pass through the one big buffer.
            Log_Info("thread %d line %d %s", thread, line, line % 50 == 0 ? padding.c_str() : "");
            std::this_thread::sleep_for(std::chrono::microseconds(50));
         }
      });
   }
   logging.wait();
   for (int round = 0; round < rounds && !HasFailure(); ++round) {
      const pid_t child = fork();
      if (child == 0) {
         alarm(60); // a hang is an end by SIGALRM
         Log_Info("child %d", round);
         Log_Info("child %d, long: %s", round, padding.c_str());
         _exit(0);
      }
      int status = -1;
      ASSERT_EQ(waitpid(child, &status, 0), child);
      EXPECT_EQ(status, 0) << "round " << round;
   }
   stop.store(true);
   for (std::thread &thread : threads) {
      thread.join();
   }
   Log_Stop();
   const std::string content = kit::ReadFile(path);
   for (int round = 0; round < rounds; ++round) {
      ASSERT_EQ(CountOf(content, " child " + std::to_string(round) + "\n"), 1U);
   }
   torture::Count("forks", static_cast<uint64_t>(rounds));
}

} // namespace
