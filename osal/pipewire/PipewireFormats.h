#pragma once

#include "osal/CaptureDevice.h"

#include <cstdint>
#include <vector>

struct spa_pod;

namespace osal {

/// Adds the formats that one EnumFormat object of a camera describes to `formats`.
///
/// One object may hold several pixel formats, sizes and rates. Each pixel format is listed with each size, in the
/// object's order; a list of rates becomes the lowest and the highest. How choices are read:
///
/// | Choice | Values listed                                                                             |
/// |--------|-------------------------------------------------------------------------------------------|
/// | none   | the value                                                                                 |
/// | Enum   | all alternatives; the value in front of them is the default, which is among them          |
/// | Range  | default and maximum (rates: minimum and maximum)                                          |
/// | Step   | as Range                                                                                  |
///
/// Sizes that are 0 or exceed 31 bits are left out, and so is the maximum of a Range above 16384 on a side: that is how
/// sources say "no limit". `param` lies whole in memory as its own size says; beyond that nothing about it is trusted.
/// The codes of pixel formats:
///
/// | PipeWire | FourCC | PipeWire  | FourCC | PipeWire | FourCC | PipeWire  | FourCC |
/// |----------|--------|-----------|--------|----------|--------|-----------|--------|
/// | NV12     | '420v' | I420      | 'y420' | BGRx     | 'BGRx' | mjpg      | 'jpeg' |
/// | NV21     | 'NV21' | YV12      | 'YV12' | RGBx     | 'RGBx' | jpeg      | 'jpeg' |
/// | NV16     | '422v' | Y42B      | 'Y42B' | xRGB     | 'xRGB' | h264      | 'avc1' |
/// | NV24     | '444v' | Y444      | 'Y444' | xBGR     | 'xBGR' | vp8       | 'vp08' |
/// | NV61     | 'NV61' | YUY2      | 'yuvs' | BGRA     | 'BGRA' | vp9       | 'vp09' |
/// | P010_10LE| 'x420' | UYVY      | '2vuy' | RGBA     | 'RGBA' | mpeg4     | 'mp4v' |
/// | GRAY8    | 'L008' | YVYU      | 'YVYU' | ARGB     | 'ARGB' | h263      | 'h263' |
/// | GRAY16_LE| 'L016' | VYUY      | 'VYUY' | ABGR     | 'ABGR' | dv        | 'dvc ' |
/// | AYUV     | 'AYUV' | v210      | 'v210' | RGB      | 'RGB3' | bayer     | 'BAYR' |
/// | v308     | 'v308' |           |        | BGR      | 'BGR3' | all other | '????' |
void AppendFormats(const spa_pod *param, std::vector<CaptureDeviceFormat> *formats);

/// Leaves the first of formats that are alike in everything.
void RemoveDoubles(std::vector<CaptureDeviceFormat> *formats);

} // namespace osal
