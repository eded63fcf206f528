#include "osal/apple/fakes/FakeCoreMedia.h"
#include "osal/apple/fakes/Fakes.h"

#include <atomic>

@implementation FakePixelBuffer
- (void)shapeWithFormat:(OSType)format width:(size_t)width height:(size_t)height {
   mFormat = format;
   mWidth = width;
   mHeight = height;
   mRow = (width + 1 + 63) / 64 * 64; // always longer than the picture is wide
   mPixels.assign(mRow * (height + (height + 1) / 2), 0);
}
- (void)dealloc {
   if (mLocks != 0) {
      fakes::Refuse("a pixel buffer ends while it is locked");
   }
   [super dealloc];
}
@end

namespace {

std::atomic<int> gLockFailures{0};

FakePixelBuffer *Pixels(CVPixelBufferRef buffer, const char *function) {
   return fakes::As<FakePixelBuffer>(buffer, function);
}

} // namespace

void fakes::FailPixelLocks(int count) {
   gLockFailures = count;
}

extern "C" {

// The real keys are constants of this kind: their text is not the point.
const CFStringRef kCVPixelBufferPixelFormatTypeKey = (CFStringRef) @"PixelFormatType";
const CFStringRef kCVPixelBufferWidthKey = (CFStringRef) @"Width";
const CFStringRef kCVPixelBufferHeightKey = (CFStringRef) @"Height";

CVReturn CVPixelBufferLockBaseAddress(CVPixelBufferRef buffer, CVPixelBufferLockFlags) {
   if (gLockFailures > 0) {
      --gLockFailures;
      return kCVReturnError;
   }
   ++Pixels(buffer, "CVPixelBufferLockBaseAddress")->mLocks;
   return kCVReturnSuccess;
}

CVReturn CVPixelBufferUnlockBaseAddress(CVPixelBufferRef buffer, CVPixelBufferLockFlags) {
   if (--Pixels(buffer, "CVPixelBufferUnlockBaseAddress")->mLocks < 0) {
      fakes::Refuse("CVPixelBufferUnlockBaseAddress without its lock");
   }
   return kCVReturnSuccess;
}

OSType CVPixelBufferGetPixelFormatType(CVPixelBufferRef buffer) {
   return Pixels(buffer, "CVPixelBufferGetPixelFormatType")->mFormat;
}

size_t CVPixelBufferGetWidth(CVPixelBufferRef buffer) {
   return Pixels(buffer, "CVPixelBufferGetWidth")->mWidth;
}

size_t CVPixelBufferGetHeight(CVPixelBufferRef buffer) {
   return Pixels(buffer, "CVPixelBufferGetHeight")->mHeight;
}

// Null while the buffer is not locked: nothing may be read then.
void *CVPixelBufferGetBaseAddressOfPlane(CVPixelBufferRef buffer, size_t plane) {
   FakePixelBuffer *const pixels = Pixels(buffer, "CVPixelBufferGetBaseAddressOfPlane");
   if (pixels->mLocks == 0 || plane > 1) {
      return nullptr;
   }
   return pixels->mPixels.data() + (plane == 1 ? pixels->mRow * pixels->mHeight : 0);
}

size_t CVPixelBufferGetBytesPerRowOfPlane(CVPixelBufferRef buffer, size_t plane) {
   return plane > 1 ? 0 : Pixels(buffer, "CVPixelBufferGetBytesPerRowOfPlane")->mRow;
}

} // extern "C"
