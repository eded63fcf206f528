#pragma once

#include <cstdint>

/// Whether `name` is that of a log file of the family ("zenthar-MAVR"): the family, "-", and the id of the process that
/// wrote it; what follows the digits does not matter.
[[nodiscard]] bool LogPurge_PidInName(const char *name, const char *family, uint32_t *outPid);
