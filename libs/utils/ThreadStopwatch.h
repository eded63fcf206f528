#pragma once

#include <cstdint>

/// Time that has passed, by the monotonic clock; can be paused.
///
/// A small value. Owner: whoever keeps it. Threads: one at a time. Locks: none. Life cycle: constructed it runs since
/// tick 0 of the clock; start it with RestartRunning.
class ThreadStopwatch {
public:
   /// What to do once the time has been read. Any other number does nothing.
   enum class Command : int {
      Look = 0,
      Restart = 1,        ///< from now on, in the same mode: running stays running, paused stays paused
      Resume = 2,         ///< if paused: go on from the time it showed
      Pause = 3,          ///< if running: keep showing this time
      RestartRunning = 4, ///< from now on, running
      RestartPaused = 5   ///< from now on, paused
   };

   /// Ticks (nanoseconds) since the start as they stood on entry, up to the pause if paused; then acts.
   uint64_t Ticks(Command command = Command::Look);
   /// The same in seconds.
   double Seconds(Command command = Command::Look);

private:
   uint64_t mStart = 0;
   uint64_t mPaused = 0; // 0 while running
};
