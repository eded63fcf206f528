#include "osal/apple/fakes/FakeCoreMedia.h"

#include <deque>
#include <mutex>

@implementation FakeFormatDescription
@end

@implementation FakeBlockBuffer
@end

@implementation FakeSampleBuffer
- (void)dealloc {
   [mImage release];
   [mData release];
   [super dealloc];
}
@end

@interface FakeBufferQueue : FakeObject {
@public
   std::mutex mMutex;
   std::deque<CMBufferRef> mBuffers; // guarded by mMutex
   CMItemCount mCapacity;
}
@end
@implementation FakeBufferQueue
- (void)dealloc {
   for (CMBufferRef buffer : mBuffers) {
      CFRelease(buffer);
   }
   [super dealloc];
}
@end

struct CMBufferCallbacks {
   uint32_t version;
};

namespace {

size_t LengthOf(const FakeBlockBuffer *buffer) {
   size_t length = 0;
   for (const std::vector<char> &piece : buffer->mPieces) {
      length += piece.size();
   }
   return length;
}

} // namespace

extern "C" {

CMTime CMTimeMake(int64_t value, int32_t timescale) {
   return {value, timescale, kCMTimeFlags_Valid, 0};
}

CMVideoDimensions CMVideoFormatDescriptionGetDimensions(CMVideoFormatDescriptionRef description) {
   return fakes::As<FakeFormatDescription>(description, "CMVideoFormatDescriptionGetDimensions")->mDimensions;
}

FourCharCode CMFormatDescriptionGetMediaSubType(CMFormatDescriptionRef description) {
   return fakes::As<FakeFormatDescription>(description, "CMFormatDescriptionGetMediaSubType")->mMediaSubType;
}

CVImageBufferRef CMSampleBufferGetImageBuffer(CMSampleBufferRef buffer) {
   return (CVImageBufferRef)fakes::As<FakeSampleBuffer>(buffer, "CMSampleBufferGetImageBuffer")->mImage;
}

CMBlockBufferRef CMSampleBufferGetDataBuffer(CMSampleBufferRef buffer) {
   return (CMBlockBufferRef)fakes::As<FakeSampleBuffer>(buffer, "CMSampleBufferGetDataBuffer")->mData;
}

Boolean CMBlockBufferIsRangeContiguous(CMBlockBufferRef buffer, size_t offset, size_t length) {
   if (offset != 0 || length != 0) {
      fakes::Refuse("CMBlockBufferIsRangeContiguous: the stand-in knows whole buffers only");
   }
   return fakes::As<FakeBlockBuffer>(buffer, "CMBlockBufferIsRangeContiguous")->mPieces.size() <= 1;
}

OSStatus CMBlockBufferCreateContiguous(CFAllocatorRef, CMBlockBufferRef source, CFAllocatorRef,
                                       const CMBlockBufferCustomBlockSource *, size_t offset, size_t length,
                                       CMBlockBufferFlags, CMBlockBufferRef *out) {
   if (offset != 0 || length != 0) {
      fakes::Refuse("CMBlockBufferCreateContiguous: the stand-in knows whole buffers only");
   }
   const FakeBlockBuffer *const pieces = fakes::As<FakeBlockBuffer>(source, "CMBlockBufferCreateContiguous");
   FakeBlockBuffer *const whole = [[FakeBlockBuffer alloc] init];
   std::vector<char> &bytes = whole->mPieces.emplace_back();
   for (const std::vector<char> &piece : pieces->mPieces) {
      bytes.insert(bytes.end(), piece.begin(), piece.end());
   }
   *out = (CMBlockBufferRef)whole;
   return noErr;
}

OSStatus CMBlockBufferGetDataPointer(CMBlockBufferRef buffer, size_t offset, size_t *lengthAtOffset,
                                     size_t *totalLength, char **data) {
   FakeBlockBuffer *const block = fakes::As<FakeBlockBuffer>(buffer, "CMBlockBufferGetDataPointer");
   const size_t total = LengthOf(block);
   if (offset >= total && !(offset == 0 && total == 0)) {
      return kCMBlockBufferBadOffsetParameterErr;
   }
   size_t before = 0;
   for (std::vector<char> &piece : block->mPieces) {
      if (offset < before + piece.size() || total == 0) {
         if (lengthAtOffset != nullptr) {
            *lengthAtOffset = before + piece.size() - offset;
         }
         if (data != nullptr) {
            *data = piece.data() + (offset - before);
         }
         break;
      }
      before += piece.size();
   }
   if (totalLength != nullptr) {
      *totalLength = total;
   }
   return noErr;
}

const CMBufferCallbacks *CMBufferQueueGetCallbacksForUnsortedSampleBuffers(void) {
   static const CMBufferCallbacks callbacks{0};
   return &callbacks;
}

OSStatus CMBufferQueueCreate(CFAllocatorRef, CMItemCount capacity, const CMBufferCallbacks *callbacks,
                             CMBufferQueueRef *out) {
   if (callbacks != CMBufferQueueGetCallbacksForUnsortedSampleBuffers()) {
      fakes::Refuse("CMBufferQueueCreate: the stand-in knows unsorted sample buffers only");
   }
   FakeBufferQueue *const queue = [[FakeBufferQueue alloc] init];
   queue->mCapacity = capacity;
   *out = (CMBufferQueueRef)queue;
   return noErr;
}

OSStatus CMBufferQueueEnqueue(CMBufferQueueRef reference, CMBufferRef buffer) {
   (void)fakes::As<FakeSampleBuffer>(buffer, "CMBufferQueueEnqueue of no sample buffer");
   FakeBufferQueue *const queue = fakes::As<FakeBufferQueue>(reference, "CMBufferQueueEnqueue");
   const std::lock_guard<std::mutex> hold(queue->mMutex);
   if (queue->mCapacity != 0 && queue->mBuffers.size() >= static_cast<size_t>(queue->mCapacity)) {
      return kCMBufferQueueError_QueueIsFull;
   }
   queue->mBuffers.push_back(CFRetain(buffer));
   return noErr;
}

CMBufferRef CMBufferQueueDequeueAndRetain(CMBufferQueueRef reference) {
   FakeBufferQueue *const queue = fakes::As<FakeBufferQueue>(reference, "CMBufferQueueDequeueAndRetain");
   const std::lock_guard<std::mutex> hold(queue->mMutex);
   if (queue->mBuffers.empty()) {
      return nullptr;
   }
   CMBufferRef oldest = queue->mBuffers.front();
   queue->mBuffers.pop_front();
   return oldest;
}

Boolean CMBufferQueueIsEmpty(CMBufferQueueRef queue) {
   return CMBufferQueueGetBufferCount(queue) == 0;
}

CMItemCount CMBufferQueueGetBufferCount(CMBufferQueueRef reference) {
   FakeBufferQueue *const queue = fakes::As<FakeBufferQueue>(reference, "CMBufferQueueGetBufferCount");
   const std::lock_guard<std::mutex> hold(queue->mMutex);
   return static_cast<CMItemCount>(queue->mBuffers.size());
}

} // extern "C"
