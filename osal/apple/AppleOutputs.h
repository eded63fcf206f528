#pragma once

#include "osal/CaptureSession.h"
#include "osal/apple/AVFoundationDevices.h"
#include "osal/apple/AVFoundationSession.h"
#include "osal/apple/DispatchQueue.h"
#include "osal/common/BasicParts.h"
#include "osal/common/DelegateGate.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <string_view>

namespace osal {

/// Inputs and outputs of another backend are refused by this name.
inline constexpr std::string_view kAppleBackend = "avfoundation";

/// The connection of an output: one object for its whole life, in front of the AVCaptureConnection that there is now,
/// or was last. Threads: any thread. Locks: mMutex.
class AppleConnection final : public CaptureConnection {
public:
   bool isVideoMaxFrameDurationSupported() const override;
   void setVideoMaxFrameDuration(MediaTime duration) override;
   MediaTime videoMaxFrameDuration() const override;

   void Take(avfoundation::Object platform);

private:
   avfoundation::Object Platform() const;

   mutable std::mutex mMutex;
   avfoundation::Object mPlatform; // guarded by mMutex
};

/// An AVCaptureDeviceInput.
class AppleInput final : public CaptureDeviceInput, public SessionMember {
public:
   AppleInput(MediaType mediaType, std::shared_ptr<const AppleCaptureDevice> device, avfoundation::Object platform)
       : SessionMember(kAppleBackend, mediaType)
       , mDevice(std::move(device))
       , mPlatform(std::move(platform)) {}

   const CaptureDevice &device() const override { return *mDevice; }
   [[nodiscard]] CFTypeRef Platform() const { return mPlatform.get(); }
   [[nodiscard]] bool IsConnected() const { return avfoundation::IsConnected(mDevice->Platform()); }

private:
   const std::shared_ptr<const AppleCaptureDevice> mDevice;
   const avfoundation::Object mPlatform;
};

/// What the two outputs have in common: the platform's output, the way of its buffers through a gate to the delegate,
/// and the settings that the platform has refused.
///
/// Owner: whoever made the output, and a session's control while the platform's session has it. Threads: as
/// CaptureOutput. Locks: the gate's; mMutex for the trouble.
class AppleOutput : public SessionMember {
public:
   AppleOutput(MediaType mediaType, avfoundation::Object platform);
   virtual ~AppleOutput();
   AppleOutput(const AppleOutput &) = delete;
   AppleOutput &operator=(const AppleOutput &) = delete;

   [[nodiscard]] CFTypeRef Platform() const { return mPlatform.get(); }
   [[nodiscard]] DelegateGate &Gate() { return *mGate; }
   /// Why startRunning can't work, or Ok.
   [[nodiscard]] Status Trouble() const;

   /// Looks whether there is a connection now.
   void RefreshConnection();
   void ForgetConnection() { mIsConnected.store(false); }

protected:
   void SetDelegate(SampleBufferDelegate *delegate, const std::shared_ptr<SerialQueue> &queue);
   [[nodiscard]] std::shared_ptr<CaptureConnection> ConnectionFor(MediaType mediaType) const;
   void NoteSettings(Status status);

private:
   const avfoundation::Object mPlatform;
   const std::shared_ptr<AppleConnection> mConnection = std::make_shared<AppleConnection>();
   const std::shared_ptr<DelegateGate> mGate;
   const avfoundation::Object mDelegate; ///< what AVFoundation calls
   std::atomic<bool> mIsConnected{false};
   mutable std::mutex mMutex;
   Status mTrouble; // guarded by mMutex
};

class AppleVideoOutput final : public VideoDataOutput, public AppleOutput {
public:
   explicit AppleVideoOutput(avfoundation::Object platform)
       : AppleOutput(MediaType::Video, std::move(platform)) {}

   void setSampleBufferDelegate(SampleBufferDelegate *delegate, std::shared_ptr<SerialQueue> queue) override {
      SetDelegate(delegate, queue);
   }
   std::shared_ptr<CaptureConnection> connectionWithMediaType(MediaType mediaType) override {
      return ConnectionFor(mediaType);
   }
   void setAlwaysDiscardsLateVideoFrames(bool discards) override;
   void setVideoSettings(const VideoSettings &settings) override;
};

class AppleAudioOutput final : public AudioDataOutput, public AppleOutput {
public:
   explicit AppleAudioOutput(avfoundation::Object platform)
       : AppleOutput(MediaType::Audio, std::move(platform)) {}

   void setSampleBufferDelegate(SampleBufferDelegate *delegate, std::shared_ptr<SerialQueue> queue) override {
      SetDelegate(delegate, queue);
   }
   std::shared_ptr<CaptureConnection> connectionWithMediaType(MediaType mediaType) override {
      return ConnectionFor(mediaType);
   }
   void setAudioSettings(const AudioSettings &settings) override;
};

} // namespace osal
