#include "libs/avManager/AudioCaptureMac.h"
#include "libs/avManager/AudioRec.h"
#include "libs/avManager/SyncMediaClock.h"

#include "libs/utils/SampleMeta.h"
#include "osal/simulated/SimulatedCapture.h"
#include "osal/simulated/SimulatedDevices.h"
#include "osal/simulated/ToneGenerator.h"
#include "tests/conformance/CaptureCollector.h"
#include "tests/kit/FakePreferences.h"
#include "tests/kit/LogCapture.h"
#include "tests/kit/ManualClock.h"
#include "tests/kit/PerturbedSchedule.h"
#include "tests/kit/TempDir.h"

#include "osal/Platform.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

// The recorder on a simulated microphone, from the device's samples to the reader.

namespace {

constexpr double kToneHz = 440;
constexpr double kLevel = 0.5;

// Puts a platform with one microphone in force.
class SimulatedMicrophone {
public:
   SimulatedMicrophone(const std::string &microphone, const std::string &rest)
       : mFile(mFolder / "devices.json") {
      kit::WriteFile(mFile, R"({"microphones": [{"name": "Mic", "uniqueId": "m", "toneHz": 440, "level": 0.5)" +
                               microphone + "}]" + rest + "}");
   }

private:
   const kit::TempDir mFolder;
   const std::string mFile;
   const std::unique_ptr<osal::Capture> mCapture = osal::MakeSimulatedCapture(mFile);
   const std::unique_ptr<osal::Devices> mDevices = osal::MakeSimulatedDevices(mFile);
   const osal::ScopedCapture mCaptureInForce{*mCapture};
   const osal::ScopedDevices mDevicesInForce{*mDevices};
};

class AudioCaptureStreamTest : public testing::Test {
protected:
   explicit AudioCaptureStreamTest(const std::string &microphone = "", const std::string &rest = "")
       : mScene(microphone, rest) {
      SyncMediaClock::Reset();
      AudioInputDevices::List(AudioInputDevices::CachedList());
      prefs.mUserId = "Mic#m";
      prefs.mChunkMS = 20;
      prefs.mQueueBuffers = 10;
      prefs.mSampleRate = 48000;
      prefs.mDataEvent = event;
   }
   ~AudioCaptureStreamTest() override { CloseHandle(event); }

   // The deliveries of so much time have been made when it returns.
   void PassMs(uint64_t ms) {
      time.AwaitSleepers(2); // the microphone and the service thread
      time.AdvanceMs(ms);
      time.AwaitSleepers(2);
   }
   std::string Take() {
      std::string bytes;
      for (MediaData data; recorder.GetData(data); recorder.ReleaseData()) {
         EXPECT_EQ(data.mData->GetLength(), static_cast<int32_t>(recorder.Facts().chunkSize));
         bytes.append(reinterpret_cast<const char *>(data.mData->GetData()),
                      static_cast<size_t>(data.mData->GetLength()));
      }
      return bytes;
   }
   void Close() {
      time.SetJumping(true);
      recorder.Close();
      time.SetJumping(false);
   }

   kit::ManualClock time;
   kit::FakePreferences settings;
   kit::LogCapture log;
   const HANDLE event = CreateEvent(nullptr, false, false, nullptr);
   SyncMediaClock clock;
   AudioUserPrefs prefs;

private:
   const SimulatedMicrophone mScene;

protected:
   AudioRec recorder; // made on the platform in force
};

TEST_F(AudioCaptureStreamTest, TheToneComesOutSampleBySampleAtEveryRate) {
   for (const uint32_t rate : {8000U, 16000U, 44100U, 48000U}) {
      for (const uint32_t chunkMS : {10U, 20U, 35U}) {
         prefs.mSampleRate = rate;
         prefs.mChunkMS = chunkMS;
         ASSERT_TRUE(recorder.Open(prefs, &clock)) << log.Dump();
         std::string sound;
         for (int i = 0; i < 30; ++i) {
            PassMs(20);
            sound += Take();
         }
         Close();
         EXPECT_EQ(recorder.Facts().lostChunks, 0U);
         const size_t expected = size_t{rate} * 600 / 1000 * 2;
         EXPECT_GT(sound.size(), expected - 2 * recorder.Facts().chunkSize - rate / 40);
         std::string tone(sound.size(), '\0');
         osal::ToneGenerator(kToneHz, kLevel, static_cast<int32_t>(rate)).Fill(0, tone.size() / 2, tone.data());
         size_t different = 0;
         for (size_t i = 0; i < tone.size(); i += 2) {
            int16_t ours = 0;
            int16_t theirs = 0;
            std::memcpy(&ours, &sound[i], 2);
            std::memcpy(&theirs, &tone[i], 2);
            different += std::abs(ours - theirs) > 1 ? 1 : 0; // the last place, where a delivery begins
         }
         EXPECT_EQ(different, 0U) << rate << " hertz, chunks of " << chunkMS << " ms";
      }
   }
}

TEST_F(AudioCaptureStreamTest, AReaderThatComesBackAfter10SecondsHearsASlotsWorthAndThenWhatIsNew) {
   ASSERT_TRUE(recorder.Open(prefs, &clock));
   for (int i = 0; i < 1000; ++i) {
      PassMs(10);
   }
   EXPECT_EQ(Take().size(), 10 * recorder.Facts().chunkSize);
   EXPECT_GT(recorder.Facts().lostChunks, 450U);
   std::string sound;
   while (sound.empty()) {
      PassMs(10);
      sound = Take();
   }
   // Whole chunks were lost: what comes begins on the border of a chunk near the tenth second.
   std::string tone(sound.size(), '\0');
   const size_t samples = recorder.Facts().chunkSize / 2;
   bool isFound = false;
   for (size_t chunk = 480; chunk < 520 && !isFound; ++chunk) {
      osal::ToneGenerator(kToneHz, kLevel, 48000).Fill(chunk * samples, tone.size() / 2, tone.data());
      isFound = std::equal(tone.begin(), tone.end(), sound.begin(),
                           [](char one, char other) { return std::abs(one - other) <= 1; });
   }
   EXPECT_TRUE(isFound);
   Close();
}

class AudioCaptureUnplugTest : public AudioCaptureStreamTest {
protected:
   AudioCaptureUnplugTest()
       : AudioCaptureStreamTest(R"(, "fail": {"unplugAfterBuffers": 5})") {}
};

TEST_F(AudioCaptureUnplugTest, AMicrophoneThatIsPulledOutIsToldByTheFactsAndCanBeOpenedAgain) {
   for (int round = 0; round < 2; ++round) {
      ASSERT_TRUE(recorder.Open(prefs, &clock));
      EXPECT_TRUE(recorder.Facts().health.ok());
      for (int delivery = 0; delivery < 5; ++delivery) {
         time.AwaitSleepers(2);
         time.AdvanceMs(11); // one comes every 10.67 ms
      }
      while (recorder.Facts().health.ok()) {
         std::this_thread::yield();
      }
      const std::string sound = Take();
      EXPECT_EQ(sound.size(), 5 * 512 * 2 / 1920 * 1920U) << "whole chunks of what was delivered";
      EXPECT_NE(recorder.Facts().health.reason.find("unplugged"), std::string::npos);
      Close();
      EXPECT_TRUE(recorder.Facts().health.ok()) << "of a session that does not run";
   }
}

// ---- Life -----------------------------------------------------------------------------------------------------------

class AudioCaptureLifeTest : public AudioCaptureStreamTest {
protected:
   // Deliveries come back to back, as fast as they are taken.
   AudioCaptureLifeTest()
       : AudioCaptureStreamTest("", R"(, "clock": "fast")") {
      time.SetJumping(true);
      prefs.mChunkMS = 1;
   }
};

TEST_F(AudioCaptureLifeTest, AThousandOpensAndClosesLeaveNothingBehind) {
   ASSERT_TRUE(recorder.Open(prefs, &clock)) << log.Dump();
   recorder.Close();
   log.Clear();
   const size_t threads = conformance::ThreadCount();
   const int descriptor = dup(0);
   close(descriptor);
   for (int i = 0; i < 1000; ++i) {
      ASSERT_TRUE(recorder.Open(prefs, &clock));
      recorder.Close();
      log.Clear();
   }
   EXPECT_TRUE(conformance::AwaitThreadCount(threads));
   const int after = dup(0);
   close(after);
   EXPECT_EQ(after, descriptor) << "the lowest free descriptor";
}

TEST_F(AudioCaptureLifeTest, ClosesWhileDeliveriesComeAtEveryPoint) {
   const kit::PerturbedSchedule schedule;
   std::mt19937 random(static_cast<uint32_t>(schedule.Seed()));
   for (int i = 0; i < 100; ++i) {
      prefs.mQueueBuffers = 2 + static_cast<uint32_t>(random() % 30);
      prefs.mChunkMS = 1 + static_cast<uint32_t>(random() % 12);
      ASSERT_TRUE(recorder.Open(prefs, &clock)) << log.Dump();
      for (auto chunks = random() % 4; chunks > 0; --chunks) {
         while (!recorder.IsDataAvailable()) {
            WaitForSingleObject(event, INFINITE);
         }
         MediaData data;
         ASSERT_TRUE(recorder.GetData(data));
         recorder.ReleaseData();
      }
      recorder.Close();
      log.Clear();
   }
}

TEST_F(AudioCaptureLifeTest, TheReaderIsWokenForEveryChunkThatWaits) {
   const kit::PerturbedSchedule schedule;
   for (int round = 0; round < 20; ++round) {
      ASSERT_TRUE(recorder.Open(prefs, &clock));
      // A wake-up that is lost is a reader that waits for ever, once the microphone has no more to give.
      for (size_t chunks = 0; chunks < 50;) {
         WaitForSingleObject(event, INFINITE);
         for (MediaData data; recorder.GetData(data); recorder.ReleaseData()) {
            ++chunks;
         }
      }
      recorder.Close();
      log.Clear();
   }
}

} // namespace
