#include "osal/common/BasicSession.h"

#include "osal/common/LabelledQueue.h"
#include "osal/common/SoundBuffer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

namespace osal {
namespace {

/// A backend without devices and threads: notes what is opened and ended, and fails on demand.
struct World {
   std::vector<std::string> events;
   std::vector<StreamRequest> requests;
   std::function<Status(const StreamRequest &)> onOpen;
   Status health;
};

std::string NameOf(MediaType kind) {
   return kind == MediaType::Video ? "video" : "audio";
}

class NotedStream final : public CaptureStream {
public:
   NotedStream(World *world, std::string name)
       : mWorld(world)
       , mName(std::move(name)) {}
   ~NotedStream() override { mWorld->events.push_back("end " + mName); }
   void Stop() override { mWorld->events.push_back("stop " + mName); }
   Status Health() const override { return mWorld->health; }

private:
   World *mWorld;
   std::string mName;
};

class NotingOpener final : public StreamOpener {
public:
   explicit NotingOpener(World *world)
       : mWorld(world) {}
   std::string_view Backend() const override { return "noted"; }
   Status Open(const StreamRequest &request, std::unique_ptr<CaptureStream> *stream) override {
      mWorld->requests.push_back(request);
      mWorld->events.push_back("open " + NameOf(request.mediaType));
      Status status = mWorld->onOpen ? mWorld->onOpen(request) : Status::Ok();
      if (status.ok()) {
         *stream = std::make_unique<NotedStream>(mWorld, NameOf(request.mediaType));
      }
      return status;
   }

private:
   World *mWorld;
};

class BasicSessionTest : public testing::Test {
protected:
   using Events = std::vector<std::string>;

   BasicSessionTest() {
      mSession->addInput(mCamera);
      mSession->addOutput(mVideo);
   }
   void AddSound() {
      mSession->addInput(mMicrophone);
      mSession->addOutput(mAudio);
   }
   Events TakeEvents() { return std::exchange(mWorld.events, {}); }

   World mWorld;
   std::unique_ptr<BasicSession> mSession = std::make_unique<BasicSession>(std::make_shared<NotingOpener>(&mWorld));
   std::shared_ptr<BasicInput> mCamera = std::make_shared<BasicInput>("noted", MediaType::Video, nullptr);
   std::shared_ptr<BasicInput> mMicrophone = std::make_shared<BasicInput>("noted", MediaType::Audio, nullptr);
   std::shared_ptr<BasicVideoOutput> mVideo = std::make_shared<BasicVideoOutput>("noted");
   std::shared_ptr<BasicAudioOutput> mAudio = std::make_shared<BasicAudioOutput>("noted");
};

class Calling final : public SampleBufferDelegate {
public:
   std::function<void()> act;
   void captureOutput(const Ref<SampleBuffer> &, const CaptureConnection &) override { act(); }
};

/// Delivers one buffer through the gate of `request`, as a stream's thread does.
bool DeliverOne(const StreamRequest &request) {
   const auto pool = std::make_shared<SampleBufferPool>();
   pool->Add(std::make_unique<SoundBuffer>());
   return request.gate->Deliver(Ref<SampleBuffer>::adopt(pool->Take()));
}

TEST_F(BasicSessionTest, OpensEachKindAtTheStartAndEndsItAtTheStop) {
   AddSound();
   EXPECT_EQ(TakeEvents(), Events{});
   ASSERT_TRUE(mSession->startRunning().ok());
   EXPECT_EQ(TakeEvents(), (Events{"open video", "open audio"}));
   ASSERT_TRUE(mSession->startRunning().ok());
   EXPECT_EQ(TakeEvents(), Events{});
   mSession->stopRunning();
   EXPECT_EQ(TakeEvents(), (Events{"stop video", "end video", "stop audio", "end audio"}));
   mSession->stopRunning();
   EXPECT_EQ(TakeEvents(), Events{});
}

TEST_F(BasicSessionTest, HandsSettingsOverAsTheyAreAtTheStart) {
   AddSound();
   mVideo->setVideoSettings({FourCC("420f"), VideoDimensions{32, 16}});
   mVideo->setAlwaysDiscardsLateVideoFrames(true);
   mVideo->connectionWithMediaType(MediaType::Video)->setVideoMaxFrameDuration({1, 12});
   mAudio->setAudioSettings({FourCC("lpcm"), 8000, 1, 16, false, false});
   ASSERT_TRUE(mSession->startRunning().ok());
   ASSERT_EQ(mWorld.requests.size(), 2u);
   EXPECT_EQ(mWorld.requests[0].video.size, (VideoDimensions{32, 16}));
   EXPECT_EQ(mWorld.requests[0].maxFrameDuration, (MediaTime{1, 12}));
   EXPECT_TRUE(mWorld.requests[0].gate->DiscardsLate());
   EXPECT_EQ(mWorld.requests[1].audio.sampleRate, 8000);
   EXPECT_FALSE(mWorld.requests[1].gate->DiscardsLate());
}

TEST_F(BasicSessionTest, AStartThatFailsForOneKindLeavesNoneRunning) {
   AddSound();
   mWorld.onOpen = [](const StreamRequest &request) {
      return request.mediaType == MediaType::Audio ? Status::Error(7, "no sound") : Status::Ok();
   };
   EXPECT_EQ(mSession->startRunning().reason, "no sound");
   EXPECT_FALSE(mSession->isRunning());
   EXPECT_TRUE(mSession->health().ok());
   EXPECT_EQ(TakeEvents(), (Events{"open video", "open audio", "stop video", "end video"}));
   mWorld.onOpen = {};
   EXPECT_TRUE(mSession->startRunning().ok());
   EXPECT_EQ(TakeEvents(), (Events{"open video", "open audio"}));
}

TEST_F(BasicSessionTest, ARunningSessionExchangesADeviceAtTheCommit) {
   ASSERT_TRUE(mSession->startRunning().ok());
   static_cast<void>(TakeEvents());
   const auto other = std::make_shared<BasicInput>("noted", MediaType::Video, nullptr);
   mSession->beginConfiguration();
   mSession->removeInput(mCamera);
   ASSERT_TRUE(mSession->canAddInput(other));
   mSession->addInput(other);
   EXPECT_EQ(TakeEvents(), Events{});
   mSession->commitConfiguration();
   EXPECT_EQ(TakeEvents(), (Events{"stop video", "end video", "open video"}));
   mSession->commitConfiguration();
   EXPECT_EQ(TakeEvents(), Events{}) << "a commit without its begin";
   mSession->removeInput(other);
   EXPECT_EQ(TakeEvents(), (Events{"stop video", "end video"})) << "a configuration of its own";
}

TEST_F(BasicSessionTest, ADeviceThatCannotBeOpenedAtTheCommitShowsInTheHealth) {
   ASSERT_TRUE(mSession->startRunning().ok());
   mWorld.onOpen = [](const StreamRequest &) {
      return Status::Error(7, "no sound");
   };
   AddSound();
   EXPECT_TRUE(mSession->isRunning());
   EXPECT_EQ(mSession->health().reason, "no sound");
   mSession->removeInput(mMicrophone);
   EXPECT_TRUE(mSession->health().ok());
   mWorld.health = Status::Error(5, "the server died");
   EXPECT_EQ(mSession->health().reason, "the server died");
}

TEST_F(BasicSessionTest, ADelegateCallBeforeTheStartIsOverMayStopIt) {
   Calling delegate;
   mVideo->setSampleBufferDelegate(&delegate, std::make_shared<LabelledQueue>("q"));
   delegate.act = [&] {
      EXPECT_TRUE(mSession->isRunning());
      mSession->stopRunning();
   };
   mWorld.onOpen = [](const StreamRequest &request) {
      EXPECT_TRUE(DeliverOne(request));
      return Status::Ok();
   };
   EXPECT_TRUE(mSession->startRunning().ok());
   EXPECT_FALSE(mSession->isRunning());
   EXPECT_EQ(TakeEvents(), (Events{"open video", "stop video", "end video"}));
   EXPECT_FALSE(DeliverOne(mWorld.requests[0])) << "the gate is closed";
}

TEST_F(BasicSessionTest, WhatADelegateCallStopsIsSeenOffByTheHostsNextCall) {
   Calling delegate;
   mVideo->setSampleBufferDelegate(&delegate, std::make_shared<LabelledQueue>("q"));
   ASSERT_TRUE(mSession->startRunning().ok());
   delegate.act = [&] {
      mSession->stopRunning();
      EXPECT_EQ(TakeEvents(), (Events{"open video", "stop video"})) << "its own thread is not waited for";
      mSession->stopRunning();
      EXPECT_EQ(TakeEvents(), Events{});
   };
   EXPECT_TRUE(DeliverOne(mWorld.requests[0]));
   EXPECT_FALSE(DeliverOne(mWorld.requests[0]));
   ASSERT_TRUE(mSession->startRunning().ok());
   EXPECT_EQ(TakeEvents(), (Events{"end video", "open video"}));
}

TEST_F(BasicSessionTest, WhoRemovesWhatItsDelegateCallHasRemovedWaitsForThatCall) {
   Calling delegate;
   mVideo->setSampleBufferDelegate(&delegate, std::make_shared<LabelledQueue>("q"));
   ASSERT_TRUE(mSession->startRunning().ok());
   std::atomic<bool> isRemoved = false;
   std::atomic<bool> isHostThere = false;
   std::atomic<bool> isOver = false;
   delegate.act = [&] {
      mSession->removeOutput(mVideo);
      isRemoved = true;
      for (int after = 0; after < 1000; after += isHostThere ? 1 : 0) {
         std::this_thread::yield();
      }
      isOver = true;
   };
   std::thread delivery([&] { EXPECT_TRUE(DeliverOne(mWorld.requests[0])); });
   while (!isRemoved) {
      std::this_thread::yield();
   }
   isHostThere = true;
   mSession->removeOutput(mVideo);
   EXPECT_TRUE(isOver);
   EXPECT_EQ(TakeEvents(), (Events{"open video", "stop video", "end video"})) << "the device is let go, too";
   delivery.join();
}

TEST_F(BasicSessionTest, AnOutputThatIsRemovedGetsNothingEvenBeforeTheCommit) {
   Calling delegate;
   mVideo->setSampleBufferDelegate(&delegate, std::make_shared<LabelledQueue>("q"));
   delegate.act = [] {
      ADD_FAILURE() << "a call";
   };
   ASSERT_TRUE(mSession->startRunning().ok());
   mSession->beginConfiguration();
   mSession->removeOutput(mVideo);
   EXPECT_FALSE(DeliverOne(mWorld.requests[0]));
   EXPECT_EQ(TakeEvents(), (Events{"open video"})) << "the device is let go at the commit";
   mSession->commitConfiguration();
   EXPECT_EQ(TakeEvents(), (Events{"stop video", "end video"}));
}

} // namespace
} // namespace osal
