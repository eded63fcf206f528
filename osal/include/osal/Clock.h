#pragma once

#include <atomic>
#include <cstdint>

namespace osal {

/// Wall-clock time: seconds and microseconds (0..999999) since 1970-01-01T00:00:00Z.
struct WallTime {
   int64_t seconds = 0;
   int32_t microseconds = 0;
};

/// Every clock reading, every sleep and every wait of the library.
///
/// Code above the seam never asks the system itself, so that a test can step time by hand: it installs a clock of its
/// own with ScopedClock. Owner: the platform; a test owns the one it installs. Threads: any thread, all methods;
/// monotonicNs and wallTime also inside a signal handler. Locks: none. Life cycle: the system clock lives for the whole
/// process.
class Clock {
public:
   virtual ~Clock() = default;

   /// Nanoseconds since some fixed point in the past; never goes back, never jumps with the wall clock.
   [[nodiscard]] virtual uint64_t monotonicNs() const = 0;

   /// The wall clock now, in UTC. May jump in both directions.
   [[nodiscard]] virtual WallTime wallTime() const = 0;

   /// Lets the calling thread rest for at least `ns` nanoseconds. Not interrupted by signals.
   virtual void sleepNs(uint64_t ns) = 0;

   /// Sleeps as osal::waitword::waitWhile does, but not beyond `deadlineNs` of monotonicNs: false once that moment is
   /// reached, true otherwise (woken, the word has changed, or without a reason: look again). kNoDeadline waits without
   /// limit. Wakers use waitword::wakeOne and wakeAll. Keeps errno. A cancellation point where
   /// waitword::waitWhileUntil is one. A clock that does not override it waits in the system's time.
   virtual bool waitWhile(const std::atomic<uint32_t> &word, uint32_t value, uint64_t deadlineNs);

   static constexpr uint64_t kNoDeadline = UINT64_MAX;

   /// The moment `ms` milliseconds from now, for waitWhile; kNoDeadline for 0xFFFFFFFF, which means no limit wherever
   /// this library takes a time in milliseconds.
   [[nodiscard]] uint64_t deadlineAfterMs(uint32_t ms) const {
      return ms == UINT32_MAX ? kNoDeadline : monotonicNs() + uint64_t{ms} * 1'000'000;
   }

   /// The clock in force: the system's, or the one a test has installed.
   [[nodiscard]] static Clock &current();
};

/// Puts `clock` in force for its own lifetime, then the former one again. For tests; nests.
/// Install it before other threads read the clock.
class ScopedClock {
public:
   explicit ScopedClock(Clock &clock);
   ~ScopedClock();
   ScopedClock(const ScopedClock &) = delete;
   ScopedClock &operator=(const ScopedClock &) = delete;

private:
   Clock *mFormer;
};

} // namespace osal
