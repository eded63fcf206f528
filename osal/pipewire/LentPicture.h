#pragma once

#include "osal/common/SampleBufferPool.h"
#include "osal/pipewire/BufferMemory.h"
#include "osal/pipewire/PipewirePicture.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <mutex>

namespace osal {

/// A '420f' picture that lies in the daemon's memory, where the camera wrote it: no byte is copied. The stream lends it
/// until it needs the buffer back; a picture that is still out then moves to memory of its own.
///
/// Owner: as PooledSampleBuffer. Threads: lent and recalled on the stream's loop, released on any, read on one at a
/// time. Locks: mMutex, for some instructions, and for one copy in Recall. Life cycle: in its pool -> Lend -> read,
/// recalled, released in any order -> back in its pool.
class LentPicture final : public PooledSampleBuffer, public PixelBuffer {
public:
   enum class Recalled { Yes, IsBeingRead };

   /// Before it is delivered. `loan` is a number that no other has had. Allocates nothing.
   void Lend(const BiPlanarView &view, std::shared_ptr<const BufferMemory> memory, uint64_t loan);
   /// The buffer is free, as far as this loan of it goes: the picture has been released already, or has moved. Not
   /// while it is locked. Without memory to move to, locking it fails from now on.
   [[nodiscard]] Recalled Recall(uint64_t loan);
   /// As Recall, for a buffer that goes anyway: who is reading goes on in the daemon's memory, which stays mapped, but
   /// may be written to.
   void RecallAtOnce(uint64_t loan);

   PixelBuffer *imageBuffer() override { return this; }
   int32_t lockBaseAddress() override;
   void unlockBaseAddress() override;
   uint32_t pixelFormatType() const override { return FourCC("420f"); }
   size_t width() const override { return static_cast<size_t>(mSize.width); }
   size_t height() const override { return static_cast<size_t>(mSize.height); }
   const uint8_t *baseAddressOfPlane(size_t plane) const override { return plane < 2 ? mRead[plane] : nullptr; }
   size_t bytesPerRowOfPlane(size_t plane) const override { return plane < 2 ? mStrides[plane] : 0; }

   /// For SampleBufferPool::Fill: a size does not matter, it has no memory of its own yet.
   [[nodiscard]] static bool Allocate(VideoDimensions /*largest*/) { return true; }

private:
   struct Free {
      void operator()(uint8_t *memory) const { std::free(memory); }
   };
   void LetGo() override;
   void MoveToOwnMemory();
   [[nodiscard]] bool HasOwnMemory(size_t bytes);

   // Set by Lend, unchanged while the picture is out:
   VideoDimensions mSize;
   size_t mStrides[2] = {};
   size_t mBytes[2] = {}; // from the first byte of a plane to its last
   std::shared_ptr<const BufferMemory> mMemory;
   // The reader's, from its lock on:
   const uint8_t *mRead[2] = {};

   std::mutex mMutex;
   // Guarded by mMutex:
   const uint8_t *mPlanes[2] = {}; // null: they are lost
   uint64_t mLoan = 0;             // 0: the buffer is not needed any more
   bool mIsBeingRead = false;
   std::unique_ptr<uint8_t, Free> mOwn; // kept for the next time
   size_t mOwnBytes = 0;
};

} // namespace osal
