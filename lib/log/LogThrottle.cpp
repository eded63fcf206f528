#include "lib/log/LogThrottle.h"

namespace {

constexpr uint64_t kUsPerSecond = 1'000'000;
constexpr uint64_t kPeriodUs = 5 * kUsPerSecond;
constexpr uint64_t kThrottledPeriodUs = 60 * kUsPerSecond;

} // namespace

bool LogThrottle::Decide(uint64_t bytes, uint64_t (*nowUs)()) {
   if (rateLimit == kNever) {
      return false;
   }
   totalBytes += bytes;
   if (totalBytes < threshold) {
      return false;
   }
   if (rateLimit == kStop) {
      return true;
   }
   const bool firstCheck = lastCheckUs == 0;
   const uint64_t now = nowUs();
   const uint64_t elapsedUs = now - lastCheckUs;
   if (!firstCheck && elapsedUs <= (throttled != 0 ? kThrottledPeriodUs : kPeriodUs)) {
      return throttled != 0;
   }
   const uint64_t rate = firstCheck ? 0 : (totalBytes - bytesAtLastCheck) * kUsPerSecond / elapsedUs;
   lastCheckUs = now;
   bytesAtLastCheck = totalBytes;
   return rate > rateLimit;
}
