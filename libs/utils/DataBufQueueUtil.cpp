#include "libs/utils/DataBufQueueUtil.h"

#include "lib/mfw/common/logger.h"
#include "osal/SchedulePoint.h"

#include <new>
#include <thread>
#include <utility>

using CORE::coresync;

DataBufQueue::~DataBufQueue() noexcept {
   Uninit();
}

// ---- Set-up ---------------------------------------------------------------------------------------------------------

bool DataBufQueue::Init(int32_t count, int32_t bufferSize, int32_t reserveCount, bool keepTimes) {
   if (!InitSlots(count, reserveCount, keepTimes)) {
      return false;
   }
   bool prepared = bufferSize >= 0;
   for (int32_t slot = 0; prepared && slot < count; ++slot) {
      prepared = mBuffers[static_cast<size_t>(slot)].Prepare(bufferSize);
   }
   if (!prepared) {
      Uninit();
      return false;
   }
   mBufferSize = bufferSize;
   return true;
}

bool DataBufQueue::InitSlots(int32_t count, int32_t reserveCount, bool keepTimes) {
   Uninit();
   if (count <= reserveCount || count < 1 || count > kMostSlots || !Allocate(count)) {
      return false;
   }
   mReserveCount = reserveCount;
   mKeepTimes = keepTimes;
   mBufferSize = 0;
   mReadTotal.store(0);
   mLastLatency.store(0);
   mConsumedTotal.store(0);
   mBaseTotal.store(1);
   mStopwatch.Ticks(ThreadStopwatch::Command::RestartRunning);
   // Required: the flags of stop's other half, no-wait, and of waiting and of the statistics stay as they are.
   mIsInit.store(true);
   mStop.store(false);
   mGate.Open();
   return true;
}

bool DataBufQueue::InitSlotsLocked(int32_t count, int32_t reserveCount, bool keepTimes) {
   const coresync hold(mOuterLock);
   return InitSlots(count, reserveCount, keepTimes);
}

// All or nothing.
bool DataBufQueue::Allocate(int32_t count) {
   std::unique_ptr<DataBuffer[]> buffers(new (std::nothrow) DataBuffer[static_cast<size_t>(count)]);
   std::unique_ptr<DataBuffer[]> sideBuffers(new (std::nothrow) DataBuffer[static_cast<size_t>(count)]);
   SlotIndex dataIndex;
   const bool memory = buffers != nullptr && sideBuffers != nullptr && dataIndex.Create(count);
   const HANDLE event = memory ? CreateEvent(nullptr, true, false, nullptr) : nullptr;
   if (event == nullptr) {
      return false;
   }
   const coresync hold(mInnerLock);
   mBuffers = std::move(buffers);
   mSideBuffers = std::move(sideBuffers);
   mDataIndex = std::move(dataIndex);
   mEvent = event;
   mRing = RingIndices(count);
   return true;
}

void DataBufQueue::Uninit() {
   if (!mIsInit.load()) {
      return;
   }
   mStop.store(true);
   osal::schedulePoint();
   SetEvent(mEvent);
   mGate.CloseAndDrain(); // a reader that slept is out before its event and its slots go
   mIsInit.store(false);
   mFilling = kNoSlot;
   const coresync hold(mInnerLock);
   mRing = RingIndices();
   mDataIndex.Drop();
   mBuffers.reset();
   mSideBuffers.reset();
   CloseHandle(mEvent);
   mEvent = nullptr;
}

void DataBufQueue::Stop() {
   const UseGate::Stay stay(mGate);
   if (!stay) {
      return;
   }
   mStop.store(true);
   mNoWait.store(true);
   osal::schedulePoint();
   SetEvent(mEvent);
}

// ---- Questions ------------------------------------------------------------------------------------------------------

bool DataBufQueue::IsFull() const {
   const coresync hold(mInnerLock);
   return mRing.IsFull() || mRing.Count() == 0;
}

int32_t DataBufQueue::GetFreeCount() const {
   const coresync hold(mInnerLock);
   return mRing.Free();
}

int32_t DataBufQueue::GetUsedCount() const {
   const coresync hold(mInnerLock);
   return mRing.Used();
}

int32_t DataBufQueue::GetUsedCountLocked() const {
   const coresync hold(mOuterLock);
   return GetUsedCount();
}

bool DataBufQueue::IsAtReserve() const {
   return mIsInit.load() && GetFreeCount() <= mReserveCount;
}

bool DataBufQueue::GetState(State *out) const {
   *out = State();
   if (!IsActive()) {
      return false;
   }
   const coresync hold(mInnerLock);
   *out = {mRing.Count(), mRing.Used(), mRing.Free(), mRing.ReadAt(), mRing.WriteAt()};
   return true;
}

bool DataBufQueue::GetStats(Stats *out) {
   *out = Stats();
   if (!mIsInit.load()) {
      return false;
   }
   mStatsArmed.store(true, std::memory_order_relaxed);
   *out = {mReadTotal.load(std::memory_order_relaxed), mBaseTotal.load(std::memory_order_relaxed),
           mLastLatency.load(std::memory_order_relaxed), GetUsedCount() - 1};
   return true;
}

// ---- Producer, in place ---------------------------------------------------------------------------------------------

DataBuffer *DataBufQueue::GetNextWriteBuf() {
   const SideCheck::Use use(mProducer);
   if (!mIsInit.load(std::memory_order_acquire)) {
      MAVR_LOG_ERROR("%s - Uninitialized error (mIsInit is false)!", "GetNextWriteBuf");
      return nullptr;
   }
   mFilling = SlotToFill();
   if (mFilling < 0) {
      MAVR_LOG_ERROR("%s - buffer is full!", "GetNextWriteBuf");
      return nullptr;
   }
   DataBuffer *const slot = &mBuffers[static_cast<size_t>(mFilling)];
   // WriteNoCopy has taken the slot's own memory away.
   if (mBufferSize > 0 && (slot->GetData() == nullptr || slot->GetCapacity() < mBufferSize) &&
       !slot->Prepare(mBufferSize)) {
      MAVR_LOG_ERROR("%s - Failed to allocate memory", "GetNextWriteBuf");
      return nullptr;
   }
   return slot;
}

uint8_t *DataBufQueue::GetNextWriteData() {
   const DataBuffer *const slot = GetNextWriteBuf();
   return slot != nullptr ? slot->GetData() : nullptr;
}

// ---- Producer, by copy ----------------------------------------------------------------------------------------------

bool DataBufQueue::CanWrite(int32_t *slot) const {
   const coresync hold(mInnerLock);
   *slot = mRing.WriteAt();
   // A slot that has nothing unread may still be the reader's: one that was written empty, or read in pieces.
   return !mBuffers[static_cast<size_t>(*slot)].HasUnread() && !mRing.IsFull();
}

bool DataBufQueue::Write(const void *data, int32_t size, const void *side, int32_t sideSize) {
   const SideCheck::Use use(mProducer);
   if (!mIsInit.load(std::memory_order_acquire)) {
      return false;
   }
   int32_t slot = kNoSlot;
   if (!CanWrite(&slot)) {
      MAVR_LOG_TRACE("there exist pending data in buffer %d", slot);
      return false;
   }
   DataBuffer &buffer = mBuffers[static_cast<size_t>(slot)];
   return buffer.Prepare(size) && buffer.Set(data, size) && FinishWrite(slot, side, sideSize);
}

bool DataBufQueue::WriteLocked(const void *data, int32_t size, const void *side, int32_t sideSize) {
   const coresync hold(mOuterLock);
   return Write(data, size, side, sideSize);
}

bool DataBufQueue::WriteNoCopy(void *data, int32_t size, const void *side, int32_t sideSize) {
   const SideCheck::Use use(mProducer);
   int32_t slot = kNoSlot;
   return mIsInit.load(std::memory_order_acquire) && CanWrite(&slot) &&
          mBuffers[static_cast<size_t>(slot)].Attach(data, size) && FinishWrite(slot, side, sideSize);
}

uint8_t *DataBufQueue::WriteAndGetData(const void *data, int32_t size, const void *side, int32_t sideSize) {
   const SideCheck::Use use(mProducer);
   int32_t slot = kNoSlot;
   if (!mIsInit.load(std::memory_order_acquire) || !CanWrite(&slot)) {
      return nullptr;
   }
   DataBuffer &buffer = mBuffers[static_cast<size_t>(slot)];
   if (!buffer.Prepare(size) || !buffer.Set(data, size)) {
      return nullptr;
   }
   uint8_t *const copy = buffer.GetData(); // read before the slot is the reader's
   return FinishWrite(slot, side, sideSize) ? copy : nullptr;
}

bool DataBufQueue::FinishWrite(int32_t slot, const void *side, int32_t sideSize) {
   mFilling = kNoSlot;
   DataBuffer &buffer = mBuffers[static_cast<size_t>(slot)];
   if (mKeepTimes) {
      buffer.Stopwatch().Ticks(ThreadStopwatch::Command::RestartRunning);
   }
   if (!PutSide(slot, side, sideSize)) {
      buffer.Reset(); // else it would count as unread, and be in the way of every later write
      return false;
   }
   {
      const coresync hold(mInnerLock);
      mDataIndex.Record(slot, buffer.GetData());
      mRing.AdvanceWrite();
   }
   osal::schedulePoint();
   if (!mNoWait.load()) {
      SetEvent(mEvent);
   }
   return true;
}

// ---- Consumer -------------------------------------------------------------------------------------------------------

DataBuffer *DataBufQueue::GetNextReadBufLocked() {
   const coresync hold(mOuterLock);
   return GetNextReadBuf();
}

DataBuffer *DataBufQueue::GetReadSide() {
   const SideCheck::Use use(mConsumer);
   const coresync hold(mInnerLock);
   return mRing.Count() == 0 ? nullptr : &mSideBuffers[static_cast<size_t>(mRing.ReadAt())];
}

bool DataBufQueue::CommitReadLocked() {
   const coresync hold(mOuterLock);
   return CommitRead();
}

bool DataBufQueue::SkipRead(int32_t n) {
   const SideCheck::Use use(mConsumer);
   const coresync hold(mInnerLock);
   if (mRing.Count() == 0 || n > mRing.Used()) {
      return false;
   }
   for (; n > 0; --n) {
      GiveBackOne();
   }
   return true;
}

DataBuffer *DataBufQueue::WaitRead() {
   const UseGate::Stay stay(mGate);
   if (!stay || mStop.load() || !AwaitData()) {
      return nullptr;
   }
   const SideCheck::Use use(mConsumer);
   DataBuffer *const slot = GetNextReadBuf();
   if (mKeepTimes && slot != nullptr) {
      NoteRead(*slot);
   }
   return slot;
}

// The event is reset before the queue and the stop flag are looked at, and set after either has changed: no wake-up is
// lost.
bool DataBufQueue::AwaitData() {
   for (;;) {
      const bool sleeps = !mNoWait.load();
      if (sleeps) {
         ResetEvent(mEvent);
      }
      osal::schedulePoint();
      if (!IsEmpty()) {
         return true;
      }
      if (mStop.load()) {
         SetEvent(mEvent); // what the reset has taken may have been meant for another reader too
         return false;
      }
      if (sleeps) {
         mWaiting.store(true);
         WaitForSingleObject(mEvent, INFINITE);
         mWaiting.store(false);
      } else {
         std::this_thread::yield();
      }
      if (mStop.load()) {
         return false;
      }
   }
}

void DataBufQueue::NoteRead(DataBuffer &slot) {
   const double milliseconds = slot.Stopwatch().Seconds(ThreadStopwatch::Command::Pause) * 1000;
   mLastLatency.store(static_cast<uint64_t>(milliseconds), std::memory_order_relaxed);
   const uint64_t total = mReadTotal.fetch_add(1, std::memory_order_relaxed) + 1;
   if (mStatsArmed.exchange(false, std::memory_order_relaxed)) {
      mBaseTotal.store(total, std::memory_order_relaxed);
   }
}

bool DataBufQueue::WaitReadCopy(DataBuffer &target) {
   const UseGate::Stay stay(mGate); // the slot stays until it has been copied
   DataBuffer *const slot = stay ? WaitRead() : nullptr;
   return slot != nullptr && target.Adopt(*slot, false);
}

void DataBufQueue::KeepCurrentOnly() {
   const SideCheck::Use use(mConsumer);
   const coresync hold(mInnerLock);
   if (mRing.Count() == 0) {
      return;
   }
   for (int32_t slot = 0; slot < mRing.Count(); ++slot) {
      if (slot != mRing.ReadAt()) {
         mBuffers[static_cast<size_t>(slot)].Reset();
      }
   }
   mRing.KeepOne();
}

bool DataBufQueue::ReleaseByData(const void *data) {
   const SideCheck::Use use(mConsumer);
   const coresync hold(mInnerLock);
   int32_t *const slot = mDataIndex.Find(data);
   // Required: 0 stands for "released", so slot 0 can never be released this way.
   if (slot == nullptr || *slot == 0) {
      return false;
   }
   if (mRing.Holds(*slot)) { // given back already, it is empty, and may be the producer's
      mBuffers[static_cast<size_t>(*slot)].Reset();
   }
   *slot = 0;
   return true;
}
