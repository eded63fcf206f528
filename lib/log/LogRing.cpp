#include "lib/log/LogRing.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>

static_assert(std::is_trivially_copyable_v<LogLineHeader>);

namespace {

using RecordLength = uint16_t;
constexpr size_t kOverhead = sizeof(RecordLength) + sizeof(LogLineHeader);

// A division for each step would cost as much as the copying; the rings of the log have a power of two as size.
uint64_t PlaceOf(const LogRing *ring, uint64_t position) {
   const uint64_t mask = ring->size - 1;
   return (ring->size & mask) == 0 ? position & mask : position % ring->size;
}

void CopyIn(LogRing *ring, const void *data, size_t size) {
   const uint64_t place = PlaceOf(ring, ring->writePosition);
   const size_t first = std::min(size, static_cast<size_t>(ring->size - place));
   std::memcpy(ring->base + place, data, first);
   std::memcpy(ring->base, static_cast<const char *>(data) + first, size - first);
   ring->writePosition += size;
   ring->used += size;
}

void Skip(LogRing *ring, size_t size) {
   ring->readPosition += size;
   ring->used -= size;
}

void CopyOut(LogRing *ring, void *data, size_t size) {
   const uint64_t place = PlaceOf(ring, ring->readPosition);
   const size_t first = std::min(size, static_cast<size_t>(ring->size - place));
   std::memcpy(data, ring->base + place, first);
   std::memcpy(static_cast<char *>(data) + first, ring->base, size - first);
   Skip(ring, size);
}

void DropOldest(LogRing *ring) {
   RecordLength length = 0;
   CopyOut(ring, &length, sizeof length);
   Skip(ring, length);
}

} // namespace

LogRing *LogRing_Create(size_t size) {
   auto *const bytes = static_cast<char *>(std::malloc(size));
   auto *const ring = bytes != nullptr ? new (std::nothrow) LogRing{bytes, 0, 0, 0, size} : nullptr;
   if (ring == nullptr) {
      std::free(bytes);
   }
   return ring;
}

void LogRing_Destroy(LogRing *ring) {
   if (ring != nullptr) {
      std::free(ring->base);
      delete ring;
   }
}

void LogRing_Reset(LogRing *ring) {
   ring->readPosition = ring->writePosition;
   ring->used = 0;
}

void LogRing_Push(LogRing *ring, const LogLineHeader &header, size_t length, const char *text) {
   if (ring->size <= kOverhead) {
      return;
   }
   const size_t longest =
      std::min(std::numeric_limits<RecordLength>::max() - kOverhead, static_cast<size_t>(ring->size) - 1 - kOverhead);
   if (length > longest) {
      length = Log_Utf8CutLength(text, longest);
   }
   while (ring->used > 0 && length + kOverhead >= ring->size - ring->used) {
      DropOldest(ring);
   }
   const auto recordLength = static_cast<RecordLength>(sizeof header + length);
   const size_t recordSize = kOverhead + length;
   const uint64_t place = PlaceOf(ring, ring->writePosition);
   if (place + recordSize > ring->size) {
      CopyIn(ring, &recordLength, sizeof recordLength);
      CopyIn(ring, &header, sizeof header);
      CopyIn(ring, text, length);
      return;
   }
   char *const record = ring->base + place; // in one piece, as nearly all are
   std::memcpy(record, &recordLength, sizeof recordLength);
   std::memcpy(record + sizeof recordLength, &header, sizeof header);
   std::memcpy(record + kOverhead, text, length);
   ring->writePosition += recordSize;
   ring->used += recordSize;
}

bool LogRing_Pop(LogRing *ring, size_t limit, LogLineHeader *outHeader, size_t *outLength, char *outText) {
   if (ring->used == 0) {
      return false;
   }
   RecordLength recordLength = 0;
   CopyOut(ring, &recordLength, sizeof recordLength);
   if (outHeader != nullptr) {
      CopyOut(ring, outHeader, sizeof *outHeader);
   } else {
      Skip(ring, sizeof(LogLineHeader));
   }
   const size_t length = recordLength - sizeof(LogLineHeader);
   const size_t copied = std::min(length, limit);
   CopyOut(ring, outText, copied);
   Skip(ring, length - copied);
   if (length < limit) {
      outText[length] = '\0';
      *outLength = length;
   } else {
      *outLength = Log_TruncateUtf8Line(limit, outText);
   }
   return true;
}
