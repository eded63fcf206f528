#pragma once

#include <cstdint>

/// When a rotation that has failed is tried again.
///
/// Each try may wait for the file system, under the log's lock, and logs about itself. So: at most one try that fails
/// for each ordinary message; the next message tries again; after a second failure in a row tries rest, for 250 ms,
/// then twice as long each time, up to a minute. Owner: a file output. Threads: one at a time. Locks: none. Life cycle:
/// plain values.
struct LogRetry {
   uint32_t failures = 0; ///< in a row
   uint64_t failedAtMessage = 0;
   uint64_t restsUntilNs = 0;

   [[nodiscard]] bool MayTry(uint64_t message, uint64_t nowNs) const;
   void Failed(uint64_t message, uint64_t nowNs);
   void Succeeded() { *this = LogRetry{}; }
};
