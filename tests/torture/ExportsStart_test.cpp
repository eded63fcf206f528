#include "mmdr/mmdr.h"

#include "tests/kit/ManualClock.h"
#include "tests/kit/TempDir.h"
#include "tests/torture/FaultyPlatform.h"
#include "tests/torture/Torture.h"

#include "lib/log/Log.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <new>
#include <optional>
#include <string>

// What happens once in a process, each case in a process of its own: the first handle, the first listing, the release.

namespace {

using torture::Balance;
using torture::Child;
using torture::Way;

constexpr uint64_t kLimitNs = 2'100'000'000; // 2 s of one retry, and what else there is to wait for
constexpr char kPast[] = "past the last call\n";
constexpr char kTooLong[] = "the call lasted too long";

/// A call that is made once in a process.
struct Once {
   std::function<void()> before = [] {
   };                                                                ///< without a fault
   std::function<int32_t()> call;                                    ///< under torture
   std::function<void(int32_t code, const Child::Complain &)> after; ///< what must hold then, without a fault
};

class ExportsStart : public testing::Test {
protected:
   ExportsStart() {
      setenv("XDG_STATE_HOME", mFolder.Path().c_str(), 1);
      setenv("XDG_CONFIG_HOME", mFolder.Path().c_str(), 1);
      setenv("MAVR_OSAL", "simulated", 1);
      Restore();
   }

   /// The files as each case finds them: settings, configuration, and a log of yesterday that is to be kept.
   void Restore() const {
      std::filesystem::remove_all(mFolder.Path());
      std::filesystem::create_directories(mFolder / "corvane");
      kit::WriteFile(mFolder / "corvane/com.corvane.mavr.plist",
                     R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict>)"
                     "<key>LogLevel</key><string>trace</string><key>ciEnabled</key><string>true</string>"
                     "<key>srcAudioInOption</key><integer>2</integer></dict></plist>\n");
      kit::WriteFile(mFolder / "corvane/config.toml",
                     "\"log.throttleBytesPerSec\" = 0\n\"MAVR.log.fileName\" = \"" + mFolder / "my.log" + "\"\n");
      kit::WriteFile(mFolder / "my.log", "yesterday\n");
   }

   /// The whole course of faults through a call, against a process without one.
   void Torture(const Once &once) {
      ASSERT_EQ(Run(once, std::nullopt, 0), kPast);
      for (const Way &way : torture::AllWays()) {
         torture::ForEachNth([&](uint64_t nth) {
            std::string report = Run(once, way, nth);
            for (int again = 0; again < torture::kBusyMoments && report.find(kTooLong) != std::string::npos; ++again) {
               report = Run(once, way, nth);
            }
            if (report == kPast) {
               return false;
            }
            torture::Count("cases");
            EXPECT_EQ(report, "") << way.Name() << ", call " << nth;
            return !HasFailure();
         });
      }
   }

   kit::TempDir mFolder;
   MmdrHandle *mHandle = nullptr;

private:
   std::string Run(const Once &once, const std::optional<Way> &way, uint64_t nth) {
      Restore();
      return Child::Run([&](const Child::Complain &complain) { RunInChild(once, way, nth, complain); });
   }

   void RunInChild(const Once &once, const std::optional<Way> &way, uint64_t nth, const Child::Complain &complain) {
      const torture::FaultyDevices devices(osal::Platform::devices());
      const torture::FaultySettings settings;
      std::optional<kit::ManualClock> clock;
      if (!way || way->fault != kit::Fault::Clock) {
         clock.emplace();
      }
      once.before();
      const uint64_t startNs = clock ? clock->monotonicNs() : 0;
      const auto start = std::chrono::steady_clock::now();
      std::optional<torture::Fault> fault;
      if (way) {
         fault.emplace(*way, nth);
      }
      int32_t code = -1;
      bool noMemory = false;
      try {
         code = once.call();
      } catch (const std::bad_alloc &) {
         noMemory = true;
      }
      if (fault) {
         fault->Disarm();
      }
      if (std::chrono::steady_clock::now() - start >= std::chrono::seconds(2) ||
          (clock && clock->monotonicNs() - startNs > kLimitNs)) {
         complain(kTooLong);
      }
      if (noMemory && (!way || way->fault != kit::Fault::Allocation)) {
         complain("memory lacks without a reason");
      }
      once.after(noMemory ? -1 : code, complain);
      CheckBalance(way.has_value(), complain);
      if (!fault || !fault->Struck()) {
         complain("past the last call");
      }
   }

   // Against the process without a fault, which comes first and leaves its figures.
   void CheckBalance(bool faulty, const Child::Complain &complain) const {
      const Balance now = Balance::Now();
      const std::string words = std::to_string(now.descriptors) + " " + std::to_string(now.threads);
      if (!faulty) {
         kit::WriteFile(mWords / "balance", words);
      } else if (words != kit::ReadFile(mWords / "balance")) {
         complain("descriptors and threads: " + words + ", not " + kit::ReadFile(mWords / "balance"));
      }
   }

   kit::TempDir mWords;
};

// Whether the library does all that it is for: the log is in its file, settings are read, devices listed.
void ExpectWhole(MmdrHandle *handle, uint32_t wantedOption, const Child::Complain &complain) {
   uint32_t option = 77;
   uint32_t count = 0;
   if (Mmdr_IsValid(handle) != MMDR_OK) {
      complain("the handle is not valid");
      return;
   }
   if (Mmdr_GetAudioInSelectOption(handle, &option) != MMDR_OK || option != wantedOption) {
      complain("the option is " + std::to_string(option));
   }
   if (Mmdr_EnumDevices(handle, MMDR_DEV_VIDEO, 0, nullptr, &count) != MMDR_ERR_BUFFER_TOO_SMALL || count != 3) {
      complain("cameras: " + std::to_string(count));
   }
   if (Log_GetFilePath() == nullptr) {
      complain("there is no log");
   }
}

// The first call, and another one, which must leave the library whole whatever became of the first.
TEST_F(ExportsStart, TheFirstHandle) {
   auto *const untouched = reinterpret_cast<MmdrHandle *>(&mFolder);
   MmdrHandle *handle = untouched;
   Torture({.call = [&] { return Mmdr_Init(1, &handle); },
            .after =
               [&](int32_t code, const Child::Complain &complain) {
                  if (code != MMDR_OK && code != MMDR_ERR_NO_MEMORY && code != -1) {
                     complain("code " + std::to_string(code));
                  }
                  if ((code == MMDR_OK) != (handle != untouched)) {
                     complain("the output does not fit code " + std::to_string(code));
                  }
                  if (code == MMDR_OK && Mmdr_IsValid(handle) != MMDR_OK) {
                     complain("the handle is not valid");
                  }
                  MmdrHandle *next = nullptr;
                  if (Mmdr_Init(2, &next) != MMDR_OK) {
                     complain("the next attempt fails");
                  }
                  ExpectWhole(next, 2, complain);
                  std::string logs;
                  for (const auto &entry : std::filesystem::directory_iterator(mFolder.Path())) {
                     logs += entry.is_regular_file() ? kit::ReadFile(entry.path()) : "";
                  }
                  if (logs.find("yesterday\n") == std::string::npos) {
                     complain("the log of yesterday is lost");
                  }
               }});
}

TEST_F(ExportsStart, TheRelease) {
   Torture({.before = [this] { Mmdr_Init(1, &mHandle); },
            .call =
               [this] {
                  Mmdr_Uninit(mHandle);
                  return MMDR_OK;
               },
            .after =
               [this](int32_t code, const Child::Complain &complain) {
                  if (code != MMDR_OK) {
                     complain("the release throws");
                  }
                  // A later handle is on its defaults.
                  if (Mmdr_Init(1, &mHandle) != MMDR_OK) {
                     complain("the next attempt fails");
                  }
                  ExpectWhole(mHandle, 0, complain);
               }});
}

TEST_F(ExportsStart, TheFirstListing) {
   std::array<MmdrDevEntry, 4> entries{};
   uint32_t count = 77;
   Torture({.before = [this] { Mmdr_Init(1, &mHandle); },
            .call =
               [&] {
                  return Mmdr_EnumDevices(mHandle, MMDR_DEV_AUDIO, sizeof entries,
                                          reinterpret_cast<char *>(entries.data()), &count);
               },
            .after =
               [&](int32_t code, const Child::Complain &complain) {
                  const bool whole = count <= 2 && (count == 0 || entries[count - 1].userId[0] != '\0');
                  if (code == MMDR_OK ? !whole : code != -1 || count != 77) {
                     complain("code " + std::to_string(code) + ", count " + std::to_string(count));
                  }
                  ExpectWhole(mHandle, 2, complain);
               }});
}

} // namespace
