// A stand-in for the framework's header: what osal/apple uses of it, and nothing that a Mac lacks.
#pragma once

#include <CoreFoundation/CoreFoundation.h>

typedef int32_t CVReturn;
typedef uint64_t CVOptionFlags;
typedef CVOptionFlags CVPixelBufferLockFlags;
typedef struct __CVBuffer *CVBufferRef;
typedef CVBufferRef CVImageBufferRef;
typedef CVImageBufferRef CVPixelBufferRef;

enum : CVReturn { kCVReturnSuccess = 0, kCVReturnError = -6660 };

extern "C" {

extern const CFStringRef kCVPixelBufferPixelFormatTypeKey;
extern const CFStringRef kCVPixelBufferWidthKey;
extern const CFStringRef kCVPixelBufferHeightKey;

CVReturn CVPixelBufferLockBaseAddress(CVPixelBufferRef buffer, CVPixelBufferLockFlags flags);
CVReturn CVPixelBufferUnlockBaseAddress(CVPixelBufferRef buffer, CVPixelBufferLockFlags flags);
OSType CVPixelBufferGetPixelFormatType(CVPixelBufferRef buffer);
size_t CVPixelBufferGetWidth(CVPixelBufferRef buffer);
size_t CVPixelBufferGetHeight(CVPixelBufferRef buffer);
void *CVPixelBufferGetBaseAddressOfPlane(CVPixelBufferRef buffer, size_t plane);
size_t CVPixelBufferGetBytesPerRowOfPlane(CVPixelBufferRef buffer, size_t plane);

} // extern "C"
