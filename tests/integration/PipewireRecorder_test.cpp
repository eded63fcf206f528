#include "libs/avManager/VideoRec.h"

#include "libs/avManager/SyncMediaClock.h"

#include "lib/mfw/common/logger.h"
#include "libs/utils/ConfigSettings.h"
#include "libs/utils/DataBuffer.h"
#include "libs/utils/SampleMeta.h"
#include "tests/kit/FakePreferences.h"
#include "tests/kit/LogCapture.h"
#include "tests/kit/PrivatePipewire.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstring>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using kit::PrivatePipewire;
using kit::VirtualCamera;
using Ms = std::chrono::milliseconds;
using Time = std::chrono::steady_clock;

constexpr const char *kNextFrame = "-[AVCapture getNextFrame:frameSize:]";

struct Picture {
   std::vector<uint8_t> bytes; ///< I420
   SampleMeta meta{};
};

/// The whole recorder, from a camera that PipeWire serves to the reader of the queue.
class PipewireRecorder : public testing::Test {
protected:
   void SetUp() override {
      if (const std::string missing = PrivatePipewire::Missing(); !missing.empty()) {
         GTEST_SKIP() << missing;
      }
      alarm(240); // a hang ends the test
      mDaemon.emplace();
      ConfigSettings::Init();
      mPrefs.mWidth = 640;
      mPrefs.mHeight = 480;
      mPrefs.mFrameRate = 30;
      mPrefs.mFrameEvent = mEvent;
   }
   void TearDown() override {
      if (mDaemon) {
         ConfigSettings::Shutdown();
      }
      CloseHandle(mEvent);
   }

   // Far above what a frame takes.
   static bool Await(const std::function<bool()> &isTrue) {
      const Time::time_point limit = Time::now() + Ms(20000);
      while (!isTrue()) {
         if (Time::now() > limit) {
            return false;
         }
         std::this_thread::sleep_for(Ms(5));
      }
      return true;
   }
   // As a reader does it: woken by the event, then all that is there.
   std::optional<Picture> Next(VideoRec *recorder) {
      MediaData frame;
      const Time::time_point limit = Time::now() + Ms(20000);
      while (!recorder->GetData(frame)) {
         if (Time::now() > limit) {
            return std::nullopt;
         }
         WaitForSingleObject(mEvent, 100);
      }
      Picture picture;
      picture.bytes.assign(frame.mData->GetData(), frame.mData->GetData() + frame.mData->GetLength());
      std::memcpy(&picture.meta, frame.mMeta->GetData(), sizeof picture.meta);
      recorder->ReleaseData();
      return picture;
   }
   static void ExpectQuickClose(VideoRec *recorder) {
      const Time::time_point start = Time::now();
      EXPECT_TRUE(recorder->Close());
      EXPECT_LT(Time::now() - start, Ms(2000));
   }
   static bool AwaitTrouble(const VideoRec &recorder) {
      return Await([&] { return !recorder.CameraFacts().health.ok(); });
   }

   std::optional<PrivatePipewire> mDaemon;
   const kit::ScopedEnvironment mPlatform{"MAVR_OSAL", std::nullopt};
   kit::FakePreferences mStore;
   kit::LogCapture mLog;
   SyncMediaClock mClock;
   const HANDLE mEvent = CreateEvent(nullptr, false, false, nullptr);
   VideoBase::UserPrefs mPrefs;
};

// The square at the top left has the luma 16 + number % 200, and this camera's pictures are not converted.
TEST_F(PipewireRecorder, FramesComeInOrderAndNoneTwice) {
   const VirtualCamera camera(*mDaemon, "cam", {"--description", "Desk Camera", "--sizes", "320x240"});
   mPrefs.mWidth = 320;
   mPrefs.mHeight = 240;
   VideoRec recorder;
   ASSERT_TRUE(recorder.Open(mPrefs, &mClock)) << mLog.Dump();
   EXPECT_EQ(recorder.GetFrameSize(), 320U * 240 * 3 / 2);
   std::optional<Picture> former;
   for (int frame = 0; frame < 60; ++frame) {
      const std::optional<Picture> next = Next(&recorder);
      ASSERT_TRUE(next) << mLog.Dump();
      ASSERT_EQ(next->bytes.size(), 320U * 240 * 3 / 2);
      EXPECT_EQ(next->meta.mValid, 1U);
      const int number = next->bytes[8 * 320 + 8] - 16;
      ASSERT_GE(number, 0);
      ASSERT_LT(number, 200);
      ASSERT_EQ(next->bytes[31 * 320 + 31] - 16, number) << "of one frame from the square's top to its bottom";
      if (former) {
         const int step = (number - (former->bytes[8 * 320 + 8] - 16) + 200) % 200;
         EXPECT_GE(step, 1) << "the same again";
         EXPECT_LE(step, 100) << "one from before";
         EXPECT_GE(next->meta.mTimeMS, former->meta.mTimeMS);
      }
      former = next;
   }
   ExpectQuickClose(&recorder);
   EXPECT_GE(recorder.GoodFrames(), 60U);
   // A thread that is late finds a frame without waiting, and the event that is left over counts as a miss.
   const int late = mLog.Count(logger::ERROR, "%s - We missed some video frames when asked from the Device",
                               "virtual bool VideoRec::ServiceThreadCB()");
   EXPECT_EQ(mLog.CountLevel(logger::ERROR), late) << mLog.Dump();
}

TEST_F(PipewireRecorder, AnotherSizeAndFormatBecomesTheOneAskedFor) {
   const VirtualCamera camera(*mDaemon, "cam", {"--formats", "MJPG", "--sizes", "1280x720"});
   mPrefs.mWidth = 320;
   mPrefs.mHeight = 180;
   VideoRec recorder;
   ASSERT_TRUE(recorder.Open(mPrefs, &mClock)) << mLog.Dump();
   const std::optional<Picture> picture = Next(&recorder);
   ASSERT_TRUE(picture) << mLog.Dump();
   ASSERT_EQ(picture->bytes.size(), 320U * 180 * 3 / 2);
   EXPECT_EQ(recorder.CameraFacts().width, 1280U);
   EXPECT_EQ(recorder.CameraFacts().height, 720U);
   EXPECT_TRUE(mLog.Saw(logger::DEBUG, "%s - Requested (%ux%u), actual (%ux%u), %s", kNextFrame, 320U, 180U, 1280U,
                        720U, "LETTERBOX mode scaling enabled"))
      << mLog.Dump();
   const auto luma = [&](size_t x, size_t y) {
      return static_cast<int>(picture->bytes[y * 320 + x]);
   };
   for (const size_t y : {size_t{20}, size_t{90}, size_t{179}}) { // the same aspect: no bar at the bottom either
      for (size_t x = 20; x < 320; x += 20) {
         EXPECT_NEAR(luma(x, y), 16 + 219 * static_cast<double>(x) / 320, 12) << x << "," << y;
      }
   }
   ExpectQuickClose(&recorder);
}

TEST_F(PipewireRecorder, AChangeOfSizeInMidStreamLeavesTheReaderItsSize) {
   VirtualCamera camera(*mDaemon, "cam", {"--sizes", "640x480"});
   VideoRec recorder;
   ASSERT_TRUE(recorder.Open(mPrefs, &mClock)) << mLog.Dump();
   ASSERT_TRUE(Next(&recorder));
   camera.Command("size 320x240");
   ASSERT_TRUE(Await([&] {
      const std::optional<Picture> next = Next(&recorder);
      EXPECT_TRUE(next && next->bytes.size() == 640U * 480 * 3 / 2);
      return recorder.CameraFacts().width == 320;
   }));
   EXPECT_TRUE(recorder.CameraFacts().health.ok());
   ExpectQuickClose(&recorder);
}

TEST_F(PipewireRecorder, AnUnpluggedCameraShowsAndCanBeOpenedOnceItIsBack) {
   VirtualCamera camera(*mDaemon, "cam", {"--sizes", "640x480"});
   VideoRec recorder;
   ASSERT_TRUE(recorder.Open(mPrefs, &mClock)) << mLog.Dump();
   ASSERT_TRUE(Next(&recorder));
   camera.Unplug();
   EXPECT_TRUE(AwaitTrouble(recorder));
   ExpectQuickClose(&recorder);
   EXPECT_FALSE(recorder.Open(mPrefs, &mClock)) << "there is none";
   camera.Plug();
   ASSERT_TRUE(recorder.Open(mPrefs, &mClock)) << mLog.Dump();
   EXPECT_TRUE(Next(&recorder));
   EXPECT_TRUE(recorder.CameraFacts().health.ok());
   ExpectQuickClose(&recorder);
}

TEST_F(PipewireRecorder, ADeadDaemonShowsAndTheCloseIsQuick) {
   const VirtualCamera camera(*mDaemon, "cam", {"--sizes", "640x480"});
   VideoRec recorder;
   ASSERT_TRUE(recorder.Open(mPrefs, &mClock)) << mLog.Dump();
   ASSERT_TRUE(Next(&recorder));
   mDaemon->Kill();
   EXPECT_TRUE(AwaitTrouble(recorder));
   ExpectQuickClose(&recorder);
   EXPECT_FALSE(recorder.Open(mPrefs, &mClock));
}

TEST_F(PipewireRecorder, AFrozenDaemonDoesNotHoldUpTheClose) {
   const VirtualCamera camera(*mDaemon, "cam", {"--sizes", "640x480"});
   VideoRec recorder;
   ASSERT_TRUE(recorder.Open(mPrefs, &mClock)) << mLog.Dump();
   ASSERT_TRUE(Next(&recorder));
   mDaemon->Freeze();
   ExpectQuickClose(&recorder);
   mDaemon->Thaw();
}

TEST_F(PipewireRecorder, TheCameraIsFreeOnceTheRecorderIsClosed) {
   const VirtualCamera camera(*mDaemon, "cam", {"--sizes", "640x480"});
   VideoRec recorder;
   ASSERT_TRUE(recorder.Open(mPrefs, &mClock)) << mLog.Dump();
   ASSERT_TRUE(Next(&recorder));
   EXPECT_TRUE(recorder.Close());
   const auto streams = [&] {
      const std::string output = camera.Output();
      const size_t last = output.rfind("state ");
      return last != std::string::npos && output.compare(last, 15, "state streaming") == 0;
   };
   EXPECT_TRUE(Await([&] { return !streams(); })) << camera.Output();
}

} // namespace
