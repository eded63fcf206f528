#pragma once

#include <cstdint>

/// Of each cycle of `group` frames the first `keep` are kept.
struct DropParameters {
   uint32_t group = 1;
   uint32_t keep = 1;
   friend bool operator==(const DropParameters &, const DropParameters &) = default;
};

/// The share of frames to keep: 1 unless the camera delivers more than is asked for. Frames a second, both.
[[nodiscard]] float KeepRatio(uint32_t delivered, uint32_t wanted);

/// The nearest of 1/6, 1/3, 1/2, 2/3, 5/6 and 1. A ratio below 1/6 still keeps one frame of six.
[[nodiscard]] DropParameters DropParametersFor(float ratio);

/// Whether a capture of this size can be asked for: both sides multiples of 4, at most 8000 by 5120, not 0.
[[nodiscard]] bool IsCaptureSize(uint32_t width, uint32_t height);
