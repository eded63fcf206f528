#pragma once

#include "osal/common/FrameBuffer.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace osal {

/// The pixel formats of cameras that become '420f', in the order in which they are asked for: what costs nothing first.
enum class PipewirePixels { NV12, I420, YV12, NV21, YUY2, UYVY, BGRx, RGBx, RGB, BGR, MJPG };

inline constexpr PipewirePixels kPipewirePixels[] = {PipewirePixels::NV12, PipewirePixels::I420, PipewirePixels::YV12,
                                                     PipewirePixels::NV21, PipewirePixels::YUY2, PipewirePixels::UYVY,
                                                     PipewirePixels::BGRx, PipewirePixels::RGBx, PipewirePixels::RGB,
                                                     PipewirePixels::BGR,  PipewirePixels::MJPG};

/// One picture as it lies in the daemon's memory. Nothing about it is trusted but that the bytes can be read.
struct PipewirePicture {
   struct Block {
      std::span<const uint8_t> bytes;
      int32_t stride = 0; ///< bytes of a row; 0 when the source does not say
   };
   PipewirePixels pixels = PipewirePixels::NV12;
   VideoDimensions size;
   Block first;
   Block second; ///< chroma of NV12 and NV21 where it comes apart; empty otherwise
};

/// A '420f' picture in somebody else's memory: luma, and Cb and Cr in turn.
struct BiPlanarView {
   VideoDimensions size;
   const uint8_t *planes[2] = {};
   size_t strides[2] = {}; ///< bytes

   /// From the first byte of a plane to the last that belongs to the picture.
   [[nodiscard]] size_t Bytes(size_t plane) const;
};

/// The picture where it lies, for NV12 with all its bytes there; nothing otherwise. Strides as for ToBiPlanar. Pure.
[[nodiscard]] std::optional<BiPlanarView> ViewInPlace(const PipewirePicture &picture);

/// Turns the picture into '420f' in `frame`, which has room for its size and gets its shape.
///
/// False when the bytes are too few for the size, or a JPEG is damaged or of another size: `frame` then holds anything.
/// The range of the values stays what the camera gave: full for MJPG, most often limited for the rest. Where the source
/// does not state a stride, rows are rounded up to 4 bytes if the size says so, else tight. `scratch` is memory for RGB
/// and BGR, which have no direct way; it grows once. Pure; any thread.
[[nodiscard]] bool ToBiPlanar(const PipewirePicture &picture, FrameBuffer *frame, std::vector<uint8_t> *scratch);

} // namespace osal
