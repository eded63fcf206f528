#pragma once

namespace mavr {

/// Whether the user wants long work to end: SIGINT or SIGTERM came after WatchForInterrupt. Process-wide; any thread.
void WatchForInterrupt();
[[nodiscard]] bool IsInterrupted();

} // namespace mavr
