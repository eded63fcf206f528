#include "libs/avManager/VideoRec.h"

#include "libs/avManager/SyncMediaClock.h"

#include "lib/mfw/common/logger.h"
#include "libs/utils/ConfigSettings.h"
#include "libs/utils/DataBuffer.h"
#include "libs/utils/SampleMeta.h"
#include "tests/kit/FakePreferences.h"
#include "tests/kit/LogCapture.h"
#include "tests/kit/ManualClock.h"
#include "tests/kit/TempDir.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <atomic>
#include <csignal>
#include <cstring>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

constexpr const char *kOpen = "virtual bool VideoRec::Open(UserPrefs &, SyncMediaClock *)";
constexpr const char *kClose = "virtual bool VideoRec::Close()";
constexpr const char *kService = "virtual bool VideoRec::ServiceThreadCB()";
constexpr uint32_t kFrameSize = 12; // of 4x2

/// A camera of a few bytes. What is scripted may change while the service thread runs.
class ScriptedInput final : public VideoInputBase {
public:
   struct Script {
      bool starts = true;
      std::atomic<int> waiting{0};         ///< frames that can be fetched
      std::atomic<bool> givesPixels{true}; ///< to GetPixels
      std::atomic<int> looks{0};           ///< calls of IsNewFrameAvailable
      std::atomic<uint8_t> next{1};        ///< what the next frame is filled with
      std::atomic<int> inside{0};          ///< calls of the service thread under way
      std::vector<std::string> calls;      ///< of the control thread
      HANDLE event = nullptr;              ///< the recorder's
   };

   explicit ScriptedInput(Script &script)
       : mScript(script) {}

   bool StartCapturing(VideoBase::UserPrefs &prefs) override {
      mScript.calls.push_back("start " + std::to_string(prefs.mDeviceIndex));
      mScript.event = prefs.mFrameEvent;
      prefs.mDeviceIndex = mScript.starts ? 3 : -1;
      return mScript.starts;
   }
   void StopCapturing(int32_t id) override {
      EXPECT_EQ(mScript.inside, 0);
      mScript.calls.push_back("stop " + std::to_string(id));
   }
   uint32_t GetFrameSize(int32_t id) override { return id == 3 ? kFrameSize : 0; }
   bool IsNewFrameAvailable(int32_t id) override {
      EXPECT_EQ(id, 3);
      ++mScript.inside;
      const bool has = mScript.waiting > 0;
      --mScript.inside;
      ++mScript.looks;
      return has;
   }
   bool GetPixels(int32_t id, UCHAR *dst, uint32_t dstLen, int *pLen) override {
      EXPECT_EQ(id, 3);
      EXPECT_EQ(dstLen, kFrameSize);
      *pLen = kFrameSize;
      --mScript.waiting;
      if (!mScript.givesPixels) {
         return false;
      }
      std::memset(dst, mScript.next++, dstLen);
      return true;
   }
   CaptureFacts Facts() const override { return {}; }

private:
   Script &mScript;
};

/// The service thread rests in one of two places: in its wait for an event, without a limit, or in the millisecond
/// between two passes. A test moves it from rest to rest, so that each pass is counted.
class VideoRecTest : public testing::Test {
protected:
   VideoRecTest() {
      ConfigSettings::Init();
      prefs.mWidth = 4;
      prefs.mHeight = 2;
      prefs.mFrameRate = 30;
      prefs.mFrameEvent = event;
   }
   ~VideoRecTest() override {
      CloseHandle(event);
      ConfigSettings::Shutdown();
   }

   std::unique_ptr<VideoRec> Make() { return std::make_unique<VideoRec>(std::make_unique<ScriptedInput>(camera)); }
   std::unique_ptr<VideoRec> MakeOpen() {
      auto recorder = Make();
      EXPECT_TRUE(recorder->Open(prefs, &clock)) << log.Dump();
      AwaitWait();
      return recorder;
   }
   /// The thread waits for an event.
   void AwaitWait() { AwaitRest(true); }
   /// The thread has ended a pass.
   void AwaitPause() { AwaitRest(false); }
   void AwaitRest(bool inWait) {
      for (;;) {
         time.AwaitSleepers(1);
         if ((time.NextDeadlineNs() == osal::Clock::kNoDeadline) == inWait) {
            return;
         }
         std::this_thread::yield();
      }
   }
   /// The camera's event, with `frames` behind it; the pass that it starts is over on return.
   void Event(int frames) {
      AwaitWait();
      camera.waiting += frames;
      SetEvent(camera.event);
      AwaitPause();
   }
   /// From the pause to the event's wait, or to the next pause when frames are left.
   void GoOn(uint64_t ms = 1) {
      AwaitPause();
      const int before = camera.looks;
      time.AdvanceMs(ms);
      while (camera.looks == before) {
         std::this_thread::yield();
      }
   }
   /// One good frame, taken by the reader, and the thread in its wait again.
   void GiveAndTake(VideoRec *recorder, uint64_t ms = 1) {
      Event(1);
      MediaData frame;
      ASSERT_TRUE(recorder->GetData(frame));
      recorder->ReleaseData();
      GoOn(ms);
      AwaitWait();
   }
   /// An event without a frame.
   void GiveNothing() {
      Event(0);
      GoOn();
      AwaitWait();
   }
   /// Takes the reader's signal; a look alone would leave it.
   [[nodiscard]] bool WasWoken() const { return WaitForSingleObject(event, 0) == WAIT_OBJECT_0 && ResetEvent(event); }

   kit::LogCapture log;
   kit::FakePreferences store;
   kit::TempDir dir;
   kit::ManualClock time;
   SyncMediaClock clock;
   ScriptedInput::Script camera;
   const HANDLE event = CreateEvent(nullptr, false, false, nullptr);
   VideoBase::UserPrefs prefs;
};

// ---- Open and Close -------------------------------------------------------------------------------------------------

TEST_F(VideoRecTest, OpensReadsAndCloses) {
   auto recorder = Make();
   EXPECT_EQ(recorder->GetFrameSize(), 0U);
   EXPECT_EQ(recorder->GetMetaSize(), 8);
   ASSERT_TRUE(recorder->Open(prefs, &clock)) << log.Dump();
   EXPECT_EQ(camera.calls, std::vector<std::string>{"start -1"});
   EXPECT_NE(camera.event, event) << "the camera wakes the recorder, not its reader";
   EXPECT_EQ(recorder->DeviceIndex(), 3);
   EXPECT_EQ(prefs.mDeviceIndex, -1) << "the caller's request is only read";
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - mServiceThreadIntervalMS = %d", kOpen, 1));
   EXPECT_TRUE(log.Saw(logger::DEBUG,
                       "%s - Initialized Capture from WebcamId=%d.  Resolution(WxH)=%ux%u.  Capture FrameRate=%u",
                       kOpen, 3, 4U, 2U, 30U))
      << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Video capture started", kOpen));
   EXPECT_FALSE(log.Saw(logger::DEBUG, "%s - VideoRec running with enhanced log level", kOpen));
   EXPECT_EQ(recorder->GetFrameSize(), kFrameSize);
   EXPECT_FALSE(recorder->IsDataAvailable());
   EXPECT_FALSE(WasWoken());

   const uint32_t stamp = SyncMediaClock::GetTimeMS();
   Event(1);
   EXPECT_TRUE(WasWoken());
   EXPECT_TRUE(recorder->IsDataAvailable());
   MediaData frame;
   ASSERT_TRUE(recorder->GetData(frame));
   EXPECT_EQ(frame.mData->GetLength(), static_cast<int32_t>(kFrameSize));
   EXPECT_EQ(std::string(reinterpret_cast<const char *>(frame.mData->GetData()), kFrameSize), std::string(12, '\1'));
   SampleMeta meta;
   ASSERT_EQ(frame.mMeta->GetLength(), 8);
   std::memcpy(&meta, frame.mMeta->GetData(), sizeof meta);
   EXPECT_EQ(meta.mTimeMS, stamp);
   EXPECT_EQ(meta.mValid, 1U);
   recorder->ReleaseData();
   EXPECT_FALSE(recorder->IsDataAvailable());
   recorder->ReleaseData(); // of nothing: nothing
   EXPECT_FALSE(recorder->GetData(frame));

   GoOn();
   AwaitWait();
   EXPECT_TRUE(recorder->Close());
   EXPECT_EQ(camera.calls, (std::vector<std::string>{"start -1", "stop 3"}));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Thread NotifEvent triggered", kService)) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Video capture stopped", kClose));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - FPS:%llu   Time(sec):%lu   GoodFrames:%llu   MissedFrames:%llu",
                       "LogDevFrameMetrics", 1ULL, 1UL, 1ULL, 0ULL))
      << log.Dump();
   EXPECT_EQ(recorder->GetFrameSize(), 0U);
   EXPECT_EQ(recorder->GetMetaSize(), 8);
   EXPECT_EQ(recorder->GoodFrames(), 1U) << "counts stay until the next open";
   EXPECT_FALSE(recorder->Close()) << "the second one has nothing to close";
   EXPECT_EQ(log.CountLevel(logger::ERROR), 0) << log.Dump();
}

TEST_F(VideoRecTest, ReadingBeforeOpenIsRefusedAndTold) {
   auto recorder = Make();
   MediaData frame;
   EXPECT_FALSE(recorder->IsDataAvailable());
   EXPECT_EQ(log.Count(logger::DEBUG, "%s - device is not active, return false.", "IsDataAvailable"), 1);
   EXPECT_FALSE(recorder->GetData(frame));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - device is not active, return false.", "GetData"));
   recorder->ReleaseData();
   EXPECT_EQ(log.Count(logger::DEBUG, "%s - device is not active, return false.", "IsDataAvailable"), 2)
      << "required: under the other call's name";
   EXPECT_FALSE(recorder->Close());
}

TEST_F(VideoRecTest, WithoutACameraObjectOrAClockNothingIsTried) {
   VideoRec none(nullptr);
   EXPECT_FALSE(none.Open(prefs, &clock));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Failed to create VideoInputDevice Instance", kOpen)) << log.Dump();

   auto recorder = Make();
   EXPECT_FALSE(recorder->Open(prefs, nullptr));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Sync Clock missing", kOpen)) << log.Dump();
   EXPECT_TRUE(camera.calls.empty());
   EXPECT_TRUE(recorder->Open(prefs, &clock));
   EXPECT_FALSE(log.Saw(logger::DEBUG, "%s - DeviceState is set to error. Reset required", kOpen))
      << "the refusal has not changed the state";
}

TEST_F(VideoRecTest, AfterAFailedOpenTheNextOneClearsTheError) {
   camera.starts = false;
   auto recorder = Make();
   EXPECT_FALSE(recorder->Open(prefs, &clock));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Failed to setup Webcam for capturing", kOpen)) << log.Dump();
   EXPECT_EQ(camera.calls, (std::vector<std::string>{"start -1", "stop -1"})) << "what was set up is let go";
   EXPECT_FALSE(recorder->IsDataAvailable());
   camera.starts = true;
   EXPECT_TRUE(recorder->Open(prefs, &clock)) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - DeviceState is set to error. Reset required", kOpen));
}

TEST_F(VideoRecTest, ASecondOpenIsRefusedAndLeavesTheFirstRunning) {
   auto recorder = MakeOpen();
   EXPECT_FALSE(recorder->Open(prefs, &clock));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - DeviceState is not idle", kOpen)) << log.Dump();
   Event(1);
   EXPECT_TRUE(recorder->IsDataAvailable());
}

TEST_F(VideoRecTest, OpenRightAfterCloseWaitsForTheCameraToSettle) {
   store.Set("\\miscSettingswcamStopStartDelay", int64_t{700});
   auto recorder = MakeOpen();
   recorder->Close();
   time.AdvanceMs(200);
   const uint64_t before = time.monotonicNs();
   ASSERT_TRUE(recorder->Open(prefs, &clock)) << log.Dump();
   EXPECT_EQ((time.monotonicNs() - before) / 1'000'000, 500U);
   AwaitWait();
}

TEST_F(VideoRecTest, TheDestructorClosesWhatIsOpen) {
   MakeOpen().reset();
   EXPECT_EQ(camera.calls, (std::vector<std::string>{"start -1", "stop 3"}));
}

// ---- Frames, misses, losses -----------------------------------------------------------------------------------------

TEST_F(VideoRecTest, FramesThatArriveTogetherCostOneEventAndNoLoss) {
   auto recorder = MakeOpen();
   Event(3);
   for (int left = 2; left > 0; --left) {
      EXPECT_EQ(camera.waiting, left);
      GoOn();
      AwaitPause();
   }
   GoOn();
   AwaitWait();
   EXPECT_EQ(recorder->GoodFrames(), 3U);
   EXPECT_EQ(recorder->QueuedFrames(), 3);
   for (uint8_t number = 1; number <= 3; ++number) {
      MediaData frame;
      ASSERT_TRUE(recorder->GetData(frame));
      EXPECT_EQ(frame.mData->GetData()[0], number);
      ASSERT_TRUE(recorder->GetData(frame));
      EXPECT_EQ(frame.mData->GetData()[0], number) << "the same until it is released";
      recorder->ReleaseData();
   }
}

TEST_F(VideoRecTest, AnEventWithoutAFrameBeforeTheFirstOneIsNoMiss) {
   auto recorder = MakeOpen();
   GiveNothing();
   GiveNothing();
   EXPECT_EQ(recorder->MissedFrames(), 0U);
   EXPECT_FALSE(WasWoken());
   EXPECT_EQ(log.CountLevel(logger::ERROR), 0) << log.Dump();
}

TEST_F(VideoRecTest, MissesAreCountedFromTheFirstFrameOnAndToldOncePerBout) {
   auto recorder = MakeOpen();
   GiveAndTake(recorder.get());
   EXPECT_TRUE(WasWoken());
   EXPECT_FALSE(WasWoken());
   for (uint64_t miss = 1; miss <= 3; ++miss) {
      GiveNothing();
      EXPECT_EQ(recorder->MissedFrames(), miss);
   }
   EXPECT_FALSE(WasWoken()) << "nobody is woken for nothing";
   EXPECT_EQ(log.Count(logger::DEBUG, "%s - Video Frame not received when asked from device", kService), 1)
      << log.Dump();
   EXPECT_EQ(log.Count(logger::ERROR, "%s - We missed some video frames when asked from the Device", kService), 1);
   GiveAndTake(recorder.get());
   GiveNothing();
   EXPECT_EQ(log.Count(logger::DEBUG, "%s - Video Frame not received when asked from device", kService), 2)
      << "another bout";
   EXPECT_EQ(log.Count(logger::ERROR, "%s - We missed some video frames when asked from the Device", kService), 1)
      << "only the first";
   recorder->Close();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - FPS:%llu   Time(sec):%lu   GoodFrames:%llu   MissedFrames:%llu",
                       "LogDevFrameMetrics", 2ULL, 1UL, 2ULL, 4ULL))
      << "finished bouts and the last: " << log.Dump();
   EXPECT_FALSE(log.Saw(logger::DEBUG, "%s - Video Frames missed: %llu", "LogMissedFrameCount", 3ULL));
}

TEST_F(VideoRecTest, TheEnhancedLogTellsEachBoutAndEveryHundredthMiss) {
   store.Set("DebugEnableExtraLogs", int64_t{7});
   auto recorder = MakeOpen();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - VideoRec running with enhanced log level", kOpen)) << log.Dump();
   GiveAndTake(recorder.get());
   for (int miss = 0; miss < 250; ++miss) {
      GiveNothing();
   }
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Video Frames missed: %llu", "LogMissedFrameCount", 100ULL));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Video Frames missed: %llu", "LogMissedFrameCount", 200ULL));
   GiveAndTake(recorder.get());
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Video Frames missed: %llu", "LogMissedFrameCount", 250ULL));
   EXPECT_EQ(recorder->MissedFrames(), 250U);
}

TEST_F(VideoRecTest, AFrameThatCannotBeFetchedWakesTheReaderAndLeavesItsSlotFree) {
   auto recorder = MakeOpen();
   camera.givesPixels = false;
   for (int i = 0; i < 30; ++i) {
      Event(1);
      EXPECT_TRUE(WasWoken());
      EXPECT_FALSE(recorder->IsDataAvailable());
      GoOn();
   }
   EXPECT_EQ(log.Count(logger::ERROR, "%s - A Frame was expected but not received from device", kService), 20)
      << "the 21st and later ones are silent";
   camera.givesPixels = true;
   GiveAndTake(recorder.get());
   camera.givesPixels = false;
   Event(1);
   EXPECT_EQ(log.Count(logger::ERROR, "%s - A Frame was expected but not received from device", kService), 21)
      << "the trouble had ended, so the next bout is told";
   EXPECT_EQ(recorder->GoodFrames(), 1U);
   EXPECT_EQ(recorder->MissedFrames(), 0U);
}

TEST_F(VideoRecTest, AReaderThatFallsBehindPushesTheLossBackToTheCamera) {
   auto recorder = MakeOpen();
   Event(40);
   while (recorder->QueuedFrames() < 10) {
      GoOn();
   }
   const int left = camera.waiting;
   const uint64_t before = time.monotonicNs();
   for (int pass = 0; pass < 30; ++pass) {
      GoOn();
   }
   AwaitPause();
   EXPECT_EQ(camera.waiting, left) << "nothing is taken from the camera that has no place to go";
   EXPECT_GE(time.monotonicNs() - before, 30U * 11'000'000) << "10 ms in each pass, and the pause";
   EXPECT_EQ(log.Count(logger::ERROR, "%s - No data buffer available to copy Video Frame", kService), 20) << log.Dump();
   MediaData frame;
   ASSERT_TRUE(recorder->GetData(frame));
   EXPECT_EQ(frame.mData->GetData()[0], 1) << "the oldest stays";
   recorder->ReleaseData();
   GoOn(); // one more is taken: the bout is over
   GoOn();
   AwaitPause();
   EXPECT_EQ(log.Count(logger::ERROR, "%s - No data buffer available to copy Video Frame", kService), 21);
}

TEST_F(VideoRecTest, TheRateIsToldEvery200FramesOnceASecondHasPassed) {
   auto recorder = MakeOpen();
   for (int frame = 1; frame <= 600; ++frame) {
      GiveAndTake(recorder.get(), frame <= 200 ? 4 : 10); // the first 200 take less than a second
   }
   const auto told = [&](uint64_t rate, uint64_t frames, uint64_t seconds) {
      return log.Saw(logger::DEBUG, "%s - FPS:%llu.  Frames:%llu.  Time(sec):%lu", "LogFPS",
                     static_cast<unsigned long long>(rate), static_cast<unsigned long long>(frames),
                     static_cast<unsigned long>(seconds));
   };
   EXPECT_FALSE(log.Dump().find("Frames:200.") != std::string::npos) << log.Dump();
   EXPECT_TRUE(told(200, 400, 2)) << log.Dump(); // 796 ms and 2000 ms, without what comes after the 400th
   EXPECT_TRUE(told(150, 600, 4)) << log.Dump();
   size_t lines = 0;
   for (const auto &line : log.Lines()) {
      lines += line.text.find("LogFPS - ") != std::string::npos ? 1 : 0;
   }
   EXPECT_EQ(lines, 2U);
}

// ---- Dump files -----------------------------------------------------------------------------------------------------

class VideoRecFiles : public VideoRecTest {
protected:
   void WriteDump(const std::string &path, uint32_t width, int frames) {
      AVSampleHandler file;
      ASSERT_TRUE(file.InitWrite(kMediaVideo, path, MediaFileHeader::ForVideo(width, 2, VideoBase::I420, kFrameSize)));
      for (int frame = 0; frame < frames; ++frame) {
         const std::vector<uint8_t> pixels(kFrameSize, static_cast<uint8_t>(100 + frame));
         const SampleMeta meta{7, 1};
         ASSERT_TRUE(file.WriteSample(pixels.data(), pixels.size(), &meta));
      }
      file.CloseFile();
   }
   void Import(const std::string &path) {
      store.Set("DebugImportVideoEnable", true);
      store.SetText("DebugImportVideoFilename", path);
   }
   void AwaitFrames(VideoRec *recorder, int32_t frames) {
      while (recorder->QueuedFrames() < frames) {
         time.AdvanceMs(1);
         std::this_thread::yield();
      }
   }
};

TEST_F(VideoRecFiles, AFileTakesTheCamerasPlaceAndStartsAgainAtItsEnd) {
   const std::string path = dir / "in.dump";
   WriteDump(path, 4, 2);
   Import(path);
   auto recorder = Make();
   ASSERT_TRUE(recorder->Open(prefs, &clock)) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Video file is being used as Video source: %s", kOpen, path.c_str()));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Initialized Capture File.  Resolution(WxH)=%ux%u.  Capture FrameRate=%u",
                       kOpen, 4U, 2U, 30U))
      << log.Dump();
   EXPECT_TRUE(camera.calls.empty());
   EXPECT_EQ(recorder->DeviceIndex(), -1);
   AwaitFrames(recorder.get(), 5);
   EXPECT_TRUE(WasWoken());
   for (const int expected : {100, 101, 100, 101, 100}) {
      MediaData frame;
      ASSERT_TRUE(recorder->GetData(frame));
      EXPECT_EQ(frame.mData->GetLength(), static_cast<int32_t>(kFrameSize));
      EXPECT_EQ(frame.mData->GetData()[kFrameSize - 1], expected);
      SampleMeta meta;
      std::memcpy(&meta, frame.mMeta->GetData(), sizeof meta);
      EXPECT_NE(meta.mTimeMS, 7U) << "the time is the clock's, not the file's";
      recorder->ReleaseData();
   }
   EXPECT_EQ(log.CountLevel(logger::ERROR), 0) << log.Dump();
}

TEST_F(VideoRecFiles, AFullQueueIsWhatPacesAFile) {
   const std::string path = dir / "in.dump";
   WriteDump(path, 4, 2);
   Import(path);
   auto recorder = Make();
   ASSERT_TRUE(recorder->Open(prefs, &clock)) << log.Dump();
   AwaitFrames(recorder.get(), 10);
   while (!log.Saw(logger::ERROR, "%s - No data buffer available to copy Video Frame", kService)) {
      time.AdvanceMs(1);
      std::this_thread::yield();
   }
   EXPECT_EQ(recorder->QueuedFrames(), 10);
}

TEST_F(VideoRecFiles, AFileOfAnotherSizeIsLeftAndTheCameraOpened) {
   const std::string path = dir / "in.dump";
   WriteDump(path, 8, 1);
   Import(path);
   auto recorder = MakeOpen();
   EXPECT_TRUE(log.Saw(
      logger::ERROR, "%s - File image source type mismatch with user selections. Debug Read params are ignored", kOpen))
      << log.Dump();
   EXPECT_EQ(log.CountLevel(logger::ERROR), 1);
   EXPECT_EQ(camera.calls, std::vector<std::string>{"start -1"});
   GiveAndTake(recorder.get());
}

TEST_F(VideoRecFiles, AFileThatIsNotThereIsLeftAndTheCameraOpened) {
   Import(dir / "none.dump");
   auto recorder = MakeOpen();
   EXPECT_EQ(camera.calls, std::vector<std::string>{"start -1"});
   GiveAndTake(recorder.get());
}

// Required: such a file stays the source.
TEST_F(VideoRecFiles, AFileWithABadHeaderGivesNothingAndSaysSo20Times) {
   const std::string path = dir / "in.dump";
   kit::WriteFile(path, std::string(500, 'x'));
   Import(path);
   auto recorder = Make();
   ASSERT_TRUE(recorder->Open(prefs, &clock)) << log.Dump();
   EXPECT_TRUE(camera.calls.empty());
   while (log.Count(logger::ERROR, "%s - Video Data unavailable!", kService) < 20) {
      time.AdvanceMs(1);
      std::this_thread::yield();
   }
   for (int pass = 0; pass < 50; ++pass) {
      AwaitPause();
      time.AdvanceMs(1);
   }
   recorder->Close();
   EXPECT_EQ(log.Count(logger::ERROR, "%s - Video Data unavailable!", kService), 20) << log.Dump();
   EXPECT_FALSE(WasWoken());
   EXPECT_EQ(recorder->GoodFrames(), 0U);
}

TEST_F(VideoRecFiles, WhatTheReaderTakesIsExportedEachTimeItAsks) {
   const std::string path = dir / "out.dump";
   store.Set("DebugExportVideoEnable", true);
   store.SetText("DebugExportVideoFileName", path);
   auto recorder = MakeOpen();
   Event(2);
   GoOn();
   AwaitPause();
   MediaData frame;
   ASSERT_TRUE(recorder->GetData(frame));
   ASSERT_TRUE(recorder->GetData(frame)); // required: twice asked, twice written
   recorder->ReleaseData();
   ASSERT_TRUE(recorder->GetData(frame));
   recorder->ReleaseData();
   recorder->Close();
   recorder.reset();

   AVSampleHandler file;
   MediaFileHeader header{};
   ASSERT_TRUE(file.InitRead(kMediaVideo, path, header));
   EXPECT_EQ(header.mWidthOrChunkSize, 4U);
   EXPECT_EQ(header.mHeight, 2U);
   EXPECT_EQ(header.mPixelFormat, 2U);
   EXPECT_EQ(header.mFrameSize, kFrameSize);
   MediaSampleRecord sample;
   for (const int expected : {1, 1, 2}) {
      ASSERT_TRUE(file.ReadSample(sample));
      EXPECT_EQ(sample.mData[0], expected);
      EXPECT_EQ(sample.mHeader.mMeta.mValid, 1U);
   }
   EXPECT_FALSE(file.ReadSample(sample));
}

TEST_F(VideoRecFiles, AnExportThatCannotBeWrittenStopsNothing) {
   store.Set("DebugExportVideoEnable", true);
   store.SetText("DebugExportVideoFileName", dir / "no/such/folder");
   auto recorder = MakeOpen();
   GiveAndTake(recorder.get());
}

TEST_F(VideoRecFiles, AnExportThatFindsTheDiskFullIsDroppedWithoutALineForEachFrame) {
   store.Set("DebugExportVideoEnable", true);
   store.SetText("DebugExportVideoFileName", dir / "out.dump");
   std::signal(SIGXFSZ, SIG_IGN);
   const rlimit full{100, RLIM_INFINITY};
   ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &full), 0);
   auto recorder = MakeOpen();
   const rlimit none{RLIM_INFINITY, RLIM_INFINITY};
   ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &none), 0);
   GiveAndTake(recorder.get());
   EXPECT_EQ(log.Count(logger::ERROR, "Frame size mismatch!"), 0) << log.Dump();
}

} // namespace
