#include "libs/avManager/SyncMediaClock.h"

#include "libs/utils/ThreadStopwatch.h"

#include "lib/mfw/common/coresync.h"

#include <atomic>

namespace {

// The process's timeline: the milliseconds at the stopwatch's last start, and the stopwatch.
class Timeline {
public:
   Timeline() { mStopwatch.Ticks(ThreadStopwatch::Command::RestartRunning); }

   void Restart() {
      const CORE::coresync hold(mLock);
      mBaseMS = Milliseconds(ThreadStopwatch::Command::RestartRunning);
   }

   [[nodiscard]] uint32_t NowMS() {
      const CORE::coresync hold(mLock);
      return static_cast<uint32_t>(mBaseMS + Milliseconds(ThreadStopwatch::Command::Look));
   }

   std::atomic<int64_t> clients{0};

private:
   uint64_t Milliseconds(ThreadStopwatch::Command command) {
      return static_cast<uint64_t>(mStopwatch.Seconds(command) * 1000);
   }

   CORE::corecritsec mLock;
   uint64_t mBaseMS = 0;
   ThreadStopwatch mStopwatch;
};

// Never destroyed: a recorder of the host's may outlive the library's own objects.
Timeline &TheTimeline() {
   static Timeline *const timeline = new Timeline;
   return *timeline;
}

// Runs from load on.
[[maybe_unused]] const Timeline &gStarted = TheTimeline();

} // namespace

SyncMediaClock::SyncMediaClock() {
   Timeline &timeline = TheTimeline();
   if (++timeline.clients == 1) {
      timeline.Restart();
   }
}

SyncMediaClock::~SyncMediaClock() {
   --TheTimeline().clients;
}

uint32_t SyncMediaClock::GetTimeMS() {
   Timeline &timeline = TheTimeline();
   return timeline.clients.load() < 1 ? 0 : timeline.NowMS();
}

void SyncMediaClock::Reset() {
   TheTimeline().Restart();
}
