#include "libs/avManager/VideoInputMac.h"

#include "lib/mfw/common/logger.h"
#include "tests/kit/FakeCapture.h"
#include "tests/kit/FakeDevices.h"
#include "tests/kit/LogCapture.h"
#include "tests/kit/ManualClock.h"

#include "osal/Platform.h"

#include <gtest/gtest.h>

#include <memory>
#include <thread>
#include <vector>

namespace {

constexpr const char *kStart = "virtual bool VideoInputMac::StartCapturing(VideoBase::UserPrefs &)";
constexpr const char *kStop = "virtual void VideoInputMac::StopCapturing(int32_t)";
constexpr const char *kPixels = "virtual bool VideoInputMac::GetPixels(int32_t, UCHAR *, uint32_t, int *)";

class VideoInputMacTest : public testing::Test {
protected:
   VideoInputMacTest() {
      devices.cameras = {kit::Camera("Desk", "cam-1"), kit::Camera("Door", "cam-2")};
      platform.camera = kit::FakeCaptureDevice("Desk", "cam-1");
      prefs.mWidth = 8;
      prefs.mHeight = 4;
      prefs.mFrameRate = 30;
      prefs.mFrameEvent = event;
   }
   ~VideoInputMacTest() override { CloseHandle(event); }

   void Deliver(int count = 1) {
      for (int i = 0; i < count; ++i) {
         platform.Deliver(osal::Ref<osal::SampleBuffer>::adopt(new kit::FakeFrame(8, 4)));
      }
   }
   // The first look, right after the start, has been taken: the thread sleeps until a second is over.
   void AwaitRateCheck(int looks) {
      while (log.Count(logger::DEBUG, "%s - ratio = %f, Group = %d, Keep = %d.", "AdjustFrameDroppingPolicy", 1.0, 1,
                       1) < looks) {
         std::this_thread::yield();
      }
      time.AwaitSleepers(1);
   }

   kit::ManualClock time;
   kit::FakeDevices devices;
   const osal::ScopedDevices devicesInForce{devices};
   kit::FakeCapture platform;
   const osal::ScopedCapture captureInForce{platform};
   kit::LogCapture log;
   const HANDLE event = CreateEvent(nullptr, true, false, nullptr);
   VideoBase::UserPrefs prefs;
};

TEST_F(VideoInputMacTest, StartsReadsAndStops) {
   VideoInputMac input;
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s", "VideoInputMac::VideoInputMac()"));
   EXPECT_EQ(input.Facts().deliveredFrames, 0U);
   ASSERT_TRUE(input.StartCapturing(prefs)) << log.Dump();
   EXPECT_EQ(prefs.mDeviceIndex, 0);
   EXPECT_TRUE(log.Saw(logger::DEBUG,
                       "%s - Starting Webcam capture.  DeviceId=%s DeviceName=%s.  Resolution(WxH)=%ux%u.  "
                       "FrameRate=%u.  PixelFormat=%s",
                       kStart, "None Selected", "None Selected", 8U, 4U, 30U, "I420"))
      << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s: starting capture on device instance.", kStart));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s: capture started on device instance.", kStart));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s: valid capturing request.", kStart));

   EXPECT_EQ(input.GetFrameSize(0), 48U);
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - ret:%d", "virtual uint32_t VideoInputMac::GetFrameSize(int32_t)", 48));
   EXPECT_FALSE(input.IsNewFrameAvailable(0));
   EXPECT_TRUE(log.Saw(logger::TRACE, "VideoInputMac::IsNewFrameAvailable(deviceID=%d)", 0));
   Deliver();
   EXPECT_EQ(WaitForSingleObject(event, 0), WAIT_OBJECT_0);
   EXPECT_TRUE(input.IsNewFrameAvailable(0));
   std::vector<uint8_t> picture(48);
   int length = 7;
   EXPECT_TRUE(input.GetPixels(0, picture.data(), 48, &length));
   EXPECT_EQ(length, 48);
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - id=%d, dstBuffer=0x%p, dstBufLen=%d, (pre: %d post: %d)", kPixels, 0,
                       static_cast<void *>(picture.data()), 48, 7, 48))
      << log.Dump();
   EXPECT_EQ(input.Facts().deliveredFrames, 1U);

   input.StopCapturing(0);
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - deviceID=%d", kStop, 0));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s: Safely stopping video stream.", kStop));
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s: deleting AVCapture instance.", kStop)) << log.Dump();
   EXPECT_EQ(input.GetFrameSize(0), 0U);
}

TEST_F(VideoInputMacTest, AnotherPixelFormatIsRefusedBeforeAnyDevice) {
   VideoInputMac input;
   prefs.mPixelFormat = VideoBase::YV12;
   EXPECT_FALSE(input.StartCapturing(prefs));
   EXPECT_TRUE(
      log.Saw(logger::ERROR, "%s - Capture only supported in: I420. Format: %s is not supported", kStart, "YV12"))
      << log.Dump();
   EXPECT_EQ(devices.discoveries, 0);
}

TEST_F(VideoInputMacTest, PixelFormatsHaveNames) {
   const char *const names[] = {"Unknown", "RGB24", "I420", "UYVY", "YUY2", "YV12", "MJPG", "H264", "Unknown"};
   for (int32_t format = 0; format < 9; ++format) {
      EXPECT_STREQ(VideoBase::PixelFormatName(format), names[format]);
   }
}

TEST_F(VideoInputMacTest, WithoutACameraNothingIsSetUp) {
   devices.cameras.clear();
   VideoInputMac input;
   EXPECT_FALSE(input.StartCapturing(prefs));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - No Webcams found", "GetPrefDeviceIndex"));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Failed to SetAttemptCaptureSize", "SetupDevice")) << log.Dump();
   devices.cameras = {kit::Camera("Desk", "cam-1")};
   EXPECT_TRUE(input.StartCapturing(prefs)) << "and the next try works";
   input.StopCapturing(0);
}

TEST_F(VideoInputMacTest, ASizeThatCannotBeIsRefusedAndTheDeviceStaysUntilTheStop) {
   VideoInputMac input;
   prefs.mWidth = 642;
   prefs.mHeight = 480;
   EXPECT_FALSE(input.StartCapturing(prefs));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s: INVALID capturing request (outer check).", kStart)) << log.Dump();
   prefs.mWidth = 640;
   EXPECT_DEATH((void)input.StartCapturing(prefs), "mWCamDev") << "a second start without a stop is a fault";
   input.StopCapturing(0);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s: Invalid stop request, abruptly stopping video stream.", kStop))
      << log.Dump();
   EXPECT_TRUE(input.StartCapturing(prefs));
   input.StopCapturing(0);
}

TEST_F(VideoInputMacTest, ADeviceThatDoesNotStartFailsTheInnerCheck) {
   VideoInputMac input;
   platform.inputStatus = osal::Status::Error(5, "busy");
   EXPECT_FALSE(input.StartCapturing(prefs));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s: device's StartCapturing method returned failure.", kStart)) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s: INVALID capturing request (inner check).", kStart)) << log.Dump();
   EXPECT_EQ(input.GetFrameSize(0), 0U);
}

TEST_F(VideoInputMacTest, AStartWhileCapturingIsRefused) {
   VideoInputMac input;
   ASSERT_TRUE(input.StartCapturing(prefs));
   VideoBase::UserPrefs second = prefs;
   second.mUserId = "Desk#cam-1";
   EXPECT_FALSE(input.StartCapturing(second));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Device:%s - is already being used", "SetupDevice", "Desk#cam-1"))
      << log.Dump();
   input.StopCapturing(0);
}

TEST_F(VideoInputMacTest, AWrongIdReadsNothingAndStopsAllTheSame) {
   VideoInputMac input;
   ASSERT_TRUE(input.StartCapturing(prefs));
   Deliver();
   std::vector<uint8_t> picture(48);
   int length = 7;
   EXPECT_FALSE(input.GetPixels(1, picture.data(), 48, &length));
   EXPECT_EQ(length, 0);
   EXPECT_FALSE(input.GetPixels(1, picture.data(), 48, nullptr));
   EXPECT_FALSE(input.IsNewFrameAvailable(1));
   EXPECT_EQ(input.GetFrameSize(1), 0U);
   length = 7;
   EXPECT_FALSE(input.GetPixels(0, picture.data(), 47, &length)) << "no room for a frame";
   EXPECT_EQ(length, 48);
   input.StopCapturing(1);
   EXPECT_FALSE(input.IsNewFrameAvailable(0));
   input.StopCapturing(0);
}

TEST_F(VideoInputMacTest, TheChosenCameraIsOpened) {
   VideoInputMac input;
   prefs.mDeviceName = "Door";
   platform.camera = kit::FakeCaptureDevice("Door", "cam-2");
   ASSERT_TRUE(input.StartCapturing(prefs)) << log.Dump();
   EXPECT_EQ(prefs.mDeviceIndex, 1);
   EXPECT_TRUE(input.SetAttemptCaptureSize());
   input.StopCapturing(1);
   EXPECT_DEATH((void)input.SetAttemptCaptureSize(), "mWCamDev");
}

TEST_F(VideoInputMacTest, OnceASecondTheRateIsHeldAgainstTheWantedOne) {
   VideoInputMac input;
   prefs.mFrameRate = 15;
   ASSERT_TRUE(input.StartCapturing(prefs));
   AwaitRateCheck(1);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - calculated fps: %d, target_fps: %d.", "FPSCheckThreadCB", 0, 15));
   Deliver(30);
   time.AdvanceMs(1000);
   while (!log.Saw(logger::DEBUG, "%s - ratio = %f, Group = %d, Keep = %d.", "AdjustFrameDroppingPolicy", 0.5, 2, 1)) {
      std::this_thread::yield();
   }
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - calculated fps: %d, target_fps: %d.", "FPSCheckThreadCB", 30, 15));
   input.StopCapturing(0);
}

TEST_F(VideoInputMacTest, WithoutADeviceThereIsNoRate) {
   VideoInputMac input;
   EXPECT_FALSE(input.FPSCheckThreadCB());
}

TEST_F(VideoInputMacTest, WhatIsThrownAtTheStartEndsThere) {
   VideoInputMac input;
   platform.throwsAtInput = true;
   EXPECT_FALSE(input.StartCapturing(prefs));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s: Exception caught.", kStart)) << log.Dump();
}

// A device whose capture object is busy already.
class BusyInput final : public VideoInputMac {
protected:
   std::unique_ptr<MacVideoDevice> MakeDevice() override {
      auto device = std::make_unique<MacVideoDevice>();
      device->mDeviceId = "cam-1";
      EXPECT_TRUE(device->StartCapturing());
      return device;
   }
};

TEST_F(VideoInputMacTest, ACaptureObjectInUseIsRefused) {
   BusyInput input;
   EXPECT_FALSE(input.StartCapturing(prefs));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s: Video device already being captured from.", kStart)) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s: INVALID capturing request (inner check).", kStart));
   input.StopCapturing(0);
}

TEST_F(VideoInputMacTest, AStartWithoutADeviceIsTold) {
   EXPECT_FALSE(VideoInputMac::ReportStart(true, false));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s: Video device failed to open.", kStart)) << log.Dump();
   EXPECT_FALSE(VideoInputMac::ReportStart(false, true));
   EXPECT_TRUE(VideoInputMac::ReportStart(true, true));
}

// Without the wait it would look at a device that is gone.
TEST_F(VideoInputMacTest, TheRateCheckHasEndedBeforeADeviceThatWasNotStoppedGoes) {
   time.SetJumping(true); // one look after another
   for (int round = 0; round < 200; ++round) {
      auto input = std::make_unique<VideoInputMac>();
      ASSERT_TRUE(input->StartCapturing(prefs));
      const uint64_t start = time.monotonicNs();
      while (time.monotonicNs() - start < 3'000'000'000) {
         std::this_thread::yield();
      }
      input.reset();
   }
}

TEST_F(VideoInputMacTest, AnOwnerThatForgetsToStopIsToldOf) {
   {
      VideoInputMac input;
      prefs.mWidth = 642;
      EXPECT_FALSE(input.StartCapturing(prefs));
   }
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - abrupt shutdown", "virtual VideoInputMac::~VideoInputMac()")) << log.Dump();
}

} // namespace
