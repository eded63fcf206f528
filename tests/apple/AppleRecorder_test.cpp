#include "libs/avManager/AudioRec.h"
#include "libs/avManager/SyncMediaClock.h"
#include "libs/avManager/VideoRec.h"
#include "libs/avManager/devices/AudioInputDevices.h"
#include "libs/avManager/devices/VideoInputDevices.h"
#include "libs/utils/ConfigSettings.h"
#include "libs/utils/DataBuffer.h"
#include "libs/utils/SampleMeta.h"
#include "osal/Platform.h"
#include "osal/apple/AppleCapture.h"
#include "osal/apple/AppleDevices.h"
#include "osal/apple/ApplePreferences.h"
#include "osal/apple/fakes/Fakes.h"
#include "tests/kit/LogCapture.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstring>
#include <memory>
#include <numbers>
#include <string>
#include <thread>
#include <vector>

// Both recorders, whole, from the stand-in frameworks' devices to the reader.
namespace {

constexpr uint32_t kWidth = 320;
constexpr uint32_t kHeight = 240;
constexpr uint32_t kPatienceMs = 20'000;

class AppleRecorderTest : public testing::Test {
protected:
   AppleRecorderTest() {
      fakes::ShowDevices({{"Desk", "cam-1", {{0x34323076, 640, 480}}, false, 100}, {"Door", "cam-2"}},
                         {{"Microphone", "mic-1"}, {"Speakers", "out-1", false}});
      ConfigSettings::Init();
      AudioInputDevices::List(AudioInputDevices::CachedList());
      mVideoPrefs.mWidth = kWidth;
      mVideoPrefs.mHeight = kHeight;
      mVideoPrefs.mFrameRate = 30;
      mVideoPrefs.mFrameEvent = mFrameEvent;
      mAudioPrefs.mChunkMS = 20;
      mAudioPrefs.mQueueBuffers = 50;
      mAudioPrefs.mSampleRate = 48000;
      mAudioPrefs.mDataEvent = mDataEvent;
   }
   ~AppleRecorderTest() override {
      ConfigSettings::Shutdown();
      CloseHandle(mFrameEvent);
      CloseHandle(mDataEvent);
      fakes::ShowDevices({}, {});
   }

   /// The stand-in's pictures: each row has one value, one more than the row above, 250 being followed by 0.
   static void ExpectPicture(const uint8_t *luma) {
      for (size_t y = 0; y < kHeight; ++y) {
         const uint8_t *const row = luma + y * kWidth;
         ASSERT_EQ(row[0], (luma[0] + y) % 251) << y;
         ASSERT_EQ(std::memcmp(row, row + 1, kWidth - 1), 0) << y;
      }
   }

   /// Takes `count` frames; false when none comes.
   bool TakeFrames(VideoRec &recorder, size_t count) {
      uint32_t lastMs = 0;
      for (size_t taken = 0; taken < count;) {
         if (WaitForSingleObject(mFrameEvent, kPatienceMs) != WAIT_OBJECT_0) {
            return false;
         }
         for (MediaData frame; recorder.GetData(frame); recorder.ReleaseData(), ++taken) {
            EXPECT_EQ(frame.mData->GetLength(), static_cast<int32_t>(kWidth * kHeight * 3 / 2));
            ExpectPicture(reinterpret_cast<const uint8_t *>(frame.mData->GetData()));
            SampleMeta meta;
            std::memcpy(&meta, frame.mMeta->GetData(), sizeof(meta));
            EXPECT_EQ(meta.mValid, 1u);
            EXPECT_GE(meta.mTimeMS, lastMs);
            lastMs = meta.mTimeMS;
         }
      }
      return true;
   }

   /// Takes sound; fewer samples when none comes.
   std::vector<int16_t> TakeSound(AudioRec &recorder, size_t count) {
      std::vector<int16_t> samples;
      while (samples.size() < count && WaitForSingleObject(mDataEvent, kPatienceMs) == WAIT_OBJECT_0) {
         for (MediaData chunk; recorder.GetData(chunk); recorder.ReleaseData()) {
            EXPECT_EQ(chunk.mData->GetLength(), 1920);
            const auto length = static_cast<size_t>(chunk.mData->GetLength()) / 2;
            samples.resize(samples.size() + length);
            std::memcpy(&samples[samples.size() - length], chunk.mData->GetData(), length * 2);
         }
      }
      return samples;
   }

   kit::LogCapture mLog;
   const std::unique_ptr<osal::Devices> mDevices = osal::MakeAppleDevices();
   const std::unique_ptr<osal::Capture> mCapture = osal::MakeAppleCapture();
   const osal::ScopedDevices mDevicesInForce{*mDevices};
   const osal::ScopedCapture mCaptureInForce{*mCapture};
   const osal::ScopedPreferences mPreferencesInForce{&osal::MakeApplePreferences};
   const HANDLE mFrameEvent = CreateEvent(nullptr, false, false, nullptr);
   const HANDLE mDataEvent = CreateEvent(nullptr, false, false, nullptr);
   SyncMediaClock mClock;
   VideoBase::UserPrefs mVideoPrefs;
   AudioUserPrefs mAudioPrefs;
};

double AmplitudeAt(const std::vector<int16_t> &samples, double hz) {
   std::complex<double> sum = 0;
   for (size_t i = 0; i < samples.size(); ++i) {
      sum +=
         static_cast<double>(samples[i]) * std::polar(1.0, -2 * std::numbers::pi * hz * static_cast<double>(i) / 48000);
   }
   return 2 * std::abs(sum) / static_cast<double>(samples.size()) / 32767;
}

TEST_F(AppleRecorderTest, ACamerasFramesReachTheReader) {
   VideoRec recorder;
   ASSERT_TRUE(recorder.Open(mVideoPrefs, &mClock)) << mLog.Dump();
   EXPECT_TRUE(TakeFrames(recorder, 10)) << recorder.CameraFacts().health.reason;
   EXPECT_TRUE(recorder.Close());
}

TEST_F(AppleRecorderTest, TheNamedCameraIsTheOneThatRuns) {
   mVideoPrefs.mUserId = "Door#cam-2";
   VideoRec recorder;
   ASSERT_TRUE(recorder.Open(mVideoPrefs, &mClock)) << mLog.Dump();
   EXPECT_TRUE(TakeFrames(recorder, 3));
   EXPECT_EQ(VideoInputDevices::CachedList().at(static_cast<size_t>(recorder.DeviceIndex())).mName, "Door");
   EXPECT_TRUE(recorder.Close());
}

TEST_F(AppleRecorderTest, ACameraThatIsUnpluggedIsNamedInTheFacts) {
   VideoRec recorder;
   ASSERT_TRUE(recorder.Open(mVideoPrefs, &mClock)) << mLog.Dump();
   EXPECT_TRUE(TakeFrames(recorder, 1));
   fakes::ShowDevices({}, {});
   EXPECT_EQ(recorder.CameraFacts().health.reason, "\"Desk\" is not connected any more");
   EXPECT_TRUE(recorder.Close());
}

TEST_F(AppleRecorderTest, AMicrophonesToneReachesTheReader) {
   AudioRec recorder;
   ASSERT_TRUE(recorder.Open(mAudioPrefs, &mClock)) << mLog.Dump();
   std::vector<int16_t> samples = TakeSound(recorder, 48000);
   ASSERT_GE(samples.size(), 48000u) << recorder.Facts().health.reason;
   samples.resize(48000);
   recorder.Close();
   const fakes::MicrophoneFacts facts;
   EXPECT_NEAR(AmplitudeAt(samples, facts.toneHz), facts.level, facts.level * 0.02);
   EXPECT_LT(AmplitudeAt(samples, facts.toneHz * 2), facts.level * 0.01);
}

TEST_F(AppleRecorderTest, BothRecordersRunSideBySideAndAgain) {
   for (int round = 0; round < 2; ++round) {
      VideoRec video;
      AudioRec audio;
      ASSERT_TRUE(audio.Open(mAudioPrefs, &mClock)) << mLog.Dump();
      ASSERT_TRUE(video.Open(mVideoPrefs, &mClock)) << mLog.Dump();
      std::thread listener([&] { EXPECT_GE(TakeSound(audio, 9600).size(), 9600u); });
      EXPECT_TRUE(TakeFrames(video, 5));
      listener.join();
      EXPECT_TRUE(video.Close());
      audio.Close();
   }
}

TEST_F(AppleRecorderTest, ADeniedCameraIsARefusedOpenWithALine) {
   fakes::SetAccess(true, fakes::Access::Denied);
   VideoRec recorder;
   EXPECT_FALSE(recorder.Open(mVideoPrefs, &mClock));
   EXPECT_NE(mLog.Dump().find("Failed to create AVCaptureDeviceInput"), std::string::npos) << mLog.Dump();
   fakes::SetAccess(true, fakes::Access::Authorized);
}

} // namespace
