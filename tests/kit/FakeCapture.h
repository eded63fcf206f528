#pragma once

#include "osal/Capture.h"

#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace kit {

/// A camera's picture that a test fills: '420f', luma and chroma with rows as long as it says.
class FakeFrame final : public osal::SampleBuffer, public osal::PixelBuffer {
public:
   FakeFrame(size_t width, size_t height, size_t stride = 0);

   int32_t lockStatus = 0;
   uint32_t format = osal::FourCC("420f");
   std::vector<uint8_t> luma;
   std::vector<uint8_t> chroma;
   int locks = 0; ///< that have not been given back

   osal::PixelBuffer *imageBuffer() override { return this; }
   const osal::BlockBuffer *dataBuffer() override { return nullptr; }
   int32_t lockBaseAddress() override;
   void unlockBaseAddress() override { --locks; }
   uint32_t pixelFormatType() const override { return format; }
   size_t width() const override { return mWidth; }
   size_t height() const override { return mHeight; }
   const uint8_t *baseAddressOfPlane(size_t plane) const override { return plane == 0 ? luma.data() : chroma.data(); }
   size_t bytesPerRowOfPlane(size_t) const override { return mStride; }

private:
   const size_t mWidth;
   const size_t mHeight;
   const size_t mStride;
};

/// A delivery of sound that a test fills.
class FakeSound final : public osal::SampleBuffer, public osal::BlockBuffer {
public:
   explicit FakeSound(std::string sound)
       : bytes(std::move(sound)) {}

   int32_t pointerStatus = 0;
   std::string bytes;

   osal::PixelBuffer *imageBuffer() override { return nullptr; }
   const osal::BlockBuffer *dataBuffer() override { return this; }
   int32_t getDataPointer(size_t offset, size_t *length, const char **data) const override;
};

/// A capture platform that a test scripts: it fills the public fields and reads the record afterwards.
///
/// Owner: the test; outlives what it made. Threads: one. Put it in force with osal::ScopedCapture.
class FakeCapture final : public osal::Capture {
public:
   // What is there.
   std::shared_ptr<const osal::CaptureDevice> camera;     ///< found by its own id, and the default; null: none
   std::shared_ptr<const osal::CaptureDevice> microphone; ///< the same
   // What fails.
   bool hasSessions = true;
   osal::Status inputStatus;
   bool throwsAtInput = false; ///< no backend does; what stands above must hold all the same
   osal::Status queueStatus;
   osal::Status startStatus;
   bool takesInput = true;
   bool takesOutput = true;
   bool limitsFrameDuration = true;
   bool queueGivesNothing = false; ///< though it says that it holds something
   osal::Status sessionHealth;
   // What happened, in order, under the operations' names.
   std::vector<std::string> calls;
   osal::VideoSettings videoSettings;
   osal::AudioSettings audioSettings;
   std::string queueLabel;
   size_t queueCapacity = 0;

   /// Run within startRunning and removeOutput, before they return.
   std::function<void()> atStart;
   std::function<void()> atRemoveOutput;

   /// As the platform would, on the connection of the video output, of the audio output, or on a foreign one.
   void Deliver(const osal::Ref<osal::SampleBuffer> &buffer);
   void DeliverSound(const osal::Ref<osal::SampleBuffer> &buffer);
   void DeliverOnForeignConnection(const osal::Ref<osal::SampleBuffer> &buffer);

   osal::Status deviceWithUniqueID(std::string_view uniqueID, osal::MediaType mediaType,
                                   std::shared_ptr<const osal::CaptureDevice> *device) override;
   osal::Status defaultDeviceWithMediaType(osal::MediaType mediaType,
                                           std::shared_ptr<const osal::CaptureDevice> *device) override;
   osal::Status deviceInputWithDevice(const std::shared_ptr<const osal::CaptureDevice> &device,
                                      osal::MediaType mediaType,
                                      std::shared_ptr<osal::CaptureDeviceInput> *input) override;
   std::unique_ptr<osal::CaptureSession> makeSession() override;
   std::shared_ptr<osal::VideoDataOutput> makeVideoDataOutput() override;
   std::shared_ptr<osal::AudioDataOutput> makeAudioDataOutput() override;
   std::shared_ptr<osal::SerialQueue> makeSerialQueue(std::string label) override;
   osal::Status makeBufferQueue(size_t capacity, std::unique_ptr<osal::BufferQueue> *queue) override;

private:
   class Session;
   class VideoOutput;
   class AudioOutput;
   class Connection;
   class Queue;

   /// What an output has come to.
   struct Way {
      osal::SampleBufferDelegate *delegate = nullptr;
      std::shared_ptr<osal::CaptureConnection> connection;
   };
   void SetDelegate(Way *way, osal::SampleBufferDelegate *delegate, const osal::SerialQueue &queue);
   std::shared_ptr<osal::CaptureConnection> Connect(Way *way);
   [[nodiscard]] const std::shared_ptr<const osal::CaptureDevice> &Device(osal::MediaType mediaType) const;

   Way mVideo;
   Way mAudio;
};

/// A camera of facts alone.
[[nodiscard]] std::shared_ptr<const osal::CaptureDevice>
FakeCaptureDevice(std::string name, std::string uniqueId, std::vector<osal::CaptureDeviceFormat> formats = {});

} // namespace kit
