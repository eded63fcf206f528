#include "osal/common/FrameBuffer.h"

#include <cassert>
#include <cstdlib>

namespace osal {
namespace {

uint64_t StrideOf(VideoDimensions size) {
   const uint64_t row = static_cast<uint64_t>(size.width) + static_cast<uint64_t>(size.width % 2);
   return (row + FrameBuffer::kRowAlignment - 1) / FrameBuffer::kRowAlignment * FrameBuffer::kRowAlignment;
}

} // namespace

void FrameBuffer::Free::operator()(uint8_t *memory) const {
   std::free(memory);
}

uint64_t FrameBuffer::Bytes(VideoDimensions size) {
   const auto rows = static_cast<uint64_t>(size.height);
   return StrideOf(size) * (rows + (rows + 1) / 2);
}

bool FrameBuffer::Allocate(VideoDimensions largest) {
   mCapacity = Bytes(largest);
   mPixels.reset(static_cast<uint8_t *>(std::calloc(mCapacity != 0 ? mCapacity : 1, 1)));
   Shape(largest);
   return mPixels != nullptr;
}

void FrameBuffer::Shape(VideoDimensions size) {
   assert(size.width >= 0 && size.height >= 0 && Bytes(size) <= mCapacity);
   mSize = size;
   mStride = StrideOf(size);
}

const uint8_t *FrameBuffer::baseAddressOfPlane(size_t plane) const {
   switch (plane) {
   case 0:
      return mPixels.get();
   case 1:
      return mPixels.get() + mStride * static_cast<size_t>(mSize.height);
   default:
      return nullptr;
   }
}

} // namespace osal
