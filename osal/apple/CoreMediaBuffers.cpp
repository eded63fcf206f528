#include "osal/apple/CoreMediaBuffers.h"

#include "osal/common/OutOfMemory.h"

#include <CoreMedia/CoreMedia.h>

#include <algorithm>
#include <limits>
#include <mutex>
#include <string>
#include <utility>

namespace osal {
namespace {

static_assert(BufferQueue::kFull == kCMBufferQueueError_QueueIsFull);

template <typename Reference>
Reference As(CFTypeRef object) {
   return static_cast<Reference>(const_cast<void *>(object));
}

/// The samples in one piece: as they are, or a copy. None without memory.
CFOwned<CFTypeRef> Contiguous(CMBlockBufferRef data) {
   if (CMBlockBufferIsRangeContiguous(data, 0, 0) != 0) {
      return CFOwned<CFTypeRef>::Retained(data);
   }
   CMBlockBufferRef whole = nullptr;
   const OSStatus status =
      CMBlockBufferCreateContiguous(kCFAllocatorDefault, data, kCFAllocatorDefault, nullptr, 0, 0, 0, &whole);
   return CFOwned<CFTypeRef>(status == noErr ? whole : nullptr);
}

} // namespace

bool AppleSampleBuffer::Hold(CFTypeRef sampleBuffer) {
   mSample = CFOwned<CFTypeRef>::Retained(sampleBuffer);
   const auto sample = As<CMSampleBufferRef>(sampleBuffer);
   mImage = CMSampleBufferGetImageBuffer(sample);
   if (mImage == nullptr) {
      if (const CMBlockBufferRef data = CMSampleBufferGetDataBuffer(sample); data != nullptr) {
         mData = Contiguous(data);
      }
   }
   return mImage != nullptr || mData;
}

void AppleSampleBuffer::LetGo() {
   mImage = nullptr;
   mData = CFOwned<CFTypeRef>();
   mSample = CFOwned<CFTypeRef>();
}

int32_t AppleSampleBuffer::lockBaseAddress() {
   return CVPixelBufferLockBaseAddress(As<CVPixelBufferRef>(mImage), 0);
}

void AppleSampleBuffer::unlockBaseAddress() {
   CVPixelBufferUnlockBaseAddress(As<CVPixelBufferRef>(mImage), 0);
}

uint32_t AppleSampleBuffer::pixelFormatType() const {
   return CVPixelBufferGetPixelFormatType(As<CVPixelBufferRef>(mImage));
}

size_t AppleSampleBuffer::width() const {
   return CVPixelBufferGetWidth(As<CVPixelBufferRef>(mImage));
}

size_t AppleSampleBuffer::height() const {
   return CVPixelBufferGetHeight(As<CVPixelBufferRef>(mImage));
}

const uint8_t *AppleSampleBuffer::baseAddressOfPlane(size_t plane) const {
   return static_cast<const uint8_t *>(CVPixelBufferGetBaseAddressOfPlane(As<CVPixelBufferRef>(mImage), plane));
}

size_t AppleSampleBuffer::bytesPerRowOfPlane(size_t plane) const {
   return CVPixelBufferGetBytesPerRowOfPlane(As<CVPixelBufferRef>(mImage), plane);
}

int32_t AppleSampleBuffer::getDataPointer(size_t offset, size_t *length, const char **data) const {
   char *bytes = nullptr;
   const OSStatus status =
      CMBlockBufferGetDataPointer(As<CMBlockBufferRef>(mData.get()), offset, length, nullptr, &bytes);
   if (status != noErr) {
      *length = 0;
      bytes = nullptr;
   }
   *data = bytes;
   return status;
}

namespace {

/// The platform's queue counts, orders and refuses; what waits in it is known here by its wrapper, which goes in with a
/// sample and comes out with it.
class AppleBufferQueue final : public BufferQueue {
public:
   AppleBufferQueue(CFOwned<CFTypeRef> queue, size_t capacity)
       : mCapacity(capacity)
       , mQueue(std::move(queue))
       , mWaiting(std::make_unique<Ref<SampleBuffer>[]>(capacity)) {}

   int32_t enqueue(const Ref<SampleBuffer> &buffer) override {
      const auto *const own = dynamic_cast<const AppleSampleBuffer *>(buffer.get());
      if (own == nullptr) {
         return kNoBuffer;
      }
      const std::lock_guard<std::mutex> hold(mMutex);
      const OSStatus status = CMBufferQueueEnqueue(Queue(), own->Platform());
      if (status == noErr) {
         mWaiting[mNext] = buffer;
         mNext = (mNext + 1) % mCapacity;
      }
      return status;
   }

   Ref<SampleBuffer> dequeueAndRetain() override {
      const std::lock_guard<std::mutex> hold(mMutex);
      const CFOwned<CFTypeRef> sample(CMBufferQueueDequeueAndRetain(Queue()));
      if (!sample) {
         return {};
      }
      Ref<SampleBuffer> oldest = std::move(mWaiting[mFirst]);
      mFirst = (mFirst + 1) % mCapacity;
      return oldest;
   }

   bool isEmpty() const override { return CMBufferQueueIsEmpty(Queue()) != 0; }
   size_t getBufferCount() const override { return static_cast<size_t>(CMBufferQueueGetBufferCount(Queue())); }

private:
   CMBufferQueueRef Queue() const { return As<CMBufferQueueRef>(mQueue.get()); }

   const size_t mCapacity;
   const CFOwned<CFTypeRef> mQueue;
   std::mutex mMutex;                                   // one step for both
   const std::unique_ptr<Ref<SampleBuffer>[]> mWaiting; // the slots, mFirst and mNext: guarded by mMutex
   size_t mFirst = 0;
   size_t mNext = 0;
};

} // namespace

Status MakeAppleBufferQueue(size_t capacity, std::unique_ptr<BufferQueue> *queue) {
   queue->reset();
   if (capacity == 0) {
      return Status::Error(EINVAL, "a queue for no buffer at all"); // the platform's would be one without limit
   }
   if (capacity > std::numeric_limits<CMItemCount>::max() / sizeof(Ref<SampleBuffer>)) {
      return NoMemory();
   }
   CMBufferQueueRef made = nullptr;
   const OSStatus status = CMBufferQueueCreate(kCFAllocatorDefault, static_cast<CMItemCount>(capacity),
                                               CMBufferQueueGetCallbacksForUnsortedSampleBuffers(), &made);
   CFOwned<CFTypeRef> owned(made);
   return UnlessOutOfMemory(
      [&] {
         if (status != noErr) {
            return Status::Error(status, "CMBufferQueueCreate failed with status " + std::to_string(status));
         }
         *queue = std::make_unique<AppleBufferQueue>(std::move(owned), capacity);
         return Status::Ok();
      },
      NoMemory());
}

} // namespace osal
