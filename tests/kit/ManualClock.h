#pragma once

#include "osal/Clock.h"

#include <atomic>

namespace kit {

/// A clock that moves only when told, in force for its lifetime. Sleeping advances it. Threads: any thread.
class ManualClock final : public osal::Clock {
public:
   /// Starts at 2026-11-12T18:30:00.123Z, with the monotonic clock at 1000 s.
   ManualClock();

   uint64_t monotonicNs() const override { return mMonotonicNs.load(); }
   osal::WallTime wallTime() const override;
   void sleepNs(uint64_t ns) override { AdvanceNs(ns); }

   /// Both clocks go on by this much.
   void AdvanceNs(uint64_t ns);
   void AdvanceMs(uint64_t ms) { AdvanceNs(ms * 1'000'000); }
   /// The wall clock jumps; the monotonic one does not.
   void SetWallUs(int64_t microsecondsSinceEpoch) { mWallUs.store(microsecondsSinceEpoch); }

private:
   std::atomic<uint64_t> mMonotonicNs;
   std::atomic<int64_t> mWallUs;
   std::atomic<uint64_t> mRestNs{0}; // part of a microsecond that the wall clock has not shown yet
   osal::ScopedClock mInForce;
};

} // namespace kit
