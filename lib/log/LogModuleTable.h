#pragma once

#include <atomic>
#include <cstdint>

/// A pair of thresholds: a message passes when its level is not above the threshold; -1 lets nothing through.
/// Threads: any thread; a message reads it once, without the lock.
struct LogFilter {
   std::atomic<int32_t> fileLevel;
   std::atomic<int32_t> stderrLevel;
};

/// A module of the product that can have a filter of its own.
struct LogModuleRow {
   const char *name;
   LogFilter filter{-1, -1};
};

inline constexpr uint32_t kLogModuleCount = 314;

/// The id, 1 to 314, of the module with exactly this name, or -1. Any thread.
[[nodiscard]] int32_t Log_ModuleIdByName(const char *name);

/// The name of a module: the empty text for 0, null for an id above 314. Any thread.
[[nodiscard]] const char *Log_ModuleNameById(uint32_t id);

/// The filter pair of a module, or null for an id that is not 1 to 314. Any thread.
[[nodiscard]] LogFilter *Log_ModuleFilter(uint32_t id);
