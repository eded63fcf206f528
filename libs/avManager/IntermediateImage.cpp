#include "libs/avManager/IntermediateImage.h"

#include <new>

size_t IntermediateImage::ChromaSize(uint32_t width, uint32_t height) {
   return (size_t{width} / 2 + width % 2) * (size_t{height} / 2 + height % 2);
}

bool IntermediateImage::Setup(uint32_t width, uint32_t height) {
   *this = IntermediateImage();
   const uint64_t pixels = uint64_t{width} * height;
   // The scaler counts in signed 32-bit numbers.
   if (pixels == 0 || pixels > INT32_MAX) {
      return false;
   }
   const size_t size = static_cast<size_t>(pixels) + 2 * ChromaSize(width, height);
   mBuffer.reset(new (std::nothrow) uint8_t[size]);
   if (mBuffer == nullptr) {
      return false;
   }
   mWidth = width;
   mHeight = height;
   mFrameSize = static_cast<uint32_t>(pixels * 3 >> 1);
   return true;
}
