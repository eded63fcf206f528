#include "libs/utils/MemRefQueueUtil.h"

#include "lib/mfw/common/logger.h"

#include <cstdlib>
#include <cstring>
#include <new>

using CORE::coresync;

namespace {

uint64_t KeyOf(const void *address) {
   return reinterpret_cast<uintptr_t>(address);
}

} // namespace

MemRefQueue::~MemRefQueue() noexcept {
   Uninit();
}

bool MemRefQueue::Init(int32_t count) {
   const coresync hold(mLock);
   if (mIsInit || count < 1 || count > kMostSlots) {
      return false;
   }
   mSlots.reset(new (std::nothrow) DataBuffer[static_cast<size_t>(count)]);
   if (mSlots == nullptr) {
      return false;
   }
   mCount = count;
   mNextSlot = 0;
   mIsInit = true;
   return true;
}

void *MemRefQueue::Add(const void *data, int32_t size, bool slotsOnly) {
   const coresync hold(mLock);
   if (!mIsInit || data == nullptr || size < 1) {
      return nullptr;
   }
   void *const address = AddToSlot(data, size);
   if (address != nullptr || slotsOnly) {
      return address;
   }
   return AddToHeap(data, size);
}

void *MemRefQueue::AddToSlot(const void *data, int32_t size) {
   DataBuffer &slot = mSlots[static_cast<size_t>(mNextSlot)];
   if (slot.GetLength() != 0) {
      return nullptr;
   }
   if (size > slot.GetCapacity()) {
      mReferences.erase(KeyOf(slot.GetData())); // that memory is gone in a moment
      if (!slot.Prepare(size)) {
         return nullptr;
      }
   }
   if (!slot.Set(data, size)) {
      return nullptr;
   }
   if (!Enter(slot.GetData(), mNextSlot)) {
      slot.Reset();
      return nullptr;
   }
   mNextSlot = (mNextSlot + 1) % mCount;
   return slot.GetData();
}

void *MemRefQueue::AddToHeap(const void *data, int32_t size) {
   void *const copy = std::malloc(static_cast<size_t>(size));
   if (copy != nullptr) {
      std::memcpy(copy, data, static_cast<size_t>(size));
      if (Enter(copy, mCount)) {
         return copy;
      }
      std::free(copy);
   }
   MAVR_LOG_ERROR("%s - Failed to allocate memory", "Add");
   return nullptr;
}

bool MemRefQueue::Enter(const void *address, int32_t value) {
   try {
      mReferences.insert_or_assign(KeyOf(address), value);
      return true;
   } catch (const std::bad_alloc &) {
      return false;
   }
}

bool MemRefQueue::Release(void *address) {
   const coresync hold(mLock);
   if (address == nullptr || !mIsInit) {
      return false;
   }
   const auto found = mReferences.find(KeyOf(address));
   if (found == mReferences.end()) {
      return false;
   }
   if (found->second == mCount) {
      std::free(address);
      mReferences.erase(found);
   } else if (found->second != kReturned) {
      mSlots[static_cast<size_t>(found->second)].Reset();
      found->second = kReturned;
   }
   return true;
}

void MemRefQueue::Uninit() {
   const coresync hold(mLock);
   if (!mIsInit) {
      return;
   }
   mSlots.reset();
   for (const auto &[address, value] : mReferences) {
      if (value == mCount) {
         // NOLINTNEXTLINE(performance-no-int-to-ptr): a number is shown or kept as a pointer
         std::free(reinterpret_cast<void *>(static_cast<uintptr_t>(address)));
      }
   }
   mReferences.clear();
   mIsInit = false;
}
