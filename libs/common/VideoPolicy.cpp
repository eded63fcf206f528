#include "libs/common/VideoPolicy.h"

#include <algorithm>
#include <limits>

uint32_t SelectDimension(uint32_t client, uint32_t policyMax, uint32_t policyDefault, uint32_t builtIn) {
   const uint32_t ceiling = policyMax != 0 ? policyMax : std::numeric_limits<uint32_t>::max();
   if (client >= kSmallestDimension) {
      return std::min(client, ceiling);
   }
   const uint32_t fallback = policyDefault != 0 ? policyDefault : builtIn;
   // Required: a default that is not below the ceiling, or no size at all, is ignored in favour of the ceiling.
   const bool ignored = ceiling < client || fallback < kSmallestDimension || fallback >= ceiling;
   return ignored ? ceiling : fallback;
}

uint32_t RoundDimension(uint32_t value, bool h264Negotiated) {
   return value & ~(h264Negotiated ? 7u : 15u);
}

uint32_t SelectFrameRate(uint32_t policyRate, uint32_t clientRate) {
   const uint32_t cap = policyRate >= 1 && policyRate < kHighestFrameRate ? policyRate : kHighestFrameRate;
   if (clientRate != 0) {
      return std::min(clientRate, cap);
   }
   // Required: below a cap of 15 the result is 1, not the cap.
   return cap < kDefaultFrameRate ? 1 : kDefaultFrameRate;
}
