#pragma once

#include "osal/SampleBuffer.h"
#include "osal/common/WakeSignal.h"

#include <cstddef>
#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace osal {

class SampleBufferPool;

/// A sample buffer that goes back to its pool when its last reference is released.
///
/// Owner: its pool while nobody refers to it; while somebody does, it keeps the pool alive.
class PooledSampleBuffer : public SampleBuffer {
public:
   PixelBuffer *imageBuffer() override { return nullptr; }
   const BlockBuffer *dataBuffer() override { return nullptr; }
   ~PooledSampleBuffer() override = default;

protected:
   /// Lets go of what the buffer stands for, on the thread of the last release, before it is at home again.
   virtual void LetGo() {}
   void disposed() final;

private:
   friend class SampleBufferPool;
   std::shared_ptr<SampleBufferPool> mHome; // set while it is out
};

/// Sample buffers that are used again and again, so that a delivery allocates nothing.
///
/// Owner: the stream that delivers them, and each buffer that is out: a pool outlives its session for as long as
/// somebody holds a buffer. Threads: buffers come back on any thread; the rest on one. Locks: mMutex, for some
/// instructions. Life cycle: filled by Add -> Take and return -> destroyed with all buffers at home. Made by
/// std::make_shared.
class SampleBufferPool final : public std::enable_shared_from_this<SampleBufferPool> {
public:
   /// What a pool holds so that a queue of ten can be full, one buffer be read, and one be filled.
   static constexpr size_t kBuffers = 12;

   /// Throws std::bad_alloc without memory.
   void Add(std::unique_ptr<PooledSampleBuffer> buffer);

   /// kBuffers of a kind, each made by Buffer::Allocate(most). False when one can't have its memory.
   template <typename Buffer, typename Most>
   [[nodiscard]] bool Fill(const Most &most) {
      for (size_t i = 0; i < kBuffers; ++i) {
         auto buffer = std::make_unique<Buffer>();
         if (!buffer->Allocate(most)) {
            return false;
         }
         Add(std::move(buffer));
      }
      return true;
   }

   /// The buffer that came back last, with one reference that the caller owns; its content is what it was. Null when
   /// `most` or all are out: the next that comes back then raises Signal().
   [[nodiscard]] PooledSampleBuffer *Take(size_t most = SIZE_MAX);
   [[nodiscard]] size_t Outstanding() const;
   [[nodiscard]] WakeSignal &Signal() { return mSignal; }

private:
   friend class PooledSampleBuffer;
   void GiveBack(PooledSampleBuffer *buffer);

   WakeSignal mSignal;
   mutable std::mutex mMutex;
   // Guarded by mMutex:
   std::vector<std::unique_ptr<PooledSampleBuffer>> mBuffers;
   std::vector<PooledSampleBuffer *> mFree; // a stack: what was used last is in the caches, the rest is never touched
   bool mIsAwaited = false;
};

} // namespace osal
