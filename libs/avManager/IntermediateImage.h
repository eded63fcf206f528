#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

/// The I420 image of a camera frame's own size that stands between the camera's planes and the picture asked for.
///
/// Its chroma planes are rounded up to whole samples, so that a frame of odd size has room; each byte that a conversion
/// needs is written by it, so the image is never cleared. Nothing reads the camera's luma from here (ConvertFrame takes
/// it where it is), and a luma plane that is never touched costs address space only.
/// Owner: the capture object. Threads: the reader's only. Locks: none. Life cycle: empty -> Setup for each new size;
/// what a failed Setup leaves is empty again.
class IntermediateImage {
public:
   /// Room for a frame of this size; what was there before is released. False when there is no memory for it, when it
   /// has no pixels, or when its size is no 32-bit number; not logged.
   [[nodiscard]] bool Setup(uint32_t width, uint32_t height);

   [[nodiscard]] uint32_t Width() const { return mWidth; } ///< 0 when empty, like all the numbers here
   [[nodiscard]] uint32_t Height() const { return mHeight; }
   [[nodiscard]] uint32_t BytesPerRow() const { return mWidth; } ///< of luma
   [[nodiscard]] int32_t ChromaBytesPerRow() const { return static_cast<int32_t>(mWidth / 2 + mWidth % 2); }
   /// width * height * 3 / 2, the bytes of a plain image of this size. For an odd size that is a little less than what
   /// is allocated.
   [[nodiscard]] uint32_t FrameSize() const { return mFrameSize; }

   [[nodiscard]] uint8_t *Y() const { return mBuffer.get(); } ///< start of the one allocation
   [[nodiscard]] uint8_t *U() const { return Y() + size_t{mWidth} * mHeight; }
   [[nodiscard]] uint8_t *V() const { return U() + ChromaSize(mWidth, mHeight); }

private:
   static size_t ChromaSize(uint32_t width, uint32_t height);

   uint32_t mWidth = 0;
   uint32_t mHeight = 0;
   uint32_t mFrameSize = 0;
   std::unique_ptr<uint8_t[]> mBuffer;
};
