#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

namespace osal {

/// A number in a picture's luma that survives what happens to pictures on their way: scaling by any method, letterbox
/// bars, lossy coding.
///
/// The picture is a grid of 10 x 10 blocks. The outer ring is bright, so that the picture is found between dark bars.
/// The 8 x 8 blocks inside are bits, bright for 1, the lowest bit of a byte at the left: four rows for the bytes of the
/// number, lowest first, and four rows for their complements in the opposite order. A picture whose upper part is of
/// one frame and whose lower part is of another is therefore told from a whole one: the lowest byte is in the first
/// row and in the last.
///
/// Pure functions of the pixels: a plane of `height` rows, `stride` bytes apart, of `width` bytes. Any thread.
inline constexpr size_t kFrameCounterSmallest = 20; ///< pixels, each side: smaller pictures can't be read for sure

void PaintFrameCounter(uint32_t number, uint8_t *luma, size_t stride, size_t width, size_t height);

/// The same for a picture of this size that shows the number `former`: paints only what differs.
void RepaintFrameCounter(uint32_t former, uint32_t number, uint8_t *luma, size_t stride, size_t width, size_t height);

/// The number; none when the picture shows none, a torn one, or one that can't be made out. Dark bars around the
/// picture are passed over.
[[nodiscard]] std::optional<uint32_t> ReadFrameCounter(const uint8_t *luma, size_t stride, size_t width, size_t height);

} // namespace osal
