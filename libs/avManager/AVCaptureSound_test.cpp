#include "libs/avManager/AudioCaptureTestKit.h"

#include "libs/avManager/AVCaptureFunctions.h"
#include "libs/avManager/AVCaptureMac.h"

#include "lib/mfw/common/logger.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <tuple>

// The audio half of the capture object.

namespace {

using testing::ElementsAre;

constexpr const char *kStart = "-[AVCaptureMac startCapturingAudio:]";
constexpr const char *kStop = "-[AVCaptureMac stopCapturingAudio]";

// An object of its own on a client that is not open.
class AVCaptureSoundTest : public AudioCaptureTest {
protected:
   AVCaptureSoundTest()
       : object(*static_cast<AVCapture *>(AVCaptureRegister(&client, CaptureTypeAudio))) {
      object.audioSetPCMFormat(48000, 16, 1);
   }
   ~AVCaptureSoundTest() override {
      if (object.audioInUse()) {
         object.stopCapturingAudio();
      }
      AVCaptureUnRegister(&object, CaptureTypeAudio);
   }

   AudioCaptureMac client;
   AVCapture &object;
};

TEST_F(AVCaptureSoundTest, StartsInTheStatedOrder) {
   ASSERT_TRUE(AVCaptureStartCapturingAudio(&object, "mic-1")) << log.Dump();
   EXPECT_THAT(platform.calls,
               ElementsAre("setSampleBufferDelegate", "setAudioSettings", "beginConfiguration", "addInput", "addOutput",
                           "commitConfiguration", "connectionWithMediaType", "startRunning"));
   EXPECT_EQ(platform.queueLabel, "MAVR Audio Queue");
   EXPECT_EQ(platform.audioSettings, (osal::AudioSettings{osal::FourCC("lpcm"), 48000, 1, 16, false, false}));
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - %s", "-[AVCapture audioInUse]", "NO"));
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - deviceID='%s'", kStart, "mic-1"));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Audio device '%s' (ID:%s) selected", kStart, "Desk", "mic-1"));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "Mac %s - Audio captured start", kStart)) << log.Dump();
   EXPECT_TRUE(object.audioInUse());
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - %s", "-[AVCapture audioInUse]", "YES"));
}

TEST_F(AVCaptureSoundTest, ANullIdIsTheDefaultMicrophone) {
   ASSERT_TRUE(object.startCapturingAudio(nullptr));
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - deviceID='%s'", kStart, "(null)")) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Audio device not specified, selecting default audio source", kStart));
   object.stopCapturingAudio();
   platform.microphone = nullptr;
   EXPECT_FALSE(object.startCapturingAudio(nullptr));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Default audio device not found", kStart)) << log.Dump();
}

TEST_F(AVCaptureSoundTest, EachFailureOfAStartIsToldAndLeavesAudioUnused) {
   EXPECT_FALSE(object.startCapturingAudio("another"));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Audio device (ID:%s) not found", kStart, "another")) << log.Dump();

   platform.inputStatus = osal::Status::Error(5, "refused");
   EXPECT_FALSE(object.startCapturingAudio("mic-1"));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Failed to create AVCaptureDeviceInput", kStart)) << log.Dump();
   platform.inputStatus = osal::Status::Ok();
   EXPECT_TRUE(platform.calls.empty()) << "nothing was configured so far";

   platform.startStatus = osal::Status::Error(16, "the microphone is busy");
   EXPECT_FALSE(object.startCapturingAudio("mic-1"));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Capture session failed to start: %s", kStart, "the microphone is busy"))
      << log.Dump();
   EXPECT_EQ(platform.calls.back(), "commitConfiguration") << "the input and the output are out again";
   platform.startStatus = osal::Status::Ok();

   EXPECT_FALSE(object.audioInUse());
   EXPECT_TRUE(object.startCapturingAudio("mic-1")) << "and the next try works";
}

TEST_F(AVCaptureSoundTest, WithoutASessionThereIsNoStart) {
   platform.hasSessions = false;
   void *const other = AVCaptureRegister(&client, CaptureTypeAudio);
   EXPECT_FALSE(AVCaptureStartCapturingAudio(other, "mic-1"));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - no AVCaptureSession", kStart)) << log.Dump();
   AVCaptureUnRegister(other, CaptureTypeAudio);
}

TEST_F(AVCaptureSoundTest, RequiredARefusedInputOrOutputIsNoFailure) {
   platform.takesInput = false;
   platform.takesOutput = false;
   EXPECT_TRUE(object.startCapturingAudio("mic-1"));
   EXPECT_THAT(platform.calls, testing::Not(testing::Contains("addInput")));
   EXPECT_THAT(platform.calls, testing::Not(testing::Contains("addOutput")));
}

TEST_F(AVCaptureSoundTest, ASecondStartIsRefusedAndChangesNothing) {
   ASSERT_TRUE(object.startCapturingAudio("mic-1"));
   platform.calls.clear();
   EXPECT_FALSE(object.startCapturingAudio("mic-1"));
   EXPECT_TRUE(platform.calls.empty());
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Audio device in use", kStart)) << log.Dump();
}

TEST_F(AVCaptureSoundTest, StopsInTheStatedOrderAndOnce) {
   ASSERT_TRUE(object.startCapturingAudio("mic-1"));
   platform.calls.clear();
   EXPECT_TRUE(AVCaptureStopCapturingAudio(&object));
   EXPECT_THAT(platform.calls,
               ElementsAre("beginConfiguration", "removeInput", "removeOutput", "commitConfiguration", "stopRunning"));
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s", kStop));
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - Disabling capture session", kStop)) << log.Dump();
   EXPECT_FALSE(object.audioInUse());
   EXPECT_FALSE(AVCaptureStopCapturingAudio(&object));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Audio not in use", kStop)) << log.Dump();
}

TEST_F(AVCaptureSoundTest, TheSessionRunsAsLongAsOneMediumIsInUse) {
   platform.camera = kit::FakeCaptureDevice("Cam", "cam-1");
   const auto count = [this](const char *call) {
      return std::count(platform.calls.begin(), platform.calls.end(), call);
   };
   ASSERT_TRUE(object.startCapturingVideo("cam-1"));
   ASSERT_TRUE(object.startCapturingAudio("mic-1"));
   EXPECT_EQ(count("startRunning"), 1);
   EXPECT_TRUE(object.stopCapturingVideo());
   EXPECT_EQ(count("stopRunning"), 0) << "sound goes on";
   ASSERT_TRUE(object.startCapturingVideo("cam-1"));
   EXPECT_TRUE(object.stopCapturingAudio());
   EXPECT_EQ(count("stopRunning"), 0) << "video goes on";
   EXPECT_TRUE(object.stopCapturingVideo());
   EXPECT_EQ(count("stopRunning"), 1);
}

TEST_F(AVCaptureSoundTest, ASizeNeedsAWholeFormat) {
   EXPECT_EQ(AVCaptureAudioGetReqdBufSize(&object, 20), 1920);
   for (const auto &[rate, bits, channels] : {std::tuple{0, 16, 1}, {48000, 0, 1}, {48000, 16, 0}}) {
      AVCaptureAudioSetPCMFormat(&object, rate, bits, channels);
      log.Clear();
      EXPECT_EQ(AVCaptureAudioGetReqdBufSize(&object, 20), 0);
      EXPECT_EQ(log.Count(logger::DEBUG, "%s - ", "-[AVCapture audioGetReqdBufSize:]"), 1) << log.Dump();
   }
   AVCaptureAudioSetPCMFormat(&object, 44100, 16, 1);
   EXPECT_EQ(AVCaptureAudioGetReqdBufSize(&object, 10), 800);
}

TEST_F(AVCaptureSoundTest, SoundBeforeASizeIsDropped) {
   ASSERT_TRUE(object.startCapturingAudio("mic-1"));
   Deliver(5000);
   EXPECT_FALSE(client.IsDataAvailable());
}

TEST_F(AVCaptureSoundTest, AForeignConnectionIsAnError) {
   ASSERT_TRUE(object.startCapturingAudio("mic-1"));
   platform.DeliverOnForeignConnection(osal::Ref<osal::SampleBuffer>::adopt(new kit::FakeSound("xx")));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Unknown AVCaptureConnection type",
                       "-[AVCapture captureOutput:didOutputSampleBuffer:fromConnection:]"))
      << log.Dump();
}

TEST_F(AVCaptureSoundTest, SoundWithoutAClientIsAFault) {
   object.setClientACM(nullptr);
   const char *cursor = nullptr;
   EXPECT_DEATH(AVCaptureSendANotifs(&object), "clientACM");
   EXPECT_DEATH((void)AVCaptureCopyRecordedData(&object, &cursor, 0, nullptr, 0), "clientACM");
   EXPECT_DEATH(AVCaptureTimestampCache(&object), "clientACM");
}

TEST_F(AVCaptureSoundTest, AClientIsOfOneMedium) {
   EXPECT_EQ(object.clientACM(), &client);
   EXPECT_EQ(object.clientVIM(), nullptr);
}

} // namespace
