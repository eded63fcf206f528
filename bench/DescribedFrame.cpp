#include "bench/DescribedFrame.h"

#include "libs/avManager/VideoScaleUtils.h"

#include <libyuv/convert.h>
#include <libyuv/scale.h>

#include <cstring>

namespace bench {

DescribedFrame::DescribedFrame(uint32_t width, uint32_t height)
    : mWidth(static_cast<int>(width))
    , mHeight(static_cast<int>(height))
    , mStride((mWidth + 1) / 2 * 2)
    , mChromaHeight((mHeight + 1) / 2)
    , mImage(static_cast<size_t>(mStride) * static_cast<size_t>(mHeight) +
             static_cast<size_t>(mStride) * static_cast<size_t>(mChromaHeight)) {}

void DescribedFrame::Convert(const BiPlanarFrame &frame, const PictureRequest &picture) {
   uint8_t *const y = mImage.data();
   uint8_t *const u = y + mStride * mHeight;
   uint8_t *const v = u + mStride / 2 * mChromaHeight;
   libyuv::NV12ToI420(frame.mLuma, static_cast<int>(frame.mLumaStride), frame.mChroma,
                      static_cast<int>(frame.mChromaStride), y, mStride, u, mStride / 2, v, mStride / 2, mWidth,
                      mHeight);
   if (frame.mWidth == picture.mWidth && frame.mHeight == picture.mHeight) {
      std::memcpy(picture.mData, mImage.data(), size_t{picture.mWidth} * picture.mHeight * 3 / 2);
      return;
   }
   ScaleCopyParams params{};
   params.mScaleMode = picture.mScaleMode;
   params.mSrcY = y;
   params.mSrcU = u;
   params.mSrcV = v;
   params.mSrcStride = mStride;
   params.mSrcWidth = mWidth;
   params.mSrcHeight = mHeight;
   params.mDstBase = picture.mData;
   params.mDstStride = static_cast<int32_t>(picture.mWidth);
   params.mDstWidth = static_cast<int32_t>(picture.mWidth);
   params.mDstHeight = static_cast<int32_t>(picture.mHeight);
   if (PrepareScaleCopy(params)) {
      libyuv::I420Scale(params.mSrcY, params.mSrcStride, params.mSrcU, params.mSrcStride / 2, params.mSrcV,
                        params.mSrcStride / 2, params.mSrcCopyWidth, params.mSrcCopyHeight, params.mDstY,
                        params.mDstStride, params.mDstU, params.mDstStride / 2, params.mDstV, params.mDstStride / 2,
                        params.mDstCopyWidth, params.mDstCopyHeight, libyuv::kFilterNone);
   }
}

} // namespace bench
