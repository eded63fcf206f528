#pragma once

#include <cstdint>
#include <memory>

/// Which slot of a ring lies at which address: an ordered map from address to slot number.
///
/// A slot has one address, the one recorded last, and an address one slot; so it never holds more than one entry for
/// each slot, and recording allocates nothing. Owner and lock: the queue's. Life cycle: empty -> Create -> ... -> Drop.
class SlotIndex {
public:
   /// Room for `count` slots, no entries. False when out of memory.
   [[nodiscard]] bool Create(int32_t count);
   void Drop();

   /// The slot now lies at `address`, which may have been another slot's. Null addresses are not recorded.
   void Record(int32_t slot, const void *address);
   /// The slot recorded for the address, or what it was marked with; null when there is none. Good until the next
   /// Record.
   [[nodiscard]] int32_t *Find(const void *address);

private:
   struct Entry {
      uintptr_t address;
      int32_t slot; // what Find gives; a user may overwrite it
      int32_t owner;
   };

   [[nodiscard]] int32_t LowerBound(uintptr_t address) const;
   void Erase(uintptr_t address);
   void Insert(int32_t slot, uintptr_t address);

   std::unique_ptr<Entry[]> mEntries;       // by address
   std::unique_ptr<uintptr_t[]> mAddressOf; // by slot; 0 for none
   int32_t mUsed = 0;
};
