#pragma once

#include "osal/Clock.h"

#include <atomic>
#include <condition_variable>
#include <mutex>
#include <vector>

namespace kit {

/// A clock that moves only when told, in force for its lifetime. Threads: any thread.
///
/// Sleeping advances it, and returns at once. A wait with a time limit ends when another thread has moved the clock to
/// its deadline:
///
///     std::thread waiter([&] { result = WaitForSingleObject(event, 50); });
///     clock.AwaitSleepers(1);
///     clock.AdvanceMs(50); // the waiter is out of its wait when this returns
///
/// A test with one thread lets waits jump instead: SetJumping. A wait allocates nothing, so that a test can count what
/// the code under it allocates.
class ManualClock final : public osal::Clock {
public:
   /// Starts at 2026-11-12T18:30:00.123Z, with the monotonic clock at 1000 s.
   ManualClock();

   uint64_t monotonicNs() const override { return mMonotonicNs.load(); }
   osal::WallTime wallTime() const override;
   void sleepNs(uint64_t ns) override { AdvanceNs(ns); }
   bool waitWhile(const std::atomic<uint32_t> &word, uint32_t value, uint64_t deadlineNs) override;

   /// Both clocks go on by this much. Returns when every wait whose deadline has come is over.
   void AdvanceNs(uint64_t ns);
   void AdvanceMs(uint64_t ms) { AdvanceNs(ms * 1'000'000); }
   /// The wall clock jumps; the monotonic one does not.
   void SetWallUs(int64_t microsecondsSinceEpoch) { mWallUs.store(microsecondsSinceEpoch); }

   /// Returns when at least `count` threads are in a wait, with or without a limit.
   void AwaitSleepers(size_t count);
   [[nodiscard]] size_t Sleepers() const;
   /// The earliest deadline of those who wait; kNoDeadline when nobody waits with a limit.
   [[nodiscard]] uint64_t NextDeadlineNs() const;
   /// From now on a wait with a limit moves the clock to its deadline and is over, instead of waiting for another
   /// thread to do so. A word that has changed already still ends it first.
   void SetJumping(bool jumping) { mJumping.store(jumping); }

private:
   struct Sleeper {
      const std::atomic<uint32_t> *word;
      uint64_t deadlineNs;
   };

   /// A wait's place in the list; a cancelled thread leaves it too.
   class Place;

   void EndDueWaits();
   std::atomic<uint64_t> mMonotonicNs;
   std::atomic<int64_t> mWallUs;
   std::atomic<uint64_t> mRestNs{0}; // part of a microsecond that the wall clock has not shown yet
   std::atomic<bool> mJumping{false};
   mutable std::mutex mMutex;
   std::condition_variable mSleepersChanged;
   std::vector<const Sleeper *> mSleepers; // guarded by mMutex; each on its thread's stack
   osal::ScopedClock mInForce;
};

} // namespace kit
