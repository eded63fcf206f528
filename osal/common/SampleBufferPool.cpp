#include "osal/common/SampleBufferPool.h"

#include "osal/SchedulePoint.h"

namespace osal {

void PooledSampleBuffer::disposed() {
   LetGo();
   // The pool may go with this, its last buffer: nothing of the buffer is touched after GiveBack.
   const std::shared_ptr<SampleBufferPool> home = std::move(mHome);
   home->GiveBack(this);
}

void SampleBufferPool::Add(std::unique_ptr<PooledSampleBuffer> buffer) {
   const std::lock_guard<std::mutex> hold(mMutex);
   mFree.reserve(mBuffers.size() + 1);
   mBuffers.push_back(std::move(buffer));
   mFree.push_back(mBuffers.back().get());
}

PooledSampleBuffer *SampleBufferPool::Take(size_t most) {
   const std::lock_guard<std::mutex> hold(mMutex);
   if (mFree.empty() || mBuffers.size() - mFree.size() >= most) {
      mIsAwaited = true;
      return nullptr;
   }
   PooledSampleBuffer *const buffer = mFree.back();
   mFree.pop_back();
   buffer->mHome = shared_from_this();
   buffer->revive();
   return buffer;
}

size_t SampleBufferPool::Outstanding() const {
   const std::lock_guard<std::mutex> hold(mMutex);
   return mBuffers.size() - mFree.size();
}

void SampleBufferPool::GiveBack(PooledSampleBuffer *buffer) {
   schedulePoint();
   const std::lock_guard<std::mutex> hold(mMutex);
   mFree.push_back(buffer);
   if (std::exchange(mIsAwaited, false)) {
      mSignal.Raise();
   }
}

} // namespace osal
