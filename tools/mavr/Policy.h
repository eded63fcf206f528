#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace mavr {

/// What policy says about the feature, read from the settings of an opened library.
struct Policy {
   uint32_t disabled = 0; ///< 0 nothing, 1 audio, 2 video, 3 both
   /// Limits and defaults that are set (not zero), by their short name, in a fixed order: "maxFrameRate" 1..,
   /// "maxWidth", "maxHeight", "defaultWidth", "defaultHeight" in pixels.
   std::vector<std::pair<std::string, uint32_t>> numbers;
};

[[nodiscard]] Policy ReadPolicy();

/// "nothing", "audio", "video", "audio and video".
[[nodiscard]] const char *DisabledText(uint32_t disabled);

} // namespace mavr
