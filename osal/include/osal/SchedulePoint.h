#pragma once

#include <atomic>

namespace osal {

/// Marks a place where the interleaving of two threads matters, so that a test can perturb the schedule there.
///
/// Costs nothing in an ordinary build. In the sanitizer builds it calls the hook that kit::PerturbedSchedule installs,
/// which yields or rests by a seeded random decision. Any thread; never called under a spin word.
using ScheduleHook = void (*)();

inline std::atomic<ScheduleHook> gScheduleHook{nullptr};

inline void schedulePoint() {
#ifdef MAVR_SANITIZED
   if (const ScheduleHook hook = gScheduleHook.load(std::memory_order_relaxed); hook != nullptr) {
      hook();
   }
#endif
}

} // namespace osal
