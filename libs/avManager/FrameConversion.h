#pragma once

#include <cstddef>
#include <cstdint>

class IntermediateImage;

/// A camera's frame in the bi-planar 4:2:0 format: a luma plane, and a plane of chroma pairs of half the size, rounded
/// up. Its memory is the platform's and only lent for the call.
struct BiPlanarFrame {
   const uint8_t *mLuma;
   const uint8_t *mChroma;
   size_t mLumaStride;   ///< bytes per row, may be longer than the picture is wide
   size_t mChromaStride; ///< bytes per row
   uint32_t mWidth;      ///< pixels
   uint32_t mHeight;
};

/// Where the picture is to go and how it is to fit: a contiguous I420 image of width * height * 3 / 2 bytes.
struct PictureRequest {
   uint8_t *mData;
   uint32_t mWidth;
   uint32_t mHeight;
   int32_t mScaleMode; ///< a ScaleMode; matters only when the frame has another size
};

/// Turns a camera's frame into an I420 picture of the size asked for.
///
/// The result is, to the byte, what two steps give: the whole frame into the intermediate image, and from there, copied
/// or scaled, into the picture. Here a frame of the right size goes straight to the picture; of any other, only the
/// chroma is split into the intermediate image and the luma is scaled where the camera left it.
/// Any thread with an image of its own; nothing is allocated. `image` has been set up for the frame's size. False,
/// logged, with the picture untouched, when the planes cannot hold such a frame or the request cannot be met.
[[nodiscard]] bool ConvertFrame(const BiPlanarFrame &frame, const IntermediateImage &image,
                                const PictureRequest &picture);
