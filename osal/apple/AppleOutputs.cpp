#include "osal/apple/AppleOutputs.h"

#include "osal/apple/CoreMediaBuffers.h"
#include "osal/common/OutOfMemory.h"

#include <utility>

namespace osal {

// ---- Connection -----------------------------------------------------------------------------------------------------

void AppleConnection::Take(avfoundation::Object platform) {
   const std::lock_guard<std::mutex> hold(mMutex);
   mPlatform = std::move(platform);
}

avfoundation::Object AppleConnection::Platform() const {
   const std::lock_guard<std::mutex> hold(mMutex);
   return mPlatform;
}

bool AppleConnection::isVideoMaxFrameDurationSupported() const {
   const avfoundation::Object platform = Platform();
   return platform && avfoundation::IsVideoMaxFrameDurationSupported(platform.get());
}

void AppleConnection::setVideoMaxFrameDuration(MediaTime duration) {
   const avfoundation::Object platform = Platform();
   if (platform && duration.value > 0 && duration.timescale > 0 &&
       avfoundation::IsVideoMaxFrameDurationSupported(platform.get())) {
      // A duration that the camera can't do is refused, and the former one stays: the caller reads it back.
      static_cast<void>(avfoundation::SetVideoMaxFrameDuration(platform.get(), duration));
   }
}

MediaTime AppleConnection::videoMaxFrameDuration() const {
   const avfoundation::Object platform = Platform();
   return platform ? avfoundation::VideoMaxFrameDuration(platform.get()) : MediaTime{};
}

// ---- The way of a buffer --------------------------------------------------------------------------------------------

namespace {

class Way final : public avfoundation::DeliveryTarget {
public:
   explicit Way(std::shared_ptr<DelegateGate> gate)
       : mGate(std::move(gate))
       , mPool(std::make_shared<SampleBufferPool>()) {
      for (size_t i = 0; i < SampleBufferPool::kBuffers; ++i) {
         mPool->Add(std::make_unique<AppleSampleBuffer>());
      }
   }

   // With all wrappers out this buffer is dropped, as the platform drops the next ones.
   void Deliver(CFTypeRef sampleBuffer) override {
      // A delegate that changes the queue in its own call would be called on the new one meanwhile.
      const std::lock_guard<std::mutex> turn(mTurn);
      if (!mGate->IsTaken()) {
         return;
      }
      auto *const wrapper = static_cast<AppleSampleBuffer *>(mPool->Take());
      if (wrapper == nullptr) {
         return;
      }
      const Ref<SampleBuffer> buffer = Ref<SampleBuffer>::adopt(wrapper);
      if (wrapper->Hold(sampleBuffer)) {
         mGate->Deliver(buffer);
      }
   }

private:
   const std::shared_ptr<DelegateGate> mGate;
   const std::shared_ptr<SampleBufferPool> mPool;
   std::mutex mTurn;
};

} // namespace

// ---- Outputs --------------------------------------------------------------------------------------------------------

AppleOutput::AppleOutput(MediaType mediaType, avfoundation::Object platform)
    : SessionMember(kAppleBackend, mediaType)
    , mPlatform(std::move(platform))
    , mGate(std::make_shared<DelegateGate>(mConnection, DelegateGate::Threads::Borrowed))
    , mDelegate(avfoundation::MakeDelegate(std::make_shared<Way>(mGate))) {}

AppleOutput::~AppleOutput() {
   static_cast<void>(avfoundation::SetSampleBufferDelegate(mPlatform.get(), Kind(), nullptr, nullptr));
}

Status AppleOutput::Trouble() const {
   const std::lock_guard<std::mutex> hold(mMutex);
   return mTrouble;
}

void AppleOutput::NoteSettings(Status status) {
   const std::lock_guard<std::mutex> hold(mMutex);
   mTrouble = std::move(status);
}

void AppleOutput::RefreshConnection() {
   avfoundation::Object platform = avfoundation::ConnectionWithMediaType(mPlatform.get(), Kind());
   const bool isThere = static_cast<bool>(platform);
   if (isThere) {
      mConnection->Take(std::move(platform));
   }
   mIsConnected.store(isThere);
}

std::shared_ptr<CaptureConnection> AppleOutput::ConnectionFor(MediaType mediaType) const {
   return mediaType == Kind() && mIsConnected.load() ? mConnection : nullptr;
}

void AppleOutput::SetDelegate(SampleBufferDelegate *delegate, const std::shared_ptr<SerialQueue> &queue) {
   const auto *const own = dynamic_cast<const AppleSerialQueue *>(queue.get());
   mGate->SetDelegate(delegate, own != nullptr ? own->Turns() : nullptr);
   const bool isNobody = delegate == nullptr || own == nullptr;
   static_cast<void>(avfoundation::SetSampleBufferDelegate(
      mPlatform.get(), Kind(), isNobody ? nullptr : mDelegate.get(), isNobody ? nullptr : own->Platform()));
}

void AppleVideoOutput::setAlwaysDiscardsLateVideoFrames(bool discards) {
   static_cast<void>(avfoundation::SetAlwaysDiscardsLateVideoFrames(Platform(), discards));
}

void AppleVideoOutput::setVideoSettings(const VideoSettings &settings) {
   NoteSettings(UnlessOutOfMemory([&] { return avfoundation::SetVideoSettings(Platform(), settings); }, NoMemory()));
}

void AppleAudioOutput::setAudioSettings(const AudioSettings &settings) {
   NoteSettings(UnlessOutOfMemory([&] { return avfoundation::SetAudioSettings(Platform(), settings); }, NoMemory()));
}

} // namespace osal
