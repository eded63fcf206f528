#pragma once

#include "tools/mavr/Commands.h"

namespace mavr {

/// The kinds of 'mavr record': each adds its own to `record`, as the commands of Commands.h do.
void AddRecordAudioCommand(CLI::App &record, Action *action);
void AddRecordVideoCommand(CLI::App &record, Action *action);

/// Whether the user wants a recording to end: SIGINT or SIGTERM came after WatchForInterrupt.
void WatchForInterrupt();
[[nodiscard]] bool IsInterrupted();

} // namespace mavr
