#include "libs/avManager/NamedLogLimiter.h"

int32_t &NamedLogLimiter::CountOf(std::string_view name) {
   if (const auto known = mCounts.find(name); known != mCounts.end()) {
      return known->second;
   }
   return mCounts.emplace(name, 0).first->second;
}

bool NamedLogLimiter::ShouldLog(std::string_view name) {
   int32_t &count = CountOf(name);
   if (count >= mLimit) {
      return false;
   }
   ++count;
   return true;
}

void NamedLogLimiter::Reset(std::string_view name) {
   CountOf(name) = 0;
}
