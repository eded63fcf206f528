#include "tests/conformance/CaptureConformance.h"

#include "osal/unavailable/UnavailableCapture.h"
#include "tests/conformance/CaptureRig.h"

#include <gmock/gmock.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <limits>
#include <thread>
#include <utility>

namespace conformance {

using osal::FourCC;
using osal::MediaType;
using osal::Status;

namespace {

uint64_t SumOf(osal::SampleBuffer &buffer) {
   osal::PixelBuffer *const image = buffer.imageBuffer();
   EXPECT_EQ(image->lockBaseAddress(), 0);
   uint64_t sum = 14695981039346656037u;
   for (size_t plane = 0; plane < 2; ++plane) {
      const size_t rows = plane == 0 ? image->height() : (image->height() + 1) / 2;
      for (size_t y = 0; y < rows; ++y) {
         const uint8_t *const row = image->baseAddressOfPlane(plane) + y * image->bytesPerRowOfPlane(plane);
         for (size_t x = 0; x < image->width(); ++x) {
            sum = (sum ^ row[x]) * 1099511628211u;
         }
      }
   }
   image->unlockBaseAddress();
   return sum;
}

class ForeignInput final : public osal::CaptureDeviceInput {
public:
   const osal::CaptureDevice &device() const override { std::abort(); }
};

class ForeignDevice final : public osal::CaptureDevice {
public:
   std::string localizedName() const override { return "Foreign"; }
   std::string uniqueID() const override { return "foreign"; }
   std::vector<osal::CaptureDeviceFormat> formats() const override { return {}; }
};

} // namespace

void CaptureConformance::SetUp() {
   mBackend = GetParam().make();
   if (mBackend == nullptr) {
      GTEST_SKIP() << GetParam().whyNot;
   }
   mBackend->Show(Full());
}

size_t CaptureConformance::Threads() {
   mBackend->Settle();
   return ThreadCount();
}

std::shared_ptr<osal::CaptureDeviceInput> CaptureConformance::Input(const std::string &uniqueId, MediaType kind) {
   std::shared_ptr<const osal::CaptureDevice> device;
   Status status = Capture().deviceWithUniqueID(uniqueId, kind, &device);
   EXPECT_TRUE(status.ok()) << status.reason;
   std::shared_ptr<osal::CaptureDeviceInput> input;
   status = Capture().deviceInputWithDevice(device, kind, &input);
   EXPECT_TRUE(status.ok()) << status.reason;
   EXPECT_NE(input, nullptr);
   return input;
}

namespace {

TEST_P(CaptureConformance, NothingIsAddedOrTakenAwayThatIsNone) {
   Rig rig(Capture(), Input(kCamera, MediaType::Video), MediaType::Video);
   EXPECT_FALSE(rig.session->canAddInput(nullptr));
   EXPECT_FALSE(rig.session->canAddOutput(nullptr));
   rig.session->addInput(nullptr);
   rig.session->addOutput(nullptr);
   rig.session->removeInput(nullptr);
   rig.session->removeOutput(nullptr);
   ASSERT_TRUE(rig.session->startRunning().ok());
   EXPECT_TRUE(rig.collector.Await(3)) << "what there is stays";
   rig.session->stopRunning();
}

TEST_P(CaptureConformance, OneInputAndOneOutputOfAKindIsAll) {
   Rig rig(Capture(), Input(kCamera, MediaType::Video), MediaType::Video);
   const auto input = Input(kOtherCamera, MediaType::Video);
   const std::shared_ptr<osal::CaptureOutput> output = Capture().makeVideoDataOutput();
   EXPECT_FALSE(rig.session->canAddInput(input));
   EXPECT_FALSE(rig.session->canAddOutput(output));
   rig.session->addInput(input);
   rig.session->addOutput(output);
   rig.session->removeInput(input); // was never in it
   rig.session->removeOutput(output);
   ASSERT_TRUE(rig.session->startRunning().ok());
   EXPECT_TRUE(rig.collector.Await(3));
   rig.session->stopRunning();
}

TEST_P(CaptureConformance, ADeviceIsFoundByItsIdAndKind) {
   std::shared_ptr<const osal::CaptureDevice> device;
   ASSERT_TRUE(Capture().deviceWithUniqueID(kOtherCamera, MediaType::Video, &device).ok());
   EXPECT_EQ(device->localizedName(), "Second Camera");
   EXPECT_EQ(device->uniqueID(), kOtherCamera);
   EXPECT_FALSE(device->formats().empty());
   ASSERT_TRUE(Capture().deviceWithUniqueID(kMicrophone, MediaType::Audio, &device).ok());
   EXPECT_EQ(device->localizedName(), "Microphone");
   EXPECT_EQ(device->uniqueID(), kMicrophone);
}

TEST_P(CaptureConformance, ADeviceThatIsNotThereIsAFailureWithAReasonAndNoDevice) {
   const std::pair<const char *, MediaType> cases[] = {
      {"no such device", MediaType::Video}, {"no such device", MediaType::Audio}, {"", MediaType::Video},
      {kMicrophone, MediaType::Video},      {kCamera, MediaType::Audio},          {"out-1", MediaType::Audio}};
   for (const auto &[id, kind] : cases) {
      std::shared_ptr<const osal::CaptureDevice> device = std::make_shared<ForeignDevice>();
      const Status status = Capture().deviceWithUniqueID(id, kind, &device);
      EXPECT_FALSE(status.ok()) << id;
      EXPECT_FALSE(status.reason.empty()) << id;
      EXPECT_EQ(device, nullptr) << id;
   }
}

TEST_P(CaptureConformance, EachKindHasADefaultWhileItHasADevice) {
   for (const auto &[kind, id] : {std::pair(MediaType::Video, kCamera), std::pair(MediaType::Audio, kMicrophone)}) {
      std::shared_ptr<const osal::CaptureDevice> device;
      const Status status = Capture().defaultDeviceWithMediaType(kind, &device);
      ASSERT_TRUE(status.ok()) << status.reason;
      EXPECT_EQ(device->uniqueID(), id);
   }
   mBackend->Show({});
   for (const MediaType kind : {MediaType::Video, MediaType::Audio}) {
      std::shared_ptr<const osal::CaptureDevice> device = std::make_shared<ForeignDevice>();
      const Status status = Capture().defaultDeviceWithMediaType(kind, &device);
      EXPECT_FALSE(status.ok());
      EXPECT_FALSE(status.reason.empty());
      EXPECT_EQ(device, nullptr);
   }
}

TEST_P(CaptureConformance, AnInputNamesItsDeviceAndOthersAreRefused) {
   const auto input = Input(kCamera, MediaType::Video);
   ASSERT_NE(input, nullptr);
   EXPECT_EQ(input->device().uniqueID(), kCamera);

   std::shared_ptr<const osal::CaptureDevice> camera;
   ASSERT_TRUE(Capture().deviceWithUniqueID(kCamera, MediaType::Video, &camera).ok());
   const std::pair<std::shared_ptr<const osal::CaptureDevice>, MediaType> cases[] = {
      {nullptr, MediaType::Video}, {std::make_shared<ForeignDevice>(), MediaType::Video}, {camera, MediaType::Audio}};
   for (const auto &[device, kind] : cases) {
      std::shared_ptr<osal::CaptureDeviceInput> refused = input;
      const Status status = Capture().deviceInputWithDevice(device, kind, &refused);
      EXPECT_FALSE(status.ok());
      EXPECT_FALSE(status.reason.empty());
      EXPECT_EQ(refused, nullptr);
   }
}

TEST_P(CaptureConformance, PicturesComeInTheAskedFormatAndSizeUntilStopped) {
   const size_t threadsBefore = Threads();
   Rig rig(Capture(), Input(kCamera, MediaType::Video), MediaType::Video);
   EXPECT_FALSE(rig.session->isRunning());
   rig.collector.LetGo(3);
   Status status = rig.session->startRunning();
   ASSERT_TRUE(status.ok()) << status.reason;
   EXPECT_TRUE(rig.session->isRunning());
   ASSERT_TRUE(rig.collector.Await(5)) << rig.session->health().reason;
   EXPECT_TRUE(rig.session->health().ok()) << rig.session->health().reason;
   rig.session->stopRunning();
   EXPECT_FALSE(rig.session->isRunning());
   EXPECT_TRUE(AwaitThreadCount(threadsBefore));
   const size_t count = rig.collector.Count();

   ASSERT_EQ(rig.collector.Kept().size(), 3u);
   for (const auto &buffer : rig.collector.Kept()) {
      EXPECT_EQ(buffer->dataBuffer(), nullptr);
      osal::PixelBuffer *const image = buffer->imageBuffer();
      ASSERT_NE(image, nullptr);
      ASSERT_EQ(image->lockBaseAddress(), 0);
      EXPECT_EQ(image->pixelFormatType(), 0x34323066u);
      EXPECT_EQ(image->width(), 320u);
      EXPECT_EQ(image->height(), 240u);
      EXPECT_GE(image->bytesPerRowOfPlane(0), 320u);
      EXPECT_GE(image->bytesPerRowOfPlane(1), 320u);
      ASSERT_NE(image->baseAddressOfPlane(0), nullptr);
      ASSERT_NE(image->baseAddressOfPlane(1), nullptr);
      EXPECT_EQ(image->baseAddressOfPlane(2), nullptr);
      image->unlockBaseAddress();
      EXPECT_EQ(image->lockBaseAddress(), 0) << "again";
      image->unlockBaseAddress();
   }
   EXPECT_EQ(rig.collector.Count(), count);
}

TEST_P(CaptureConformance, EachSizeOfTheCameraIsDeliveredWhenAsked) {
   for (const osal::VideoDimensions size : {osal::VideoDimensions{640, 480}, kSize}) {
      Rig rig(Capture(), Input(kCamera, MediaType::Video), MediaType::Video, size);
      rig.collector.LetGo(1);
      ASSERT_TRUE(rig.session->startRunning().ok());
      ASSERT_TRUE(rig.collector.Await(1));
      osal::PixelBuffer *const image = rig.collector.Kept().front()->imageBuffer();
      EXPECT_EQ(image->width(), static_cast<size_t>(size.width));
      EXPECT_EQ(image->height(), static_cast<size_t>(size.height));
   }
}

TEST_P(CaptureConformance, TheDelegateIsCalledOnAThreadOfTheQueuesName) {
   Rig rig(Capture(), Input(kCamera, MediaType::Video), MediaType::Video, kSize, "Some Queue");
   EXPECT_EQ(rig.queue->label(), "Some Queue");
   ASSERT_TRUE(rig.session->startRunning().ok());
   ASSERT_TRUE(rig.collector.Await(1));
   EXPECT_EQ(rig.collector.ThreadName(), "Some Queue");
   Collector next;
   rig.output->setSampleBufferDelegate(&next, Capture().makeSerialQueue("A Label That Is Far Too Long"));
   ASSERT_TRUE(next.Await(1));
   EXPECT_EQ(std::string("A Label That Is Far Too Long").find(next.ThreadName()), 0u);
   EXPECT_GE(next.ThreadName().size(), 15u);
   rig.session->stopRunning();
}

TEST_P(CaptureConformance, AConnectionIdentifiesTheBuffersOfItsOutput) {
   const auto session = Capture().makeSession();
   const auto output = Capture().makeVideoDataOutput();
   const auto input = Input(kCamera, MediaType::Video);
   EXPECT_EQ(output->connectionWithMediaType(MediaType::Video), nullptr);
   session->addOutput(output);
   EXPECT_EQ(output->connectionWithMediaType(MediaType::Video), nullptr);
   session->addInput(input);
   const auto connection = output->connectionWithMediaType(MediaType::Video);
   ASSERT_NE(connection, nullptr);
   EXPECT_EQ(output->connectionWithMediaType(MediaType::Video), connection);
   EXPECT_EQ(output->connectionWithMediaType(MediaType::Audio), nullptr);

   Collector collector;
   output->setSampleBufferDelegate(&collector, Capture().makeSerialQueue("q"));
   ASSERT_TRUE(session->startRunning().ok());
   ASSERT_TRUE(collector.Await(1));
   EXPECT_EQ(collector.Connection(), connection.get());
   session->stopRunning();
   session->removeInput(input);
   EXPECT_EQ(output->connectionWithMediaType(MediaType::Video), nullptr);
   EXPECT_EQ(connection->videoMaxFrameDuration(), osal::MediaTime{}) << "it can still be asked";
}

TEST_P(CaptureConformance, TheLongestFrameDurationIsReadBackWhereItIsSupported) {
   Rig rig(Capture(), Input(kCamera, MediaType::Video), MediaType::Video);
   const auto connection = rig.output->connectionWithMediaType(MediaType::Video);
   ASSERT_NE(connection, nullptr);
   if (!connection->isVideoMaxFrameDurationSupported()) {
      GTEST_SKIP() << "this backend does not support it";
   }
   connection->setVideoMaxFrameDuration({1, 25});
   EXPECT_EQ(connection->videoMaxFrameDuration(), (osal::MediaTime{1, 25}));
   connection->setVideoMaxFrameDuration({1, 0});
   connection->setVideoMaxFrameDuration({0, 25});
   connection->setVideoMaxFrameDuration({1, -1});
   EXPECT_EQ(connection->videoMaxFrameDuration(), (osal::MediaTime{1, 25}));
   ASSERT_TRUE(rig.session->startRunning().ok());
   EXPECT_TRUE(rig.collector.Await(2));
}

TEST_P(CaptureConformance, WhatIsInASessionOrOfAnotherBackendCannotBeAdded) {
   const auto session = Capture().makeSession();
   const auto other = Capture().makeSession();
   const auto input = Input(kCamera, MediaType::Video);
   const auto output = Capture().makeVideoDataOutput();
   ASSERT_TRUE(session->canAddInput(input));
   ASSERT_TRUE(session->canAddOutput(output));
   session->beginConfiguration();
   session->addInput(input);
   session->addOutput(output);
   EXPECT_FALSE(session->canAddInput(input));
   EXPECT_FALSE(session->canAddOutput(output));
   session->commitConfiguration();
   EXPECT_FALSE(session->canAddInput(input));
   EXPECT_FALSE(session->canAddOutput(output));
   EXPECT_FALSE(other->canAddInput(input));
   EXPECT_FALSE(other->canAddOutput(output));

   EXPECT_FALSE(other->canAddInput(nullptr));
   EXPECT_FALSE(other->canAddOutput(nullptr));
   EXPECT_FALSE(other->canAddInput(std::make_shared<ForeignInput>()));
   const auto nobody = osal::MakeUnavailableCapture(Status::Error(1, "none"));
   EXPECT_FALSE(other->canAddOutput(nobody->makeVideoDataOutput()));
   other->addInput(input); // as if nobody had asked: nothing
   other->addOutput(output);
   other->removeInput(input);
   other->removeOutput(output);
   EXPECT_FALSE(other->canAddInput(input));

   session->removeInput(input);
   session->removeOutput(output);
   EXPECT_TRUE(other->canAddInput(input));
   EXPECT_TRUE(other->canAddOutput(output));
   other->addInput(input);
   other->addOutput(output);
   EXPECT_NE(output->connectionWithMediaType(MediaType::Video), nullptr);
}

TEST_P(CaptureConformance, WhatADestroyedSessionHeldCanBeAddedToAnother) {
   const auto input = Input(kCamera, MediaType::Video);
   const auto output = Capture().makeVideoDataOutput();
   auto session = Capture().makeSession();
   session->addInput(input);
   session->addOutput(output);
   session.reset();
   EXPECT_EQ(output->connectionWithMediaType(MediaType::Video), nullptr);
   session = Capture().makeSession();
   EXPECT_TRUE(session->canAddInput(input));
   EXPECT_TRUE(session->canAddOutput(output));
}

TEST_P(CaptureConformance, ASessionWithNothingConnectedRunsAndSaysThatNothingComes) {
   const auto session = Capture().makeSession();
   EXPECT_TRUE(session->health().ok());
   EXPECT_TRUE(session->startRunning().ok());
   EXPECT_TRUE(session->isRunning());
   EXPECT_FALSE(session->health().ok());
   EXPECT_FALSE(session->health().reason.empty());
   session->stopRunning();
   EXPECT_FALSE(session->isRunning());
   EXPECT_TRUE(session->health().ok());
   session->stopRunning();
   EXPECT_FALSE(session->isRunning());
}

TEST_P(CaptureConformance, ARunningSessionFollowsAtTheCommit) {
   const auto session = Capture().makeSession();
   ASSERT_TRUE(session->startRunning().ok());
   Collector collector;
   const auto output = Capture().makeVideoDataOutput();
   output->setSampleBufferDelegate(&collector, Capture().makeSerialQueue("q"));
   const auto input = Input(kCamera, MediaType::Video);
   const size_t threads = Threads();
   session->beginConfiguration();
   session->addInput(input);
   session->addOutput(output);
   EXPECT_TRUE(AwaitThreadCount(threads)) << "nothing runs before the commit";
   session->commitConfiguration();
   ASSERT_TRUE(collector.Await(2));
   EXPECT_TRUE(session->health().ok()) << session->health().reason;
   session->beginConfiguration();
   session->removeInput(input);
   session->removeOutput(output);
   session->commitConfiguration();
   EXPECT_TRUE(AwaitThreadCount(threads));
   EXPECT_FALSE(session->health().ok());
}

TEST_P(CaptureConformance, SettingsThatCannotBeServedFailTheStartAndLeaveTheSessionAsItWas) {
   const size_t threads = Threads();
   Rig rig(Capture(), Input(kMicrophone, MediaType::Audio), MediaType::Audio);
   auto *const audio = dynamic_cast<osal::AudioDataOutput *>(rig.output.get());
   audio->setAudioSettings({FourCC("lpcm"), 0, 1, 16, false, false});
   const Status status = rig.session->startRunning();
   EXPECT_FALSE(status.ok());
   EXPECT_FALSE(status.reason.empty());
   EXPECT_FALSE(rig.session->isRunning());
   EXPECT_TRUE(AwaitThreadCount(threads));
   EXPECT_EQ(rig.collector.Count(), 0u);
   audio->setAudioSettings({FourCC("lpcm"), kRate, 1, 16, false, false});
   EXPECT_TRUE(rig.session->startRunning().ok());
   EXPECT_TRUE(rig.collector.Await(1));
}

TEST_P(CaptureConformance, ABufferKeptOutlivesItsSessionUnchanged) {
   std::vector<osal::Ref<osal::SampleBuffer>> kept;
   std::vector<uint64_t> sums;
   {
      Rig rig(Capture(), Input(kCamera, MediaType::Video), MediaType::Video);
      rig.collector.LetGo(5);
      ASSERT_TRUE(rig.session->startRunning().ok());
      ASSERT_TRUE(rig.collector.Await(5));
      kept = rig.collector.Kept();
      for (const auto &buffer : kept) {
         sums.push_back(SumOf(*buffer));
      }
      rig.collector.LetGo();
      ASSERT_TRUE(rig.collector.AwaitMore(15)) << "the others are used again and again meanwhile";
   }
   ASSERT_EQ(kept.size(), 5u);
   for (size_t i = 0; i < kept.size(); ++i) {
      EXPECT_EQ(SumOf(*kept[i]), sums[i]);
   }
   EXPECT_NE(sums[0], sums[1]) << "or else the sums prove nothing";
}

TEST_P(CaptureConformance, TenKeptAndOneBeingReadDoNotStopTheStreamAndLettingGoRevivesIt) {
   Rig rig(Capture(), Input(kCamera, MediaType::Video), MediaType::Video);
   rig.collector.LetGo(11);
   ASSERT_TRUE(rig.session->startRunning().ok());
   ASSERT_TRUE(rig.collector.Await(20));
   rig.collector.LetGo(1000);
   ASSERT_TRUE(rig.collector.AwaitMore(11));
   rig.collector.LetGo();
   EXPECT_TRUE(rig.collector.AwaitMore(11));
}

TEST_P(CaptureConformance, AQueueKeepsBuffersInOrderAndRefusesWhenFull) {
   std::unique_ptr<osal::BufferQueue> queue;
   ASSERT_TRUE(Capture().makeBufferQueue(2, &queue).ok());
   ASSERT_NE(queue, nullptr);
   EXPECT_TRUE(queue->isEmpty());
   EXPECT_EQ(queue->getBufferCount(), 0u);
   EXPECT_FALSE(queue->dequeueAndRetain());

   Rig rig(Capture(), Input(kCamera, MediaType::Video), MediaType::Video);
   rig.collector.LetGo(4);
   ASSERT_TRUE(rig.session->startRunning().ok());
   ASSERT_TRUE(rig.collector.Await(4));
   const auto buffers = rig.collector.Kept();
   for (size_t round = 0; round < 3; ++round) {
      EXPECT_EQ(queue->enqueue(buffers[round]), 0);
      EXPECT_EQ(queue->enqueue(buffers[3]), 0);
      EXPECT_EQ(queue->enqueue(buffers[0]), osal::BufferQueue::kFull);
      EXPECT_EQ(queue->getBufferCount(), 2u);
      EXPECT_FALSE(queue->isEmpty());
      EXPECT_EQ(queue->dequeueAndRetain().get(), buffers[round].get());
      EXPECT_EQ(queue->dequeueAndRetain().get(), buffers[3].get());
      EXPECT_TRUE(queue->isEmpty());
   }
   EXPECT_NE(queue->enqueue({}), 0);
   EXPECT_TRUE(queue->isEmpty());
   std::unique_ptr<osal::BufferQueue> none = std::move(queue);
   const Status status = Capture().makeBufferQueue(0, &none);
   EXPECT_FALSE(status.ok());
   EXPECT_FALSE(status.reason.empty());
   EXPECT_EQ(none, nullptr);
   EXPECT_FALSE(Capture().makeBufferQueue(std::numeric_limits<size_t>::max(), &none).ok());
   EXPECT_EQ(none, nullptr);
}

TEST_P(CaptureConformance, NoCallRunsOrComesOnceTheDelegateIsTakenAway) {
   Rig rig(Capture(), Input(kCamera, MediaType::Video), MediaType::Video);
   ASSERT_TRUE(rig.session->startRunning().ok());
   for (int round = 0; round < 10; ++round) {
      Collector collector;
      std::atomic<bool> isThere = true;
      collector.inCall = [&] {
         std::this_thread::yield();
         EXPECT_TRUE(isThere.load());
      };
      rig.output->setSampleBufferDelegate(&collector, rig.queue);
      ASSERT_TRUE(collector.Await(static_cast<size_t>(round % 3 + 1)));
      rig.output->setSampleBufferDelegate(nullptr, nullptr);
      isThere = false;
      EXPECT_FALSE(collector.IsInCall());
   }
   rig.output->setSampleBufferDelegate(&rig.collector, rig.queue);
   EXPECT_TRUE(rig.collector.AwaitMore(1));
   EXPECT_TRUE(rig.session->health().ok());
}

TEST_P(CaptureConformance, NoCallRunsOrComesOnceTheOutputIsRemovedOrTheSessionStopped) {
   for (int round = 0; round < 9; ++round) {
      Rig rig(Capture(), Input(kCamera, MediaType::Video), MediaType::Video);
      std::atomic<bool> isThere = true;
      rig.collector.inCall = [&] {
         std::this_thread::yield();
         EXPECT_TRUE(isThere.load());
      };
      ASSERT_TRUE(rig.session->startRunning().ok());
      ASSERT_TRUE(rig.collector.Await(static_cast<size_t>(round / 3 + 1)));
      switch (round % 3) {
      case 0:
         rig.session->removeOutput(rig.output);
         break;
      case 1:
         rig.session->beginConfiguration();
         rig.session->removeOutput(rig.output); // the promise does not wait for the commit
         break;
      default:
         rig.session->stopRunning();
      }
      isThere = false;
      EXPECT_FALSE(rig.collector.IsInCall());
      rig.session->commitConfiguration();
   }
}

TEST_P(CaptureConformance, ADelegateCallMayEndItsOwnDeliveries) {
   for (int way = 0; way < 4; ++way) {
      const size_t threads = Threads();
      Rig rig(Capture(), Input(kCamera, MediaType::Video), MediaType::Video);
      std::atomic<int> calls = 0;
      rig.collector.inCall = [&] {
         if (++calls < 2) {
            return;
         }
         switch (way) {
         case 0:
            rig.output->setSampleBufferDelegate(nullptr, nullptr);
            break;
         case 1:
            rig.session->removeOutput(rig.output);
            break;
         case 2:
            rig.session->stopRunning();
            EXPECT_FALSE(rig.session->isRunning());
            break;
         default:
            rig.session->stopRunning();
            rig.session->removeOutput(rig.output);
            rig.output->setSampleBufferDelegate(nullptr, nullptr);
         }
      };
      ASSERT_TRUE(rig.session->startRunning().ok());
      ASSERT_TRUE(rig.collector.Await(2)) << way;
      EXPECT_EQ(rig.session->isRunning(), way < 2);
      rig.session->stopRunning();
      EXPECT_EQ(calls, 2) << way;
      EXPECT_TRUE(AwaitThreadCount(threads));
   }
}

TEST_P(CaptureConformance, ASessionCanBeStartedAgain) {
   Rig rig(Capture(), Input(kCamera, MediaType::Video), MediaType::Video);
   for (int round = 0; round < 5; ++round) {
      ASSERT_TRUE(rig.session->startRunning().ok());
      ASSERT_TRUE(rig.session->startRunning().ok()) << "of a running one";
      ASSERT_TRUE(rig.collector.AwaitMore(2));
      rig.session->stopRunning();
   }
}

TEST_P(CaptureConformance, DestroyingARunningSessionStopsIt) {
   const size_t threads = Threads();
   Rig rig(Capture(), Input(kCamera, MediaType::Video), MediaType::Video);
   ASSERT_TRUE(rig.session->startRunning().ok());
   ASSERT_TRUE(rig.collector.Await(1));
   rig.session.reset();
   EXPECT_TRUE(AwaitThreadCount(threads));
   EXPECT_FALSE(rig.collector.IsInCall());
}

TEST_P(CaptureConformance, ADeviceThatGoesShowsInTheHealthOfARunningSession) {
   for (const auto &[id, kind] : {std::pair(kCamera, MediaType::Video), std::pair(kMicrophone, MediaType::Audio)}) {
      mBackend->Show(Full());
      Rig rig(Capture(), Input(id, kind), kind);
      ASSERT_TRUE(rig.session->startRunning().ok());
      ASSERT_TRUE(rig.collector.Await(1));
      mBackend->Show({{Full().cameras[1]}, {}});
      const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
      while (rig.session->health().ok() && std::chrono::steady_clock::now() < limit) {
         std::this_thread::yield();
      }
      EXPECT_FALSE(rig.session->health().ok());
      EXPECT_FALSE(rig.session->health().reason.empty());
      EXPECT_TRUE(rig.session->isRunning());
      rig.session->stopRunning();
      EXPECT_FALSE(rig.session->isRunning());
      EXPECT_TRUE(rig.session->health().ok());
   }
}

} // namespace
} // namespace conformance
