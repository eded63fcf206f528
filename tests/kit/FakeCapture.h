#pragma once

#include "osal/Capture.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
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

/// A capture platform that a test scripts: it fills the public fields and reads the record afterwards.
///
/// Owner: the test; outlives what it made. Threads: one. Put it in force with osal::ScopedCapture.
class FakeCapture final : public osal::Capture {
public:
   // What is there.
   std::shared_ptr<const osal::CaptureDevice> camera; ///< found by its own id, and the default; null: none
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
   std::string queueLabel;
   size_t queueCapacity = 0;

   /// As the platform would, on the connection of the video output, or on a foreign one.
   void Deliver(const osal::Ref<osal::SampleBuffer> &buffer);
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
   std::shared_ptr<osal::AudioDataOutput> makeAudioDataOutput() override { return nullptr; }
   std::shared_ptr<osal::SerialQueue> makeSerialQueue(std::string label) override;
   osal::Status makeBufferQueue(size_t capacity, std::unique_ptr<osal::BufferQueue> *queue) override;

private:
   class Session;
   class Output;
   class Connection;
   class Queue;

   osal::SampleBufferDelegate *mDelegate = nullptr;
   std::shared_ptr<osal::CaptureConnection> mConnection;
};

/// A camera of facts alone.
[[nodiscard]] std::shared_ptr<const osal::CaptureDevice>
FakeCaptureDevice(std::string name, std::string uniqueId, std::vector<osal::CaptureDeviceFormat> formats = {});

} // namespace kit
