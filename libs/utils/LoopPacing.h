#pragma once

#include <cstdint>

/// How long a service thread waits between two callbacks: plain arithmetic on plain values.
///
/// Owner: the loop, one object for each run. Threads: the loop's. Locks: none.
class LoopPacing {
public:
   /// The interval that waits without limit when it is given as a number.
   static constexpr double kForever = 4294967295.0;

   explicit LoopPacing(double intervalMs)
       : mPrevious(intervalMs) {}

   /// The ordinary form, in milliseconds: the interval; the wait before this one when the interval is 0 or less.
   double NextWait(double intervalMs);

   /// The fixed-rate form. `interval` and `elapsed` (how long the callback took) are seconds here; the wait is
   /// milliseconds.
   double NextFixedRateWait(double interval, double elapsed);

   /// A wait as the calls of linuxSupport.h take it: cut to its low 32 bits, so that -1 means no limit.
   [[nodiscard]] static uint32_t ToTimeout(double waitMs);

private:
   double mPrevious;
   double mCarry = 0.0;
};
