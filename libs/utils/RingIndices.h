#pragma once

#include <cstdint>

/// Where a ring of `count` slots is read and written: plain values, no slots.
///
/// Each index runs from 0 to count - 1, and its wrap flag flips each time it starts over; so equal indices tell a full
/// ring (flags differ) from an empty one, and all slots can be used.
/// Owner and lock: the queue's. Life cycle: a value; count 0 has no slots.
class RingIndices {
public:
   RingIndices() = default;
   explicit RingIndices(int32_t count)
       : mCount(count) {}

   [[nodiscard]] int32_t Count() const { return mCount; }
   [[nodiscard]] int32_t ReadAt() const { return mRead.at; }
   [[nodiscard]] int32_t WriteAt() const { return mWrite.at; }
   [[nodiscard]] bool IsEmpty() const { return mRead.at == mWrite.at && mRead.wrap == mWrite.wrap; }
   [[nodiscard]] bool IsFull() const { return mRead.at == mWrite.at && mRead.wrap != mWrite.wrap; }
   [[nodiscard]] int32_t Free() const {
      return mRead.wrap == mWrite.wrap ? mCount - mWrite.at + mRead.at : mRead.at - mWrite.at;
   }
   [[nodiscard]] int32_t Used() const { return mCount - Free(); }
   /// Whether `slot` lies between the indices, that is, is the reader's.
   [[nodiscard]] bool Holds(int32_t slot) const {
      const int32_t distance = slot >= mRead.at ? slot - mRead.at : slot - mRead.at + mCount;
      return distance < Used();
   }

   /// Not on an empty ring.
   void AdvanceRead() { Advance(mRead); }
   /// Not on a full ring.
   void AdvanceWrite() { Advance(mWrite); }
   /// Required: one slot is queued afterwards, the one at the read index, even if the ring was empty.
   void KeepOne() {
      const bool wraps = mRead.at + 1 == mCount;
      mWrite = {wraps ? 0 : mRead.at + 1, wraps ? !mRead.wrap : mRead.wrap};
   }

private:
   struct Index {
      int32_t at = 0;
      bool wrap = false;
   };

   void Advance(Index &index) const {
      if (++index.at == mCount) {
         index = {0, !index.wrap};
      }
   }

   int32_t mCount = 0;
   Index mRead;
   Index mWrite;
};
