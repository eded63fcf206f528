#pragma once

#include <functional>

namespace bench {

/// The monotonic clock, seconds.
[[nodiscard]] double Now();

/// CPU of this process, all threads, in percent of a core, while `pass` runs until the time that it is given. It runs
/// once before, for `settling` seconds that do not count, and then for `measured`.
[[nodiscard]] double CpuPercent(double settling, double measured, const std::function<void(double until)> &pass);

/// A pass that does nothing itself.
void Idle(double until);

} // namespace bench
