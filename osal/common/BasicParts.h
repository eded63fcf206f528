#pragma once

#include "osal/CaptureSession.h"
#include "osal/common/DelegateGate.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <string_view>
#include <utility>

namespace osal {

/// The connection of every backend: remembers what was set.
class BasicConnection final : public CaptureConnection {
public:
   explicit BasicConnection(MediaType mediaType)
       : mMediaType(mediaType) {}

   bool isVideoMaxFrameDurationSupported() const override { return mMediaType == MediaType::Video; }
   void setVideoMaxFrameDuration(MediaTime duration) override;
   MediaTime videoMaxFrameDuration() const override;

private:
   const MediaType mMediaType;
   mutable std::mutex mMutex;
   MediaTime mDuration; // guarded by mMutex
};

/// What inputs and outputs have in common: the backend that made them, their kind, the session that they are in.
class SessionMember {
public:
   SessionMember(std::string_view backend, MediaType mediaType)
       : mBackend(backend)
       , mMediaType(mediaType) {}

   [[nodiscard]] std::string_view Backend() const { return mBackend; }
   [[nodiscard]] MediaType Kind() const { return mMediaType; }
   [[nodiscard]] bool IsInSession() const { return mIsInSession.load(); }
   void SetInSession(bool isInSession) { mIsInSession.store(isInSession); }

protected:
   ~SessionMember() = default;

private:
   const std::string_view mBackend; // a literal
   const MediaType mMediaType;
   std::atomic<bool> mIsInSession{false};
};

/// The input of every backend.
class BasicInput final : public CaptureDeviceInput, public SessionMember {
public:
   BasicInput(std::string_view backend, MediaType mediaType, std::shared_ptr<const CaptureDevice> device)
       : SessionMember(backend, mediaType)
       , mDevice(std::move(device)) {}

   const CaptureDevice &device() const override { return *mDevice; }
   [[nodiscard]] const std::shared_ptr<const CaptureDevice> &SharedDevice() const { return mDevice; }

private:
   const std::shared_ptr<const CaptureDevice> mDevice;
};

/// What the outputs of every backend have in common.
class OutputCore : public SessionMember {
public:
   OutputCore(std::string_view backend, MediaType mediaType)
       : SessionMember(backend, mediaType)
       , mConnection(std::make_shared<BasicConnection>(mediaType))
       , mGate(std::make_shared<DelegateGate>(mConnection)) {}
   virtual ~OutputCore() = default;

   [[nodiscard]] const std::shared_ptr<BasicConnection> &Connection() const { return mConnection; }
   [[nodiscard]] const std::shared_ptr<DelegateGate> &Gate() const { return mGate; }
   void SetConnected(bool isConnected) { mIsConnected.store(isConnected); }
   [[nodiscard]] std::shared_ptr<CaptureConnection> ConnectionFor(MediaType mediaType) const {
      return mediaType == Kind() && mIsConnected.load() ? mConnection : nullptr;
   }

private:
   const std::shared_ptr<BasicConnection> mConnection;
   const std::shared_ptr<DelegateGate> mGate;
   std::atomic<bool> mIsConnected{false};
};

/// The video output of every backend.
class BasicVideoOutput final : public VideoDataOutput, public OutputCore {
public:
   explicit BasicVideoOutput(std::string_view backend)
       : OutputCore(backend, MediaType::Video) {}

   void setSampleBufferDelegate(SampleBufferDelegate *delegate, std::shared_ptr<SerialQueue> queue) override {
      Gate()->SetDelegate(delegate, queue);
   }
   std::shared_ptr<CaptureConnection> connectionWithMediaType(MediaType mediaType) override {
      return ConnectionFor(mediaType);
   }
   void setAlwaysDiscardsLateVideoFrames(bool discards) override { Gate()->SetDiscardsLate(discards); }
   void setVideoSettings(const VideoSettings &settings) override { mSettings = settings; }
   [[nodiscard]] const VideoSettings &Settings() const { return mSettings; }

private:
   VideoSettings mSettings;
};

/// The audio output of every backend.
class BasicAudioOutput final : public AudioDataOutput, public OutputCore {
public:
   explicit BasicAudioOutput(std::string_view backend)
       : OutputCore(backend, MediaType::Audio) {}

   void setSampleBufferDelegate(SampleBufferDelegate *delegate, std::shared_ptr<SerialQueue> queue) override {
      Gate()->SetDelegate(delegate, queue);
   }
   std::shared_ptr<CaptureConnection> connectionWithMediaType(MediaType mediaType) override {
      return ConnectionFor(mediaType);
   }
   void setAudioSettings(const AudioSettings &settings) override { mSettings = settings; }
   [[nodiscard]] const AudioSettings &Settings() const { return mSettings; }

private:
   AudioSettings mSettings;
};

} // namespace osal
