#include "libs/avManager/VideoScaleUtils.h"

#include "lib/mfw/common/logger.h"

#include <libyuv/scale.h>

#include <algorithm>
#include <cstddef>
#include <cstring>

namespace {

constexpr uint8_t kBlackLuma = 0;
constexpr uint8_t kBlackChroma = 128;
constexpr int32_t kLongestSourceSide = 32768; ///< libyuv's steps are 16.16 fixed-point numbers

// A function of its own: the argument is rounded to a double before the half is added, on every machine.
int32_t Even(double value) {
   // NOLINTNEXTLINE(bugprone-incorrect-roundings): stated so, and sizes are not negative
   return static_cast<int32_t>(value + 0.5) & ~1;
}

int32_t HalfUp(int32_t value) {
   return value / 2 + value % 2;
}

struct Axis {
   int32_t srcOffset;
   int32_t srcLength;
   int32_t dstOffset;
   int32_t dstLength;
};

Axis CenterAxis(int32_t src, int32_t dst) {
   return dst < src ? Axis{(src - dst) / 2, dst, 0, dst} : Axis{0, src, (dst - src) / 2, src};
}

void SetAxes(ScaleCopyParams &params, const Axis &x, const Axis &y) {
   params.mSrcX = x.srcOffset;
   params.mSrcYOffset = y.srcOffset;
   params.mSrcCopyWidth = x.srcLength;
   params.mSrcCopyHeight = y.srcLength;
   params.mDstX = x.dstOffset;
   params.mDstYOffset = y.dstOffset;
   params.mDstCopyWidth = x.dstLength;
   params.mDstCopyHeight = y.dstLength;
}

// Luma bytes of an image, or 0 when its rows are too short or it is too large for 32-bit sizes.
int32_t LumaSize(int32_t stride, int32_t width, int32_t height) {
   const int64_t size = int64_t{stride} * height;
   return stride >= width && size <= INT32_MAX ? static_cast<int32_t>(size) : 0;
}

bool LocateSource(ScaleCopyParams &params, int32_t chromaStride) {
   const int32_t size = LumaSize(params.mSrcStride, params.mSrcWidth, params.mSrcHeight);
   if (size == 0) {
      MAVR_LOG_ERROR("%s - Invalid source layout %dx%d, stride %d", "PrepareScaleCopy", params.mSrcWidth,
                     params.mSrcHeight, params.mSrcStride);
      return false;
   }
   if (params.mSrcBase != nullptr) {
      params.mSrcY = params.mSrcBase;
      params.mSrcU = params.mSrcY + size;
      params.mSrcV = params.mSrcU + size / 4;
   } else if (params.mSrcY == nullptr || params.mSrcU == nullptr || params.mSrcV == nullptr) {
      return false;
   }
   const ptrdiff_t chromaOffset = ptrdiff_t{params.mSrcYOffset / 2} * chromaStride + params.mSrcX / 2;
   params.mSrcY += ptrdiff_t{params.mSrcYOffset} * params.mSrcStride + params.mSrcX;
   params.mSrcU += chromaOffset;
   params.mSrcV += chromaOffset;
   return true;
}

bool LocateDestination(ScaleCopyParams &params) {
   const int32_t size = LumaSize(params.mDstStride, params.mDstWidth, params.mDstHeight);
   if (params.mDstBase == nullptr || size == 0) {
      MAVR_LOG_ERROR("%s - Invalid destination layout %dx%d, stride %d, at %p", "PrepareScaleCopy", params.mDstWidth,
                     params.mDstHeight, params.mDstStride, static_cast<void *>(params.mDstBase));
      return false;
   }
   const ptrdiff_t chromaOffset = ptrdiff_t{params.mDstYOffset / 2} * (params.mDstStride / 2) + params.mDstX / 2;
   uint8_t *const u = params.mDstBase + size;
   params.mDstY = params.mDstBase + ptrdiff_t{params.mDstYOffset} * params.mDstStride + params.mDstX;
   params.mDstU = u + chromaOffset;
   params.mDstV = u + size / 4 + chromaOffset;
   params.mDstSize = static_cast<uint32_t>(size) + 2 * static_cast<uint32_t>(size / 4);
   return true;
}

bool Locate(ScaleCopyParams &params, int32_t srcChromaStride) {
   return CalculateCopyParameters(params) && LocateSource(params, srcChromaStride) && LocateDestination(params);
}

bool CoversDestination(const ScaleCopyParams &params) {
   return params.mDstX == 0 && params.mDstYOffset == 0 && params.mDstCopyWidth == params.mDstWidth &&
          params.mDstCopyHeight == params.mDstHeight;
}

size_t DstLumaSize(const ScaleCopyParams &params) {
   return static_cast<size_t>(params.mDstStride) * static_cast<size_t>(params.mDstHeight);
}

void PaintAll(const ScaleCopyParams &params) {
   const size_t luma = DstLumaSize(params);
   std::memset(params.mDstBase, kBlackLuma, luma);
   std::memset(params.mDstBase + luma, kBlackChroma, luma / 4 * 2);
}

// Paints a plane but for the rectangle of `width` by `height` whose first byte is `inner`, a whole number of rows.
void PaintAround(uint8_t *plane, size_t planeSize, uint8_t *inner, int32_t stride, int32_t width, int32_t height,
                 uint8_t colour) {
   std::memset(plane, colour, static_cast<size_t>(inner - plane));
   uint8_t *const lastRow = inner + ptrdiff_t{height - 1} * stride;
   for (uint8_t *row = inner; width < stride && row != lastRow; row += stride) {
      std::memset(row + width, colour, static_cast<size_t>(stride - width));
   }
   uint8_t *const end = lastRow + width;
   std::memset(end, colour, static_cast<size_t>(plane + planeSize - end));
}

void PaintBorder(const ScaleCopyParams &params) {
   const size_t luma = DstLumaSize(params);
   const size_t chroma = luma / 4;
   uint8_t *const u = params.mDstBase + luma;
   const int32_t width = HalfUp(params.mDstCopyWidth);
   const int32_t height = HalfUp(params.mDstCopyHeight);
   PaintAround(params.mDstBase, luma, params.mDstY, params.mDstStride, params.mDstCopyWidth, params.mDstCopyHeight,
               kBlackLuma);
   PaintAround(u, chroma, params.mDstU, params.mDstStride / 2, width, height, kBlackChroma);
   PaintAround(u + chroma, chroma, params.mDstV, params.mDstStride / 2, width, height, kBlackChroma);
}

// How many rows of `width` bytes lie wholly within the `room` bytes from the first one's start, `height` at most.
int32_t RowsWithin(int64_t room, int32_t stride, int32_t width, int32_t height) {
   if (stride <= 0 || room < width) {
      return 0;
   }
   return static_cast<int32_t>(std::min<int64_t>(height, (room - width) / stride + 1));
}

// The chroma rectangles: what the scaler takes and gives, and how much of it the planes hold.
struct ChromaCopy {
   int32_t srcStride;
   int32_t srcWidth;
   int32_t srcHeight; ///< rows that can be read
   int32_t dstStride;
   int32_t dstWidth;
   int32_t dstHeight;
   int32_t keptWidth; ///< columns and rows that can be written
   int32_t keptHeight;
   bool isWhole; ///< nothing is cut
};

ChromaCopy MeasureChroma(const ScaleCopyParams &params, int32_t srcStride) {
   ChromaCopy chroma{};
   chroma.srcStride = srcStride;
   chroma.srcWidth = HalfUp(params.mSrcCopyWidth);
   const int32_t srcHeight = HalfUp(params.mSrcCopyHeight);
   chroma.srcHeight = srcHeight;
   if (params.mSrcBase != nullptr) {
      const uint8_t *const u = params.mSrcBase + ptrdiff_t{params.mSrcStride} * params.mSrcHeight;
      const int64_t room = int64_t{params.mSrcStride} * params.mSrcHeight / 4 - (params.mSrcU - u);
      chroma.srcHeight = RowsWithin(room, srcStride, chroma.srcWidth, srcHeight);
   }
   chroma.dstStride = params.mDstStride / 2;
   chroma.dstWidth = HalfUp(params.mDstCopyWidth);
   chroma.dstHeight = HalfUp(params.mDstCopyHeight);
   const auto luma = static_cast<ptrdiff_t>(DstLumaSize(params));
   chroma.keptWidth = std::min(chroma.dstWidth, chroma.dstStride - params.mDstX / 2);
   chroma.keptHeight = RowsWithin(luma / 4 - (params.mDstU - (params.mDstBase + luma)), chroma.dstStride,
                                  chroma.keptWidth, chroma.dstHeight);
   chroma.isWhole =
      chroma.srcHeight == srcHeight && chroma.keptWidth == chroma.dstWidth && chroma.keptHeight == chroma.dstHeight;
   return chroma;
}

// Scales a chroma plane in `scratch` and copies from there what fits. A source without a whole row has no colour.
void ScaleCutPlane(const ChromaCopy &chroma, const uint8_t *src, uint8_t *scratch, uint8_t *dst) {
   if (chroma.srcHeight > 0) {
      libyuv::ScalePlane(src, chroma.srcStride, chroma.srcWidth, chroma.srcHeight, scratch, chroma.dstWidth,
                         chroma.dstWidth, chroma.dstHeight, libyuv::kFilterNone);
   } else {
      std::memset(scratch, kBlackChroma, static_cast<size_t>(chroma.dstWidth) * static_cast<size_t>(chroma.dstHeight));
   }
   for (int32_t row = 0; row < chroma.keptHeight; ++row) {
      std::memcpy(dst + ptrdiff_t{row} * chroma.dstStride, scratch + ptrdiff_t{row} * chroma.dstWidth,
                  static_cast<size_t>(chroma.keptWidth));
   }
}

bool IsScalable(const ScaleCopyParams &params) {
   return params.mSrcCopyWidth > 0 && params.mSrcCopyWidth <= kLongestSourceSide && params.mSrcCopyHeight > 0 &&
          params.mSrcCopyHeight <= kLongestSourceSide && params.mDstCopyWidth > 0 && params.mDstCopyHeight > 0;
}

// Images of odd size. The luma plane is written last: until then it is the room that the chroma is scaled in.
void ScaleCut(const ScaleCopyParams &params, const ChromaCopy &chroma) {
   const bool covers = CoversDestination(params);
   if (!covers) {
      PaintAll(params);
   }
   if (!IsScalable(params)) {
      return;
   }
   ScaleCutPlane(chroma, params.mSrcU, params.mDstBase, params.mDstU);
   ScaleCutPlane(chroma, params.mSrcV, params.mDstBase, params.mDstV);
   if (!covers) {
      std::memset(params.mDstBase, kBlackLuma, DstLumaSize(params));
   }
   libyuv::ScalePlane(params.mSrcY, params.mSrcStride, params.mSrcCopyWidth, params.mSrcCopyHeight, params.mDstY,
                      params.mDstStride, params.mDstCopyWidth, params.mDstCopyHeight, libyuv::kFilterNone);
}

void ScaleWhole(const ScaleCopyParams &params, int32_t srcChromaStride) {
   const int32_t dstChromaStride = params.mDstStride / 2;
   const int refused = libyuv::I420Scale(
      params.mSrcY, params.mSrcStride, params.mSrcU, srcChromaStride, params.mSrcV, srcChromaStride,
      params.mSrcCopyWidth, params.mSrcCopyHeight, params.mDstY, params.mDstStride, params.mDstU, dstChromaStride,
      params.mDstV, dstChromaStride, params.mDstCopyWidth, params.mDstCopyHeight, libyuv::kFilterNone);
   if (CoversDestination(params)) {
      return;
   }
   if (refused != 0) {
      PaintAll(params);
   } else {
      PaintBorder(params);
   }
}

bool Scale(ScaleCopyParams &params, int32_t srcChromaStride) {
   if (!Locate(params, srcChromaStride)) {
      return false;
   }
   const ChromaCopy chroma = MeasureChroma(params, srcChromaStride);
   if (chroma.isWhole) {
      ScaleWhole(params, srcChromaStride);
   } else {
      ScaleCut(params, chroma);
   }
   return true;
}

} // namespace

std::string ScaleModeName(int32_t mode) {
   switch (mode) {
   case kScaleFill:
      return "FILL";
   case kScaleCrop:
      return "CROP";
   case kScaleLetterbox:
      return "LETTERBOX";
   case kScaleCenter:
      return "CENTER";
   default:
      return "INVALID";
   }
}

bool CalculateCopyParameters(ScaleCopyParams &params) {
   if (params.mScaleMode < kScaleFill || params.mScaleMode > kScaleCenter) {
      MAVR_LOG_ERROR("%s - Invalid scale mode %d", "CalculateCopyParameters", params.mScaleMode);
      return false;
   }
   const int32_t srcWidth = params.mSrcWidth;
   const int32_t srcHeight = params.mSrcHeight;
   const int32_t dstWidth = params.mDstWidth;
   const int32_t dstHeight = params.mDstHeight;
   if (srcWidth < 1 || srcHeight < 1 || dstWidth < 1 || dstHeight < 1) {
      MAVR_LOG_ERROR("%s - Invalid size: %dx%d into %dx%d", "CalculateCopyParameters", srcWidth, srcHeight, dstWidth,
                     dstHeight);
      return false;
   }
   const double ratioX = static_cast<double>(dstWidth) / srcWidth;
   const double ratioY = static_cast<double>(dstHeight) / srcHeight;
   if (params.mScaleMode == kScaleFill) {
      SetAxes(params, {0, srcWidth, 0, dstWidth}, {0, srcHeight, 0, dstHeight});
   } else if (params.mScaleMode == kScaleCrop) {
      const double scale = std::max(ratioX, ratioY);
      const int32_t width = Even(dstWidth / scale);
      const int32_t height = Even(dstHeight / scale);
      SetAxes(params, {(srcWidth - width) / 2, width, 0, dstWidth}, {(srcHeight - height) / 2, height, 0, dstHeight});
   } else if (params.mScaleMode == kScaleLetterbox) {
      const double scale = std::min(ratioX, ratioY);
      const int32_t width = Even(srcWidth * scale);
      const int32_t height = Even(srcHeight * scale);
      SetAxes(params, {0, srcWidth, (dstWidth - width) / 2, width}, {0, srcHeight, (dstHeight - height) / 2, height});
   } else {
      SetAxes(params, CenterAxis(srcWidth, dstWidth), CenterAxis(srcHeight, dstHeight));
   }
   return true;
}

bool PrepareScaleCopy(ScaleCopyParams &params) {
   if (!Locate(params, params.mSrcStride / 2)) {
      return false;
   }
   if (!CoversDestination(params)) {
      PaintAll(params);
   }
   return true;
}

bool ScaleI420Frame(ScaleCopyParams &params) {
   return Scale(params, params.mSrcStride / 2);
}

bool ScaleI420Frame(ScaleCopyParams &params, int32_t srcChromaStride) {
   return params.mSrcBase == nullptr && srcChromaStride >= HalfUp(params.mSrcWidth) && Scale(params, srcChromaStride);
}
