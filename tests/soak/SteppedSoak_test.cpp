#include "lib/log/LogTestKit.h"
#include "lib/mfw/common/logger.h"
#include "libs/avManager/AudioRec.h"
#include "libs/avManager/SyncMediaClock.h"
#include "libs/avManager/VideoRec.h"
#include "libs/avManager/devices/AudioInputDevices.h"
#include "libs/utils/ConfigSettings.h"
#include "libs/utils/DataBuffer.h"
#include "tests/kit/FakePreferences.h"
#include "tests/kit/Holdings.h"

#include "osal/simulated/FrameCounter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <sys/stat.h>
#include <thread>

// Fifty days of a client, or as many as MAVR_SOAK_DAYS says: each day its user is seen and heard at full rate, loses
// both devices in the midst of it, and something floods the log, which rotates. The 32 bits of a count of milliseconds
// overflow while a camera runs.

namespace {

constexpr uint64_t kSecondNs = 1'000'000'000;
constexpr uint64_t kDayNs = 86'400 * kSecondNs;
constexpr uint32_t kFramesASecond = 30;
constexpr uint32_t kChunkMs = 20;
constexpr uint32_t kWidth = 32;
constexpr uint32_t kHeight = 24;
constexpr size_t kThreads = 5; // camera, recorder, rate check, microphone, its recorder

uint64_t FromEnvironment(const char *name, uint64_t otherwise) {
   const char *const text = std::getenv(name);
   return text != nullptr ? std::strtoull(text, nullptr, 10) : otherwise;
}

class Soak : public logtest::LogFixture {
protected:
   Soak() {
      ConfigSettings::Init();
      setenv("MAVR_OSAL", "simulated", 1);
      setenv("MAVR_SIMULATION", devices.c_str(), 1);
      log = AsFile(StartFile(path, {"log.rotateSize=300000", "log.throttleThreshold=100000", "log.keepOld=3"}));
      logger::Init([](const char *text, int level) {
         constexpr uint32_t kInfo = 5;
         constexpr uint32_t kTrace = 7;
         Log_Level(level >= logger::INFO ? kInfo : kTrace, "%s", text);
      });
      video.mWidth = kWidth;
      video.mHeight = kHeight;
      video.mFrameRate = kFramesASecond;
      video.mFrameEvent = event;
      audio.mChunkMS = kChunkMs;
      audio.mQueueBuffers = 50;
      audio.mSampleRate = 8000;
      audio.mDataEvent = event;
   }
   ~Soak() override {
      logger::Release();
      ConfigSettings::Shutdown();
      CloseHandle(event);
   }

   /// A camera and a microphone; with a limit they are gone after so many frames, and buffers.
   void Plug(uint32_t frames = 0, uint32_t buffers = 0) {
      kit::WriteFile(devices, R"({"cameras": [{"name": "Desk", "uniqueId": "cam", "formats": [{"width": 32,
         "height": 24, "maxFrameRate": 30}], "fail": {"unplugAfterFrames": )" +
                                 std::to_string(frames) +
                                 R"(}}], "microphones": [{"name": "Desk", "uniqueId": "mic", "fail": {
         "unplugAfterBuffers": )" +
                                 std::to_string(buffers) + R"(}}], "clock": "real"})");
      AudioInputDevices::List(AudioInputDevices::CachedList());
   }

   /// Time goes on to `due`, from wait to wait: nobody is late for anything.
   void AdvanceTo(uint64_t due) {
      clock.AwaitSleepers(sleepers);
      while (clock.monotonicNs() < due) {
         clock.AdvanceNs(std::min(due, clock.NextDeadlineNs()) - clock.monotonicNs());
         clock.AwaitSleepers(sleepers);
      }
   }
   /// Waits until the next frame is there, and checks its number.
   void TakeFrame(VideoRec *recorder, uint64_t expected) {
      MediaData frame;
      while (!recorder->GetData(frame)) {
         constexpr uint64_t kPauseNs = 1'000'000; // the recorder's, between two passes
         const uint64_t now = clock.monotonicNs();
         const uint64_t next = clock.NextDeadlineNs();
         if (next > now && next - now <= kPauseNs) {
            clock.AdvanceNs(next - now);
         }
         std::this_thread::yield();
      }
      ASSERT_EQ(osal::ReadFrameCounter(frame.mData->GetData(), kWidth, kWidth, kHeight), expected);
      recorder->ReleaseData();
      ++framesRead;
   }
   void TakeChunks(AudioRec *recorder) {
      for (MediaData chunk; recorder->GetData(chunk); recorder->ReleaseData()) {
         ASSERT_EQ(static_cast<uint32_t>(chunk.mData->GetLength()), 8000 * 2 * kChunkMs / 1000);
         ++chunksRead;
      }
   }

   void Close(VideoRec *camera, AudioRec *microphone) {
      EXPECT_TRUE(camera->Close());
      clock.SetJumping(true); // it waits for two chunks to pass
      microphone->Close();
      clock.SetJumping(false);
   }

   /// So many seconds of both; each frame by number, each chunk by count.
   void SeeAndHear(uint32_t seconds) {
      VideoRec camera;
      AudioRec microphone;
      ASSERT_TRUE(camera.Open(video, &mediaClock));
      ASSERT_TRUE(microphone.Open(audio, &mediaClock));
      const uint64_t start = clock.monotonicNs();
      const uint64_t chunksBefore = chunksRead;
      for (uint64_t frame = 0; frame < uint64_t{seconds} * kFramesASecond; ++frame) {
         AdvanceTo(start + static_cast<uint64_t>(static_cast<double>(frame + 1) * 1e9 / kFramesASecond) + 1);
         TakeFrame(&camera, frame);
         TakeChunks(&microphone);
         if (HasFatalFailure()) {
            return;
         }
      }
      const uint64_t chunks = uint64_t{seconds} * 1000 / kChunkMs;
      while (chunksRead - chunksBefore < chunks) { // a buffer more or less of the microphone
         AdvanceTo(clock.NextDeadlineNs());
         TakeChunks(&microphone);
      }
      EXPECT_EQ(chunksRead - chunksBefore, chunks);
      EXPECT_EQ(microphone.Facts().lostChunks, 0U);
      EXPECT_TRUE(camera.CameraFacts().health.ok()) << camera.CameraFacts().health.reason;
      EXPECT_TRUE(microphone.Facts().health.ok()) << microphone.Facts().health.reason;
      Close(&camera, &microphone);
      EXPECT_EQ(camera.GoodFrames(), uint64_t{seconds} * kFramesASecond);
      EXPECT_EQ(camera.MissedFrames(), 0U);
   }

   /// Both devices go in the midst of a session.
   void LoseBoth() {
      constexpr uint32_t kFrames = 45;
      Plug(kFrames, 150);
      VideoRec camera;
      AudioRec microphone;
      ASSERT_TRUE(camera.Open(video, &mediaClock));
      ASSERT_TRUE(microphone.Open(audio, &mediaClock));
      for (uint64_t frame = 0; frame < kFrames; ++frame) {
         sleepers = frame + 1 < kFrames ? kThreads : kThreads - 1; // with its last frame the camera's thread ends
         AdvanceTo(clock.monotonicNs() + kSecondNs / kFramesASecond);
         TakeFrame(&camera, frame);
         TakeChunks(&microphone);
      }
      sleepers = kThreads;
      while (camera.CameraFacts().health.ok() || microphone.Facts().health.ok()) {
         const uint64_t next = clock.NextDeadlineNs();
         clock.AdvanceNs(std::min(next - clock.monotonicNs(), kSecondNs / 100));
         std::this_thread::yield();
         TakeChunks(&microphone);
      }
      Close(&camera, &microphone);
      EXPECT_EQ(camera.GoodFrames(), kFrames);
      EXPECT_GT(microphone.Facts().chunks, 0U);
      ++losses;
      Plug();
   }

   /// A flood, which is throttled after 5 seconds and let go after 60; the file is moved aside on the way.
   void FloodTheLog() {
      const uint64_t former = FileId();
      for (int second = 0; second < 12; ++second) {
         for (int line = 0; line < 300; ++line) {
            Log_Info("flood %d %d %s", second, line, std::string(100, '.').c_str());
         }
         clock.AdvanceNs(kSecondNs);
         bouts += second == 11 ? log->throttle.throttled : 0;
      }
      EXPECT_GT(log->account.suppressed, 0U);
      clock.AdvanceNs(61 * kSecondNs);
      Log_Info("calm");
      clock.AdvanceNs(61 * kSecondNs);
      Log_Info("calm");
      EXPECT_EQ(log->throttle.throttled, 0U);
      rotations += FileId() != former ? 1 : 0;
      ExpectExactAccount();
   }
   void ExpectExactAccount() const {
      const LogFileAccount &account = log->account;
      EXPECT_EQ(account.offered, account.written + account.discarded + account.suppressed);
      EXPECT_EQ(account.discarded, 0U);
   }
   [[nodiscard]] uint64_t FileId() const {
      struct stat file {};
      return stat(path.c_str(), &file) == 0 ? file.st_ino : 0;
   }

   const std::string devices = folder / "devices.json";
   kit::FakePreferences store;
   SyncMediaClock mediaClock;
   const HANDLE event = CreateEvent(nullptr, false, false, nullptr);
   VideoBase::UserPrefs video;
   AudioUserPrefs audio;
   LogFileOutput *log = nullptr;
   size_t sleepers = kThreads;
   uint64_t framesRead = 0;
   uint64_t chunksRead = 0;
   uint64_t losses = 0;
   uint64_t bouts = 0;
   uint64_t rotations = 0;
};

TEST_F(Soak, DaysPassWithExactCountsAndNothingGrows) {
#if defined(MAVR_SANITIZED)
   constexpr uint64_t kShortDays = 3;
#else
   constexpr uint64_t kShortDays = 6;
#endif
   const uint64_t days = FromEnvironment("MAVR_SOAK_DAYS", kShortDays);
   const auto seconds = static_cast<uint32_t>(FromEnvironment("MAVR_SOAK_SECONDS", 10)); // of a day, at full rate
   ASSERT_GT(days, 2U);
   // The last day but one has 32 bits of milliseconds overflow in the midst of its session.
   const uint64_t overflowNs = (uint64_t{1} << 32) * 1'000'000;
   const uint64_t begin = overflowNs - (days - 2) * kDayNs - seconds * kSecondNs / 2;
   ASSERT_GT(begin, clock.monotonicNs());
   clock.AdvanceNs(begin - clock.monotonicNs());
   Plug();
   bool overflowed = false;
   kit::Holdings before;
   for (uint64_t day = 0; day < days && !HasFatalFailure(); ++day) {
      if (day == 2) {
         before = kit::Holdings::Now();
      }
      const uint64_t morning = begin + day * kDayNs;
      clock.AdvanceNs(morning - clock.monotonicNs());
      SeeAndHear(seconds);
      overflowed = overflowed || (morning < overflowNs && clock.monotonicNs() > overflowNs);
      LoseBoth();
      FloodTheLog();
   }
   EXPECT_TRUE(overflowed);
   EXPECT_EQ(framesRead, days * (seconds * kFramesASecond + 45));
   EXPECT_EQ(losses, days);
   EXPECT_EQ(bouts, days);
   EXPECT_EQ(rotations, days);
   const kit::Holdings after = kit::Holdings::After(before);
   EXPECT_LE(after.threads, before.threads);
   EXPECT_EQ(after.descriptors, before.descriptors);
#if !defined(MAVR_SANITIZED)
   EXPECT_LE(after.residentKb, before.residentKb + 256);
#endif
   std::printf(
      "figure days %llu\nfigure frames %llu\nfigure chunks %llu\nfigure log_bytes %llu\nfigure rotations %llu\n"
      "figure losses %llu\nfigure grown_kib %lld\n",
      static_cast<unsigned long long>(days), static_cast<unsigned long long>(framesRead),
      static_cast<unsigned long long>(chunksRead), static_cast<unsigned long long>(log->account.offered),
      static_cast<unsigned long long>(rotations), static_cast<unsigned long long>(losses),
      static_cast<long long>(after.residentKb) - static_cast<long long>(before.residentKb));
}

} // namespace
