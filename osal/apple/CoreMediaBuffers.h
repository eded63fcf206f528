#pragma once

#include "osal/SampleBuffer.h"
#include "osal/Status.h"
#include "osal/apple/CoreFoundationText.h"
#include "osal/common/SampleBufferPool.h"

#include <memory>

namespace osal {

/// One CMSampleBuffer on its way: its CVPixelBuffer, or its CMBlockBuffer.
///
/// Owner, threads: as SampleBuffer. Life cycle: taken from a pool -> Hold -> delivered; the last release lets the
/// platform's buffer go, which AVFoundation needs back to go on.
class AppleSampleBuffer final : public PooledSampleBuffer, public PixelBuffer, public BlockBuffer {
public:
   /// Keeps a reference to `sampleBuffer`, a CMSampleBufferRef. False when it has neither pixels nor samples.
   [[nodiscard]] bool Hold(CFTypeRef sampleBuffer);
   /// The CMSampleBufferRef.
   [[nodiscard]] CFTypeRef Platform() const { return mSample.get(); }

   PixelBuffer *imageBuffer() override { return mImage != nullptr ? this : nullptr; }
   const BlockBuffer *dataBuffer() override { return mData ? this : nullptr; }

   int32_t lockBaseAddress() override;
   void unlockBaseAddress() override;
   uint32_t pixelFormatType() const override;
   size_t width() const override;
   size_t height() const override;
   const uint8_t *baseAddressOfPlane(size_t plane) const override;
   size_t bytesPerRowOfPlane(size_t plane) const override;

   int32_t getDataPointer(size_t offset, size_t *length, const char **data) const override;

protected:
   void LetGo() override;

private:
   CFOwned<CFTypeRef> mSample;
   void *mImage = nullptr;   // the CVPixelBufferRef, which lives as long as the sample
   CFOwned<CFTypeRef> mData; // the CMBlockBufferRef, in one piece
};

/// A queue of CMSampleBuffers, CMBufferQueue; takes AppleSampleBuffers only. EINVAL for a capacity of 0, ENOMEM without
/// memory, or the platform's error; `*queue` is null then.
Status MakeAppleBufferQueue(size_t capacity, std::unique_ptr<BufferQueue> *queue);

} // namespace osal
