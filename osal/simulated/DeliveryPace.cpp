#include "osal/simulated/DeliveryPace.h"

#include <algorithm>
#include <cmath>

namespace osal {

uint64_t DeliveryPace::EndNs(uint64_t periods) const {
   return static_cast<uint64_t>(std::llround(static_cast<double>(periods) * mPeriodNs));
}

uint64_t DeliveryPace::DueNs(uint64_t index) const {
   return EndNs(index + 1);
}

uint64_t DeliveryPace::CountDue(uint64_t elapsedNs) const {
   auto count = static_cast<uint64_t>(static_cast<double>(elapsedNs) / mPeriodNs);
   while (DueNs(count) <= elapsedNs) {
      ++count;
   }
   while (EndNs(count) > elapsedNs) {
      --count;
   }
   return count;
}

uint64_t DeliveryPace::Following(uint64_t index, uint64_t countDue, Late late) {
   const uint64_t kept = late == Late::Deliver ? kBacklog : 0;
   return std::max(index + 1, countDue - std::min(countDue, kept));
}

} // namespace osal
