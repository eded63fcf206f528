#include "libs/utils/SlotIndex.h"

#include <algorithm>
#include <new>

bool SlotIndex::Create(int32_t count) {
   mEntries.reset(new (std::nothrow) Entry[static_cast<size_t>(count)]);
   mAddressOf.reset(new (std::nothrow) uintptr_t[static_cast<size_t>(count)]());
   mUsed = 0;
   return mEntries != nullptr && mAddressOf != nullptr;
}

void SlotIndex::Drop() {
   *this = SlotIndex();
}

int32_t SlotIndex::LowerBound(uintptr_t address) const {
   const Entry *const first = mEntries.get();
   const Entry *const found = std::lower_bound(
      first, first + mUsed, address, [](const Entry &entry, uintptr_t wanted) { return entry.address < wanted; });
   return static_cast<int32_t>(found - first);
}

int32_t *SlotIndex::Find(const void *address) {
   const auto wanted = reinterpret_cast<uintptr_t>(address);
   const int32_t at = LowerBound(wanted);
   return at < mUsed && mEntries.get()[at].address == wanted ? &mEntries.get()[at].slot : nullptr;
}

void SlotIndex::Record(int32_t slot, const void *address) {
   const auto now = reinterpret_cast<uintptr_t>(address);
   uintptr_t &known = mAddressOf.get()[slot];
   if (known != now && known != 0) {
      Erase(known);
   }
   known = now;
   if (now == 0) {
      return;
   }
   const int32_t at = LowerBound(now);
   if (at == mUsed || mEntries.get()[at].address != now) {
      Insert(slot, now);
      return;
   }
   if (Entry &entry = mEntries.get()[at]; entry.owner != slot) {
      mAddressOf.get()[entry.owner] = 0;
      entry.owner = slot;
   }
   mEntries.get()[at].slot = slot;
}

void SlotIndex::Erase(uintptr_t address) {
   Entry *const first = mEntries.get();
   std::copy(first + LowerBound(address) + 1, first + mUsed, first + LowerBound(address));
   --mUsed;
}

void SlotIndex::Insert(int32_t slot, uintptr_t address) {
   Entry *const at = mEntries.get() + LowerBound(address);
   std::copy_backward(at, mEntries.get() + mUsed, mEntries.get() + mUsed + 1);
   *at = {address, slot, slot};
   ++mUsed;
}
