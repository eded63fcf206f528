#pragma once

#include <cstdint>
#include <string>

/// Fits an I420 picture of one size into an I420 picture of another: rectangles, planes, black borders, and libyuv's
/// scaler between them.
///
/// Owner: none, these are functions of plain values. Threads: any, each with a record of its own. Locks: none. Life
/// cycle: no state between calls, no allocation.
enum ScaleMode : int32_t {
   kScaleFill = 0,      ///< stretch the whole source over the whole destination, whatever the aspect
   kScaleCrop = 1,      ///< keep the aspect, cover the destination, cut the source's overhang equally on both sides
   kScaleLetterbox = 2, ///< keep the aspect, show the whole source, borders on the destination
   kScaleCenter = 3     ///< no scaling: centred, cut or bordered on each axis by itself
};

/// The one record that the functions below take and fill. The caller zeroes it and sets the fields marked "in". All
/// strides and sizes are in bytes of luma, which are pixels; a chroma row is half a luma stride, rounded down.
struct ScaleCopyParams {
   int32_t mScaleMode;      ///< in: a ScaleMode
   const uint8_t *mSrcBase; ///< in: one contiguous I420 image; null when the three planes are given
   const uint8_t *mSrcY;    ///< in or out; out: top left of the rectangle, in each plane
   const uint8_t *mSrcU;    ///< in or out
   const uint8_t *mSrcV;    ///< in or out
   int32_t mSrcStride;      ///< in
   int32_t mSrcWidth;       ///< in
   int32_t mSrcHeight;      ///< in
   int32_t mSrcX;           ///< out: top left of the source rectangle
   int32_t mSrcYOffset;     ///< out
   int32_t mSrcCopyWidth;   ///< out: its size
   int32_t mSrcCopyHeight;  ///< out
   uint8_t *mDstBase;       ///< in: the contiguous destination, mDstSize bytes
   int32_t mDstStride;      ///< in
   int32_t mDstWidth;       ///< in
   int32_t mDstHeight;      ///< in
   uint8_t *mDstY;          ///< out: top left of the rectangle, in each plane
   uint8_t *mDstU;          ///< out
   uint8_t *mDstV;          ///< out
   int32_t mDstX;           ///< out: top left of the destination rectangle
   int32_t mDstYOffset;     ///< out
   int32_t mDstCopyWidth;   ///< out: its size; 0 when the aspect leaves less than a pixel of it
   int32_t mDstCopyHeight;  ///< out
   uint32_t mDstSize;       ///< out: bytes of the whole destination image
};

/// "FILL", "CROP", "LETTERBOX", "CENTER"; "INVALID" for any other number.
[[nodiscard]] std::string ScaleModeName(int32_t mode);

/// Fills in both rectangles from mode and sizes. False, logged, with nothing filled in, for an unknown mode or a
/// size below 1.
[[nodiscard]] bool CalculateCopyParameters(ScaleCopyParams &params);

/// Rectangles, planes and size; then paints the whole destination black unless the picture will cover it all.
///
/// False, with nothing painted: CalculateCopyParameters refused; neither mSrcBase nor all of mSrcY, mSrcU, mSrcV is set
/// (not logged; the rectangles are filled in by then); no destination, rows shorter than the picture, or an image of
/// 2 GiB or more (logged).
[[nodiscard]] bool PrepareScaleCopy(ScaleCopyParams &params);

/// PrepareScaleCopy and the picture, nearest neighbour. True when the image was written; false as above.
///
/// What PrepareScaleCopy and libyuv's I420Scale would leave, to the byte, but only what the picture does not cover is
/// painted. A contiguous image of odd size has no room for the half samples of its last chroma row and column: those
/// are neither read nor written.
[[nodiscard]] bool ScaleI420Frame(ScaleCopyParams &params);

/// The same for a source whose chroma rows have a length of their own. The three planes are given, mSrcBase is null,
/// and the chroma planes have room for half the width and height, both rounded up; anything else is false, not logged.
[[nodiscard]] bool ScaleI420Frame(ScaleCopyParams &params, int32_t srcChromaStride);
