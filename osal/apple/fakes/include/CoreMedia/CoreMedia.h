// A stand-in for the framework's header: what osal/apple uses of it, and nothing that a Mac lacks.
#pragma once

#include <CoreVideo/CoreVideo.h>

typedef int64_t CMTimeValue;
typedef int32_t CMTimeScale;
typedef int64_t CMTimeEpoch;
enum CMTimeFlags : uint32_t { kCMTimeFlags_Valid = 1 };

struct CMTime {
   CMTimeValue value;
   CMTimeScale timescale;
   CMTimeFlags flags;
   CMTimeEpoch epoch;
};

struct CMVideoDimensions {
   int32_t width;
   int32_t height;
};

typedef CFIndex CMItemCount;
typedef UInt32 CMBlockBufferFlags;
typedef const struct opaqueCMFormatDescription *CMFormatDescriptionRef;
typedef CMFormatDescriptionRef CMVideoFormatDescriptionRef;
typedef struct opaqueCMSampleBuffer *CMSampleBufferRef;
typedef struct OpaqueCMBlockBuffer *CMBlockBufferRef;
typedef struct opaqueCMBufferQueue *CMBufferQueueRef;
typedef CFTypeRef CMBufferRef;
struct CMBufferCallbacks;
struct CMBlockBufferCustomBlockSource;

enum : OSStatus { kCMBlockBufferBadOffsetParameterErr = -12703, kCMBufferQueueError_QueueIsFull = -12764 };

extern "C" {

CMTime CMTimeMake(int64_t value, int32_t timescale);

CMVideoDimensions CMVideoFormatDescriptionGetDimensions(CMVideoFormatDescriptionRef description);
FourCharCode CMFormatDescriptionGetMediaSubType(CMFormatDescriptionRef description);

CVImageBufferRef CMSampleBufferGetImageBuffer(CMSampleBufferRef buffer);
CMBlockBufferRef CMSampleBufferGetDataBuffer(CMSampleBufferRef buffer);

Boolean CMBlockBufferIsRangeContiguous(CMBlockBufferRef buffer, size_t offset, size_t length);
OSStatus CMBlockBufferCreateContiguous(CFAllocatorRef structureAllocator, CMBlockBufferRef source,
                                       CFAllocatorRef blockAllocator,
                                       const CMBlockBufferCustomBlockSource *customBlockSource, size_t offset,
                                       size_t length, CMBlockBufferFlags flags, CMBlockBufferRef *out);
OSStatus CMBlockBufferGetDataPointer(CMBlockBufferRef buffer, size_t offset, size_t *lengthAtOffset,
                                     size_t *totalLength, char **data);

const CMBufferCallbacks *CMBufferQueueGetCallbacksForUnsortedSampleBuffers(void);
OSStatus CMBufferQueueCreate(CFAllocatorRef allocator, CMItemCount capacity, const CMBufferCallbacks *callbacks,
                             CMBufferQueueRef *out);
OSStatus CMBufferQueueEnqueue(CMBufferQueueRef queue, CMBufferRef buffer);
CMBufferRef CMBufferQueueDequeueAndRetain(CMBufferQueueRef queue);
Boolean CMBufferQueueIsEmpty(CMBufferQueueRef queue);
CMItemCount CMBufferQueueGetBufferCount(CMBufferQueueRef queue);

} // extern "C"
