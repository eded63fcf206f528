#include "mmdr/mmdr.h"

#include "tests/kit/ManualClock.h"
#include "tests/kit/TempDir.h"
#include "tests/torture/FaultyPlatform.h"
#include "tests/torture/Torture.h"

#include "lib/log/Log.h"
#include "osal/posix/PosixPreferences.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <initializer_list>
#include <new>
#include <optional>
#include <string>
#include <vector>

// Each of the ten functions, in the situations that matter, with each inner call failing. Whatever fails: the code is a
// stated one, the output is whole or untouched, the next call gives the right result, nothing is left behind, and no
// call lasts more than 2 seconds. Memory that lacks below a call surfaces as std::bad_alloc, as the header says.

namespace {

using torture::Balance;
using torture::Way;

constexpr uint64_t kLimitNs = 2'100'000'000; // 2 s of one retry, and what else there is to wait for
constexpr std::chrono::seconds kRealLimit{2};
constexpr int kRepeats = 256;
constexpr uint64_t kSmallestLeak = 16;
constexpr char kUntouched = '\x5A';

/// What a call gave: the code and the whole of its output. Room of its own, so that a call in want of memory can fill
/// it.
struct Reply {
   int32_t code = -1;
   bool noMemory = false;
   alignas(8) std::array<char, 4200> bytes{};

   Reply() { bytes.fill(kUntouched); }
   friend bool operator==(const Reply &, const Reply &) = default;

   [[nodiscard]] bool IsUntouched() const {
      return std::all_of(bytes.begin(), bytes.end(), [](char byte) { return byte == kUntouched; });
   }
};

std::string Describe(const Reply &reply) {
   std::string text = reply.noMemory ? "no memory" : "code " + std::to_string(reply.code);
   const size_t length = static_cast<size_t>(
      std::find_if(reply.bytes.rbegin(), reply.bytes.rend(), [](char byte) { return byte != kUntouched; }).base() -
      reply.bytes.begin());
   return text + ", " + testing::PrintToString(std::string(reply.bytes.data(), std::min<size_t>(length, 64))) + "...";
}

template <typename Value>
void Put(Reply *reply, size_t offset, const Value &value) {
   std::memcpy(reply->bytes.data() + offset, &value, sizeof value);
}

// A reply whose output begins with these bytes and is untouched behind them.
template <typename... Values>
Reply MakeReply(int32_t code, const Values &...values) {
   Reply reply;
   reply.code = code;
   size_t offset = 0;
   ((Put(&reply, offset, values), offset += sizeof values), ...);
   return reply;
}

struct Device {
   std::string name; ///< as shown
   std::string userId;
};

// A text as it stands in a field of 259 bytes, of which the last is cut.
void PutField(Reply *reply, size_t offset, const std::string &text) {
   constexpr size_t kField = 259;
   std::memset(reply->bytes.data() + offset, 0, kField);
   std::memcpy(reply->bytes.data() + offset, text.data(), std::min(text.size(), kField));
}

constexpr size_t kEntries = sizeof(uint32_t); // in a reply that lists: behind the count

Reply ListReply(const std::vector<Device> &devices) {
   Reply reply = MakeReply(MMDR_OK, static_cast<uint32_t>(devices.size()));
   for (size_t i = 0; i < devices.size(); ++i) {
      PutField(&reply, kEntries + i * sizeof(MmdrDevEntry), devices[i].userId);
      PutField(&reply, kEntries + i * sizeof(MmdrDevEntry) + offsetof(MmdrDevEntry, name), devices[i].name);
   }
   return reply;
}

Reply TextReply(const std::string &text) {
   Reply reply;
   reply.code = MMDR_OK;
   PutField(&reply, 0, text);
   return reply;
}

/// One function in one state of the machine.
struct Situation {
   std::function<void()> prepare;     ///< before each call, without a fault
   std::function<void(Reply *)> call; ///< the call under torture; asks for no memory itself
   Reply good;                        ///< without a fault
   std::vector<Reply> degraded = {};  ///< what else is stated, when inner calls fail
   std::function<void(const Way &)> check = [](const Way &) {
   }; ///< after a call with a fault
};

/// Runs a call, keeps the code, and turns want of memory into a mark.
template <typename Call>
void Guarded(Reply *reply, Call call) {
   try {
      reply->code = call();
   } catch (const std::bad_alloc &) {
      reply->noMemory = true;
   }
}

const char kSimulation[] = R"({
  "cameras": [
    {"name": "Desk Camera with a name that is too long for any small string", "uniqueId": "cam-a"},
    {"name": "Door Camera with a name that is too long for any small string", "uniqueId": "cam-b"},
    {"name": "Desk Camera with a name that is too long for any small string", "uniqueId": "cam-c"}],
  "microphones": [
    {"name": "Desk Microphone with a name that is too long for a small string", "uniqueId": "mic-a"},
    {"name": "Speaker", "uniqueId": "out-a", "inputStreams": 0},
    {"name": "Desk Microphone with a name that is too long for a small string", "uniqueId": "mic-b"}]
})";

const std::string kDeskCamera = "Desk Camera with a name that is too long for any small string";
const std::string kDoorCamera = "Door Camera with a name that is too long for any small string";
const std::string kMicrophone = "Desk Microphone with a name that is too long for a small string";
const std::vector<Device> kCameras = {{kDeskCamera, kDeskCamera + "#cam-a"},
                                      {kDoorCamera, kDoorCamera + "#cam-b"},
                                      {kDeskCamera + " 2", kDeskCamera + "#cam-c"}};
const std::vector<Device> kMicrophones = {{kMicrophone, kMicrophone + "#mic-a"},
                                          {kMicrophone + " 2", kMicrophone + "#mic-b"}};

class ExportsTorture : public testing::Test {
protected:
   ExportsTorture() {
      setenv("XDG_STATE_HOME", mFolder.Path().c_str(), 1);
      setenv("XDG_CONFIG_HOME", mFolder.Path().c_str(), 1);
      setenv("MAVR_OSAL", "simulated", 1);
      setenv("MAVR_SIMULATION", (mFolder / "simulation.json").c_str(), 1);
      Replace(mFolder / "simulation.json", kSimulation);
      std::filesystem::create_directories(mFolder / "corvane");
      // Every line is written, and the file is rotated while a call runs.
      Replace(mFolder / "corvane/config.toml", "\"log.throttleBytesPerSec\" = 0\n\"log.rotateSize\" = 100000\n"
                                               "\"log.keepOld\" = 1\n\"MAVR.log.fileName\" = \"" +
                                                  mFolder / "my.log" + "\"\n");
   }

   ~ExportsTorture() override { Mmdr_Uninit(mHandle); }

   // A new file takes the place of the old one, so that a reader sees the change.
   static void Replace(const std::string &path, const std::string &content) {
      kit::WriteFile(path + ".new", content);
      std::filesystem::rename(path + ".new", path);
   }
   // Settings with these entries, and the two that every situation has.
   void StoreSettings(const std::string &entries) const {
      Replace(mSettings, R"(<?xml version="1.0" encoding="UTF-8"?><plist version="1.0"><dict>)"
                         "<key>LogLevel</key><string>trace</string><key>keep</key><string>this</string>" +
                            entries + "</dict></plist>\n");
   }
   [[nodiscard]] std::string StoredText(const char *key) const {
      const auto value = osal::MakePosixPreferences(mSettings)->copyAppValue(key);
      const auto *const text = value ? std::get_if<osal::PreferenceText>(&*value) : nullptr;
      return text != nullptr ? text->utf8() : "";
   }

   /// Opens the library, with decorators in force that let devices and settings fail.
   void Open() {
      mDevices.emplace(osal::Platform::devices());
      mFaultySettings.emplace();
      StoreSettings("");
      ASSERT_EQ(Mmdr_Init(1, &mHandle), MMDR_OK);
   }

   /// The whole course of faults through a function of a library that runs.
   void Torture(const char *name, const Situation &situation) {
      SCOPED_TRACE(name);
      for (int round = 0; round < 5; ++round) { // until buffers and lists have their size
         ExpectGood(situation, "before any fault");
      }
      const std::vector<Way> ways = torture::AllWays();
      for (const Way &way : ways) { // and what is made once for each way is made
         Attempt(situation, way, 1, nullptr);
      }
      Balance before = Balance::Now();
      for (const Way &way : ways) {
         torture::ForEachNth([&](uint64_t nth) { return Attempt(situation, way, nth, &before) && !HasFailure(); });
      }
   }

   bool Attempt(const Situation &situation, const Way &way, uint64_t nth, Balance *before, int former = 0) {
      // A clock that fails is the system's own; otherwise waiting takes no time.
      std::optional<kit::ManualClock> clock;
      if (way.fault != kit::Fault::Clock) {
         clock.emplace();
      }
      situation.prepare();
      Reply reply;
      const uint64_t startNs = clock ? clock->monotonicNs() : 0;
      const auto start = std::chrono::steady_clock::now();
      std::optional<torture::Fault> fault(std::in_place, way, nth);
      situation.call(&reply);
      fault->Disarm();
      if (std::chrono::steady_clock::now() - start >= kRealLimit && former < torture::kBusyMoments) {
         fault.reset();
         clock.reset();
         ExpectGood(situation, "after a call that lasted long");
         return Attempt(situation, way, nth, before, former + 1);
      }
      const auto failed = [&] {
         return way.Name() + ", call " + std::to_string(nth) +
                (way.fault == kit::Fault::SystemCall ? std::string(" ") + kit::FailSystemCall::LastStruck() : "") +
                ": " + Describe(reply);
      };
      EXPECT_LT(former, torture::kBusyMoments) << "it lasts too long each time: " << failed();
      EXPECT_LE(clock ? clock->monotonicNs() - startNs : 0, kLimitNs) << failed();
      if (!fault->Struck()) {
         EXPECT_EQ(reply, situation.good) << failed();
         return false;
      }
      torture::Count("cases");
      const bool legal = reply == situation.good || std::find(situation.degraded.begin(), situation.degraded.end(),
                                                              reply) != situation.degraded.end();
      const bool starved = reply.noMemory && way.fault == kit::Fault::Allocation && reply.IsUntouched();
      EXPECT_TRUE(legal || starved) << failed();
      situation.check(way);
      ExpectGood(situation, "after " + failed());
      clock.reset();
      const Balance after = Balance::Now();
      if (before == nullptr) {
         return true;
      }
      EXPECT_EQ(after.descriptors, before->descriptors) << failed();
      EXPECT_EQ(after.threads, before->threads) << failed();
      if (after.heapBytes > before->heapBytes + torture::kHeapUnrest) {
         // A cache may have found another size, once; what leaks does so each time.
         for (int again = 0; again < kRepeats; ++again) {
            Attempt(situation, way, nth, nullptr);
         }
         EXPECT_LE(Balance::Now().heapBytes, after.heapBytes + kRepeats * kSmallestLeak) << failed();
         *before = Balance::Now();
      }
      return true;
   }

   void ExpectGood(const Situation &situation, const std::string &when) {
      situation.prepare();
      Reply reply;
      situation.call(&reply);
      EXPECT_EQ(reply, situation.good) << when << "\nthen: " << Describe(reply);
   }

   kit::TempDir mFolder;
   const std::string mSettings = mFolder / "corvane/com.corvane.mavr.plist";
   MmdrHandle *mHandle = nullptr;

private:
   std::optional<torture::FaultyDevices> mDevices;
   std::optional<torture::FaultySettings> mFaultySettings;
};

void PrintTo(const Reply &reply, std::ostream *out) {
   *out << Describe(reply);
}

/* ---- Listing ----------------------------------------------------------------------------------------------------- */

TEST_F(ExportsTorture, ListingCameras) {
   Open();
   const Reply none = MakeReply(MMDR_OK, uint32_t{0});
   const auto touch = [this] {
      Replace(mFolder / "simulation.json", kSimulation); // the backend reads its file again
   };
   const auto list = [this](uint32_t size, bool hasBuffer) {
      return [this, size, hasBuffer](Reply *reply) {
         Guarded(reply, [&] {
            auto *const count = reinterpret_cast<uint32_t *>(reply->bytes.data());
            return Mmdr_EnumDevices(mHandle, MMDR_DEV_VIDEO, size, hasBuffer ? reply->bytes.data() + kEntries : nullptr,
                                    count);
         });
      };
   };
   Torture("whole list", {touch, list(4000, true), ListReply(kCameras), {none}});
   Torture("exact room", {touch, list(3 * sizeof(MmdrDevEntry), true), ListReply(kCameras), {none}});
   const Reply tooSmall = MakeReply(MMDR_ERR_BUFFER_TOO_SMALL, uint32_t{3});
   Torture("one byte too few", {touch, list(3 * sizeof(MmdrDevEntry) - 1, true), tooSmall, {none}});
   Torture("asking for the count", {touch, list(0, false), tooSmall, {none}});
   Torture("no such type",
           {[] {},
            [this](Reply *reply) { Guarded(reply, [&] { return Mmdr_EnumDevices(mHandle, 7, 0, nullptr, nullptr); }); },
            MakeReply(MMDR_ERR_INVALID_ARG)});
}

TEST_F(ExportsTorture, ListingMicrophones) {
   Open();
   // A device that cannot be asked is left out; the names of the others are numbered without it.
   const std::vector<Reply> parts = {MakeReply(MMDR_OK, uint32_t{0}), ListReply({kMicrophones[0]}),
                                     ListReply({{kMicrophone, kMicrophones[1].userId}})};
   Torture("whole list", {[this] { Replace(mFolder / "simulation.json", kSimulation); },
                          [this](Reply *reply) {
                             Guarded(reply, [&] {
                                return Mmdr_EnumDevices(mHandle, MMDR_DEV_AUDIO, 4000, reply->bytes.data() + kEntries,
                                                        reinterpret_cast<uint32_t *>(reply->bytes.data()));
                             });
                          },
                          ListReply(kMicrophones), parts});
}

/* ---- Preferred devices ------------------------------------------------------------------------------------------- */

TEST_F(ExportsTorture, AskingForAPreferredDevice) {
   Open();
   const Reply noData = MakeReply(MMDR_ERR_NO_DATA);
   const auto get = [this](int32_t type, int32_t select) {
      return [=, this](Reply *reply) {
         Guarded(reply, [&] { return Mmdr_GetPrefDev(mHandle, type, select, reply->bytes.data()); });
      };
   };
   const auto store = [this](const std::string &entries) {
      return [=, this] {
         StoreSettings(entries);
         Replace(mFolder / "simulation.json", kSimulation);
      };
   };
   Torture("camera by id", {store("<key>srcWCamId</key><string>cam-c</string>"),
                            get(MMDR_DEV_VIDEO, MMDR_SELECT_NAME),
                            TextReply(kCameras[2].name),
                            {noData}});
   Torture("camera by name", {store("<key>srcWCamName</key><string>" + kDoorCamera + "</string>"),
                              get(MMDR_DEV_VIDEO, MMDR_SELECT_USER_ID),
                              TextReply(kCameras[1].userId),
                              {noData}});
   Torture("microphone by id and name",
           {store("<key>srcAudioInId</key><string>mic-b</string><key>srcAudioInName</key><string>" + kMicrophone +
                  " 2</string>"),
            get(MMDR_DEV_AUDIO, MMDR_SELECT_NAME),
            TextReply(kMicrophones[1].name),
            {noData, TextReply(kMicrophone)}}); // the bare name, when the other one could not be asked
   Torture("nothing stored", {store(""), get(MMDR_DEV_VIDEO, MMDR_SELECT_NAME), noData});
   Torture("device that is not there",
           {store("<key>srcWCamId</key><string>gone</string>"), get(MMDR_DEV_VIDEO, MMDR_SELECT_NAME), noData});
   Torture("damaged settings", {[this] { Replace(mSettings, "<plist><dict><key>srcWCamId"); },
                                get(MMDR_DEV_VIDEO, MMDR_SELECT_NAME), noData});
}

TEST_F(ExportsTorture, StoringAPreferredDevice) {
   Open();
   const auto set = [this](int32_t type, const char *id, const char *name) {
      return [=, this](Reply *reply) {
         Guarded(reply, [&] { return Mmdr_SetPrefDev(mHandle, type, id, name); });
      };
   };
   // Each text is the former one or the new one, and what else was stored is there.
   const auto check = [this](const char *idKey, const char *nameKey, const std::string &id, const std::string &name) {
      return [=, this](const Way &way) {
         const std::string nowId = StoredText(idKey);
         const std::string nowName = StoredText(nameKey);
         // A system that says there is no file is believed: the settings are new then.
         const bool lost = way.system.error == ENOENT && StoredText("keep").empty();
         EXPECT_TRUE(nowId == id || nowId == "old" || (lost && nowId.empty())) << nowId;
         EXPECT_TRUE(nowName == name || nowName == "old name" || (lost && nowName.empty())) << nowName;
         EXPECT_TRUE(StoredText("keep") == "this" || lost);
      };
   };
   const auto former = [this] {
      StoreSettings("<key>srcWCamId</key><string>old</string><key>srcWCamName</key><string>old name</string>"
                    "<key>srcAudioInId</key><string>old</string><key>srcAudioInName</key><string>old name</string>");
   };
   const Reply stored = MakeReply(MMDR_OK);
   Torture("camera", {former,
                      set(MMDR_DEV_VIDEO, "cam-b", kDoorCamera.c_str()),
                      stored,
                      {},
                      check("srcWCamId", "srcWCamName", "cam-b", kDoorCamera)});
   Torture("microphone", {former,
                          set(MMDR_DEV_AUDIO, "mic-b", kMicrophone.c_str()),
                          stored,
                          {},
                          check("srcAudioInId", "srcAudioInName", "mic-b", kMicrophone)});
   Torture(
      "no preference any more",
      {former, set(MMDR_DEV_AUDIO, nullptr, nullptr), stored, {}, check("srcAudioInId", "srcAudioInName", "", "")});
   Torture("no such type", {former, set(0, "x", "y"), MakeReply(MMDR_ERR_INVALID_DEV_TYPE)});
   Torture("first setting of all", {[this] { std::filesystem::remove_all(mFolder / "corvane"); },
                                    set(MMDR_DEV_VIDEO, "cam-b", kDoorCamera.c_str()), stored});
   EXPECT_EQ(StoredText("srcWCamId"), "cam-b");
   EXPECT_EQ(StoredText("srcWCamName"), kDoorCamera);
}

/* ---- Options and the rest ---------------------------------------------------------------------------------------- */

TEST_F(ExportsTorture, TheMicrophoneOption) {
   Open();
   const auto store = [this](const char *option) {
      return [=, this] {
         StoreSettings(std::string("<key>srcAudioInOption</key><integer>") + option + "</integer>");
      };
   };
   const auto get = [this](Reply *reply) {
      Guarded(reply,
              [&] { return Mmdr_GetAudioInSelectOption(mHandle, reinterpret_cast<uint32_t *>(reply->bytes.data())); });
   };
   const Reply unset = MakeReply(MMDR_OK, uint32_t{0});
   Torture("read", {store("2"), get, MakeReply(MMDR_OK, uint32_t{2}), {unset}});
   Torture("read, out of range", {store("5"), get, MakeReply(MMDR_ERR_STORE_FAILED, uint32_t{5}), {unset}});
   Torture("write", {store("2"),
                     [this](Reply *reply) { Guarded(reply, [&] { return Mmdr_SetAudioInSelectOption(mHandle, 1); }); },
                     MakeReply(MMDR_OK),
                     {},
                     [this](const Way &way) {
                        bool exists = false;
                        const int64_t option =
                           osal::MakePosixPreferences(mSettings)->getAppIntegerValue("srcAudioInOption", &exists);
                        EXPECT_TRUE(exists && (option == 1 || option == 2)) << option;
                        EXPECT_TRUE(StoredText("keep") == "this" || way.system.error == ENOENT);
                     }});
}

TEST_F(ExportsTorture, WhetherItIsEnabled) {
   Open();
   const auto get = [this](Reply *reply) {
      Guarded(reply, [&] { return Mmdr_IsEnabled(mHandle, reinterpret_cast<uint8_t *>(reply->bytes.data())); });
   };
   const Reply enabled = MakeReply(MMDR_OK, uint8_t{1});
   Torture("disabled",
           {[this] { StoreSettings("<key>IsDisabled</key><true/>"); }, get, MakeReply(MMDR_OK, uint8_t{0}), {enabled}});
   Torture("enabled", {[this] { StoreSettings("<key>IsDisabled</key><false/>"); }, get, enabled});
}

TEST_F(ExportsTorture, WhatNeedsNothing) {
   Open();
   const auto nothing = [] {
   };
   Torture("version",
           {nothing, [](Reply *reply) { Guarded(reply, [] { return static_cast<int32_t>(Mmdr_GetLibVersion()); }); },
            MakeReply(2)});
   Torture("handle", {nothing, [this](Reply *reply) { Guarded(reply, [&] { return Mmdr_IsValid(mHandle); }); },
                      MakeReply(MMDR_OK)});
   Torture("no handle", {nothing, [](Reply *reply) { Guarded(reply, [] { return Mmdr_IsValid(nullptr); }); },
                         MakeReply(MMDR_ERR_INVALID_HANDLE)});
}

TEST_F(ExportsTorture, ALaterHandle) {
   Open();
   Torture("made and released", {[] {},
                                 [](Reply *reply) {
                                    Guarded(reply, [] {
                                       MmdrHandle *other = nullptr;
                                       const int32_t code = Mmdr_Init(2, &other);
                                       const bool consistent = (code == MMDR_OK) == (Mmdr_IsValid(other) == MMDR_OK);
                                       Mmdr_Uninit(other);
                                       return consistent ? code : -2;
                                    });
                                 },
                                 MakeReply(MMDR_OK),
                                 {MakeReply(MMDR_ERR_NO_MEMORY)}});
}

} // namespace
