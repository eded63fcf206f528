#pragma once

#include <algorithm>
#include <cstdint>

namespace CORE {

/// The time that the timer service reckons with: milliseconds that follow the tick count, but do not wrap, and do not
/// go back when the wall clock does. A clock that is set forward is followed: what ticks say has passed has passed.
///
/// A plain value, not for two threads at a time.
class coretimerclock {
public:
   explicit coretimerclock(uint32_t tick)
       : mTick(tick) {}

   /// The time at `tick`, which is at most 24 days after the last one. An earlier tick is a clock that was set back:
   /// the time stands, and goes on from there.
   int64_t Advance(uint32_t tick) {
      mNow += std::max(static_cast<int32_t>(tick - mTick), 0);
      mTick = tick;
      return mNow;
   }
   /// The same after a rest, of any length, that took `restedMS` on the monotonic clock: if ticks say less by more than
   /// the rounding of the two, the clock was set back, and the time that really went by counts.
   int64_t Advance(uint32_t tick, uint64_t restedMS);

   [[nodiscard]] int64_t Now() const { return mNow; } ///< of the last Advance

private:
   int64_t mNow = 0;
   uint32_t mTick;
};

} // namespace CORE
