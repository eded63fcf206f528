#pragma once

#include "osal/CaptureDevice.h"
#include "osal/common/SampleBufferPool.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace osal {

/// A pooled '420f' picture in memory of its own: luma, and behind it Cb and Cr in turn.
///
/// Threads, life cycle: as SampleBuffer. The writer fills it between SampleBufferPool::Take and its delivery.
class FrameBuffer : public PooledSampleBuffer, public PixelBuffer {
public:
   /// Room for pictures up to `largest`; false without memory. Before anything else. Pages are not touched.
   [[nodiscard]] bool Allocate(VideoDimensions largest);

   /// From now on it is a picture of this size, within what was allocated; content as it happens to be.
   void Shape(VideoDimensions size);
   [[nodiscard]] VideoDimensions Size() const { return mSize; }
   [[nodiscard]] uint8_t *Luma() { return mPixels.get(); }
   [[nodiscard]] uint8_t *Chroma() { return mPixels.get() + mStride * static_cast<size_t>(mSize.height); }
   [[nodiscard]] size_t Stride() const { return mStride; } ///< bytes, of both planes; a multiple of kRowAlignment

   static constexpr size_t kRowAlignment = 64;
   /// Bytes that a picture takes.
   [[nodiscard]] static uint64_t Bytes(VideoDimensions size);

   PixelBuffer *imageBuffer() override { return this; }
   int32_t lockBaseAddress() override { return 0; }
   void unlockBaseAddress() override {}
   uint32_t pixelFormatType() const override { return FourCC("420f"); }
   size_t width() const override { return static_cast<size_t>(mSize.width); }
   size_t height() const override { return static_cast<size_t>(mSize.height); }
   const uint8_t *baseAddressOfPlane(size_t plane) const override;
   size_t bytesPerRowOfPlane(size_t plane) const override { return plane < 2 ? mStride : 0; }

private:
   struct Free {
      void operator()(uint8_t *memory) const;
   };
   std::unique_ptr<uint8_t, Free> mPixels;
   uint64_t mCapacity = 0;
   VideoDimensions mSize;
   size_t mStride = 0;
};

} // namespace osal
