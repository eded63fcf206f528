#pragma once

#include "libs/utils/ThreadStopwatch.h"

#include <array>
#include <cstdint>
#include <cstring>

/// A byte buffer that owns its memory or points at a caller's, with a length and a read position.
///
/// Sizes are bytes, signed 32 bits. What lies in the memory: capacity, then `reserve` bytes more that are allocated but
/// not counted in it (room for a reader that may overrun). The read offset is not above the length and the length not
/// above the capacity, except where a caller says otherwise by SetLength, Resize or Free; no operation then touches a
/// byte that is not there. Sizes that are negative, or sum up to more than 2^31 - 1, and null data are refused.
/// Owner: whoever keeps it; a slot of a queue belongs to one side at a time. Threads: one at a time. Locks: none.
/// Life cycle: empty -> memory -> Release or Free -> ... -> destroyed, which frees what it owns.
class DataBuffer {
public:
   DataBuffer() = default;
   DataBuffer(const DataBuffer &) = delete;
   DataBuffer &operator=(const DataBuffer &) = delete;
   virtual ~DataBuffer();

   // ---- Memory. False: refused or out of memory, with nothing changed where nothing else is said.

   /// New zeroed memory for `size` bytes and `reserve` more.
   [[nodiscard]] bool Create(int32_t size, int32_t reserve);
   /// The same memory, larger or smaller. Required: the length stays, even above the new capacity.
   [[nodiscard]] bool Resize(int32_t size, int32_t reserve);
   /// Makes it empty, with a capacity of at least `size`: length and read offset become 0 in any case. On false the
   /// buffer has no memory.
   [[nodiscard]] bool Prepare(int32_t size);
   /// Room for `extra` bytes behind the length. Required: memory that has to grow gets a capacity of reserve + length +
   /// extra.
   [[nodiscard]] bool Reserve(int32_t extra);
   /// The same in a new block, zeroed behind the old content.
   [[nodiscard]] bool EnsureRoom(int32_t extra);
   /// Frees what is owned; data, capacity, reserve, length, read offset and ownership become 0.
   void Release();
   /// Frees what is owned. Required: only data, capacity and ownership become 0; reserve, length and read offset stay.
   void Free();

   // ---- Content

   /// A copy of the bytes, when they fit the capacity; the read offset becomes 0.
   [[nodiscard]] bool Set(const void *data, int32_t size);
   /// Two pieces, one after the other.
   [[nodiscard]] bool Set(const void *data1, int32_t size1, const void *data2, int32_t size2);
   /// A copy of the bytes behind the length. `grow`: where there is no room, memory for exactly length + size.
   [[nodiscard]] bool Append(const void *data, int32_t size, bool grow);
   [[nodiscard]] bool Append(const DataBuffer &other, bool grow);
   /// Frees what is owned and points at the caller's memory, all of it valid. It stays the caller's, and must stay
   /// until the buffer points elsewhere. Memory of this buffer's own is refused.
   bool Attach(void *data, int32_t size);
   /// `move`: takes over the other's memory, capacity, reserve, length and ownership, and leaves it empty. Otherwise a
   /// copy of its valid bytes, when they fit the capacity.
   bool Adopt(DataBuffer &other, bool move);
   /// A copy of the other's valid bytes, when they fit the capacity. Required: the capacity, not the length, becomes
   /// their number (the length only where it would be above).
   [[nodiscard]] bool CopyFrom(const DataBuffer &other);
   /// Makes it empty and keeps its memory; a caller's memory is forgotten. Required: length and read offset stay where
   /// capacity or length is 0.
   void Reset();

   // ---- Access

   [[nodiscard]] uint8_t *GetData() const { return mData; }
   [[nodiscard]] uint8_t *GetEnd() const { return mData != nullptr ? mData + mLength : nullptr; } ///< behind the length
   [[nodiscard]] int32_t GetLength() const { return mLength; }
   /// Required: no check.
   void SetLength(int32_t length) { mLength = length; }
   /// Stops at the ends of 32 bits.
   void AddLength(int32_t more);
   /// For a callee that fills the buffer and stores how much; it has to stay within the capacity.
   [[nodiscard]] int32_t *LengthField() { return &mLength; }
   [[nodiscard]] int32_t GetCapacity() const { return mCapacity; }
   [[nodiscard]] int32_t GetFreeSpace() const; ///< capacity - length
   [[nodiscard]] int32_t GetAllocated() const; ///< capacity + reserve

   // ---- Reading in pieces

   [[nodiscard]] bool HasUnread() const { return mReadOffset < mLength; }
   [[nodiscard]] int32_t GetUnread() const; ///< length - read offset
   void Rewind() { mReadOffset = 0; }
   /// The address of the next `n` bytes, which count as read then. Null when n is below 1 or beyond the length.
   [[nodiscard]] uint8_t *Consume(int32_t n);

   /// Time since the buffer was written; kept by the queue.
   [[nodiscard]] ThreadStopwatch &Stopwatch() { return mStopwatch; }
   /// Two numbers of the user's, 0 at first. Required: Reset clears the second one only.
   [[nodiscard]] std::array<uint64_t, 2> &Marks() { return mMarks; }

private:
   enum class Fresh { AsItComes, Zeroed };

   /// Bytes that may be touched.
   [[nodiscard]] int64_t Room() const;
   [[nodiscard]] bool LengthIsReal() const { return mLength >= 0 && mLength <= Room(); }
   [[nodiscard]] bool Contains(const void *data) const;
   /// Memory of its own for capacity + reserve bytes, with the old content.
   bool Reallocate(int64_t capacity, int64_t reserve, Fresh fresh);
   void FreeOwned();
   bool Put(int64_t offset, const void *data, int32_t size); ///< an offset is never negative

   uint8_t *mData = nullptr;
   int32_t mCapacity = 0;
   int32_t mReserve = 0;
   int32_t mLength = 0;
   int32_t mReadOffset = 0;
   bool mOwned = false;
   std::array<uint64_t, 2> mMarks{};
   ThreadStopwatch mStopwatch;
};

// What the queue does for every frame.

inline void DataBuffer::Reset() {
   mMarks[1] = 0;
   if (mCapacity != 0 && mLength != 0) {
      mLength = 0;
      mReadOffset = 0;
   }
   if (!mOwned) {
      mData = nullptr;
   }
}

// The one place that copies in. The bytes may lie in this buffer.
inline bool DataBuffer::Put(int64_t offset, const void *data, int32_t size) {
   if (size < 0 || offset + size > mCapacity) {
      return false;
   }
   if (size == 0) {
      return true;
   }
   if (data == nullptr || mData == nullptr) {
      return false;
   }
   std::memmove(mData + offset, data, static_cast<size_t>(size));
   return true;
}

inline bool DataBuffer::Set(const void *data, int32_t size) {
   if (!Put(0, data, size)) {
      return false;
   }
   mLength = size;
   mReadOffset = 0;
   return true;
}
