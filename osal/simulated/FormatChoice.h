#pragma once

#include "osal/CaptureDevice.h"

#include <optional>
#include <span>

namespace osal {

/// The format that a simulated camera runs in: the first one of the wanted size, else the one whose sides differ least
/// from it in sum (the first of several), and without a wish the first. Formats without pixels are passed over; none is
/// left when there is no other. A pure function.
[[nodiscard]] std::optional<CaptureDeviceFormat> ChooseFormat(std::span<const CaptureDeviceFormat> formats,
                                                              std::optional<VideoDimensions> wanted);

/// Frames a second in that format: its highest rate; where it does not say one, the longest frame duration that was set
/// (seconds, 0: none), else 30. Not below 0.001.
[[nodiscard]] double ChooseRate(const CaptureDeviceFormat &format, double maxFrameDuration);

/// The other size of a camera that changes it: half of both sides, rounded up; 1x1 becomes 2x2.
[[nodiscard]] VideoDimensions OtherSize(VideoDimensions size);

} // namespace osal
