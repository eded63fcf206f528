#pragma once

#include <cstdint>

/// Webcam numbers that the policy sets; 0 where it does not. A plain value.
struct VCamPolicy {
   uint32_t maxFrameRate = 0;
   uint32_t maxHeight = 0;
   uint32_t maxWidth = 0;
   uint32_t defaultHeight = 0;
   uint32_t defaultWidth = 0;
};

/// The smallest width or height that counts as one.
inline constexpr uint32_t kSmallestDimension = 32;
inline constexpr uint32_t kBuiltInWidth = 320;
inline constexpr uint32_t kBuiltInHeight = 240;
inline constexpr uint32_t kHighestFrameRate = 30;
inline constexpr uint32_t kDefaultFrameRate = 15;

/// One dimension before rounding: the client's wish under the policy's ceiling, else the policy's default below the
/// ceiling, else the ceiling itself. `builtIn` stands in for a policy default of 0, and 0xFFFFFFFF for a ceiling of 0,
/// so that this may be the result. Pure.
[[nodiscard]] uint32_t SelectDimension(uint32_t client, uint32_t policyMax, uint32_t policyDefault, uint32_t builtIn);

/// `value` rounded down to a multiple of 8 where both sides can do H264, else of 16. Pure.
[[nodiscard]] uint32_t RoundDimension(uint32_t value, bool h264Negotiated);

/// Frames a second, 1 to 30: the client's rate under the policy's. Pure.
[[nodiscard]] uint32_t SelectFrameRate(uint32_t policyRate, uint32_t clientRate);
