#include "lib/log/LogTestKit.h"
#include "tests/torture/Torture.h"

#include <array>
#include <charconv>
#include <cstring>
#include <filesystem>
#include <functional>
#include <map>
#include <string_view>
#include <unistd.h>

// The log with each of its system calls failing. Whatever fails: every byte is accounted for, by the log's own account,
// by what the system took, and by what is on disk; no call lasts more than 2 seconds; nothing is left open; and once
// the fault is over the log writes again.

namespace {

using logtest::CountOf;
using logtest::LogFixture;
using torture::Balance;
using torture::Way;

constexpr uint64_t kLimitNs = 2'100'000'000; // 2 s of one retry
constexpr const char *kLabelTexts[] = {" Log for ", " The host is ", " Host codepage=", " Host is ", " Host offset "};
constexpr std::string_view kReport = ">>> Error writing log, ";

/// What the system was asked to write, and what became of it.
class Ledger final : public kit::SystemCallWatch {
public:
   void Wrote(int /*descriptor*/, const char *bytes, size_t size, ssize_t taken) override {
      const std::string_view text(bytes, size);
      const auto took = static_cast<uint64_t>(std::max<ssize_t>(taken, 0));
      allTaken += took;
      if (Has(text, kReport)) {
         // One that was written whole tells of all that was lost before it.
         if (took == size) {
            reported += NumberBehind(text, kReport);
         }
      } else if (std::none_of(std::begin(kLabelTexts), std::end(kLabelTexts),
                              [&](const char *label) { return Has(text, label); })) {
         lineTaken += took;
      }
   }
   void Removed(const char * /*path*/, uint64_t size) override { removed += size; }

   uint64_t allTaken = 0;  ///< labels and reports included
   uint64_t lineTaken = 0; ///< without them
   uint64_t reported = 0;
   uint64_t removed = 0;

private:
   static bool Has(std::string_view text, std::string_view part) { return text.find(part) != std::string_view::npos; }
   static uint64_t NumberBehind(std::string_view text, std::string_view part) {
      uint64_t number = 0;
      text.remove_prefix(text.find(part) + part.size());
      std::from_chars(text.data(), text.data() + text.size(), number);
      return number;
   }
};

/// One state of the log, and what is done to it while calls fail.
struct Scene {
   std::vector<std::string> keys;
   std::function<void()> prepare = [] {
   };
   std::function<void(LogFileOutput *)> act = [](LogFileOutput *) {
   };                            ///< on a log that runs
   bool faultsFromStart = false; ///< opening and labelling fail too
   bool rotates = false;         ///< the count that reports tell of starts anew
   bool overwrites = false;      ///< with nothing kept, a rotation begins anew in the same file
};

class LogTorture : public LogFixture {
protected:
   // The message of this number, as the test offers it; its size in the file, prefix and newline included.
   static constexpr size_t kPrefixSize = sizeof "2026-11-12T18:30:00.123Z In(05) log_torture_tes " - 1;

   uint64_t Offer(int number) {
      const uint64_t start = clock.monotonicNs();
      Log_Info("offered %04d%s", number, std::string(static_cast<size_t>(number % 7) * 20, '.').c_str());
      longestNs = std::max(longestNs, clock.monotonicNs() - start);
      return kPrefixSize + sizeof "offered 0000\n" - 1 + static_cast<size_t>(number % 7) * 20;
   }

   void ClearFolder() const {
      for (const auto &entry : std::filesystem::directory_iterator(folder.Path())) {
         std::filesystem::remove_all(entry.path());
      }
   }
   [[nodiscard]] uint64_t BytesOnDisk() const {
      uint64_t bytes = 0;
      for (const auto &entry : std::filesystem::recursive_directory_iterator(folder.Path())) {
         bytes += entry.is_regular_file() ? entry.file_size() : 0;
      }
      return bytes;
   }

   template <typename Name>
   static size_t Left(Name name) {
      size_t left = 0;
      for (int number = 0; number < 8; ++number) {
         left += std::filesystem::exists(name(number)) ? 1 : 0;
      }
      return left;
   }

   // Whether the fault has struck.
   bool Attempt(const Scene &scene, const Way &way, uint64_t nth) {
      ClearFolder();
      scene.prepare();
      const uint64_t onDisk = BytesOnDisk();
      longestNs = 0;
      const Balance before = Balance::Now();
      bool struck = false;
      {
         Ledger ledger;
         std::optional<torture::Fault> fault;
         if (scene.faultsFromStart) {
            fault.emplace(way, nth);
         }
         LogOutput *output = CreateFile(path, scene.keys);
         if (output != nullptr && !Log_AddOutput(output)) {
            Log_ReleaseOutput(output);
            output = nullptr;
         }
         if (!scene.faultsFromStart) {
            EXPECT_NE(output, nullptr);
            fault.emplace(way, nth);
         }
         if (output != nullptr) {
            scene.act(AsFile(output));
         }
         struck = fault->Struck();
         fault.reset();
         if (output == nullptr) {
            output = StartFile(path, scene.keys); // the next attempt
         }
         EXPECT_NE(output, nullptr);
         if (output != nullptr) {
            clock.AdvanceMs(120'000); // past every rest
            Offer(9999);
            CheckAccount(scene, *AsFile(output), ledger, onDisk);
            EXPECT_GE(CountOf(kit::ReadFile(path), "offered 9999"), 1U) << "the log does not write again";
         }
         Log_Stop();
      }
      EXPECT_LE(longestNs, kLimitNs);
      const Balance after = Balance::Now();
      EXPECT_EQ(after.descriptors, before.descriptors);
      torture::Count("log_faults", struck ? 1 : 0);
      return struck;
   }

   void CheckAccount(const Scene &scene, const LogFileOutput &file, const Ledger &ledger, uint64_t onDisk) const {
      LogFileAccount account;
      ASSERT_TRUE(LogFile_GetAccount(&file, &account));
      EXPECT_EQ(account.offered, account.written + account.discarded + account.suppressed);
      EXPECT_EQ(account.written, ledger.lineTaken) << "the system took something else";
      if (!scene.overwrites) {
         EXPECT_EQ(BytesOnDisk() + ledger.removed, onDisk + ledger.allTaken) << "the disk holds something else";
      }
      if (!scene.rotates) {
         EXPECT_EQ(ledger.reported + file.discarded, account.discarded) << "the reports tell of something else";
      }
   }

   void Torture(const char *name, const Scene &scene) {
      SCOPED_TRACE(name);
      for (const Way &way : torture::SystemCallWays()) {
         torture::ForEachNth([&](uint64_t nth) {
            const bool struck = Attempt(scene, way, nth);
            if (HasFailure()) {
               ADD_FAILURE() << name << ": " << way.Name() << ", call " << nth << " "
                             << kit::FailSystemCall::LastStruck();
               return false;
            }
            return struck;
         });
      }
   }

   uint64_t longestNs = 0;
};

constexpr int kLines = 12;

TEST_F(LogTorture, OpeningAndLabelling) {
   const auto some = [this](LogFileOutput *) {
      for (int line = 0; line < kLines; ++line) {
         Offer(line);
      }
   };
   const std::vector<std::string> keys = {"log.throttleBytesPerSec=-1"};
   Torture("a new file", {keys, [] {}, some, true});
   Torture("files of former starts", {keys,
                                      [this] {
                                         kit::WriteFile(path, "former\n");
                                         kit::WriteFile(folder / "my-0.log", "older\n");
                                         kit::WriteFile(folder / "my-1.log", "oldest\n");
                                      },
                                      some, true, true});
}

TEST_F(LogTorture, Writing) {
   Torture("lines", {{"log.throttleBytesPerSec=-1"},
                     [] {},
                     [this](LogFileOutput *file) {
                        uint64_t offered = file->account.offered;
                        for (int line = 0; line < kLines; ++line) {
                           offered += Offer(line);
                        }
                        EXPECT_EQ(file->account.offered, offered) << "what the test has offered";
                     }});
   Torture("lines, each flushed", {{"log.throttleBytesPerSec=-1", "log.syncAfterWrite=true"},
                                   [] {},
                                   [this](LogFileOutput *) {
                                      for (int line = 0; line < kLines; ++line) {
                                         Offer(line);
                                      }
                                   }});
   // What does not fit is cut before it comes to the file: 32766 bytes remain of the text.
   Torture("a line that is cut", {{"log.throttleBytesPerSec=-1"},
                                  [] {},
                                  [](LogFileOutput *file) {
                                     const uint64_t offered = file->account.offered;
                                     const uint64_t text = 40'000;
                                     Log_Info("%s", std::string(text, 'x').c_str());
                                     const uint64_t cut = offered + kPrefixSize + text - file->account.offered;
                                     EXPECT_EQ(cut, text - (kLogBigLimit - 1));
                                  }});
}

TEST_F(LogTorture, Throttling) {
   // A bout: above the threshold at a high rate, then silence for long enough, then a line that ends it.
   Torture("a bout", {{"log.throttleThreshold=100", "log.throttleBytesPerSec=10"},
                      [] {},
                      [this](LogFileOutput *file) {
                         uint64_t offered = file->account.offered;
                         for (int line = 0; line < kLines; ++line) {
                            offered += Offer(line);
                            clock.AdvanceMs(2'000);
                         }
                         EXPECT_GT(file->account.suppressed, 0U);
                         EXPECT_EQ(file->account.offered,
                                   offered + kPrefixSize + sizeof "<<< file Throttled >>>\n" - 1);
                      }});
   Torture("silence at the threshold", {{"log.throttleThreshold=200", "log.noLogAfterThreshold=true"},
                                        [] {},
                                        [this](LogFileOutput *file) {
                                           for (int line = 0; line < kLines; ++line) {
                                              Offer(line);
                                           }
                                           EXPECT_GT(file->account.suppressed, 0U);
                                           LogFile_StopThrottling(file);
                                        }});
}

TEST_F(LogTorture, Rotating) {
   for (const char *const keep : {"log.keepOld=0", "log.keepOld=1", "log.keepOld=3"}) {
      for (const char *const fast : {"log.fastRotation=false", "log.fastRotation=true"}) {
         Torture(keep, {{"log.throttleBytesPerSec=-1", "log.rotateSize=100000", keep, fast},
                        [this] {
                           kit::WriteFile(folder / "my-0.log", "older\n");
                           kit::WriteFile(folder / "my-2.log", "oldest\n");
                        },
                        [this](LogFileOutput *file) {
                           for (int line = 0; line < kLines; ++line) {
                              file->fileSize = line % 3 == 0 ? 100'001 : file->fileSize;
                              Offer(line);
                              clock.AdvanceMs(60'000);
                           }
                        },
                        false,
                        true,
                        keep == std::string_view("log.keepOld=0")});
      }
   }
}

TEST_F(LogTorture, Purging) {
   // Names of the log's own family, of processes that are gone: the ids are beyond what the system gives.
   const auto name = [this](int number) {
      return folder / ("Logs/Corvane/zenthar-" + std::to_string(4'194'400 + number) + ".log");
   };
   const std::string another = folder / "Logs/Corvane/another.log";
   for (const Way &way : torture::SystemCallWays()) {
      torture::ForEachNth([&](uint64_t nth) {
         ClearFolder();
         LogOutput *const output = CreateFile("");
         kit::WriteFile(another, "another's\n");
         for (int number = 0; number < 8; ++number) {
            kit::WriteFile(name(number), "dead\n");
            std::filesystem::last_write_time(name(number), std::filesystem::file_time_type::clock::now() -
                                                              std::chrono::hours(100 - number));
         }
         const Balance before = Balance::Now();
         torture::Fault fault(way, nth);
         LogFile_PurgeDead(output, nullptr, nullptr);
         fault.Disarm();
         EXPECT_EQ(Balance::Now().descriptors, before.descriptors);
         EXPECT_TRUE(std::filesystem::exists(another));
         EXPECT_GE(Left(name), 3U) << "as many are kept as are to be kept";
         LogFile_PurgeDead(output, nullptr, nullptr);
         EXPECT_EQ(Left(name), 3U) << "the next purge does what was left undone";
         EXPECT_TRUE(Log_ReleaseOutput(output));
         torture::Count("log_faults", fault.Struck() ? 1 : 0);
         if (HasFailure()) {
            ADD_FAILURE() << way.Name() << ", call " << nth << " " << kit::FailSystemCall::LastStruck();
            return false;
         }
         return fault.Struck();
      });
   }
}

TEST_F(LogTorture, Merging) {
   for (const char *const append : {"log.append=false", "log.append=true"}) {
      for (const Way &way : torture::SystemCallWays()) {
         torture::ForEachNth([&](uint64_t nth) {
            ClearFolder();
            const Balance before = Balance::Now();
            LogOutput *const old = StartFile(folder / "old.log", {"log.throttleBytesPerSec=-1"});
            for (int line = 0; line < 8; ++line) {
               Log_Info("%s", std::string(5000, static_cast<char>('a' + line)).c_str());
            }
            LogOutput *const merged = CreateFile(path, {append, "log.throttleBytesPerSec=-1"});
            EXPECT_TRUE(LogFile_Start(merged));
            const std::string content = kit::ReadFile(folder / "old.log");
            const std::string own = kit::ReadFile(path);
            bool struck = false;
            {
               Ledger ledger;
               torture::Fault fault(way, nth);
               EXPECT_TRUE(Log_ReplaceOutput(old, merged, true));
               fault.Disarm();
               struck = fault.Struck();
               const std::string now = kit::ReadFile(path);
               // What has arrived is the beginning of the old content, behind or in place of what was there.
               const bool behind = now.starts_with(own);
               const std::string arrived = behind ? now.substr(own.size()) : now;
               EXPECT_TRUE(content.starts_with(arrived) || content.starts_with(now));
               EXPECT_LE(ledger.allTaken, content.size());
               EXPECT_TRUE(!std::filesystem::exists(folder / "old.log") || struck);
               EXPECT_EQ(struck || arrived == content || now == content, true) << "all of it without a fault";
            }
            Log_Info("afterwards");
            EXPECT_EQ(CountOf(kit::ReadFile(path), " afterwards\n"), 1U);
            Log_Stop();
            EXPECT_EQ(Balance::Now().descriptors, before.descriptors);
            torture::Count("log_faults", struck ? 1 : 0);
            if (HasFailure()) {
               ADD_FAILURE() << append << ": " << way.Name() << ", call " << nth << " "
                             << kit::FailSystemCall::LastStruck();
               return false;
            }
            return struck;
         });
      }
   }
}

} // namespace
