#pragma once

#include "libs/avManager/FrameConversion.h"

#include <vector>

namespace bench {

/// A camera's frame to a picture in the plain two steps: the whole frame into an intermediate image, then copied, or
/// prepared, painted all over and scaled, into the picture. What ConvertFrame is measured against, and what it must
/// equal to the byte. Planes of odd size are rounded up.
///
/// Owner: the benchmark or test. Threads: one.
class DescribedFrame {
public:
   DescribedFrame(uint32_t width, uint32_t height);
   void Convert(const BiPlanarFrame &frame, const PictureRequest &picture);

private:
   const int mWidth;
   const int mHeight;
   const int mStride;       ///< of luma: the width, made even
   const int mChromaHeight; ///< rounded up
   std::vector<uint8_t> mImage;
};

} // namespace bench
