#include "libs/avManager/FrameConversion.h"

#include "lib/mfw/common/logger.h"
#include "libs/avManager/IntermediateImage.h"
#include "libs/avManager/VideoScaleUtils.h"

#include <libyuv/convert.h>
#include <libyuv/planar_functions.h>

namespace {

bool IsSound(const BiPlanarFrame &frame) {
   const uint64_t chromaRow = (uint64_t{frame.mWidth} + 1) / 2 * 2;
   return frame.mLuma != nullptr && frame.mChroma != nullptr && frame.mLumaStride >= frame.mWidth &&
          frame.mLumaStride <= INT32_MAX && frame.mChromaStride >= chromaRow && frame.mChromaStride <= INT32_MAX;
}

bool IsSound(const PictureRequest &picture) {
   return picture.mData != nullptr && picture.mWidth > 0 && picture.mHeight > 0 &&
          uint64_t{picture.mWidth} * picture.mHeight <= INT32_MAX;
}

// Into an image of the frame's own, even, size.
void ConvertSameSize(const BiPlanarFrame &frame, uint8_t *data) {
   const auto width = static_cast<int>(frame.mWidth);
   const auto height = static_cast<int>(frame.mHeight);
   uint8_t *const u = data + size_t{frame.mWidth} * frame.mHeight;
   uint8_t *const v = u + size_t{frame.mWidth} * frame.mHeight / 4;
   libyuv::NV12ToI420(frame.mLuma, static_cast<int>(frame.mLumaStride), frame.mChroma,
                      static_cast<int>(frame.mChromaStride), data, width, u, width / 2, v, width / 2, width, height);
}

// Of a picture at exactly half the size the scaler takes each second row, the odd ones.
bool TakesOddRows(const ScaleCopyParams &params) {
   return params.mSrcX == 0 && params.mSrcYOffset == 0 && params.mSrcCopyWidth == 2 * params.mDstCopyWidth &&
          params.mSrcCopyHeight == 2 * params.mDstCopyHeight && params.mDstCopyWidth % 2 == 0 &&
          params.mDstCopyHeight % 2 == 0;
}

// Splits the frame's chroma into the image, the rows that the scaler will take. Luma stays where it is.
void SplitChroma(const BiPlanarFrame &frame, const IntermediateImage &image, bool oddRowsOnly) {
   const int width = (static_cast<int>(frame.mWidth) + 1) / 2;
   const int height = (static_cast<int>(frame.mHeight) + 1) / 2;
   const auto stride = static_cast<int>(frame.mChromaStride);
   const int imageStride = image.ChromaBytesPerRow();
   if (oddRowsOnly) {
      libyuv::SplitUVPlane(frame.mChroma + stride, 2 * stride, image.U() + imageStride, 2 * imageStride,
                           image.V() + imageStride, 2 * imageStride, width, height / 2);
   } else {
      libyuv::SplitUVPlane(frame.mChroma, stride, image.U(), imageStride, image.V(), imageStride, width, height);
   }
}

bool ConvertScaled(const BiPlanarFrame &frame, const IntermediateImage &image, const PictureRequest &picture,
                   int32_t mode) {
   const auto lumaStride = static_cast<int>(frame.mLumaStride);
   ScaleCopyParams params{};
   params.mScaleMode = mode;
   params.mSrcY = frame.mLuma;
   params.mSrcU = image.U();
   params.mSrcV = image.V();
   params.mSrcStride = lumaStride;
   params.mSrcWidth = static_cast<int>(frame.mWidth);
   params.mSrcHeight = static_cast<int>(frame.mHeight);
   params.mDstBase = picture.mData;
   params.mDstStride = static_cast<int32_t>(picture.mWidth);
   params.mDstWidth = static_cast<int32_t>(picture.mWidth);
   params.mDstHeight = static_cast<int32_t>(picture.mHeight);
   if (!CalculateCopyParameters(params)) {
      return false;
   }
   SplitChroma(frame, image, TakesOddRows(params));
   return ScaleI420Frame(params, image.ChromaBytesPerRow());
}

} // namespace

bool ConvertFrame(const BiPlanarFrame &frame, const IntermediateImage &image, const PictureRequest &picture) {
   const bool isSetUp = image.Width() == frame.mWidth && image.Height() == frame.mHeight && image.Width() != 0;
   if (!isSetUp || !IsSound(frame) || !IsSound(picture)) {
      MAVR_LOG_ERROR("%s - Invalid frame: %ux%u in rows of %zu and %zu bytes, into %ux%u", "ConvertFrame", frame.mWidth,
                     frame.mHeight, frame.mLumaStride, frame.mChromaStride, picture.mWidth, picture.mHeight);
      return false;
   }
   const bool isSameSize = frame.mWidth == picture.mWidth && frame.mHeight == picture.mHeight;
   if (isSameSize && frame.mWidth % 2 == 0 && frame.mHeight % 2 == 0) {
      ConvertSameSize(frame, picture.mData);
      return true;
   }
   // A picture of odd size has no room for its last half samples; scaling, be it one to one, leaves them out.
   return ConvertScaled(frame, image, picture, isSameSize ? kScaleFill : picture.mScaleMode);
}
