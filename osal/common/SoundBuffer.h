#pragma once

#include "osal/common/SampleBufferPool.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

namespace osal {

/// A pooled delivery of sound in memory of its own.
///
/// Threads, life cycle: as SampleBuffer. The writer fills it between SampleBufferPool::Take and its delivery.
class SoundBuffer final : public PooledSampleBuffer, public BlockBuffer {
public:
   /// Room for so many bytes; false without memory. Before anything else.
   [[nodiscard]] bool Allocate(size_t most) {
      mData.reset(new (std::nothrow) char[most]);
      mCapacity = mData != nullptr ? most : 0;
      return mData != nullptr;
   }
   [[nodiscard]] char *Data() { return mData.get(); }
   [[nodiscard]] size_t Capacity() const { return mCapacity; }
   void SetLength(size_t length) { mLength = length; } ///< bytes, at most Capacity

   const BlockBuffer *dataBuffer() override { return this; }
   int32_t getDataPointer(size_t offset, size_t *length, const char **data) const override {
      const bool isInside = offset <= mLength;
      *length = isInside ? mLength - offset : 0;
      *data = isInside ? mData.get() + offset : nullptr;
      return isInside ? 0 : ERANGE;
   }

private:
   std::unique_ptr<char[]> mData;
   size_t mCapacity = 0;
   size_t mLength = 0;
};

} // namespace osal
