#include "osal/apple/AppleCapture.h"

#include "osal/apple/AVFoundationDevices.h"
#include "osal/apple/AppleOutputs.h"
#include "osal/apple/AppleSession.h"
#include "osal/apple/CoreMediaBuffers.h"
#include "osal/common/OutOfMemory.h"

#include <cerrno>
#include <string>
#include <utility>

namespace osal {
namespace {

const char *Noun(MediaType mediaType) {
   return mediaType == MediaType::Video ? "camera" : "microphone";
}

/// A `Made` for the platform's object that `make` gives; null without one.
template <typename Made, typename Interface, typename Make>
Interface Wrapped(Make make) {
   return UnlessOutOfMemory(
      [&]() -> Interface {
         avfoundation::Object platform = make();
         return platform ? std::make_shared<Made>(std::move(platform)) : nullptr;
      },
      nullptr);
}

class AppleCapture final : public Capture {
public:
   explicit AppleCapture(std::chrono::milliseconds patience)
       : mPatience(patience) {}

   Status deviceWithUniqueID(std::string_view uniqueID, MediaType mediaType,
                             std::shared_ptr<const CaptureDevice> *device) override {
      return Cleanly(device, [&] {
         const std::string id(uniqueID);
         Status status = avfoundation::DeviceWithUniqueID(id, mediaType, device);
         return status.ok() && *device == nullptr
                   ? Status::Error(ENODEV,
                                   std::string("there is no ") + Noun(mediaType) + " with the id \"" + id + "\"")
                   : status;
      });
   }

   Status defaultDeviceWithMediaType(MediaType mediaType, std::shared_ptr<const CaptureDevice> *device) override {
      return Cleanly(device, [&] {
         Status status = avfoundation::DefaultDevice(mediaType, device);
         return status.ok() && *device == nullptr ? Status::Error(ENODEV, std::string("there is no ") + Noun(mediaType))
                                                  : status;
      });
   }

   Status deviceInputWithDevice(const std::shared_ptr<const CaptureDevice> &device, MediaType mediaType,
                                std::shared_ptr<CaptureDeviceInput> *input) override {
      return Cleanly(input, [&] {
         auto own = std::dynamic_pointer_cast<const AppleCaptureDevice>(device);
         if (own == nullptr) {
            return Status::Error(EINVAL,
                                 device == nullptr ? "no device to open" : "the device was made by another backend");
         }
         if (!own->Has(mediaType)) {
            return Status::Error(EINVAL, "\"" + own->localizedName() + "\" is no " + Noun(mediaType));
         }
         avfoundation::Object platform;
         Status status = avfoundation::MakeDeviceInput(own->Platform(), &platform);
         if (status.ok()) {
            *input = std::make_shared<AppleInput>(mediaType, std::move(own), std::move(platform));
         }
         return status;
      });
   }

   std::unique_ptr<CaptureSession> makeSession() override {
      return UnlessOutOfMemory(
         [&]() -> std::unique_ptr<CaptureSession> {
            avfoundation::Object platform = avfoundation::MakeSession();
            return platform ? std::make_unique<AppleSession>(std::move(platform), mPatience) : nullptr;
         },
         nullptr);
   }

   std::shared_ptr<VideoDataOutput> makeVideoDataOutput() override {
      return Wrapped<AppleVideoOutput, std::shared_ptr<VideoDataOutput>>(avfoundation::MakeVideoDataOutput);
   }

   std::shared_ptr<AudioDataOutput> makeAudioDataOutput() override {
      return Wrapped<AppleAudioOutput, std::shared_ptr<AudioDataOutput>>(avfoundation::MakeAudioDataOutput);
   }

   std::shared_ptr<SerialQueue> makeSerialQueue(std::string label) override {
      return UnlessOutOfMemory(
         [&]() -> std::shared_ptr<SerialQueue> { return std::make_shared<AppleSerialQueue>(label); }, nullptr);
   }

   Status makeBufferQueue(size_t capacity, std::unique_ptr<BufferQueue> *queue) override {
      return MakeAppleBufferQueue(capacity, queue);
   }

private:
   const std::chrono::milliseconds mPatience;
};

} // namespace

std::unique_ptr<Capture> MakeAppleCapture(std::chrono::milliseconds patience) {
   return std::make_unique<AppleCapture>(patience);
}

} // namespace osal
