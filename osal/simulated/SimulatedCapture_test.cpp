#include "osal/simulated/SimulatedCapture.h"

#include "osal/simulated/FrameCounter.h"
#include "osal/simulated/SimulatedDevices.h"
#include "tests/conformance/CaptureCollector.h"
#include "tests/kit/Faults.h"
#include "tests/kit/ManualClock.h"
#include "tests/kit/PerturbedSchedule.h"
#include "tests/kit/TempDir.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <thread>
#include <vector>

namespace osal {
namespace {

using conformance::Collector;
constexpr int kNoNumber = -1;

int NumberOf(SampleBuffer &buffer) {
   PixelBuffer *const image = buffer.imageBuffer();
   if (image->lockBaseAddress() != 0) {
      return -2;
   }
   const auto number =
      ReadFrameCounter(image->baseAddressOfPlane(0), image->bytesPerRowOfPlane(0), image->width(), image->height());
   image->unlockBaseAddress();
   return number ? static_cast<int>(*number) : kNoNumber;
}

/// A session on one device of a simulation file.
class SimulatedCaptureTest : public testing::Test {
protected:
   ~SimulatedCaptureTest() override { mSession.reset(); }

   void Write(const std::string &text) {
      kit::WriteFile(mFile + ".new", text);
      std::filesystem::rename(mFile + ".new", mFile);
   }

   void OpenCamera(const std::string &camera, const std::string &rest = "") {
      Write(R"({"cameras": [{"name": "Cam", "uniqueId": "c",)"
            R"( "formats": [{"width": 64, "height": 48, "maxFrameRate": 25}])" +
            camera + "}]" + rest + "}");
      Make();
      std::shared_ptr<const CaptureDevice> device;
      Status status = mCapture->deviceWithUniqueID("c", MediaType::Video, &device);
      ASSERT_TRUE(status.ok()) << status.reason;
      status = mCapture->deviceInputWithDevice(device, MediaType::Video, &mInput);
      ASSERT_TRUE(status.ok()) << status.reason;
      mVideo = mCapture->makeVideoDataOutput();
      mVideo->setAlwaysDiscardsLateVideoFrames(true);
      mVideo->setSampleBufferDelegate(&mCollector, mCapture->makeSerialQueue("Video"));
      Connect(mVideo);
      mCollector.inspect = [this](SampleBuffer &buffer) {
         mNumbers.push_back(NumberOf(buffer));
         mWidths.push_back(static_cast<int>(buffer.imageBuffer()->width()));
      };
   }

   void OpenMicrophone(const std::string &microphone, int32_t rate, const std::string &rest = "") {
      Write(R"({"microphones": [{"name": "Mic", "uniqueId": "m")" + microphone + "}]" + rest + "}");
      Make();
      std::shared_ptr<const CaptureDevice> device;
      ASSERT_TRUE(mCapture->deviceWithUniqueID("m", MediaType::Audio, &device).ok());
      ASSERT_TRUE(mCapture->deviceInputWithDevice(device, MediaType::Audio, &mInput).ok());
      mAudio = mCapture->makeAudioDataOutput();
      mAudio->setAudioSettings({FourCC("lpcm"), rate, 1, 16, false, false});
      mAudio->setSampleBufferDelegate(&mCollector, mCapture->makeSerialQueue("Audio"));
      Connect(mAudio);
      mCollector.inspect = [this](SampleBuffer &buffer) {
         size_t length = 0;
         const char *data = nullptr;
         EXPECT_EQ(buffer.dataBuffer()->getDataPointer(0, &length, &data), 0);
         mLengths.push_back(static_cast<int>(length / 2));
      };
   }

   /// Time goes on until the stream has done all that is due by then.
   void Step(kit::ManualClock &clock, uint64_t ns) {
      clock.AwaitSleepers(1);
      clock.AdvanceNs(ns);
      clock.AwaitSleepers(1);
   }

   Status AwaitTrouble() {
      while (mSession->health().ok()) {
         std::this_thread::yield();
      }
      return mSession->health();
   }

   void Make() {
      mSession.reset();
      mCapture = MakeSimulatedCapture(mFile);
      mSession = mCapture->makeSession();
   }
   void Connect(const std::shared_ptr<CaptureOutput> &output) {
      mSession->beginConfiguration();
      mSession->addInput(mInput);
      mSession->addOutput(output);
      mSession->commitConfiguration();
   }

   kit::TempDir mFolder;
   const std::string mFile = mFolder / "simulation.json";
   std::unique_ptr<Capture> mCapture;
   std::unique_ptr<CaptureSession> mSession;
   std::shared_ptr<CaptureDeviceInput> mInput;
   std::shared_ptr<VideoDataOutput> mVideo;
   std::shared_ptr<AudioDataOutput> mAudio;
   Collector mCollector;
   // Of the delivery thread, to be read once it is at rest:
   std::vector<int> mNumbers;
   std::vector<int> mWidths;
   std::vector<int> mLengths;
};

std::vector<int> UpTo(int count) {
   std::vector<int> numbers;
   for (int i = 0; i < count; ++i) {
      numbers.push_back(i);
   }
   return numbers;
}

TEST_F(SimulatedCaptureTest, FramesComeExactlyWhenTheyAreDue) {
   kit::ManualClock clock;
   OpenCamera("");
   ASSERT_TRUE(mSession->startRunning().ok());
   clock.AwaitSleepers(1);
   EXPECT_EQ(clock.NextDeadlineNs(), clock.monotonicNs() + 40'000'000);
   Step(clock, 39'999'999);
   EXPECT_EQ(mCollector.Count(), 0u);
   Step(clock, 1);
   EXPECT_EQ(mCollector.Count(), 1u);
   for (int i = 0; i < 49; ++i) {
      Step(clock, 40'000'000);
   }
   mSession->stopRunning();
   EXPECT_EQ(mNumbers, UpTo(50));
}

TEST_F(SimulatedCaptureTest, AStartBeginsAtFrameZeroAgain) {
   kit::ManualClock clock;
   OpenCamera("");
   for (int round = 0; round < 2; ++round) {
      mNumbers.clear();
      ASSERT_TRUE(mSession->startRunning().ok());
      Step(clock, 40'000'000);
      Step(clock, 40'000'000);
      mSession->stopRunning();
      EXPECT_EQ(mNumbers, UpTo(2));
   }
}

TEST_F(SimulatedCaptureTest, AFrameThatComesWhileACallRunsIsDiscarded) {
   kit::ManualClock clock;
   OpenCamera("");
   mCollector.inCall = [&] {
      if (mNumbers.back() == 1) {
         clock.AdvanceMs(100); // two and a half periods
      }
   };
   ASSERT_TRUE(mSession->startRunning().ok());
   for (int i = 0; i < 2; ++i) {
      Step(clock, 40'000'000);
   }
   Step(clock, 20'000'000); // 180 + 20 ms: frame 4 is due at 200
   mSession->stopRunning();
   EXPECT_EQ(mNumbers, (std::vector<int>{0, 1, 4}));
}

TEST_F(SimulatedCaptureTest, WithoutDiscardingTenLateFramesComeAtOnceAndNoMore) {
   kit::ManualClock clock;
   OpenCamera("");
   mVideo->setAlwaysDiscardsLateVideoFrames(false);
   mCollector.inCall = [&] {
      if (mNumbers.back() == 0) {
         clock.AdvanceMs(40 * 14);
      }
   };
   ASSERT_TRUE(mSession->startRunning().ok());
   Step(clock, 40'000'000);
   mSession->stopRunning();
   EXPECT_EQ(mNumbers, (std::vector<int>{0, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14}));
}

TEST_F(SimulatedCaptureTest, WhileAllBuffersAreHeldFramesAreLostAndTheirNumbersWithThem) {
   kit::ManualClock clock;
   OpenCamera("");
   mCollector.LetGo(12);
   ASSERT_TRUE(mSession->startRunning().ok());
   for (int i = 0; i < 20; ++i) {
      Step(clock, 40'000'000);
   }
   EXPECT_EQ(mCollector.Count(), 12u);
   mCollector.LetGo();
   Step(clock, 40'000'000);
   mSession->stopRunning();
   std::vector<int> wanted = UpTo(12);
   wanted.push_back(20);
   EXPECT_EQ(mNumbers, wanted);
}

/// Lets time jump from delivery to delivery of a device of the built-in set, `count` times; returns the allocations of
/// all but the first hundred.
uint64_t AllocationsOf(const char *uniqueId, MediaType kind, size_t count, uint64_t endNs) {
   const auto capture = MakeSimulatedCapture("");
   kit::ManualClock clock;
   endNs += clock.monotonicNs();
   std::shared_ptr<const CaptureDevice> device;
   std::shared_ptr<CaptureDeviceInput> input;
   EXPECT_TRUE(capture->deviceWithUniqueID(uniqueId, kind, &device).ok());
   EXPECT_TRUE(capture->deviceInputWithDevice(device, kind, &input).ok());
   std::shared_ptr<CaptureOutput> output;
   if (kind == MediaType::Video) {
      auto video = capture->makeVideoDataOutput();
      video->setVideoSettings({FourCC("420f"), VideoDimensions{320, 240}});
      output = std::move(video);
   } else {
      auto audio = capture->makeAudioDataOutput();
      audio->setAudioSettings({FourCC("lpcm"), 48000, 1, 16, false, false});
      output = std::move(audio);
   }
   Collector collector;
   output->setSampleBufferDelegate(&collector, capture->makeSerialQueue("Queue"));
   const auto session = capture->makeSession();
   session->addInput(input);
   session->addOutput(output);
   uint64_t early = 0;
   uint64_t late = 0;
   std::atomic<bool> isOver = false;
   collector.inCall = [&, calls = size_t{0}]() mutable {
      ++calls;
      if (calls == 100) {
         early = kit::AllocationCount();
      } else if (calls == count) {
         late = kit::AllocationCount();
         EXPECT_EQ(clock.monotonicNs(), endNs);
         clock.SetJumping(false);
         isOver = true;
      }
   };
   clock.SetJumping(true);
   EXPECT_TRUE(session->startRunning().ok());
   while (!isOver) {
      std::this_thread::yield();
   }
   session->stopRunning();
   EXPECT_EQ(collector.Count(), count);
   return late - early;
}

#ifdef MAVR_SANITIZED
constexpr uint64_t kHours = 1;
#else
constexpr uint64_t kHours = 24;
#endif

TEST(SimulatedCapture, HoursAtThirtyFramesAreCountedExactlyAndAllocateNothing) {
   EXPECT_EQ(AllocationsOf("sim-cam-2", MediaType::Video, kHours * 3600 * 30, kHours * 3'600'000'000'000), 0u);
}

TEST(SimulatedCapture, NoKindOfDeliveryAllocates) {
   EXPECT_EQ(AllocationsOf("sim-cam-1", MediaType::Video, 3000, 100'000'000'000), 0u);
   EXPECT_EQ(AllocationsOf("sim-cam-3", MediaType::Video, 3000, 100'000'000'000), 0u);
   EXPECT_EQ(AllocationsOf("sim-mic-1", MediaType::Audio, 9375, 100'000'000'000), 0u);
}

TEST_F(SimulatedCaptureTest, FastFramesComeAsTheyAreTakenAndNoneIsLost) {
   OpenCamera("", R"(, "clock": "fast")");
   std::unique_ptr<BufferQueue> queue;
   ASSERT_TRUE(mCapture->makeBufferQueue(10, &queue).ok());
   class Enqueuer final : public SampleBufferDelegate {
   public:
      explicit Enqueuer(BufferQueue *to)
          : mTo(to) {}
      void captureOutput(const Ref<SampleBuffer> &buffer, const CaptureConnection &) override {
         EXPECT_EQ(mTo->enqueue(buffer), 0) << "a full queue";
      }

   private:
      BufferQueue *mTo;
   } enqueuer(queue.get());
   mVideo->setSampleBufferDelegate(&enqueuer, mCapture->makeSerialQueue("Video"));
   ASSERT_TRUE(mSession->startRunning().ok());
   for (int next = 0; next < 5000;) {
      if (const Ref<SampleBuffer> frame = queue->dequeueAndRetain()) {
         ASSERT_EQ(NumberOf(*frame), next);
         ++next;
      } else {
         std::this_thread::yield();
      }
   }
   mSession->stopRunning();
}

TEST_F(SimulatedCaptureTest, FastFramesWaitWhileThereIsNoDelegate) {
   kit::ManualClock clock;
   OpenCamera("", R"(, "clock": "fast")");
   mVideo->setSampleBufferDelegate(nullptr, nullptr);
   ASSERT_TRUE(mSession->startRunning().ok());
   clock.AwaitSleepers(1);
   EXPECT_EQ(clock.NextDeadlineNs(), Clock::kNoDeadline);
   mCollector.LetGo(3);
   mVideo->setSampleBufferDelegate(&mCollector, mCapture->makeSerialQueue("Video"));
   ASSERT_TRUE(mCollector.Await(50));
   mSession->stopRunning();
   EXPECT_EQ(mNumbers.front(), 0);
}

TEST_F(SimulatedCaptureTest, ACameraIsUnpluggedAfterSoManyFrames) {
   OpenCamera(R"(, "fail": {"unplugAfterFrames": 3})", R"(, "clock": "fast")");
   ASSERT_TRUE(mSession->startRunning().ok());
   const Status status = AwaitTrouble();
   EXPECT_EQ(status.code, ENODEV);
   EXPECT_EQ(status.reason, "the camera \"Cam\" was unplugged after 3 frames");
   EXPECT_TRUE(mSession->isRunning());
   mSession->stopRunning();
   EXPECT_EQ(mNumbers, UpTo(3));
   EXPECT_TRUE(mSession->startRunning().ok()) << "plugged in again";
   EXPECT_TRUE(mCollector.Await(6));
}

TEST_F(SimulatedCaptureTest, ACameraIsUnpluggedWhenItLeavesTheFile) {
   kit::ManualClock clock;
   OpenCamera("");
   ASSERT_TRUE(mSession->startRunning().ok());
   Step(clock, 40'000'000);
   Write(R"({"cameras": []})");
   clock.AwaitSleepers(1);
   clock.AdvanceMs(300);
   EXPECT_EQ(AwaitTrouble().reason, "the camera \"Cam\" was unplugged: it is no longer in " + mFile);
}

TEST_F(SimulatedCaptureTest, ABrokenFileUnplugsTooAndAChangedOneDoesNot) {
   kit::ManualClock clock;
   OpenCamera("");
   ASSERT_TRUE(mSession->startRunning().ok());
   Step(clock, 40'000'000);
   Write(R"({"cameras": [{"name": "Other", "uniqueId": "d"}, {"name": "Renamed", "uniqueId": "c"}]})");
   Step(clock, 300'000'000);
   Step(clock, 300'000'000);
   EXPECT_TRUE(mSession->health().ok());
   Write("{");
   clock.AwaitSleepers(1);
   clock.AdvanceMs(300);
   EXPECT_EQ(AwaitTrouble().reason.rfind("simulation file " + mFile + ":1:", 0), 0u) << mSession->health().reason;
}

TEST_F(SimulatedCaptureTest, FramesChangeTheirSizeAfterSoMany) {
   kit::ManualClock clock;
   OpenCamera(R"(, "fail": {"resizeAfterFrames": 2})");
   ASSERT_TRUE(mSession->startRunning().ok());
   for (int i = 0; i < 4; ++i) {
      Step(clock, 40'000'000);
   }
   mSession->stopRunning();
   EXPECT_EQ(mWidths, (std::vector<int>{64, 64, 32, 32}));
   EXPECT_EQ(mNumbers, UpTo(4));
}

TEST_F(SimulatedCaptureTest, EveryNthFrameCannotBeLocked) {
   kit::ManualClock clock;
   OpenCamera(R"(, "fail": {"lockEvery": 3})");
   ASSERT_TRUE(mSession->startRunning().ok());
   for (int i = 0; i < 7; ++i) {
      Step(clock, 40'000'000);
   }
   mSession->stopRunning();
   EXPECT_EQ(mNumbers, (std::vector<int>{0, 1, -2, 3, 4, -2, 6}));
}

TEST_F(SimulatedCaptureTest, AnInputThatFailsGivesItsStatus) {
   Write(R"({"cameras": [{"name": "Cam", "uniqueId": "c", "fail": {"input": -11852}}]})");
   Make();
   std::shared_ptr<const CaptureDevice> device;
   ASSERT_TRUE(mCapture->deviceWithUniqueID("c", MediaType::Video, &device).ok());
   const Status status = mCapture->deviceInputWithDevice(device, MediaType::Video, &mInput);
   EXPECT_EQ(status.code, -11852);
   EXPECT_EQ(status.reason, "the camera \"Cam\" refuses to be opened with status -11852, as its simulation says");
   EXPECT_EQ(mInput, nullptr);
}

TEST_F(SimulatedCaptureTest, ACameraOfAListingCanBeOpened) {
   CaptureDeviceList cameras;
   ASSERT_TRUE(
      MakeSimulatedDevices("")->discoverySession({}, MediaType::Video, DevicePosition::Unspecified, &cameras).ok());
   const auto capture = MakeSimulatedCapture("");
   EXPECT_TRUE(capture->deviceInputWithDevice(cameras.at(1), MediaType::Video, &mInput).ok());
   EXPECT_NE(mInput, nullptr);
}

TEST_F(SimulatedCaptureTest, TheReasonsOfWhatIsNotThere) {
   Write(R"({"microphones": [{"name": "Out", "uniqueId": "o", "inputStreams": 0}]})");
   Make();
   std::shared_ptr<const CaptureDevice> device;
   EXPECT_EQ(mCapture->deviceWithUniqueID("x", MediaType::Video, &device).reason,
             "there is no camera with the id \"x\"");
   EXPECT_EQ(mCapture->deviceWithUniqueID("o", MediaType::Audio, &device).reason,
             "there is no microphone with the id \"o\"");
   EXPECT_EQ(mCapture->defaultDeviceWithMediaType(MediaType::Video, &device).reason, "there is no camera");
   EXPECT_EQ(mCapture->defaultDeviceWithMediaType(MediaType::Audio, &device).reason, "there is no microphone");
   std::filesystem::remove(mFile);
   EXPECT_EQ(
      mCapture->defaultDeviceWithMediaType(MediaType::Audio, &device).reason.rfind("simulation file " + mFile, 0), 0u);
}

TEST_F(SimulatedCaptureTest, WhatACameraCannotServeFailsTheStartWithItsReason) {
   OpenCamera("");
   mVideo->setVideoSettings({FourCC("BGRA"), {}});
   EXPECT_EQ(mSession->startRunning().reason, "a simulated camera delivers pictures in the format 420f only");
   OpenCamera(R"(, "formats": [])");
   EXPECT_EQ(mSession->startRunning().reason, "the camera \"Cam\" has no format with pixels");
   OpenCamera(R"(, "formats": [{"width": 16384, "height": 16384}])");
   const Status status = mSession->startRunning();
   EXPECT_EQ(status.code, ENOMEM);
   EXPECT_EQ(status.reason, "the camera \"Cam\" needs more memory for its frames than there is");
   EXPECT_FALSE(mSession->isRunning());
   OpenMicrophone("", 48000);
   mAudio->setAudioSettings({FourCC("lpcm"), 48000, 2, 16, false, false});
   EXPECT_EQ(mSession->startRunning().reason,
             "a simulated microphone delivers signed 16-bit little-endian mono samples only");
   mAudio->setAudioSettings({FourCC("lpcm"), 384001, 1, 16, false, false});
   EXPECT_EQ(mSession->startRunning().reason,
             "a simulated microphone delivers 1 to 384000 samples a second, not 384001");
}

TEST_F(SimulatedCaptureTest, SoundComesInDeliveriesOfTheSameTimeAtEachRate) {
   const std::pair<int32_t, std::vector<int>> cases[] = {{48000, {512, 512, 512, 512, 512, 512}},
                                                         {44100, {470, 470, 471, 470, 471, 470}},
                                                         {8000, {85, 85, 86, 85, 85, 86}}};
   for (const auto &[rate, lengths] : cases) {
      kit::ManualClock clock;
      mLengths.clear();
      OpenMicrophone("", rate);
      ASSERT_TRUE(mSession->startRunning().ok());
      Step(clock, 10'666'666);
      EXPECT_TRUE(mLengths.empty());
      Step(clock, 1);
      for (int i = 0; i < 5; ++i) {
         Step(clock, 10'666'667);
      }
      mSession->stopRunning();
      EXPECT_EQ(mLengths, lengths) << rate;
      mSession.reset();
   }
}

TEST_F(SimulatedCaptureTest, LateSoundComesAtOnceUpToTheBacklog) {
   kit::ManualClock clock;
   OpenMicrophone("", 48000);
   ASSERT_TRUE(mSession->startRunning().ok());
   Step(clock, 64'000'000);
   EXPECT_EQ(mCollector.Count(), 6u);
   mSession->stopRunning();
}

TEST_F(SimulatedCaptureTest, AMicrophoneIsUnpluggedAfterSoManyBuffers) {
   kit::ManualClock clock;
   OpenMicrophone(R"(, "fail": {"unplugAfterBuffers": 2})", 48000);
   ASSERT_TRUE(mSession->startRunning().ok());
   Step(clock, 10'666'667);
   clock.AdvanceNs(10'666'667);
   EXPECT_EQ(AwaitTrouble().reason, "the microphone \"Mic\" was unplugged after 2 buffers");
   mSession->stopRunning();
   EXPECT_EQ(mCollector.Count(), 2u);
}

TEST_F(SimulatedCaptureTest, NoMemoryAndNoThreadAreReasonsAndLeaveNothingBehind) {
   OpenCamera("");
   const size_t threads = conformance::ThreadCount();
   for (const kit::Fault fault : {kit::Fault::ThreadCreation, kit::Fault::Allocation}) {
      for (uint64_t nth = 1;; ++nth) {
         kit::FailNth failing(fault, nth, kit::Repeat::FromThenOn);
         const Status status = mSession->startRunning();
         const bool hasStruck = failing.Struck();
         failing.Disarm();
         EXPECT_EQ(status.ok(), mSession->isRunning());
         if (!hasStruck) {
            EXPECT_TRUE(status.ok()) << status.reason;
            mSession->stopRunning();
            break;
         }
         if (!status.ok()) {
            EXPECT_FALSE(status.reason.empty());
            EXPECT_TRUE(conformance::AwaitThreadCount(threads));
         }
         mSession->stopRunning();
      }
   }
}

TEST_F(SimulatedCaptureTest, NoMemoryForTheFactoryIsNullOrAReason) {
   const auto capture = MakeSimulatedCapture("");
   std::shared_ptr<const CaptureDevice> device;
   ASSERT_TRUE(capture->deviceWithUniqueID("sim-cam-1", MediaType::Video, &device).ok());
   for (int call = 0; call < 8; ++call) {
      for (uint64_t nth = 1;; ++nth) {
         std::shared_ptr<const CaptureDevice> found;
         std::shared_ptr<CaptureDeviceInput> input;
         std::unique_ptr<BufferQueue> queue;
         std::string label = "A label";
         kit::FailNth failing(kit::Fault::Allocation, nth);
         bool made = false;
         switch (call) {
         case 0:
            made = capture->makeSession() != nullptr;
            break;
         case 1:
            made = capture->makeVideoDataOutput() != nullptr;
            break;
         case 2:
            made = capture->makeAudioDataOutput() != nullptr;
            break;
         case 3:
            made = capture->makeSerialQueue(std::move(label)) != nullptr;
            break;
         case 4:
            made = capture->makeBufferQueue(10, &queue).ok();
            EXPECT_EQ(made, queue != nullptr);
            break;
         case 5:
            made = capture->deviceWithUniqueID("sim-cam-1", MediaType::Video, &found).ok();
            EXPECT_EQ(made, found != nullptr);
            break;
         case 6:
            made = capture->defaultDeviceWithMediaType(MediaType::Audio, &found).ok();
            EXPECT_EQ(made, found != nullptr);
            break;
         default:
            made = capture->deviceInputWithDevice(device, MediaType::Video, &input).ok();
            EXPECT_EQ(made, input != nullptr);
         }
         EXPECT_EQ(made, !failing.Struck()) << call << ", " << nth;
         if (!failing.Struck()) {
            break;
         }
      }
   }
}

TEST_F(SimulatedCaptureTest, ThePromiseHoldsUnderEveryInterleaving) {
   const kit::PerturbedSchedule schedule;
   OpenCamera("", R"(, "clock": "fast")");
   mVideo->setSampleBufferDelegate(nullptr, nullptr);
   mCollector.inspect = {};
   const auto queue = mCapture->makeSerialQueue("Video");
   for (int round = 0; round < 150; ++round) {
      auto collector = std::make_unique<Collector>(static_cast<size_t>(round % 12));
      std::atomic<int> calls = 0;
      collector->inCall = [&, round] {
         if (++calls == 3 && round % 5 == 0) {
            mSession->stopRunning();
         } else if (calls == 3 && round % 5 == 1) {
            mSession->removeOutput(mVideo);
         }
      };
      mVideo->setSampleBufferDelegate(collector.get(), queue);
      ASSERT_TRUE(mSession->startRunning().ok());
      ASSERT_TRUE(collector->Await(static_cast<size_t>(round % 4)));
      switch (round % 3) {
      case 0:
         mSession->stopRunning();
         break;
      case 1:
         mVideo->setSampleBufferDelegate(nullptr, nullptr);
         break;
      default:
         mSession->removeOutput(mVideo);
      }
      collector.reset(); // any call from here on is on freed memory
      mVideo->setSampleBufferDelegate(nullptr, nullptr);
      mSession->stopRunning();
      mSession->addOutput(mVideo);
   }
}

} // namespace
} // namespace osal
