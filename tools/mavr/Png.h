#pragma once

#include <cstdint>
#include <string>

namespace mavr {

/// Writes an I420 picture, planes without gaps, values of full range, as an RGB PNG file. Throws ToolError.
void WritePng(const std::string &path, const uint8_t *i420, uint32_t width, uint32_t height);

} // namespace mavr
