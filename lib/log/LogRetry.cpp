#include "lib/log/LogRetry.h"

#include <algorithm>

namespace {

constexpr uint64_t kFirstRestNs = 250'000'000;
constexpr uint64_t kLongestRestNs = 60'000'000'000;
constexpr uint32_t kMostDoublings = 8; // the longest rest is reached by then

} // namespace

bool LogRetry::MayTry(uint64_t message, uint64_t nowNs) const {
   return failures == 0 || (message != failedAtMessage && nowNs >= restsUntilNs);
}

void LogRetry::Failed(uint64_t message, uint64_t nowNs) {
   failedAtMessage = message;
   if (failures > 0) {
      const uint32_t doublings = std::min(failures - 1, kMostDoublings);
      restsUntilNs = nowNs + std::min(kFirstRestNs << doublings, kLongestRestNs);
   }
   failures = std::min(failures + 1, kMostDoublings + 2);
}
