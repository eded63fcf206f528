#include "lib/mfw/common/coretimerclock.h"

#include <algorithm>

namespace CORE {
namespace {

constexpr int32_t kRoundingMS = 1;

} // namespace

int64_t coretimerclock::Advance(uint32_t tick, uint64_t restedMS) {
   const auto jump = static_cast<int32_t>(tick - mTick - static_cast<uint32_t>(restedMS));
   const int64_t rested = static_cast<int64_t>(restedMS);
   mNow += jump < -kRoundingMS ? rested : std::max<int64_t>(rested + jump, 0);
   mTick = tick;
   return mNow;
}

} // namespace CORE
