#include "osal/common/BasicCapture.h"

#include "osal/common/BasicParts.h"
#include "osal/common/BasicSession.h"
#include "osal/common/LabelledQueue.h"
#include "osal/common/OutOfMemory.h"
#include "osal/common/RingBufferQueue.h"

#include <utility>

namespace osal {

BasicCapture::BasicCapture(std::shared_ptr<StreamOpener> opener)
    : mOpener(std::move(opener)) {}

Status BasicCapture::deviceWithUniqueID(std::string_view uniqueID, MediaType mediaType,
                                        std::shared_ptr<const CaptureDevice> *device) {
   return Cleanly(device, [&] { return FindDevice(uniqueID, mediaType, device); });
}

Status BasicCapture::defaultDeviceWithMediaType(MediaType mediaType, std::shared_ptr<const CaptureDevice> *device) {
   return Cleanly(device, [&] { return FindDefault(mediaType, device); });
}

Status BasicCapture::deviceInputWithDevice(const std::shared_ptr<const CaptureDevice> &device, MediaType mediaType,
                                           std::shared_ptr<CaptureDeviceInput> *input) {
   return Cleanly(input, [&] {
      if (device == nullptr) {
         return Status::Error(EINVAL, "no device to open");
      }
      Status status = CheckAccess(*device, mediaType);
      if (status.ok()) {
         *input = std::make_shared<BasicInput>(mOpener->Backend(), mediaType, device);
      }
      return status;
   });
}

std::unique_ptr<CaptureSession> BasicCapture::makeSession() {
   using Made = std::unique_ptr<CaptureSession>;
   return UnlessOutOfMemory([&]() -> Made { return std::make_unique<BasicSession>(mOpener); }, nullptr);
}

std::shared_ptr<VideoDataOutput> BasicCapture::makeVideoDataOutput() {
   using Made = std::shared_ptr<VideoDataOutput>;
   return UnlessOutOfMemory([&]() -> Made { return std::make_shared<BasicVideoOutput>(mOpener->Backend()); }, nullptr);
}

std::shared_ptr<AudioDataOutput> BasicCapture::makeAudioDataOutput() {
   using Made = std::shared_ptr<AudioDataOutput>;
   return UnlessOutOfMemory([&]() -> Made { return std::make_shared<BasicAudioOutput>(mOpener->Backend()); }, nullptr);
}

std::shared_ptr<SerialQueue> BasicCapture::makeSerialQueue(std::string label) {
   using Made = std::shared_ptr<SerialQueue>;
   return UnlessOutOfMemory([&]() -> Made { return std::make_shared<LabelledQueue>(std::move(label)); }, nullptr);
}

Status BasicCapture::makeBufferQueue(size_t capacity, std::unique_ptr<BufferQueue> *queue) {
   return MakeRingBufferQueue(capacity, queue);
}

} // namespace osal
