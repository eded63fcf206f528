#include "osal/apple/AppleCapture.h"

#include "osal/apple/fakes/Fakes.h"
#include "osal/unavailable/UnavailableCapture.h"
#include "tests/conformance/CaptureCollector.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <utility>

namespace osal {
namespace {

using conformance::Collector;

constexpr AudioSettings kSound{FourCC("lpcm"), 48000, 1, 16, false, false};

class AppleCaptureTest : public testing::Test {
protected:
   AppleCaptureTest() { fakes::ShowDevices({{"Camera", "cam"}}, {{"Microphone", "mic"}}); }
   ~AppleCaptureTest() override {
      mSession.reset();
      fakes::SetStart(fakes::Start::Works);
      fakes::RefuseMembers(false);
      fakes::RaiseAtDevices(false);
      fakes::SplitSound(false);
      fakes::SendEmptyBuffers(false);
      fakes::SetAccess(true, fakes::Access::Authorized);
      fakes::ShowDevices({}, {});
   }

   std::shared_ptr<CaptureDeviceInput> Input(MediaType kind) {
      std::shared_ptr<const CaptureDevice> device;
      EXPECT_TRUE(mCapture->defaultDeviceWithMediaType(kind, &device).ok());
      std::shared_ptr<CaptureDeviceInput> input;
      const Status status = mCapture->deviceInputWithDevice(device, kind, &input);
      EXPECT_TRUE(status.ok()) << status.reason;
      return input;
   }
   void Add(const std::shared_ptr<CaptureOutput> &output, MediaType kind) {
      output->setSampleBufferDelegate(&mCollector, mQueue);
      mInput = Input(kind);
      mSession->beginConfiguration();
      mSession->addInput(mInput);
      mSession->addOutput(output);
      mSession->commitConfiguration();
   }
   void AddCamera() {
      mVideo->setVideoSettings({FourCC("420f"), VideoDimensions{322, 242}});
      Add(mVideo, MediaType::Video);
   }
   void AddMicrophone() {
      mAudio->setAudioSettings(kSound);
      Add(mAudio, MediaType::Audio);
   }

   const std::unique_ptr<Capture> mCapture = MakeAppleCapture();
   std::unique_ptr<CaptureSession> mSession = mCapture->makeSession();
   const std::shared_ptr<VideoDataOutput> mVideo = mCapture->makeVideoDataOutput();
   const std::shared_ptr<AudioDataOutput> mAudio = mCapture->makeAudioDataOutput();
   const std::shared_ptr<SerialQueue> mQueue = mCapture->makeSerialQueue("Some Queue");
   std::shared_ptr<CaptureDeviceInput> mInput;
   Collector mCollector;
};

TEST_F(AppleCaptureTest, WhatAFrameworkRaisesWhileLookingIsAStatus) {
   fakes::RaiseAtDevices(true);
   std::shared_ptr<const CaptureDevice> device;
   EXPECT_EQ(mCapture->deviceWithUniqueID("cam", MediaType::Video, &device).reason,
             "the device cannot be looked up: the camera service has died");
   EXPECT_EQ(device, nullptr);
   EXPECT_EQ(mCapture->defaultDeviceWithMediaType(MediaType::Video, &device).reason,
             "the default device cannot be looked up: the camera service has died");
   EXPECT_EQ(device, nullptr);
}

TEST_F(AppleCaptureTest, AnIdThatIsNoTextIsNoDevice) {
   std::shared_ptr<const CaptureDevice> device;
   EXPECT_FALSE(mCapture->deviceWithUniqueID("\xFF\xFE", MediaType::Video, &device).ok());
   EXPECT_EQ(device, nullptr);
}

TEST_F(AppleCaptureTest, ADeniedCameraCannotBeOpenedAndThePlatformSaysWhy) {
   std::shared_ptr<const CaptureDevice> camera;
   ASSERT_TRUE(mCapture->defaultDeviceWithMediaType(MediaType::Video, &camera).ok());
   fakes::SetAccess(true, fakes::Access::Denied);
   std::shared_ptr<CaptureDeviceInput> input;
   const Status status = mCapture->deviceInputWithDevice(camera, MediaType::Video, &input);
   EXPECT_EQ(status.code, -11852);
   EXPECT_EQ(status.reason, "the device cannot be opened: The application is not authorized.");
   EXPECT_EQ(input, nullptr);
}

TEST_F(AppleCaptureTest, ADeviceThatIsGoneCannotBeOpened) {
   std::shared_ptr<const CaptureDevice> camera;
   ASSERT_TRUE(mCapture->defaultDeviceWithMediaType(MediaType::Video, &camera).ok());
   fakes::ShowDevices({}, {});
   std::shared_ptr<CaptureDeviceInput> input;
   EXPECT_EQ(mCapture->deviceInputWithDevice(camera, MediaType::Video, &input).code, -11814);
   EXPECT_EQ(camera->localizedName(), "Camera") << "but its facts are kept";
}

TEST_F(AppleCaptureTest, AStartThatRaisesOrFailsIsAStatusAndTheNextMayWork) {
   AddCamera();
   fakes::SetStart(fakes::Start::Raises);
   EXPECT_EQ(mSession->startRunning().reason, "the capture session does not start: the camera service has died");
   EXPECT_FALSE(mSession->isRunning());
   EXPECT_TRUE(mSession->health().ok()) << "of a session that does not run";
   fakes::SetStart(fakes::Start::Fails);
   EXPECT_EQ(mSession->startRunning().reason, "the capture session does not start");
   EXPECT_FALSE(mSession->isRunning());
   fakes::SetStart(fakes::Start::Works);
   ASSERT_TRUE(mSession->startRunning().ok());
   EXPECT_TRUE(mCollector.Await(1));
   EXPECT_TRUE(mSession->health().ok()) << mSession->health().reason;
}

TEST_F(AppleCaptureTest, AStartWithinAConfigurationWorksAndTheConfigurationGoesOn) {
   mSession->beginConfiguration();
   mVideo->setVideoSettings({FourCC("420f"), VideoDimensions{322, 242}});
   mVideo->setSampleBufferDelegate(&mCollector, mQueue);
   mInput = Input(MediaType::Video);
   mSession->addInput(mInput);
   mSession->addOutput(mVideo);
   ASSERT_TRUE(mSession->startRunning().ok());
   ASSERT_TRUE(mCollector.Await(1));
   mSession->removeInput(mInput);
   mSession->stopRunning();
   EXPECT_EQ(mVideo->connectionWithMediaType(MediaType::Video), nullptr);
   mSession->commitConfiguration();
   mSession->commitConfiguration(); // without its begin: nothing
   mSession->beginConfiguration();
   mSession->beginConfiguration(); // pairs do not nest
   mSession->addInput(mInput);
   mSession->commitConfiguration();
   ASSERT_TRUE(mSession->startRunning().ok());
   EXPECT_TRUE(mCollector.AwaitMore(1));
}

TEST_F(AppleCaptureTest, MembersThatThePlatformRefusesAreNotThere) {
   fakes::RefuseMembers(true);
   mInput = Input(MediaType::Video);
   EXPECT_FALSE(mSession->canAddInput(mInput));
   EXPECT_FALSE(mSession->canAddOutput(mVideo));
   mSession->addInput(mInput);
   mSession->addOutput(mVideo);
   EXPECT_EQ(mVideo->connectionWithMediaType(MediaType::Video), nullptr);
   EXPECT_TRUE(mSession->startRunning().ok());
   EXPECT_FALSE(mSession->health().ok());
}

TEST_F(AppleCaptureTest, SettingsThatThePlatformRefusesFailTheStartWithItsWords) {
   Add(mVideo, MediaType::Video);
   mVideo->setVideoSettings({FourCC("none"), std::nullopt});
   EXPECT_EQ(mSession->startRunning().reason, "no such pictures can be had: the pixel format is not supported");
   mVideo->setVideoSettings({FourCC("420f"), VideoDimensions{0, 10}});
   EXPECT_EQ(mSession->startRunning().reason, "no such pictures can be had: the size is not supported");
   mVideo->setVideoSettings({FourCC("420f"), std::nullopt});
   ASSERT_TRUE(mSession->startRunning().ok());
   EXPECT_TRUE(mCollector.Await(1));
}

TEST_F(AppleCaptureTest, SoundWithRefusedSettingsIsNotDeliveredBesideARunningCamera) {
   AddCamera();
   ASSERT_TRUE(mSession->startRunning().ok());
   ASSERT_TRUE(mCollector.Await(1));
   Collector sound;
   mAudio->setAudioSettings({FourCC("lpcm"), 1, 1, 16, false, false});
   mAudio->setSampleBufferDelegate(&sound, mCapture->makeSerialQueue("Sound"));
   mSession->addInput(Input(MediaType::Audio));
   mSession->addOutput(mAudio);
   EXPECT_EQ(mSession->health().reason, "no such sound can be had: the sound format is not supported");
   ASSERT_TRUE(mCollector.AwaitMore(20)) << "the other kind goes on";
   mSession->stopRunning();
   EXPECT_EQ(sound.Count(), 0u);
   mSession.reset();
}

TEST_F(AppleCaptureTest, ARuntimeErrorShowsInTheHealthAndARestartCuresIt) {
   AddCamera();
   ASSERT_TRUE(mSession->startRunning().ok());
   ASSERT_TRUE(mCollector.Await(1));
   fakes::EndCameraService();
   const Status status = mSession->health();
   EXPECT_EQ(status.code, -11819);
   EXPECT_EQ(status.reason, "the capture session has ended: The camera service has ended.");
   EXPECT_TRUE(mSession->isRunning());
   mSession->stopRunning();
   ASSERT_TRUE(mSession->startRunning().ok());
   EXPECT_TRUE(mSession->health().ok());
   EXPECT_TRUE(mCollector.AwaitMore(1));
}

TEST_F(AppleCaptureTest, AnUnpluggedCameraIsNamedInTheHealth) {
   AddCamera();
   ASSERT_TRUE(mSession->startRunning().ok());
   fakes::ShowDevices({}, {});
   EXPECT_EQ(mSession->health().reason, "\"Camera\" is not connected any more");
}

TEST_F(AppleCaptureTest, ACameraServiceThatDoesNotAnswerHoldsNobodyUp) {
   const auto impatient = MakeAppleCapture(std::chrono::milliseconds(20));
   mSession = impatient->makeSession();
   AddCamera();
   fakes::SetStart(fakes::Start::Stalls);
   EXPECT_TRUE(mSession->startRunning().ok()) << "it may come yet";
   while (mSession->health().ok()) {
      std::this_thread::yield();
   }
   EXPECT_EQ(mSession->health().reason, "the camera service does not answer");
   fakes::SetStart(fakes::Start::Works);
   EXPECT_TRUE(mCollector.Await(1)) << "and it did";
   while (!mSession->health().ok()) {
      std::this_thread::yield();
   }
}

TEST_F(AppleCaptureTest, ASessionCanBeDroppedWhileTheCameraServiceDoesNotAnswer) {
   const auto impatient = MakeAppleCapture(std::chrono::milliseconds(20));
   mSession = impatient->makeSession();
   AddCamera();
   fakes::SetStart(fakes::Start::Stalls);
   EXPECT_TRUE(mSession->startRunning().ok());
   mSession->stopRunning();
   mSession.reset();
   EXPECT_EQ(mCollector.Count(), 0u);
   fakes::SetStart(fakes::Start::Works);
   fakes::AwaitIdleQueues();
   EXPECT_FALSE(mCollector.IsInCall());
}

TEST_F(AppleCaptureTest, PixelsAreReadBetweenLockAndUnlock) {
   mCollector.LetGo(1);
   AddCamera();
   ASSERT_TRUE(mSession->startRunning().ok());
   ASSERT_TRUE(mCollector.Await(1));
   PixelBuffer *const image = mCollector.Kept().front()->imageBuffer();
   EXPECT_EQ(image->width(), 322u);
   EXPECT_EQ(image->height(), 242u);
   EXPECT_GT(image->bytesPerRowOfPlane(0), 322u) << "rows are padded";
   fakes::FailPixelLocks(1);
   EXPECT_EQ(image->lockBaseAddress(), -6660);
   ASSERT_EQ(image->lockBaseAddress(), 0);
   const uint8_t *const row = image->baseAddressOfPlane(0);
   ASSERT_NE(row, nullptr);
   EXPECT_NE(row[321], 255);
   EXPECT_EQ(row[322], 255) << "what is behind the last pixel is no pixel";
   image->unlockBaseAddress();
   mSession->stopRunning();
   mCollector.LetGo();
}

TEST_F(AppleCaptureTest, SoundThatComesInPiecesIsHandedOutInOne) {
   fakes::SplitSound(true);
   AddMicrophone();
   std::atomic<size_t> longest = 0;
   mCollector.inspect = [&](SampleBuffer &buffer) {
      size_t length = 0;
      const char *data = nullptr;
      EXPECT_EQ(buffer.dataBuffer()->getDataPointer(0, &length, &data), 0);
      EXPECT_NE(data, nullptr);
      longest = std::max(longest.load(), length);
   };
   ASSERT_TRUE(mSession->startRunning().ok());
   while (longest < 2048 && mCollector.AwaitMore(1)) {
   }
   EXPECT_EQ(longest, 2048u);
   mSession->stopRunning();
   fakes::AwaitIdleQueues(); // nobody looks at `longest` any more
}

TEST_F(AppleCaptureTest, BuffersWithNothingInThemAreNotDelivered) {
   fakes::SendEmptyBuffers(true);
   AddMicrophone();
   mCollector.inspect = [](SampleBuffer &buffer) {
      EXPECT_NE(buffer.dataBuffer(), nullptr);
   };
   ASSERT_TRUE(mSession->startRunning().ok());
   EXPECT_TRUE(mCollector.Await(10));
}

TEST_F(AppleCaptureTest, AQueueChangedWithinTheDelegateCallDoesNotLetTwoCallsOverlap) {
   AddCamera();
   const auto other = mCapture->makeSerialQueue("Other Queue");
   std::atomic<int> calls = 0;
   mCollector.inCall = [&] {
      mVideo->setSampleBufferDelegate(&mCollector, ++calls % 2 == 0 ? mQueue : other);
      std::this_thread::yield();
   };
   ASSERT_TRUE(mSession->startRunning().ok());
   EXPECT_TRUE(mCollector.Await(20));
   mSession->stopRunning();
   EXPECT_FALSE(mCollector.IsInCall());
}

TEST_F(AppleCaptureTest, AQueueOfAnotherBackendIsNone) {
   AddCamera();
   const auto nobody = MakeUnavailableCapture(Status::Error(1, "none"));
   mVideo->setSampleBufferDelegate(&mCollector, nobody->makeSerialQueue("q"));
   ASSERT_TRUE(mSession->startRunning().ok());
   Collector sound;
   mAudio->setAudioSettings(kSound);
   mAudio->setSampleBufferDelegate(&sound, mQueue);
   mSession->addInput(Input(MediaType::Audio));
   mSession->addOutput(mAudio);
   ASSERT_TRUE(sound.Await(10));
   EXPECT_EQ(mCollector.Count(), 0u);
   mSession.reset();
}

TEST_F(AppleCaptureTest, ADeliveryThatIsStillOnItsWayOutlivesItsOutput) {
   for (int round = 0; round < 20; ++round) {
      auto output = mCapture->makeVideoDataOutput();
      output->setVideoSettings({FourCC("420f"), VideoDimensions{32, 24}});
      Collector collector;
      output->setSampleBufferDelegate(&collector, mCapture->makeSerialQueue("q"));
      auto session = mCapture->makeSession();
      session->addInput(Input(MediaType::Video));
      session->addOutput(output);
      ASSERT_TRUE(session->startRunning().ok());
      ASSERT_TRUE(collector.Await(1));
      session.reset();
      output.reset();
      EXPECT_FALSE(collector.IsInCall());
   }
}

TEST_F(AppleCaptureTest, TheBufferQueueTakesItsOwnBuffersOnly) {
   class Foreign final : public SampleBuffer {
   public:
      PixelBuffer *imageBuffer() override { return nullptr; }
      const BlockBuffer *dataBuffer() override { return nullptr; }
   };
   std::unique_ptr<BufferQueue> queue;
   ASSERT_TRUE(mCapture->makeBufferQueue(1, &queue).ok());
   EXPECT_NE(queue->enqueue(Ref<SampleBuffer>::adopt(new Foreign)), 0);
   EXPECT_TRUE(queue->isEmpty());
}

TEST_F(AppleCaptureTest, BuffersInAQueueGoWithIt) {
   mCollector.LetGo(2);
   AddCamera();
   ASSERT_TRUE(mSession->startRunning().ok());
   ASSERT_TRUE(mCollector.Await(2));
   std::unique_ptr<BufferQueue> queue;
   ASSERT_TRUE(mCapture->makeBufferQueue(4, &queue).ok());
   for (const auto &buffer : mCollector.Kept()) {
      EXPECT_EQ(queue->enqueue(buffer), 0);
   }
   mCollector.LetGo();
   EXPECT_EQ(queue->getBufferCount(), 2u);
}

} // namespace
} // namespace osal
