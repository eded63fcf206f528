#include "tests/kit/ManualClock.h"

namespace kit {
namespace {
constexpr int64_t kStartUs = 1'794'508'200'123'000; // 2026-11-12T18:30:00.123Z
}

ManualClock::ManualClock()
    : mMonotonicNs(1'000'000'000'000)
    , mWallUs(kStartUs)
    , mInForce(*this) {}

osal::WallTime ManualClock::wallTime() const {
   const int64_t us = mWallUs.load();
   return {us / 1'000'000, static_cast<int32_t>(us % 1'000'000)};
}

void ManualClock::AdvanceNs(uint64_t ns) {
   mMonotonicNs += ns;
   const uint64_t rest = mRestNs.fetch_add(ns) + ns;
   mWallUs += static_cast<int64_t>(rest / 1000);
   mRestNs -= rest / 1000 * 1000;
}

} // namespace kit
