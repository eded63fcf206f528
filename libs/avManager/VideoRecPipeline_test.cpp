#include "libs/avManager/VideoRec.h"

#include "libs/avManager/SyncMediaClock.h"
#include "libs/avManager/devices/VideoInputDevices.h"

#include "lib/mfw/common/logger.h"
#include "libs/utils/ConfigSettings.h"
#include "libs/utils/DataBuffer.h"
#include "libs/utils/SampleMeta.h"
#include "tests/kit/FakePreferences.h"
#include "tests/kit/Faults.h"
#include "tests/kit/Holdings.h"
#include "tests/kit/LogCapture.h"
#include "tests/kit/ManualClock.h"
#include "tests/kit/TempDir.h"

#include "osal/simulated/FrameCounter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <thread>
#include <vector>

// The whole recorder on simulated cameras, which paint their frames' numbers.

namespace {

/// Takes the log away while it lives.
class Quiet {
public:
   Quiet() {
      logger::Init([](const char *, int) {});
   }
   ~Quiet() { logger::Release(); }
   Quiet(const Quiet &) = delete;
   Quiet &operator=(const Quiet &) = delete;
};

class VideoRecPipeline : public testing::Test {
protected:
   VideoRecPipeline() {
      ConfigSettings::Init();
      setenv("MAVR_OSAL", "simulated", 1);
      setenv("MAVR_SIMULATION", file.c_str(), 1);
      prefs.mFrameEvent = event;
   }
   ~VideoRecPipeline() override {
      CloseHandle(event);
      ConfigSettings::Shutdown();
   }

   void Camera(uint32_t width, uint32_t height, const std::string &more = "", const char *pace = "fast") {
      const std::string format = R"({"width": )" + std::to_string(width) + R"(, "height": )" + std::to_string(height) +
                                 R"(, "maxFrameRate": 30})";
      kit::WriteFile(file, R"({"cameras": [{"name": "Desk", "uniqueId": "cam", "formats": [)" + format + "]" + more +
                              R"(}], "clock": ")" + pace + R"("})");
   }
   /// At a rate that no camera exceeds, not even one that delivers as fast as it can: none of its frames is dropped.
   void Ask(uint32_t width, uint32_t height, uint32_t rate = 1000) {
      prefs.mWidth = width;
      prefs.mHeight = height;
      prefs.mFrameRate = rate;
   }
   /// The recorder's pause between two passes ends; nothing that takes longer does.
   void EndPause() {
      constexpr uint64_t kPauseNs = 1'000'000;
      const uint64_t now = time.monotonicNs();
      const uint64_t next = time.NextDeadlineNs();
      if (next > now && next - now <= kPauseNs) {
         time.AdvanceNs(next - now);
      }
      std::this_thread::yield();
   }
   /// The number that the next frame shows.
   std::optional<uint32_t> NextNumber(VideoRec *recorder) {
      MediaData frame;
      while (!recorder->GetData(frame)) {
         EndPause();
      }
      EXPECT_EQ(static_cast<uint32_t>(frame.mData->GetLength()), prefs.mWidth * prefs.mHeight * 3 / 2);
      const auto number = osal::ReadFrameCounter(frame.mData->GetData(), prefs.mWidth, prefs.mWidth, prefs.mHeight);
      recorder->ReleaseData();
      return number;
   }

   kit::ManualClock time;
   kit::FakePreferences store;
   kit::TempDir dir;
   const std::string file = dir / "devices.json";
   SyncMediaClock clock;
   const HANDLE event = CreateEvent(nullptr, false, false, nullptr);
   VideoBase::UserPrefs prefs;
};

TEST_F(VideoRecPipeline, EachFrameComesOnceInOrderAndWhole) {
   struct Case {
      uint32_t width, height, outWidth, outHeight;
   };
   for (const Case &c : {Case{640, 480, 640, 480}, {1280, 720, 640, 480}, {320, 240, 640, 480}, {353, 289, 320, 240}}) {
      Camera(c.width, c.height);
      Ask(c.outWidth, c.outHeight);
      VideoRec recorder;
      ASSERT_TRUE(recorder.Open(prefs, &clock));
      for (uint32_t expected = 0; expected < 200; ++expected) {
         ASSERT_EQ(NextNumber(&recorder), expected) << c.width << "x" << c.height;
      }
      EXPECT_TRUE(recorder.Close());
   }
}

TEST_F(VideoRecPipeline, AReaderThatSleepsLosesTheYoungestAndNeverAPartOfOne) {
   Camera(320, 240);
   Ask(320, 240);
   VideoRec recorder;
   ASSERT_TRUE(recorder.Open(prefs, &clock));
   while (recorder.QueuedFrames() < 10) {
      EndPause();
   }
   std::optional<uint32_t> last;
   for (int taken = 0; taken < 100; ++taken) {
      const auto number = NextNumber(&recorder);
      ASSERT_TRUE(number.has_value());
      if (last) {
         ASSERT_GT(*number, *last);
      }
      last = number;
   }
}

TEST_F(VideoRecPipeline, ACameraThatGoesLeavesARecorderThatCloses) {
   for (const int frames : {1, 2, 30}) {
      Camera(320, 240, R"(, "fail": {"unplugAfterFrames": )" + std::to_string(frames) + "}");
      Ask(320, 240);
      VideoRec recorder;
      ASSERT_TRUE(recorder.Open(prefs, &clock));
      for (int frame = 0; frame < frames; ++frame) {
         ASSERT_EQ(NextNumber(&recorder), static_cast<uint32_t>(frame));
      }
      while (recorder.CameraFacts().health.ok()) {
         std::this_thread::yield();
      }
      EXPECT_TRUE(recorder.Close());
      EXPECT_EQ(recorder.GoodFrames(), static_cast<uint64_t>(frames));
   }
}

TEST_F(VideoRecPipeline, ACameraThatChangesItsSizeGoesOnAtTheAskedOne) {
   Camera(640, 480, R"(, "fail": {"resizeAfterFrames": 5})");
   Ask(320, 240);
   VideoRec recorder;
   ASSERT_TRUE(recorder.Open(prefs, &clock));
   for (uint32_t expected = 0; expected < 20; ++expected) {
      ASSERT_EQ(NextNumber(&recorder), expected);
   }
}

// Required: the failed lock is no failed frame.
TEST_F(VideoRecPipeline, APictureThatCannotBeLockedShowsWhatItsSlotHeldBefore) {
   Camera(320, 240, R"(, "fail": {"lockEvery": 3})");
   Ask(320, 240);
   VideoRec recorder;
   ASSERT_TRUE(recorder.Open(prefs, &clock));
   for (uint32_t frame = 0; frame < 60; ++frame) {
      const auto number = NextNumber(&recorder);
      if (frame % 3 != 2) {
         ASSERT_EQ(number, frame);
      } else {
         ASSERT_TRUE(!number.has_value() || *number < frame) << frame;
      }
   }
}

TEST_F(VideoRecPipeline, NothingIsAllocatedForAFrame) {
   const Quiet quiet;
   Camera(320, 240);
   Ask(160, 120);
   VideoRec recorder;
   ASSERT_TRUE(recorder.Open(prefs, &clock));
   for (int frame = 0; frame < 300; ++frame) {
      ASSERT_TRUE(NextNumber(&recorder).has_value());
   }
   const uint64_t before = kit::AllocationCount();
   for (int frame = 0; frame < 300; ++frame) {
      ASSERT_TRUE(NextNumber(&recorder).has_value());
   }
   EXPECT_EQ(kit::AllocationCount() - before, 0U);
}

TEST_F(VideoRecPipeline, AThousandOpensAndClosesLeaveNothingBehind) {
   const Quiet quiet;
   Camera(64, 48);
   Ask(32, 24);
   VideoRec recorder;
   const auto live = [&] {
      ASSERT_TRUE(recorder.Open(prefs, &clock));
      ASSERT_TRUE(NextNumber(&recorder).has_value());
      ASSERT_TRUE(recorder.Close());
   };
#if defined(MAVR_SANITIZED)
   constexpr int kLives = 100;
#else
   constexpr int kLives = 1000;
#endif
   for (int i = 0; i < kLives / 5; ++i) {
      live();
   }
   const kit::Holdings before = kit::Holdings::Now();
   for (int i = 0; i < kLives && !HasFatalFailure(); ++i) {
      live();
   }
   const kit::Holdings after = kit::Holdings::After(before);
   EXPECT_EQ(after.descriptors, before.descriptors);
   EXPECT_LE(after.threads, before.threads);
#if !defined(MAVR_SANITIZED)
   EXPECT_LE(after.residentKb, before.residentKb + 512);
#endif
}

TEST_F(VideoRecPipeline, AServiceThreadThatCannotStartLetsTheCameraGo) {
   Camera(64, 48);
   Ask(32, 24);
   uint64_t nth = 1;
   for (bool struck = true; struck && nth < 20; ++nth) {
      kit::LogCapture log;
      VideoRec recorder;
      bool open = false;
      {
         const kit::FailNth fault(kit::Fault::ThreadCreation, nth);
         open = recorder.Open(prefs, &clock);
         struck = fault.Struck();
      }
      EXPECT_TRUE(open || struck);
      if (struck && !open &&
          log.Saw(logger::ERROR, "%s - Video capture start failed",
                  "virtual bool VideoRec::Open(UserPrefs &, SyncMediaClock *)")) {
         EXPECT_FALSE(recorder.IsDataAvailable());
      }
      if (!open) {
         ASSERT_TRUE(recorder.Open(prefs, &clock)) << "and the next try works: " << log.Dump();
      }
      recorder.Close();
   }
   EXPECT_GT(nth, 3U);
   EXPECT_LT(nth, 20U);
}

// A day, or as much of it as MAVR_SOAK_HOURS says, at 30 frames a second: each frame by hand, from the camera's clock
// to the reader.
TEST_F(VideoRecPipeline, RunsForHoursOnTheSteppingClockWithExactCounts) {
   const char *const text = std::getenv("MAVR_SOAK_HOURS");
   const auto frames = static_cast<uint64_t>((text != nullptr ? std::atof(text) : 0.1) * 3600 * 30);
   ASSERT_GT(frames, 2000U);
   const Quiet quiet;
   Camera(32, 24, "", "real");
   Ask(32, 24, 30);
   VideoRec recorder;
   ASSERT_TRUE(recorder.Open(prefs, &clock));
   const uint64_t start = time.monotonicNs();
   kit::Holdings before;
   uint64_t allocated = 0;
   for (uint64_t frame = 0; frame < frames; ++frame) {
      if (frame == 1000) {
         before = kit::Holdings::Now();
         allocated = kit::AllocationCount();
      }
      time.AwaitSleepers(3); // the camera, the recorder and the rate check: none is late for the frame
      const uint64_t due = start + static_cast<uint64_t>(static_cast<double>(frame + 1) * 1e9 / 30) + 1;
      while (time.monotonicNs() < due) {
         time.AdvanceNs(std::min(due, time.NextDeadlineNs()) - time.monotonicNs());
         time.AwaitSleepers(3);
      }
      ASSERT_EQ(NextNumber(&recorder), static_cast<uint32_t>(frame));
   }
   allocated = kit::AllocationCount() - allocated;
   const kit::Holdings after = kit::Holdings::After(before);
   EXPECT_EQ(allocated, 0U);
   EXPECT_LE(after.threads, before.threads);
   EXPECT_EQ(after.descriptors, before.descriptors);
#if !defined(MAVR_SANITIZED)
   EXPECT_LE(after.residentKb, before.residentKb + 64);
#endif
   EXPECT_EQ(recorder.CameraFacts().deliveredFrames, frames);
   recorder.Close();
   EXPECT_EQ(recorder.GoodFrames(), frames);
   EXPECT_EQ(recorder.MissedFrames(), 0U);
}

} // namespace
