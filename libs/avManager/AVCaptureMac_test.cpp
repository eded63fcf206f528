#include "libs/avManager/AVCaptureMac.h"

#include "libs/avManager/AVCaptureFunctions.h"
#include "libs/avManager/MacVideoDevice.h"

#include "lib/mfw/common/logger.h"
#include "tests/kit/FakeCapture.h"
#include "tests/kit/LogCapture.h"

#include "osal/Platform.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;

constexpr const char *kStart = "-[AVCapture startCapturingVideo:]";
constexpr const char *kStop = "-[AVCapture stopCapturingVideo]";
constexpr const char *kSelect = "-[AVCaptureMac selectCameraForDeviceID:]";
constexpr const char *kOutput = "-[AVCapture captureOutput:didOutputSampleBuffer:fromConnection:]";
constexpr const char *kNext = "-[AVCapture getNextFrame:frameSize:]";

osal::Ref<osal::SampleBuffer> Held(kit::FakeFrame *frame) {
   return osal::Ref<osal::SampleBuffer>::adopt(frame);
}

// The address that the line about the intermediate image names.
void *IntermediateOf(const kit::LogCapture &log) {
   void *address = nullptr;
   for (const kit::LogCapture::Line &line : log.Lines()) {
      if (const size_t at = line.text.find("allocated ("); at != std::string::npos) {
         std::sscanf(line.text.c_str() + at, "allocated (%p", &address);
      }
   }
   return address;
}

// The capture object under its client, a MacVideoDevice whose event says that a frame was kept.
class AVCaptureTest : public testing::Test {
protected:
   AVCaptureTest() {
      platform.camera = kit::FakeCaptureDevice("Desk", "cam-1", {{osal::FourCC("420v"), {640, 480}, 1, 30}});
      device = std::make_unique<MacVideoDevice>();
      device->mFrameEvent = event;
   }
   ~AVCaptureTest() override {
      device.reset();
      CloseHandle(event);
   }

   AVCapture &Object() { return *static_cast<AVCapture *>(device->mCapture); }

   void Start(uint32_t width = 8, uint32_t height = 4, uint32_t rate = 30) {
      Object().selectVdoRes(width, height, rate);
      ASSERT_TRUE(Object().startCapturingVideo("cam-1")) << log.Dump();
   }
   [[nodiscard]] bool WasSignalled() {
      const bool was = WaitForSingleObject(event, 0) == WAIT_OBJECT_0;
      ResetEvent(event);
      return was;
   }

   kit::FakeCapture platform;
   const osal::ScopedCapture inForce{platform};
   kit::LogCapture log;
   const HANDLE event = CreateEvent(nullptr, true, false, nullptr);
   std::unique_ptr<MacVideoDevice> device;
};

// ---- Start and stop -------------------------------------------------------------------------------------------------

TEST_F(AVCaptureTest, StartsInTheStatedOrder) {
   Start(640, 480, 25);
   EXPECT_THAT(platform.calls,
               ElementsAre("setAlwaysDiscardsLateVideoFrames YES", "setVideoSettings", "setSampleBufferDelegate",
                           "beginConfiguration", "addInput", "addOutput", "commitConfiguration",
                           "connectionWithMediaType", "setVideoMaxFrameDuration", "startRunning"));
   EXPECT_EQ(platform.queueLabel, "MAVR Video Queue");
   EXPECT_EQ(platform.queueCapacity, 10U);
   EXPECT_EQ(platform.videoSettings.pixelFormatType, osal::FourCC("420f"));
   EXPECT_EQ(platform.videoSettings.size, (osal::VideoDimensions{640, 480}));
   EXPECT_TRUE(Object().videoInUse());
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - deviceID='%s'", kStart, "cam-1")) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Video device '%s' (ID:%s) selected", kSelect, "Desk", "cam-1"));
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - Supported format and resolution: %c%c%c%c, %dx%d", kSelect, '4', '2', '0',
                       'v', 640, 480));
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - Supported frame rate range: %g - %g ({%lld, %d} - {%lld, %d})", kSelect,
                       1.0, 30.0, 1LL, 1, 1LL, 30));
   EXPECT_TRUE(
      log.Saw(logger::DEBUG, "%s - Min frame rate set to %ufps", "-[AVCaptureMac setVideoFrameDuration]", 25U));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Video capture device found", kStart));
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - %s", "-[AVCapture selectVdoRes:y:rate:]", "true"));
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - %s", "-[AVCapture videoInUse]", "NO"));
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - %s", "-[AVCapture videoInUse]", "YES"));
}

TEST_F(AVCaptureTest, ARateThatIsNoWholeNumberIsShownInThousandths) {
   platform.camera = kit::FakeCaptureDevice("Desk", "cam-1", {{osal::FourCC("420v"), {640, 480}, 0, 29.97}});
   Start();
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - Supported frame rate range: %g - %g ({%lld, %d} - {%lld, %d})", kSelect,
                       0.0, 29.97, 0LL, 0, 1000LL, 29970))
      << log.Dump();
}

TEST_F(AVCaptureTest, ARateThatNoCameraHasHasNoDuration) {
   platform.camera = kit::FakeCaptureDevice("Desk", "cam-1", {{osal::FourCC("420v"), {640, 480}, -1, 4294967295.0}});
   Start();
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - Supported frame rate range: %g - %g ({%lld, %d} - {%lld, %d})", kSelect,
                       -1.0, 4294967295.0, 0LL, 0, 0LL, 0))
      << log.Dump();
}

TEST_F(AVCaptureTest, WithoutASizeTheSettingsNameNone) {
   ASSERT_TRUE(Object().startCapturingVideo("cam-1"));
   EXPECT_FALSE(platform.videoSettings.size.has_value());
}

TEST_F(AVCaptureTest, ANullIdIsTheDefaultCamera) {
   ASSERT_TRUE(Object().startCapturingVideo(nullptr));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Video device not specified, selecting default video source", kSelect))
      << log.Dump();
   Object().stopCapturingVideo();
   platform.camera = nullptr;
   EXPECT_FALSE(Object().startCapturingVideo(nullptr));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Default video device not found", kSelect)) << log.Dump();
}

TEST_F(AVCaptureTest, APlatformThatCannotLimitTheRateIsToldOf) {
   platform.limitsFrameDuration = false;
   Start();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - unable to limit frame rate", "-[AVCaptureMac setVideoFrameDuration]"))
      << log.Dump();
}

TEST_F(AVCaptureTest, EachFailureOfAStartIsToldAndLeavesVideoUnused) {
   EXPECT_FALSE(Object().startCapturingVideo("another"));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Video device (ID:%s) not found", kSelect, "another")) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Video device acquired fail", kStart));

   platform.inputStatus = osal::Status::Error(5, "refused");
   EXPECT_FALSE(Object().startCapturingVideo("cam-1"));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Failed to create AVCaptureDeviceInput", kStart)) << log.Dump();
   platform.inputStatus = osal::Status::Ok();

   platform.queueStatus = osal::Status::Error(12, "no memory");
   EXPECT_FALSE(Object().startCapturingVideo("cam-1"));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - failed to create video buffer queue", kStart)) << log.Dump();
   platform.queueStatus = osal::Status::Ok();
   EXPECT_TRUE(platform.calls.empty()) << "nothing was configured so far";

   platform.startStatus = osal::Status::Error(5, "the camera is busy");
   EXPECT_FALSE(Object().startCapturingVideo("cam-1"));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Capture session failed to start: %s", kStart, "the camera is busy"))
      << log.Dump();
   platform.startStatus = osal::Status::Ok();

   EXPECT_FALSE(Object().videoInUse());
   EXPECT_TRUE(Object().startCapturingVideo("cam-1")) << "and the next try works";
}

TEST_F(AVCaptureTest, WithoutASessionThereIsNoStart) {
   platform.hasSessions = false;
   MacVideoDevice other;
   EXPECT_FALSE(static_cast<AVCapture *>(other.mCapture)->startCapturingVideo("cam-1"));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - no AVCaptureSession", kStart)) << log.Dump();
}

TEST_F(AVCaptureTest, RequiredARefusedInputOrOutputIsNoFailure) {
   platform.takesInput = false;
   platform.takesOutput = false;
   Start();
   EXPECT_EQ(std::count(platform.calls.begin(), platform.calls.end(), "addInput"), 0);
   EXPECT_EQ(std::count(platform.calls.begin(), platform.calls.end(), "addOutput"), 0);
   EXPECT_TRUE(Object().videoInUse());
}

TEST_F(AVCaptureTest, ASecondStartIsRefusedAndChangesNothing) {
   Start();
   platform.calls.clear();
   EXPECT_FALSE(Object().startCapturingVideo("cam-1"));
   EXPECT_TRUE(platform.calls.empty());
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Video in use", kStart)) << log.Dump();
}

TEST_F(AVCaptureTest, StopsInTheStatedOrderAndOnce) {
   Start();
   platform.calls.clear();
   EXPECT_TRUE(Object().stopCapturingVideo());
   EXPECT_THAT(platform.calls,
               ElementsAre("beginConfiguration", "removeInput", "removeOutput", "commitConfiguration", "stopRunning"));
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s", kStop));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Disabling capture session", "-[AVCaptureMac checkAndStopCaptureSession]"))
      << log.Dump();
   EXPECT_FALSE(Object().videoInUse());
   EXPECT_FALSE(Object().stopCapturingVideo());
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Video not in use", kStop)) << log.Dump();
}

// ---- Deliveries -----------------------------------------------------------------------------------------------------

TEST(KeepsFrame, KeepsTheFirstOfEachCycle) {
   const auto kept = [](uint32_t group, uint32_t keep) {
      std::vector<uint32_t> indices;
      for (uint32_t i = 0; i < 18; ++i) {
         if (avcapture::KeepsFrame(i, group, keep)) {
            indices.push_back(i);
         }
      }
      return indices;
   };
   EXPECT_EQ(kept(1, 1).size(), 18U);
   EXPECT_THAT(kept(6, 1), ElementsAre(0, 6, 12));
   EXPECT_THAT(kept(3, 2), ElementsAre(0, 1, 3, 4, 6, 7, 9, 10, 12, 13, 15, 16));
   EXPECT_EQ(kept(6, 5).size(), 15U);
   EXPECT_FALSE(avcapture::KeepsFrame(5, 6, 5));
   EXPECT_FALSE(avcapture::KeepsFrame(11, 6, 5));
   EXPECT_FALSE(avcapture::KeepsFrame(17, 6, 5));
}

TEST_F(AVCaptureTest, AKeptFrameIsQueuedAndTheClientIsTold) {
   Start();
   EXPECT_FALSE(Object().isNewFrameAvailable());
   platform.Deliver(Held(new kit::FakeFrame(8, 4)));
   EXPECT_TRUE(Object().isNewFrameAvailable());
   EXPECT_TRUE(WasSignalled());
   EXPECT_EQ(Object().getTotalFrameNum(), 1U);
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - Video", kOutput));
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - frame idx: %d, mGroup: %d, mKeep: %d", kOutput, 0, 1, 1)) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - keep frame idx: %d", kOutput, 0)) << log.Dump();
}

TEST_F(AVCaptureTest, ADroppedFrameIsCountedAndNothingMore) {
   Start();
   Object().updateDropParameters(2, 1);
   platform.Deliver(Held(new kit::FakeFrame(8, 4)));
   (void)WasSignalled();
   platform.Deliver(Held(new kit::FakeFrame(8, 4)));
   EXPECT_FALSE(WasSignalled());
   EXPECT_EQ(Object().getTotalFrameNum(), 2U);
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - drop frame idx: %d", kOutput, 1)) << log.Dump();
}

TEST_F(AVCaptureTest, TheEleventhFrameWithoutAReaderIsLostAndCounted) {
   Start();
   for (int i = 0; i < 11; ++i) {
      platform.Deliver(Held(new kit::FakeFrame(8, 4)));
   }
   EXPECT_EQ(Object().getTotalFrameNum(), 11U);
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - videoBufferQueue buffer full, dropping frame idx: %d", kOutput, 10))
      << log.Dump();
}

TEST_F(AVCaptureTest, AForeignConnectionIsAnError) {
   Start();
   platform.DeliverOnForeignConnection(Held(new kit::FakeFrame(8, 4)));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Unknown AVCaptureConnection type", kOutput)) << log.Dump();
   EXPECT_EQ(Object().getTotalFrameNum(), 0U);
}

// ---- Reading --------------------------------------------------------------------------------------------------------

TEST_F(AVCaptureTest, AFrameOfTheSelectedSizeIsOnlyTakenApart) {
   Start(8, 4);
   auto *const frame = new kit::FakeFrame(8, 4, 12);
   for (size_t i = 0; i < frame->luma.size(); ++i) {
      frame->luma[i] = static_cast<uint8_t>(i);
   }
   for (size_t i = 0; i < frame->chroma.size(); ++i) {
      frame->chroma[i] = static_cast<uint8_t>(100 + i);
   }
   const osal::Ref<osal::SampleBuffer> held = Held(frame);
   platform.Deliver(held);
   std::vector<uint8_t> picture(48 + 1, 0xEE);
   ASSERT_TRUE(Object().getNextFrame(picture.data(), 48));
   EXPECT_EQ(picture[0], 0);
   EXPECT_EQ(picture[8], 12) << "the second row, without the padding";
   EXPECT_EQ(picture[32], 100) << "Cb";
   EXPECT_EQ(picture[33], 102);
   EXPECT_EQ(picture[40], 101) << "Cr";
   EXPECT_EQ(picture[48], 0xEE);
   EXPECT_EQ(frame->locks, 0);
   EXPECT_EQ(Object().actualWidth(), 8U);
   EXPECT_EQ(Object().actualHeight(), 4U);
   EXPECT_TRUE(
      log.Saw(logger::DEBUG, "%s - Requested (%ux%u), actual (%ux%u), %s", kNext, 8U, 4U, 8U, 4U, "no scaling"))
      << log.Dump();
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - %p %d", kNext, static_cast<void *>(picture.data()), 48));
   EXPECT_TRUE(
      log.Saw(logger::TRACE, "%s - Intermediate buffer allocated (%p, %u bytes)", kNext, IntermediateOf(log), 48U))
      << log.Dump();
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - mVideoBufferQueue contains %u buffers", kNext, 1U)) << log.Dump();
}

TEST_F(AVCaptureTest, AnotherSizeIsFittedBetweenBlackBars) {
   Start(8, 8);
   auto *const frame = new kit::FakeFrame(16, 8);
   std::fill(frame->luma.begin(), frame->luma.end(), uint8_t{200});
   std::fill(frame->chroma.begin(), frame->chroma.end(), uint8_t{90});
   platform.Deliver(Held(frame));
   std::vector<uint8_t> picture(96);
   ASSERT_TRUE(Object().getNextFrame(picture.data(), 96));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Requested (%ux%u), actual (%ux%u), %s", kNext, 8U, 8U, 16U, 8U,
                       "LETTERBOX mode scaling enabled"))
      << log.Dump();
   EXPECT_EQ(picture[0], 0) << "bar";
   EXPECT_EQ(picture[64], 128);
   EXPECT_EQ(picture[3 * 8], 200) << "picture";
}

TEST_F(AVCaptureTest, AChangeOfSizeInMidStreamNeedsNothingOfTheClient) {
   Start(8, 4);
   std::vector<uint8_t> picture(48);
   for (const size_t width : std::initializer_list<size_t>{8, 8, 16, 8}) {
      platform.Deliver(Held(new kit::FakeFrame(width, 4)));
      ASSERT_TRUE(Object().getNextFrame(picture.data(), 48));
      EXPECT_EQ(Object().actualWidth(), width);
   }
   EXPECT_EQ(
      log.Count(logger::DEBUG, "%s - Requested (%ux%u), actual (%ux%u), %s", kNext, 8U, 4U, 8U, 4U, "no scaling"), 2)
      << "once for each set-up";
}

TEST_F(AVCaptureTest, NothingQueuedIsNoFrame) {
   std::vector<uint8_t> picture(48);
   EXPECT_FALSE(Object().getNextFrame(picture.data(), 48)) << "before any start";
   Start();
   EXPECT_FALSE(Object().getNextFrame(picture.data(), 48));
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - empty queue", kNext)) << log.Dump();
}

TEST_F(AVCaptureTest, RequiredAQueueThatGivesNothingCountsAsAFrame) {
   Start();
   platform.Deliver(Held(new kit::FakeFrame(8, 4)));
   platform.queueGivesNothing = true;
   std::vector<uint8_t> picture(48, 0xEE);
   EXPECT_TRUE(Object().getNextFrame(picture.data(), 48));
   EXPECT_EQ(picture[0], 0xEE);
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - no sample buffer", kNext)) << log.Dump();
}

TEST_F(AVCaptureTest, RequiredAFrameThatCannotBeLockedCountsAsAFrame) {
   Start();
   auto *const frame = new kit::FakeFrame(8, 4);
   frame->lockStatus = -6660;
   platform.Deliver(Held(frame));
   std::vector<uint8_t> picture(48, 0xEE);
   EXPECT_TRUE(Object().getNextFrame(picture.data(), 48));
   EXPECT_EQ(picture[0], 0xEE);
   EXPECT_FALSE(Object().isNewFrameAvailable());
}

TEST_F(AVCaptureTest, AnotherPixelFormatIsRefusedAndTheFormerPictureStays) {
   Start();
   auto *const frame = new kit::FakeFrame(8, 4);
   frame->format = osal::FourCC("420v");
   const osal::Ref<osal::SampleBuffer> held = Held(frame);
   platform.Deliver(held);
   std::vector<uint8_t> picture(48, 0xEE);
   EXPECT_FALSE(Object().getNextFrame(picture.data(), 48));
   EXPECT_EQ(picture[0], 0xEE);
   EXPECT_EQ(frame->locks, 0);
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Unsupported internal pixel format", kNext)) << log.Dump();
}

TEST_F(AVCaptureTest, AFrameWithoutRoomForItsIntermediateIsRefused) {
   Start();
   platform.Deliver(Held(new kit::FakeFrame(0, 0)));
   std::vector<uint8_t> picture(48, 0xEE);
   EXPECT_FALSE(Object().getNextFrame(picture.data(), 48));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - intermediate buffer allocation failed", kNext)) << log.Dump();
}

TEST_F(AVCaptureTest, TheSizeIsAssertedWhereNothingIsScaled) {
   Start(8, 4);
   platform.Deliver(Held(new kit::FakeFrame(8, 4)));
   std::vector<uint8_t> picture(100);
   EXPECT_DEATH((void)Object().getNextFrame(picture.data(), 47), "mInterFrameSize == size");
}

// ---- The plain functions, and the client ----------------------------------------------------------------------------

// The line comes before the end: the process ends with 3 when it was seen.
template <typename Call>
void EndWith(const kit::LogCapture &log, const char *function, Call call) {
   static const kit::LogCapture *lines = nullptr;
   static const char *name = nullptr;
   lines = &log;
   name = function;
   std::signal(SIGABRT, [](int) { std::_Exit(lines->Saw(logger::ERROR, "%s - Bad capture type", name) ? 3 : 4); });
   call();
}

TEST_F(AVCaptureTest, OtherTypesEndTheProcess) {
   EXPECT_EXIT(EndWith(log, "AVCaptureRegister", [] { (void)AVCaptureRegister(nullptr, 3); }),
               testing::ExitedWithCode(3), "");
   EXPECT_EXIT(EndWith(log, "AVCaptureUnRegister", [] { AVCaptureUnRegister(nullptr, 0); }), testing::ExitedWithCode(3),
               "");
}

TEST_F(AVCaptureTest, NoObjectToUnregisterIsAnError) {
   AVCaptureUnRegister(nullptr, CaptureTypeVideo);
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Unexpected here", "AVCaptureUnRegister")) << log.Dump();
}

TEST_F(AVCaptureTest, TheLastReferenceEndsIt) {
   device.reset();
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - AVCapture dealloc", "-[AVCapture dealloc]")) << log.Dump();
   device = std::make_unique<MacVideoDevice>();
}

TEST_F(AVCaptureTest, AFrameWithoutAClientIsAFault) {
   Start();
   Object().setClientVIM(nullptr);
   EXPECT_DEATH(platform.Deliver(Held(new kit::FakeFrame(8, 4))), "clientVIM");
   EXPECT_DEATH(AVCapture_VIM_SendNotifs(nullptr), "obj");
}

TEST_F(AVCaptureTest, FactsAreThoseOfTheCapture) {
   Start(8, 4);
   platform.Deliver(Held(new kit::FakeFrame(8, 4)));
   std::vector<uint8_t> picture(48);
   ASSERT_TRUE(AVCaptureGetNextFrame(device->mCapture, picture.data(), 48));
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - %p %d", "bool AVCaptureGetNextFrame(void *, unsigned char *, size_t)",
                       static_cast<void *>(picture.data()), 48))
      << log.Dump();
   platform.sessionHealth = osal::Status::Error(19, "unplugged");
   const CaptureFacts facts = AVCaptureGetFacts(device->mCapture);
   EXPECT_EQ(facts.deliveredFrames, 1U);
   EXPECT_EQ(facts.width, 8U);
   EXPECT_EQ(facts.height, 4U);
   EXPECT_EQ(facts.health.reason, "unplugged");
}

TEST_F(AVCaptureTest, TheClientsRecordForwardsAndTellsItsResults) {
   device->mDeviceId = "cam-1";
   device->mWidth = 8;
   device->mHeight = 4;
   device->mFrameRate = 30;
   ASSERT_TRUE(device->StartCapturing());
   EXPECT_EQ(device->mFrameSize, 48U);
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - %s", "bool MacVideoDevice::SelectVdoRes()", "true"));
   EXPECT_TRUE(
      log.Saw(logger::TRACE, "%s - deviceID='%s' %s", "bool MacVideoDevice::StartCapturing()", "cam-1", "true"))
      << log.Dump();
   EXPECT_FALSE(device->IsNextFrameAvailable());
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - %s", "bool MacVideoDevice::IsNextFrameAvailable(bool)", "false"));
   platform.Deliver(Held(new kit::FakeFrame(8, 4)));
   EXPECT_TRUE(device->IsNextFrameAvailable());
   std::vector<uint8_t> picture(48);
   EXPECT_TRUE(device->GetNextFrame(picture.data(), 48));
   EXPECT_TRUE(device->StopCapturing());
   EXPECT_FALSE(device->StopCapturing());
   EXPECT_TRUE(
      log.Saw(logger::TRACE, "%s - deviceID='%s' %s", "bool MacVideoDevice::StopCapturing()", "cam-1", "false"))
      << log.Dump();
   device->mDeviceId = "gone";
   EXPECT_FALSE(device->StartCapturing());
}

TEST_F(AVCaptureTest, AClientWithoutAnEventIsNotWoken) {
   Start();
   device->mFrameEvent = nullptr;
   platform.Deliver(Held(new kit::FakeFrame(8, 4)));
   EXPECT_TRUE(Object().isNewFrameAvailable());
}

// The base class alone decides nothing that belongs to a platform.
class Bare final : public AVCapture {
public:
   using AVCapture::AVCapture;
   void Call(int which) {
      switch (which) {
      case 0:
         return setVideoFrameDuration();
      case 1:
         return (void)setupVideoOutputParameter();
      case 2:
         return (void)selectCameraForDeviceID(nullptr);
      case 3:
         return checkAndStopCaptureSession();
      case 4:
         return setupVideoOutputResolution();
      case 5:
         return (void)startCapturingAudio(nullptr);
      default:
         return (void)stopCapturingAudio();
      }
   }
};

TEST_F(AVCaptureTest, TheAbstractFormsEndTheProcess) {
   auto *const bare = new Bare(platform);
   const char *const names[] = {"setVideoFrameDuration",      "setupVideoOutputParameter",  "selectCameraForDeviceID:",
                                "checkAndStopCaptureSession", "setupVideoOutputResolution", "startCapturingAudio:",
                                "stopCapturingAudio"};
   for (int i = 0; i < 7; ++i) {
      EXPECT_DEATH(bare->Call(i),
                   std::string("AVCapture.mm.*") + names[i] + " method of superclass is called unexpected");
   }
   bare->release();
}

} // namespace
