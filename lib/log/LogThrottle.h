#pragma once

#include <cstdint>

/// Decides whether a process logs too much: over a threshold of bytes in all, at more than some bytes a second.
///
/// It looks at the rate each 5 seconds, or each 60 while throttled, so that throttling begins after at least 5 seconds
/// of a flood and ends after at least 60 seconds without one. Owner: a file output. Threads: one at a time. Locks:
/// none; the log's. Life cycle: plain values.
struct LogThrottle {
   static constexpr uint32_t kNever = UINT32_MAX; ///< rate limit: no throttling
   static constexpr uint32_t kStop = 0;           ///< rate limit: nothing more once the threshold is reached

   uint64_t threshold = 0;
   uint64_t totalBytes = 0;
   uint64_t bytesAtLastCheck = 0;
   uint64_t lastCheckUs = 0; ///< 0: not checked yet
   uint32_t rateLimit = kNever;
   uint32_t throttled = 0; ///< 0 or 1: what is in force, set by the owner

   /// Counts `bytes` and says whether to be throttled now. `nowUs` reads microseconds of a clock that does not jump; it
   /// is asked only where the time matters. The first check only starts the measurement.
   [[nodiscard]] bool Decide(uint64_t bytes, uint64_t (*nowUs)());
};
