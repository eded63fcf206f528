#pragma once

#include "lib/mfw/common/coresync.h"

#include <atomic>

namespace CORE {

/// The lock of timers, timer service and shutdown.
///
/// Owner: the process has one, coreTimerLock(). Threads: any thread. Locks: taken before a group's lock and before the
/// locks of reference counts, never after them; not held while waiting or while a callback runs.
/// Life cycle: works while it exists and coreExiting is clear; otherwise Lock and Unlock do nothing.
class coretimer_critsec final : public corecritsec {
public:
   coretimer_critsec();
   ~coretimer_critsec() noexcept(false) override;

   void Lock() override MAVR_ACQUIRE() MAVR_NO_THREAD_SAFETY_ANALYSIS {
      if (sExists.load(std::memory_order_relaxed)) {
         corecritsec::Lock();
      }
   }
   void Unlock() override MAVR_RELEASE() MAVR_NO_THREAD_SAFETY_ANALYSIS {
      if (sExists.load(std::memory_order_relaxed)) {
         corecritsec::Unlock();
      }
   }

private:
   static constinit inline std::atomic<bool> sExists{false};
};

/// The process's own. Made on first use, so that other initialisers may use it, and never destroyed, so that threads
/// which are still running at exit may.
[[nodiscard]] coretimer_critsec &coreTimerLock();

/// Holds the timer lock for the length of a scope.
class MAVR_SCOPED_CAPABILITY coresynctimer final : public coresync {
public:
   coresynctimer() MAVR_ACQUIRE(coreTimerLock())
       : coresync(coreTimerLock()) {}
   ~coresynctimer() override MAVR_RELEASE() = default;
};

} // namespace CORE
