#include "osal/common/RingBufferQueue.h"

#include "osal/common/OutOfMemory.h"

#include <mutex>
#include <utility>

namespace osal {
namespace {

class RingBufferQueue final : public BufferQueue {
public:
   RingBufferQueue(size_t capacity, std::unique_ptr<Ref<SampleBuffer>[]> slots)
       : mCapacity(capacity)
       , mSlots(std::move(slots)) {}

   int32_t enqueue(const Ref<SampleBuffer> &buffer) override {
      if (!buffer) {
         return kNoBuffer;
      }
      const std::lock_guard<std::mutex> hold(mMutex);
      if (mCount == mCapacity) {
         return kFull;
      }
      mSlots[(mFirst + mCount) % mCapacity] = buffer;
      ++mCount;
      return 0;
   }

   Ref<SampleBuffer> dequeueAndRetain() override {
      const std::lock_guard<std::mutex> hold(mMutex);
      if (mCount == 0) {
         return {};
      }
      Ref<SampleBuffer> oldest = std::move(mSlots[mFirst]);
      mFirst = (mFirst + 1) % mCapacity;
      --mCount;
      return oldest;
   }

   bool isEmpty() const override { return getBufferCount() == 0; }

   size_t getBufferCount() const override {
      const std::lock_guard<std::mutex> hold(mMutex);
      return mCount;
   }

private:
   const size_t mCapacity;
   mutable std::mutex mMutex;
   const std::unique_ptr<Ref<SampleBuffer>[]> mSlots; // the slots, mFirst and mCount: guarded by mMutex
   size_t mFirst = 0;
   size_t mCount = 0;
};

} // namespace

Status MakeRingBufferQueue(size_t capacity, std::unique_ptr<BufferQueue> *queue) {
   queue->reset();
   if (capacity == 0) {
      return Status::Error(EINVAL, "a queue for no buffer at all");
   }
   if (capacity > SIZE_MAX / sizeof(Ref<SampleBuffer>) / 2) {
      return NoMemory();
   }
   return UnlessOutOfMemory(
      [&] {
         auto slots = std::make_unique<Ref<SampleBuffer>[]>(capacity);
         *queue = std::make_unique<RingBufferQueue>(capacity, std::move(slots));
         return Status::Ok();
      },
      NoMemory());
}

} // namespace osal
