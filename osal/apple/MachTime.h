#pragma once

#include <cstdint>

namespace osal {

/// `ticks` of a time base of `numer` / `denom` nanoseconds each, in nanoseconds, rounded down; right for every number
/// of ticks whose nanoseconds fit.
[[nodiscard]] constexpr uint64_t TicksToNs(uint64_t ticks, uint32_t numer, uint32_t denom) {
   return ticks / denom * numer + ticks % denom * numer / denom;
}

/// Mach's absolute time in nanoseconds: never goes back, stands still while the machine sleeps, as the system's timed
/// waits do. A time base that can't be read counts as 1 / 1. Any thread, also inside a signal handler.
[[nodiscard]] uint64_t MachNowNs();

} // namespace osal
