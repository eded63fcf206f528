#pragma once

#include <cstddef>
#include <cstdint>

namespace CORE {

/// A place in a caller's byte buffer that strings are written to or read from: how far it came, and how many
/// characters that were.
///
/// Every operation that fails logs one line at ERROR and leaves the cursor as it was. A cursor whose mConsumed lies
/// beyond mTotal, or that has no buffer, has nothing left; no sum of its numbers wraps.
/// Owner: the caller, of the cursor and of the buffer, which outlives it. Threads: the one that holds it. Locks: none.
/// Life cycle: constructed empty -> Init, any number of times.
struct bytecursor {
   uint8_t *mData = nullptr;
   uint32_t mTotal = 0;    ///< bytes in the buffer
   uint32_t mConsumed = 0; ///< bytes written or read so far
   uint32_t mCount = 0;    ///< characters written or read so far, in units of their encoding; counts modulo 2^32

   /// Puts the cursor at the start of a buffer of `total` bytes.
   /// Required: the count stays, so that it runs on over several buffers.
   void Init(uint8_t *data, uint32_t total);

   /// Whether `size` bytes of `data` could be written: `data` not null, `size` not 0, room enough.
   [[nodiscard]] bool CheckWrite(const void *data, size_t size) const;
   /// The same checks, then copies and moves on. `data` may overlap the buffer.
   [[nodiscard]] bool Write(const void *data, size_t size);
   /// Write, and adds `chars` to the count.
   [[nodiscard]] bool WriteCounted(const void *data, size_t size, uint32_t chars);

   /// Whether `size` bytes are left to read; 0 bytes are never.
   [[nodiscard]] bool CheckRead(size_t size) const;
   /// The same checks, then moves on by `size` bytes and counts `chars`.
   [[nodiscard]] bool Advance(size_t size, uint32_t chars);
   /// The same checks, then the address of the next `size` bytes, or null. Does not move.
   [[nodiscard]] uint8_t *Peek(size_t size) const;
   /// The same checks, then moves on by `size` bytes.
   [[nodiscard]] bool Skip(size_t size);

   /// The address of the next byte, and the bytes left; null and 0 when nothing is left, which is not logged.
   [[nodiscard]] uint8_t *GetRemaining(uint32_t &outSize) const;
   [[nodiscard]] uint32_t GetConsumed() const { return mConsumed; }

private:
   [[nodiscard]] uint32_t Left() const { return mData == nullptr || mConsumed >= mTotal ? 0 : mTotal - mConsumed; }
   [[nodiscard]] bool HasLeft(size_t size) const { return size <= Left() || ReportShort(size); }
   [[nodiscard]] bool ReportShort(size_t size) const; ///< false
   [[nodiscard]] static bool ReportNoSize();          ///< false
};
static_assert(offsetof(bytecursor, mTotal) == sizeof(void *) && offsetof(bytecursor, mConsumed) == sizeof(void *) + 4 &&
              offsetof(bytecursor, mCount) == sizeof(void *) + 8);

// What reading a short string takes most of its time for, but for the work itself.
inline bool bytecursor::CheckRead(size_t size) const {
   return size != 0 ? HasLeft(size) : ReportNoSize();
}

inline bool bytecursor::Advance(size_t size, uint32_t chars) {
   if (!CheckRead(size)) {
      return false;
   }
   mConsumed += static_cast<uint32_t>(size);
   mCount += chars;
   return true;
}

inline uint8_t *bytecursor::GetRemaining(uint32_t &outSize) const {
   outSize = Left();
   return outSize != 0 ? mData + mConsumed : nullptr;
}

} // namespace CORE
