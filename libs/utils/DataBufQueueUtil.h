#pragma once

#include "lib/mfw/common/coresync.h"
#include "lib/mfw/common/linuxSupport.h"
#include "libs/utils/DataBuffer.h"
#include "libs/utils/RingIndices.h"
#include "libs/utils/SideCheck.h"
#include "libs/utils/SlotIndex.h"
#include "libs/utils/ThreadStopwatch.h"
#include "libs/utils/UseGate.h"

#include <atomic>
#include <cstdint>
#include <memory>

/// Fixed ring of byte buffers between one producer and one consumer, each with a small side buffer.
///
/// A full ring refuses; it never blocks the producer and never overwrites. Slots are allocated once, by Init, so that
/// the steady state allocates nothing. Sizes are bytes.
/// Owner: the recorder. Threads: producer calls on one thread at a time, consumer calls on one thread at a time, Stop
/// and the questions on any; Init, InitSlots and Uninit while neither side is inside, except that Uninit may come while
/// the consumer is blocked in WaitRead or on its way in: WaitRead then gives nothing, and Uninit returns once it is
/// out. Debug and sanitizer builds assert one thread at a time for each side.
/// Locks: mInnerLock guards the indices and the data index; a slot needs none, it belongs to the side that the indices
/// say. mOuterLock is for callers whose operations must hold still against each other, and comes before the inner one.
/// Life cycle:
///
/// | State         | Producer calls                 | Consumer calls        | Stop          | IsActive |
/// |---------------|--------------------------------|-----------------------|---------------|----------|
/// | uninitialised | nothing, false                 | nothing, false        | nothing       | false    |
/// | active        | a free slot, or full           | a used slot, or empty | -> stopped    | true     |
/// | stopped       | as active, without the event   | as active; WaitRead gives nothing | stopped | false |
///
/// Init or InitSlots leads to active from every state, Uninit to uninitialised. Required: a queue that was once stopped
/// stays in no-wait mode for good: Write does not signal, and WaitRead asks again and again instead of sleeping.
class DataBufQueue {
public:
   /// The slots at one moment, in number, and the indices of the next to read and to write.
   struct State {
      int32_t count = 0;
      int32_t used = 0;
      int32_t free = 0;
      int32_t readIndex = 0;
      int32_t writeIndex = 0;
   };
   /// What has gone through the queue.
   struct Stats {
      uint64_t readTotal = 0;   ///< reads through WaitRead, with keepTimes
      uint64_t baseTotal = 0;   ///< the read total at the first read after the last GetStats; 1 at first
      uint64_t lastLatency = 0; ///< milliseconds from Write to WaitRead
      int32_t pending = 0;      ///< used slots - 1
   };

   /// More slots than this are refused as out of memory.
   static constexpr int32_t kMostSlots = 1 << 20;

   DataBufQueue() = default;
   DataBufQueue(const DataBufQueue &) = delete;
   DataBufQueue &operator=(const DataBufQueue &) = delete;
   virtual ~DataBufQueue() noexcept;

   // ---- Set-up

   /// `count` slots of `bufferSize` bytes. `keepTimes`: measure from Write to WaitRead. False, and uninitialised, when
   /// count is not above reserveCount or not positive, or without memory or event; a queue in use is torn down in any
   /// case.
   [[nodiscard]] bool Init(int32_t count, int32_t bufferSize, int32_t reserveCount, bool keepTimes);
   /// The same with slots that have no memory yet.
   [[nodiscard]] bool InitSlots(int32_t count, int32_t reserveCount, bool keepTimes);
   [[nodiscard]] bool InitSlotsLocked(int32_t count, int32_t reserveCount, bool keepTimes); ///< under the outer lock
   void Uninit();
   /// Wakes a blocked WaitRead, which gives nothing, now and later.
   void Stop();

   // ---- Questions, any thread

   [[nodiscard]] bool IsActive() const { return mIsInit.load() && !mStop.load(); }
   [[nodiscard]] bool IsEmpty() const; ///< true when not initialised
   [[nodiscard]] bool IsFull() const;  ///< true when not initialised
   [[nodiscard]] bool HasData() const { return mIsInit.load() && !IsEmpty(); }
   [[nodiscard]] int32_t GetFreeCount() const;
   [[nodiscard]] int32_t GetUsedCount() const;
   [[nodiscard]] int32_t GetUsedCountLocked() const; ///< under the outer lock
   /// Whether no more slots are free than were reserved; false when not initialised.
   [[nodiscard]] bool IsAtReserve() const;
   /// False, and all 0, when not initialised or stopped.
   bool GetState(State *out) const;
   /// Also arms the base total. False, and all 0, when not initialised.
   bool GetStats(Stats *out);
   /// Whether the consumer is asleep in WaitRead.
   [[nodiscard]] bool IsWaiting() const { return mWaiting.load(); }
   /// Slots that the consumer has given back since the set-up.
   [[nodiscard]] uint64_t GetConsumedTotal() const { return mConsumedTotal.load(std::memory_order_relaxed); }

   void LockOuter() MAVR_ACQUIRE(mOuterLock) { mOuterLock.Lock(); }
   void UnlockOuter() MAVR_RELEASE(mOuterLock) { mOuterLock.Unlock(); }

   // ---- Producer, in place: get the slot, fill it, give it its side, commit

   /// Slot to fill next, or null when the ring is full or not initialised (both logged at ERROR). It stays the
   /// producer's until CommitWrite; the same one comes again before that. Its capacity is at least the bufferSize of
   /// Init.
   [[nodiscard]] DataBuffer *GetNextWriteBuf();
   [[nodiscard]] uint8_t *GetNextWriteData(); ///< the address of that slot's data
   /// What travels beside the slot that is filled next: a copy. A size of 0 leaves what was there. False: full, not
   /// initialised, out of memory, bad arguments.
   bool SetWriteSide(const void *data, int32_t size);
   /// The slot is the consumer's now. Required: wakes nobody; a producer on this path has an event of its own. False
   /// when full or not initialised.
   bool CommitWrite();

   // ---- Producer, by copy; wakes the consumer. `side` as in SetWriteSide

   /// Copies the data into the next slot. False: not initialised, the slot still has unread data or the ring is full
   /// (both with a TRACE line), out of memory, bad arguments.
   bool Write(const void *data, int32_t size, const void *side = nullptr, int32_t sideSize = 0);
   bool WriteLocked(const void *data, int32_t size, const void *side = nullptr, int32_t sideSize = 0);
   /// The slot points at the caller's memory, which stays until the slot has been consumed. No line.
   bool WriteNoCopy(void *data, int32_t size, const void *side = nullptr, int32_t sideSize = 0);
   /// As Write, without the line. The address of the copy, or null.
   uint8_t *WriteAndGetData(const void *data, int32_t size, const void *side = nullptr, int32_t sideSize = 0);

   // ---- Consumer

   /// The oldest used slot, or null when there is none. It stays the consumer's until CommitRead.
   [[nodiscard]] DataBuffer *GetNextReadBuf();
   [[nodiscard]] DataBuffer *GetNextReadBufLocked(); ///< under the outer lock
   /// The side buffer of the slot at the read index. Required: of an empty queue too. Null when not initialised.
   [[nodiscard]] DataBuffer *GetReadSide();
   /// Gives the slot back, empty; its side keeps its content until it is set again. False when there is none.
   bool CommitRead();
   bool CommitReadLocked(); ///< under the outer lock
   /// Gives `n` slots back. False, and nothing done, when fewer are used; true for n below 1.
   bool SkipRead(int32_t n);
   /// Waits until a slot is used, without limit, and gives it; null when the queue is stopped or taken down.
   [[nodiscard]] DataBuffer *WaitRead();
   /// The same, and copies the slot's bytes into `target`, which has the capacity for them. Does not give it back.
   [[nodiscard]] bool WaitReadCopy(DataBuffer &target);
   /// Empties all slots but the one at the read index. Required: exactly that one is queued then, even if none was.
   /// While the producer is between its calls: the slot that it would fill next changes.
   void KeepCurrentOnly();
   /// Empties the slot that one of the calls by copy has filled at this address, out of turn; the slot keeps its place
   /// in the ring. Once for each write. False for an address that is not known. Required: false for slot 0, always.
   bool ReleaseByData(const void *data);

private:
   static constexpr int32_t kNoSlot = -1;

   bool Allocate(int32_t count);
   [[nodiscard]] int32_t SlotToFill() const; ///< kNoSlot when full or not initialised
   /// Index of the slot that a call by copy may fill, in `*slot`; false when it holds unread data or the ring is full.
   bool CanWrite(int32_t *slot) const;
   bool FinishWrite(int32_t slot, const void *side, int32_t sideSize);
   bool PutSide(int32_t slot, const void *side, int32_t sideSize);
   void GiveBackOne() MAVR_REQUIRES(mInnerLock);
   bool AwaitData();
   void NoteRead(DataBuffer &slot);

   std::atomic<bool> mIsInit{false};
   std::atomic<bool> mStop{false};
   HANDLE mEvent = nullptr; // manual-reset: there may be something to read, or the end
   std::unique_ptr<DataBuffer[]> mBuffers;
   std::unique_ptr<DataBuffer[]> mSideBuffers;
   int32_t mReserveCount = 0;
   int32_t mBufferSize = 0;
   int32_t mFilling = kNoSlot; // the producer's: the slot between GetNextWriteBuf and CommitWrite
   mutable CORE::corecritsec mInnerLock;
   RingIndices mRing MAVR_GUARDED_BY(mInnerLock);
   bool mKeepTimes = false;
   ThreadStopwatch mStopwatch; // started with the queue; not read here
   std::atomic<uint64_t> mReadTotal{0};
   std::atomic<uint64_t> mBaseTotal{1};
   std::atomic<uint64_t> mLastLatency{0};
   std::atomic<bool> mStatsArmed{false};
   std::atomic<bool> mWaiting{false};
   std::atomic<bool> mNoWait{false};
   std::atomic<uint64_t> mConsumedTotal{0};
   mutable CORE::corecritsec mOuterLock;
   SlotIndex mDataIndex MAVR_GUARDED_BY(mInnerLock);
   UseGate mGate; // who is inside WaitRead or Stop
   SideCheck mProducer;
   SideCheck mConsumer;
};

// What every frame takes: short, and where it counts, in line.

inline bool DataBufQueue::IsEmpty() const {
   const CORE::coresync hold(mInnerLock);
   return mRing.IsEmpty();
}

inline bool DataBufQueue::SetWriteSide(const void *data, int32_t size) {
   const SideCheck::Use use(mProducer);
   // The slot that GetNextWriteBuf gave is the producer's: no look at the indices is needed.
   const int32_t slot = mFilling >= 0 ? mFilling : SlotToFill();
   return slot >= 0 && PutSide(slot, data, size);
}

inline int32_t DataBufQueue::SlotToFill() const {
   const CORE::coresync hold(mInnerLock);
   return mRing.IsFull() || mRing.Count() == 0 ? kNoSlot : mRing.WriteAt();
}

inline bool DataBufQueue::PutSide(int32_t slot, const void *side, int32_t sideSize) {
   if (sideSize == 0) {
      return true;
   }
   DataBuffer &buffer = mSideBuffers[static_cast<size_t>(slot)];
   buffer.Reset();
   return buffer.Set(side, sideSize) || buffer.Append(side, sideSize, true);
}

inline bool DataBufQueue::CommitWrite() {
   const SideCheck::Use use(mProducer);
   mFilling = kNoSlot;
   const CORE::coresync hold(mInnerLock);
   // A commit without a slot would put the indices out of order.
   if (mRing.IsFull() || mRing.Count() == 0) {
      return false;
   }
   mRing.AdvanceWrite();
   return true;
}

inline DataBuffer *DataBufQueue::GetNextReadBuf() {
   const SideCheck::Use use(mConsumer);
   const CORE::coresync hold(mInnerLock);
   return mRing.IsEmpty() ? nullptr : &mBuffers[static_cast<size_t>(mRing.ReadAt())];
}

inline bool DataBufQueue::CommitRead() {
   const SideCheck::Use use(mConsumer);
   const CORE::coresync hold(mInnerLock);
   // Giving back what was not taken would put the indices out of order.
   if (mRing.IsEmpty()) {
      return false;
   }
   GiveBackOne();
   return true;
}

inline void DataBufQueue::GiveBackOne() {
   mBuffers[static_cast<size_t>(mRing.ReadAt())].Reset();
   mRing.AdvanceRead();
   // Written under the lock only, so that it needs no atomic addition.
   mConsumedTotal.store(mConsumedTotal.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
}
