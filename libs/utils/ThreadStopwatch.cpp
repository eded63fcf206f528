#include "libs/utils/ThreadStopwatch.h"

#include "osal/Clock.h"

namespace {

constexpr double kTicksPerSecond = 1e9; // osal::Clock counts nanoseconds on every system

} // namespace

uint64_t ThreadStopwatch::Ticks(Command command) {
   const uint64_t now = osal::Clock::current().monotonicNs();
   const bool paused = mPaused != 0;
   const uint64_t elapsed = (paused ? mPaused : now) - mStart;
   switch (command) {
   case Command::Restart:
      mStart = now;
      mPaused = paused ? now : 0;
      break;
   case Command::Resume:
      if (paused) {
         mStart += now - mPaused;
         mPaused = 0;
      }
      break;
   case Command::Pause:
      if (!paused) {
         mPaused = now;
      }
      break;
   case Command::RestartRunning:
      mStart = now;
      mPaused = 0;
      break;
   case Command::RestartPaused:
      mStart = now;
      mPaused = now;
      break;
   case Command::Look:
      break;
   }
   return elapsed;
}

double ThreadStopwatch::Seconds(Command command) {
   return static_cast<double>(Ticks(command)) / kTicksPerSecond;
}
