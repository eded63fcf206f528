#pragma once

#include "lib/log/LogLine.h"

#include <cstddef>
#include <cstdint>
#include <memory>

/// Byte ring of messages that wait. A full ring drops its oldest records.
///
/// A record is a 16-bit length in host order (of header and text), the header, and the text without a terminator; it
/// may wrap at any byte. The ring is never quite full, so that equal positions always mean that it is empty. Positions
/// count on for ever; their remainder by `size` is the place in the ring. Owner: the log (early ring, static) or a file
/// output. Threads: one at a time, under the log's lock. Locks: none of its own. Life cycle: LogRing_Init or
/// LogRing_Create -> pushes and pops -> (LogRing_Destroy).
struct LogRing {
   char *base;
   uint64_t writePosition;
   uint64_t readPosition;
   uint64_t used;
   uint64_t size; ///< bytes at `base`
};

inline constexpr size_t kLogRingSize = 65536;

/// A ring on the heap with `size` bytes; null when there is no memory.
[[nodiscard]] LogRing *LogRing_Create(size_t size);
void LogRing_Destroy(LogRing *ring); ///< null is allowed
void LogRing_Reset(LogRing *ring);   ///< forgets every record

/// Destroys a ring in place of deleting it.
struct LogRingDestroyer {
   void operator()(LogRing *ring) const { LogRing_Destroy(ring); }
};
/// A ring with an owner.
using LogRingOwner = std::unique_ptr<LogRing, LogRingDestroyer>;

/// Adds a record, dropping as many old ones as need be. A text that no record or not even the empty ring can hold is
/// cut on a UTF-8 boundary; a ring too small for a header stays as it is.
void LogRing_Push(LogRing *ring, const LogLineHeader &header, size_t length, const char *text);

/// Takes the oldest record out. False when there is none. A text shorter than `limit` comes whole; a longer one is cut
/// to a line by Log_TruncateUtf8Line. `outText` has room for `limit` bytes (at least 2) and is terminated; `outHeader`
/// may be null.
bool LogRing_Pop(LogRing *ring, size_t limit, LogLineHeader *outHeader, size_t *outLength, char *outText);
