#include "lib/mfw/common/logger.h"
#include "libs/avManager/AudioRec.h"
#include "libs/avManager/SyncMediaClock.h"
#include "libs/avManager/VideoRec.h"
#include "libs/avManager/devices/AudioInputDevices.h"
#include "libs/utils/ConfigSettings.h"
#include "libs/utils/DataBuffer.h"
#include "tests/kit/FakePreferences.h"
#include "tests/kit/Holdings.h"
#include "tests/kit/PrivatePipewire.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

// Real time on a private PipeWire daemon, as long as MAVR_SOAK_REAL_SECONDS says: camera and microphone run, are opened
// anew every half a minute, and the camera is unplugged each time.

namespace {

using Time = std::chrono::steady_clock;
using std::chrono::seconds;

constexpr uint32_t kWidth = 320;
constexpr uint32_t kHeight = 240;

int64_t RealSeconds() {
   const char *const text = std::getenv("MAVR_SOAK_REAL_SECONDS");
   return text != nullptr ? std::strtoll(text, nullptr, 10) : 6;
}

class PipewireSoak : public testing::Test {
protected:
   void SetUp() override {
      if (const std::string missing = kit::PrivatePipewire::Missing(); !missing.empty()) {
         GTEST_SKIP() << missing;
      }
      logger::Init([](const char *, int) {});
      ConfigSettings::Init();
      daemon.emplace();
      camera.emplace(*daemon, "cam",
                     std::vector<std::string>{"--description", "Desk", "--formats", "NV12", "--sizes", "320x240"});
      microphone.emplace(*daemon, "mic", std::vector<std::string>{"--description", "Desk"});
      AudioInputDevices::List(AudioInputDevices::CachedList());
      video.mWidth = kWidth;
      video.mHeight = kHeight;
      video.mFrameRate = 30;
      video.mFrameEvent = event;
      audio.mUserId = "Desk#mic";
      audio.mChunkMS = 20;
      audio.mQueueBuffers = 50;
      audio.mSampleRate = 48000;
      audio.mDataEvent = event;
   }
   void TearDown() override {
      if (daemon) {
         ConfigSettings::Shutdown();
         logger::Release();
      }
      CloseHandle(event);
   }

   // The square at the top left has the luma 16 + number % 200.
   void TakeFrames(VideoRec *recorder, std::optional<int> *former) {
      for (MediaData frame; recorder->GetData(frame); recorder->ReleaseData()) {
         ASSERT_EQ(static_cast<uint32_t>(frame.mData->GetLength()), kWidth * kHeight * 3 / 2);
         const int number = frame.mData->GetData()[8 * kWidth + 8] - 16;
         ASSERT_GE(number, 0);
         ASSERT_LT(number, 200);
         if (*former) {
            const int step = (number - **former + 200) % 200;
            ASSERT_GE(step, 1) << "the same again";
            ASSERT_LE(step, 100) << "one from before";
            lost += static_cast<uint64_t>(step - 1);
         }
         *former = number;
         ++frames;
      }
   }
   void TakeChunks(AudioRec *recorder) {
      for (MediaData chunk; recorder->GetData(chunk); recorder->ReleaseData()) {
         ASSERT_EQ(chunk.mData->GetLength(), 1920);
         ++chunks;
      }
   }

   /// Both for so long, then the camera is unplugged, and everything closed.
   void Session(seconds length) {
      VideoRec seen;
      AudioRec heard;
      ASSERT_TRUE(seen.Open(video, &clock));
      ASSERT_TRUE(heard.Open(audio, &clock));
      std::optional<int> former;
      const uint64_t framesBefore = frames;
      const uint64_t chunksBefore = chunks;
      // On a busy machine the first picture may come late.
      const auto hasNothing = [&] {
         return frames == framesBefore || chunks == chunksBefore;
      };
      const Time::time_point end = Time::now() + length;
      for (const Time::time_point latest = end + seconds(30);
           Time::now() < (hasNothing() ? latest : end) && !HasFatalFailure();) {
         WaitForSingleObject(event, 100);
         TakeFrames(&seen, &former);
         TakeChunks(&heard);
      }
      EXPECT_GT(frames, framesBefore);
      EXPECT_GT(chunks, chunksBefore);
      camera->Unplug();
      for (const Time::time_point latest = Time::now() + seconds(60);
           seen.CameraFacts().health.ok() && Time::now() < latest;) {
         WaitForSingleObject(event, 20);
         TakeFrames(&seen, &former);
         TakeChunks(&heard);
      }
      EXPECT_FALSE(seen.CameraFacts().health.ok());
      // A machine that is too busy may have held its sound up for two seconds; then more comes.
      for (const Time::time_point last = Time::now() + seconds(20); !heard.Facts().health.ok() && Time::now() < last;) {
         WaitForSingleObject(event, 20);
         TakeChunks(&heard);
      }
      EXPECT_TRUE(heard.Facts().health.ok()) << heard.Facts().health.reason;
      TakeFrames(&seen, &former);
      EXPECT_TRUE(seen.Close());
      heard.Close();
      TakeChunks(&heard);
      camera->Plug();
      store.ClearCalls(); // it keeps them all
      ++sessions;
   }

   std::optional<kit::PrivatePipewire> daemon;
   std::optional<kit::VirtualCamera> camera;
   std::optional<kit::VirtualMicrophone> microphone;
   const kit::ScopedEnvironment platform{"MAVR_OSAL", std::nullopt};
   kit::FakePreferences store;
   SyncMediaClock clock;
   const HANDLE event = CreateEvent(nullptr, false, false, nullptr);
   VideoBase::UserPrefs video;
   AudioUserPrefs audio;
   uint64_t frames = 0;
   uint64_t lost = 0; ///< numbers that were never seen
   uint64_t chunks = 0;
   uint64_t sessions = 0;
};

// Each thread's first allocations make the heap grow for about ten sessions, which a short run does not get to. Later
// the threads' arenas still come and go, 1 or 2 MiB at a time: what counts is what is allocated in them.
TEST_F(PipewireSoak, RealTimePassesAndNothingGrows) {
   const seconds whole(RealSeconds());
   const bool isLong = whole >= seconds(600);
   const seconds one(isLong ? 30 : 1);
   const Time::time_point end = Time::now() + whole;
   for (int warmUp = 0; warmUp < (isLong ? 10 : 1) && !HasFatalFailure(); ++warmUp) {
      Session(one);
   }
   const kit::Holdings before = kit::Holdings::Now();
   while (Time::now() < end && !HasFatalFailure()) {
      Session(one);
   }
   const kit::Holdings after = kit::Holdings::After(before);
   EXPECT_LE(after.threads, before.threads);
   EXPECT_EQ(after.descriptors, before.descriptors);
   if (isLong) {
      EXPECT_LE(after.allocatedKb, before.allocatedKb + 256);
      EXPECT_LE(after.residentKb, before.residentKb + 8192);
   }
   std::printf("figure real_seconds %lld\nfigure real_sessions %llu\nfigure real_frames %llu\nfigure real_lost_frames "
               "%llu\nfigure real_chunks %llu\nfigure real_grown_kib %lld\nfigure real_resident_grown_kib %lld\n",
               static_cast<long long>(whole.count()), static_cast<unsigned long long>(sessions),
               static_cast<unsigned long long>(frames), static_cast<unsigned long long>(lost),
               static_cast<unsigned long long>(chunks),
               static_cast<long long>(after.allocatedKb) - static_cast<long long>(before.allocatedKb),
               static_cast<long long>(after.residentKb) - static_cast<long long>(before.residentKb));
}

} // namespace
