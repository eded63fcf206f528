#include "osal/simulated/DeliveryPace.h"

#include <algorithm>
#include <cmath>

namespace osal {

uint64_t DeliveryPace::DueNs(uint64_t index) const {
   return static_cast<uint64_t>(std::llround(static_cast<double>(index + 1) * mPeriodNs));
}

uint64_t DeliveryPace::CountDue(uint64_t elapsedNs) const {
   auto count = static_cast<uint64_t>(static_cast<double>(elapsedNs) / mPeriodNs);
   while (DueNs(count) <= elapsedNs) {
      ++count;
   }
   while (count > 0 && DueNs(count - 1) > elapsedNs) {
      --count;
   }
   return count;
}

uint64_t DeliveryPace::Following(uint64_t index, uint64_t countDue, Late late) {
   const uint64_t kept = late == Late::Deliver ? kBacklog : 0;
   return std::max(index + 1, countDue > kept ? countDue - kept : 0);
}

} // namespace osal
