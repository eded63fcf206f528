#pragma once

#include <cstddef>
#include <cstdint>

namespace CORE {

/// A place in a caller's table of records of 6 bytes, laid out as a bytecursor is.
///
/// Only whole records count: bytes behind the last one, fewer than 6, are never reached. Nothing is logged. At the end
/// the index stays, so that it never wraps.
/// Owner: the caller, of the cursor and of the table, which outlives it. Threads: the one that holds it. Locks: none.
/// Life cycle: constructed empty -> Init, any number of times.
struct recordcursor {
   static constexpr uint32_t kRecordSize = 6;

   uint8_t *mData = nullptr;
   uint32_t mTotal = 0; ///< bytes in the table
   uint32_t mIndex = 0; ///< of the current record; records, not bytes
   uint32_t mCount = 0; ///< as in a bytecursor; nothing here touches it

   /// Puts the cursor at the first record of a table of `total` bytes. The count stays.
   void Init(uint8_t *data, uint32_t total);

   /// The 6 bytes of the current record; null beyond the end.
   [[nodiscard]] uint8_t *Current() const;
   /// Moves on, and returns what is current then.
   [[nodiscard]] uint8_t *Next();
   /// Moves on; whether there was a record to move over.
   [[nodiscard]] bool Skip();
};
static_assert(offsetof(recordcursor, mTotal) == sizeof(void *) &&
              offsetof(recordcursor, mIndex) == sizeof(void *) + 4 &&
              offsetof(recordcursor, mCount) == sizeof(void *) + 8);

} // namespace CORE
