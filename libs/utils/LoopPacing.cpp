#include "libs/utils/LoopPacing.h"

#include <cmath>

double LoopPacing::NextWait(double intervalMs) {
   if (intervalMs > 0) { // kForever too
      mPrevious = intervalMs;
   }
   return mPrevious;
}

double LoopPacing::NextFixedRateWait(double interval, double elapsed) {
   if (interval == kForever) {
      mPrevious = kForever;
      return mPrevious;
   }
   // Required: the carry is never reduced by what has been waited; it only grows by what the callbacks left over.
   mCarry += interval - elapsed;
   mPrevious = mCarry > 0 ? std::floor(mCarry * 1000) : 0;
   return mPrevious;
}

uint32_t LoopPacing::ToTimeout(double waitMs) {
   constexpr double kBeyond = 9.2e18; // what 64 bits hold; a wait of this length never ends anyway
   if (waitMs >= kBeyond) {
      return UINT32_MAX;
   }
   return static_cast<uint32_t>(static_cast<int64_t>(waitMs));
}
