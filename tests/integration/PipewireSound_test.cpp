#include "libs/avManager/AudioRec.h"

#include "libs/avManager/SyncMediaClock.h"
#include "libs/utils/DataBuffer.h"
#include "tests/conformance/CaptureCollector.h"
#include "tests/kit/LogCapture.h"
#include "tests/kit/PrivatePipewire.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <memory>
#include <numbers>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

// The recorder of sound on the microphones of a private PipeWire daemon.

namespace {

using Ms = std::chrono::milliseconds;
using Samples = std::vector<int16_t>;

constexpr double kToneHz = 440;
constexpr double kToneLevel = 8000;

/// A sine of a known frequency, laid through samples so that the squares of what is left over are least.
struct ToneFit {
   double amplitude = 0;
   double worst = 0; ///< largest difference between a sample and the sine
};

ToneFit FitTone(const Samples &samples, double hz, double rate) {
   const auto angle = [&](size_t i) {
      return 2 * std::numbers::pi * hz * static_cast<double>(i) / rate;
   };
   double ss = 0;
   double cc = 0;
   double sc = 0;
   double sx = 0;
   double cx = 0;
   for (size_t i = 0; i < samples.size(); ++i) {
      const double s = std::sin(angle(i));
      const double c = std::cos(angle(i));
      ss += s * s;
      cc += c * c;
      sc += s * c;
      sx += s * samples[i];
      cx += c * samples[i];
   }
   const double determinant = ss * cc - sc * sc;
   const double a = (sx * cc - cx * sc) / determinant;
   const double b = (cx * ss - sx * sc) / determinant;
   ToneFit fit{std::hypot(a, b), 0};
   for (size_t i = 0; i < samples.size(); ++i) {
      fit.worst = std::max(fit.worst, std::abs(samples[i] - a * std::sin(angle(i)) - b * std::cos(angle(i))));
   }
   return fit;
}

class PipewireSoundTest : public testing::Test {
protected:
   void SetUp() override {
      if (const std::string missing = kit::PrivatePipewire::Missing(); !missing.empty()) {
         GTEST_SKIP() << missing;
      }
      alarm(240); // a hang ends the test
      daemon = std::make_unique<kit::PrivatePipewire>();
      microphone = std::make_unique<kit::VirtualMicrophone>(
         *daemon, "mic-1", std::vector<std::string>{"--description", "Desk", "--tones", "440", "--level", "8000"});
      AudioInputDevices::List(AudioInputDevices::CachedList());
      recorder = std::make_unique<AudioRec>();
      prefs.mUserId = "Desk#mic-1";
      prefs.mChunkMS = 20;
      prefs.mQueueBuffers = 50;
      prefs.mSampleRate = 48000;
      prefs.mDataEvent = event;
   }
   void TearDown() override {
      recorder.reset();
      CloseHandle(event);
   }

   // The next chunks, at least so many samples; fewer when none comes for 5 seconds.
   Samples Record(size_t count) {
      Samples samples;
      while (samples.size() < count) {
         for (MediaData data; recorder->GetData(data); recorder->ReleaseData()) {
            EXPECT_EQ(data.mData->GetLength(), static_cast<int32_t>(recorder->Facts().chunkSize));
            const auto length = static_cast<size_t>(data.mData->GetLength()) / 2;
            samples.resize(samples.size() + length);
            std::memcpy(&samples[samples.size() - length], data.mData->GetData(), length * 2);
         }
         if (samples.size() < count && WaitForSingleObject(event, 5000) != WAIT_OBJECT_0) {
            break;
         }
      }
      return samples;
   }

   // A quarter of a second in which the tone has its frequency and level and no sample leaves the sine, at chunk
   // borders either. A machine that is too busy for its sound server loses pieces now and then; what is cut wrong is
   // wrong each time.
   void ExpectCleanTone() {
      ToneFit fit;
      for (int attempt = 0; attempt < 40; ++attempt) {
         const Samples samples = Record(prefs.mSampleRate / 4);
         ASSERT_GE(samples.size(), prefs.mSampleRate / 4) << recorder->Facts().health.reason;
         fit = FitTone(samples, kToneHz, prefs.mSampleRate);
         if (fit.worst < kToneLevel * 0.01 && std::abs(fit.amplitude - kToneLevel) < kToneLevel * 0.02) {
            return;
         }
      }
      ADD_FAILURE() << "amplitude " << fit.amplitude << ", off by up to " << fit.worst;
   }

   [[nodiscard]] bool AwaitTrouble() {
      for (int i = 0; i < 500 && recorder->Facts().health.ok(); ++i) {
         std::this_thread::sleep_for(Ms(20));
      }
      return !recorder->Facts().health.ok();
   }
   // Far above what is measured; a wait for the daemon would be without end.
   void ExpectQuickClose() {
      const auto start = std::chrono::steady_clock::now();
      recorder->Close();
      EXPECT_LT(std::chrono::steady_clock::now() - start, Ms(2000));
   }

   kit::LogCapture log;
   std::unique_ptr<kit::PrivatePipewire> daemon;
   std::unique_ptr<kit::VirtualMicrophone> microphone;
   std::unique_ptr<AudioRec> recorder;
   const HANDLE event = CreateEvent(nullptr, false, false, nullptr);
   SyncMediaClock clock;
   AudioUserPrefs prefs;
};

TEST_F(PipewireSoundTest, TheToneComesOutAtItsFrequencyAndLevelWithoutAClickAtEveryRate) {
   for (const uint32_t rate : {8000U, 16000U, 44100U, 48000U}) {
      SCOPED_TRACE(rate);
      prefs.mSampleRate = rate;
      ASSERT_TRUE(recorder->Open(prefs, &clock)) << log.Dump();
      ExpectCleanTone();
      EXPECT_TRUE(recorder->Facts().health.ok()) << recorder->Facts().health.reason;
      EXPECT_EQ(recorder->Facts().deviceIndex, 0);
      recorder->Close();
      log.Clear();
   }
}

TEST_F(PipewireSoundTest, BlocksOfAnotherLengthInMidStreamChangeNothing) {
   ASSERT_TRUE(recorder->Open(prefs, &clock)) << log.Dump();
   for (const char *const quantum : {"512", "2048", "256", "1024"}) {
      SCOPED_TRACE(quantum);
      kit::Process change({"pw-metadata", "-n", "settings", "0", "clock.force-quantum", quantum}, daemon->Environment(),
                          daemon->LogPath("pw-metadata"));
      ASSERT_EQ(change.Wait(Ms(10000)), 0);
      ExpectCleanTone();
   }
   EXPECT_TRUE(recorder->Facts().health.ok()) << recorder->Facts().health.reason;
   recorder->Close();
}

TEST_F(PipewireSoundTest, AMicrophoneThatIsUnpluggedShowsAndCanBeOpenedAgain) {
   ASSERT_TRUE(recorder->Open(prefs, &clock)) << log.Dump();
   ASSERT_GE(Record(1000).size(), 1000U);
   microphone->Unplug();
   EXPECT_TRUE(AwaitTrouble());
   ExpectQuickClose();
   microphone->Plug();
   ASSERT_TRUE(recorder->Open(prefs, &clock)) << log.Dump();
   ExpectCleanTone();
   recorder->Close();
}

TEST_F(PipewireSoundTest, ADeadDaemonShowsAndTheCloseIsQuick) {
   ASSERT_TRUE(recorder->Open(prefs, &clock)) << log.Dump();
   ASSERT_GE(Record(1000).size(), 1000U);
   daemon->Kill();
   EXPECT_TRUE(AwaitTrouble());
   ExpectQuickClose();
   EXPECT_FALSE(recorder->Open(prefs, &clock)) << "nobody to ask";
   ExpectQuickClose();
}

TEST_F(PipewireSoundTest, AFrozenDaemonHoldsNobodyUp) {
   ASSERT_TRUE(recorder->Open(prefs, &clock)) << log.Dump();
   ASSERT_GE(Record(1000).size(), 1000U);
   daemon->Freeze();
   EXPECT_TRUE(AwaitTrouble());
   ExpectQuickClose();
   const auto start = std::chrono::steady_clock::now();
   const bool isOpen = recorder->Open(prefs, &clock);
   EXPECT_LT(std::chrono::steady_clock::now() - start, Ms(5000)) << "2 seconds to find the device, and to open it";
   EXPECT_FALSE(isOpen);
   ExpectQuickClose();
   daemon->Thaw();
}

TEST_F(PipewireSoundTest, AHundredOpensAndClosesLeaveNothingBehind) {
   prefs.mChunkMS = 2; // Close waits for two chunks
   ASSERT_TRUE(recorder->Open(prefs, &clock)) << log.Dump();
   ASSERT_GE(Record(10).size(), 10U);
   recorder->Close();
   const size_t threads = conformance::ThreadCount();
   const int descriptor = dup(0);
   close(descriptor);
   for (int i = 0; i < 100; ++i) {
      ASSERT_TRUE(recorder->Open(prefs, &clock)) << log.Dump();
      recorder->Close();
      log.Clear();
   }
   EXPECT_TRUE(conformance::AwaitThreadCount(threads));
   const int after = dup(0);
   close(after);
   EXPECT_EQ(after, descriptor) << "the lowest free descriptor";
}

} // namespace
