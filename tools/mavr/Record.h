#pragma once

#include "tools/mavr/Commands.h"

#include <cstdint>

namespace mavr {

/// The kinds of 'mavr record': each adds its own to `record`, as the commands of Commands.h do.
void AddRecordAudioCommand(const Command &record);
void AddRecordVideoCommand(const Command &record);

/// How long a device may take to its first frame or chunk, milliseconds; then the recording fails.
inline constexpr uint32_t kFirstMS = 4000;
/// How often a recording looks up while nothing comes, milliseconds.
inline constexpr uint32_t kLookMS = 100;
/// The monotonic clock, seconds.
[[nodiscard]] double NowSeconds();

} // namespace mavr
