#pragma once

#include "osal/apple/fakes/FakeObjects.h"

#include <CoreMedia/CoreMedia.h>

#include <vector>

@interface FakeFormatDescription : FakeObject {
@public
   CMVideoDimensions mDimensions;
   FourCharCode mMediaSubType;
}
@end

/// A bi-planar picture; its rows are longer than it is wide, as real ones are.
@interface FakePixelBuffer : FakeObject {
@public
   OSType mFormat;
   size_t mWidth;
   size_t mHeight;
   size_t mRow; ///< bytes, of both planes
   std::vector<uint8_t> mPixels;
   int mLocks;
}
- (void)shapeWithFormat:(OSType)format width:(size_t)width height:(size_t)height;
@end

/// Bytes in one or more pieces.
@interface FakeBlockBuffer : FakeObject {
@public
   std::vector<std::vector<char>> mPieces;
}
@end

/// Pixels, or samples, or neither.
@interface FakeSampleBuffer : FakeObject {
@public
   FakePixelBuffer *mImage;
   FakeBlockBuffer *mData;
}
@end
