#pragma once

#include "lib/mfw/common/coresync.h"
#include "libs/utils/DataBuffer.h"

#include <cstdint>
#include <map>
#include <memory>

/// Hands out copies of a caller's data as plain addresses: slots used in turn, the heap when the next slot is busy.
///
/// Whoever receives an address gives it back with one Release and need not know where the memory came from; once only:
/// by the second time it may be another receiver's. A slot's memory is used again and grows to the largest size seen.
/// Owner: the sender. Threads: any, all methods. Locks: mLock, for the whole of each operation. Life cycle: constructed
/// -> Init -> Uninit -> Init ...; Uninit and the destructor take all addresses back without notice.
class MemRefQueue {
public:
   /// More slots than this are refused as out of memory.
   static constexpr int32_t kMostSlots = 1 << 20;

   MemRefQueue() = default;
   MemRefQueue(const MemRefQueue &) = delete;
   MemRefQueue &operator=(const MemRefQueue &) = delete;
   virtual ~MemRefQueue() noexcept;

   /// Makes `count` slots, empty ones. False when initialised already (nothing changes then), when count is not
   /// positive, and without memory.
   [[nodiscard]] bool Init(int32_t count);
   /// The address of a copy of `size` bytes. Null: not initialised, no data, the next slot busy with `slotsOnly`, no
   /// memory ("%s - Failed to allocate memory" at ERROR).
   [[nodiscard]] void *Add(const void *data, int32_t size, bool slotsOnly);
   /// Takes an address back; false when it is not known. Required: true for a slot's address that was given back
   /// already, which changes nothing.
   bool Release(void *address);
   void Uninit();

private:
   static constexpr int32_t kReturned = -1;

   void *AddToSlot(const void *data, int32_t size) MAVR_REQUIRES(mLock);
   void *AddToHeap(const void *data, int32_t size) MAVR_REQUIRES(mLock);
   /// False when out of memory.
   bool Enter(const void *address, int32_t value) MAVR_REQUIRES(mLock);

   bool mIsInit MAVR_GUARDED_BY(mLock) = false;
   int32_t mCount MAVR_GUARDED_BY(mLock) = 0;
   std::unique_ptr<DataBuffer[]> mSlots MAVR_GUARDED_BY(mLock);
   int32_t mNextSlot MAVR_GUARDED_BY(mLock) = -1;
   // By address: the slot's number, mCount for the heap, kReturned.
   std::map<uint64_t, int32_t> mReferences MAVR_GUARDED_BY(mLock);
   CORE::corecritsec mLock;
};
