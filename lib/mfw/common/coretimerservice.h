#pragma once

#include "lib/mfw/common/coretimerclock.h"
#include "lib/mfw/common/coretimerindex.h"
#include "lib/mfw/common/threadWrapper.h"

#include <cstdint>
#include <vector>

namespace CORE {

class coretimer;

/// The thread that all timers of the process run on.
///
/// What it does is what a walk through all timers in order of registration at every wake-up would do: the first that is
/// due fires, and the walk begins again. It finds that timer by an index, and takes one clock reading for the end of a
/// callback and the look for the next timer. Waits last until the next deadline, on the monotonic clock; what is due,
/// ticks decide, so a wall clock set forward makes timers fire early, and one set back stretches no interval by more
/// than the length of a callback.
/// Owner: the process pointer, each registered timer and the running thread hold a reference. Threads: any.
/// Locks: everything by the timer lock, and all functions but ThreadMain are called under it.
/// Life cycle: made by the first timer, gone with the last, or with a shutdown; its thread runs from the first Start
/// until there are no timers.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): only the last reference deletes it
class coretimerservice final : public corerunnable {
public:
   /// Null when there are no timers.
   [[nodiscard]] static coretimerservice *Current();
   /// Makes the service if there is none. A service that was made in the middle of a shutdown takes no timer.
   static void Register(coretimer &timer);
   /// The last timer ends the service.
   static void Unregister(coretimer &timer);

   /// Sets mLastTick to now, and rearms a timer that is running.
   static void Restart(coretimer &timer);
   /// The timer is due at no time until Restart.
   static void Disarm(coretimer &timer);
   /// Has the thread look at the timers; starts it when there is none. Throws coreException.
   void Wake();

   /// Whether the timer is one of its own.
   [[nodiscard]] bool Tracks(const coretimer &timer) const;
   /// Turns on a line before and after each callback.
   void SetVerbose(bool verbose) { mVerbose = verbose; }

   void ThreadMain() override;

   /// Whether a timer that fires so late is worth a line.
   [[nodiscard]] static bool IsMissed(uint32_t elapsed, uint32_t intervalMS);
   /// Whether a callback that took so long is.
   [[nodiscard]] static bool IsSlow(uint32_t cbElapsed);

private:
   class Hold;
   class Firing;

   coretimerservice();
   ~coretimerservice() noexcept(false) override;

   static void Shutdown();
   static void EndService();

   uint32_t Look();
   uint32_t Rest(Hold &hold);
   void Fire(coretimer &timer, Hold &hold);
   coretimer *TakeDue();
   void Rearm(coretimer &timer);

   std::vector<uint64_t> mTimers; // weak ids in order of registration
   HANDLE mWakeEvent = nullptr;
   bool mNeedsThread = true;
   bool mShuttingDown = false;
   bool mVerbose = false;
   uint64_t mSerial;
   coretimerindex mIndex;
   coretimerclock mClock;
   uint32_t mTick = 0;   // of the last look
   uint32_t mThread = 0; // the id of the thread
   bool mResting = false;
   uint64_t mRestingSinceNs = 0;
};

} // namespace CORE
