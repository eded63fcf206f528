#pragma once

#include <cstdint>

/// A level of the log: its number, its name in configuration keys, and the two letters that stand for it in a line.
struct LogLevelRow {
   uint32_t level;
   const char *name;
   const char *designator;
};

/// Numbers of levels that the log itself uses.
enum LogLevelNumber : uint32_t {
   kLogLevelAudit = 0,
   kLogLevelPanic = 1,
   kLogLevelWarning = 3,
   kLogLevelInfo = 5,
   kLogLevelCount = 24
};

/// The row of a level; any number from 24 on has that of "info". Never null. Any thread.
[[nodiscard]] const LogLevelRow *LogLevel_RowByNumber(uint32_t level);

/// The row of a name in any case, or null. "none" is no level. Any thread.
[[nodiscard]] const LogLevelRow *LogLevel_RowByName(const char *name);
