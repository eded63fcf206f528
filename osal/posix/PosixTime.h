#pragma once

#if defined(__APPLE__)
#include "osal/apple/MachTime.h"
#endif

#include <cstdint>
#include <ctime>

namespace osal {

inline constexpr uint64_t kNsPerSecond = 1'000'000'000;

/// The time of the system's osal::Clock, by which its waits end too: CLOCK_MONOTONIC in nanoseconds, on a Mac Mach's
/// absolute time. Any thread, also inside a signal handler.
[[nodiscard]] inline uint64_t SystemMonotonicNs() {
#if defined(__APPLE__)
   return MachNowNs();
#else
   timespec now{};
   clock_gettime(CLOCK_MONOTONIC, &now);
   return static_cast<uint64_t>(now.tv_sec) * kNsPerSecond + static_cast<uint64_t>(now.tv_nsec);
#endif
}

/// A moment or a length of time in nanoseconds as the system's calls take it.
[[nodiscard]] constexpr timespec AsTimespec(uint64_t ns) {
   return {static_cast<time_t>(ns / kNsPerSecond), static_cast<long>(ns % kNsPerSecond)};
}

} // namespace osal
