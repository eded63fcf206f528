#include "osal/simulated/FormatChoice.h"

#include <algorithm>
#include <cstdlib>

namespace osal {
namespace {

constexpr double kUsualRate = 30;
constexpr double kLowestRate = 0.001;

} // namespace

std::optional<CaptureDeviceFormat> ChooseFormat(std::span<const CaptureDeviceFormat> formats,
                                                std::optional<VideoDimensions> wanted) {
   std::optional<CaptureDeviceFormat> best;
   int64_t bestDistance = 0;
   for (const CaptureDeviceFormat &format : formats) {
      const auto [width, height] = format.dimensions;
      if (width <= 0 || height <= 0) {
         continue;
      }
      const int64_t distance =
         wanted ? std::abs(int64_t{width} - wanted->width) + std::abs(int64_t{height} - wanted->height) : 0;
      if (!best || distance < bestDistance) {
         best = format;
         bestDistance = distance;
      }
   }
   return best;
}

double ChooseRate(const CaptureDeviceFormat &format, double maxFrameDuration) {
   if (format.maxFrameRate > 0) {
      return std::max(format.maxFrameRate, kLowestRate);
   }
   return maxFrameDuration > 0 ? std::max(1 / maxFrameDuration, kLowestRate) : kUsualRate;
}

VideoDimensions OtherSize(VideoDimensions size) {
   if (size == VideoDimensions{1, 1}) {
      return {2, 2};
   }
   return {(size.width + 1) / 2, (size.height + 1) / 2};
}

} // namespace osal
