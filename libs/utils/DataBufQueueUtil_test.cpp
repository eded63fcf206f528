#include "libs/utils/DataBufQueueUtil.h"

#include "lib/mfw/common/logger.h"
#include "libs/utils/SampleMeta.h"
#include "tests/kit/LogCapture.h"
#include "tests/kit/ManualClock.h"

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <string>
#include <string_view>
#include <thread>

namespace {

std::string Text(const DataBuffer *buffer) {
   return buffer != nullptr ? std::string(buffer->GetData(), buffer->GetEnd()) : "(none)";
}

class DataBufQueueTest : public testing::Test {
protected:
   bool Put(std::string_view text) { return mQueue.Write(text.data(), static_cast<int32_t>(text.size())); }
   // In place, with its time.
   bool PutInPlace(std::string_view text, uint32_t timeMS) {
      DataBuffer *const slot = mQueue.GetNextWriteBuf();
      const SampleMeta meta{timeMS, 1};
      return slot != nullptr && slot->Set(text.data(), static_cast<int32_t>(text.size())) &&
             mQueue.SetWriteSide(&meta, sizeof meta) && mQueue.CommitWrite();
   }
   uint32_t ReadTime() {
      SampleMeta meta;
      const DataBuffer *const side = mQueue.GetReadSide();
      EXPECT_EQ(side->GetLength(), static_cast<int32_t>(sizeof meta));
      std::memcpy(&meta, side->GetData(), sizeof meta);
      EXPECT_EQ(meta.mValid, 1U);
      return meta.mTimeMS;
   }
   void AwaitReader() {
      while (!mQueue.IsWaiting()) {
         std::this_thread::yield();
      }
      mClock.AwaitSleepers(1);
   }

   kit::LogCapture mLog;
   kit::ManualClock mClock;
   DataBufQueue mQueue;
};

// ---- Set-up ---------------------------------------------------------------------------------------------------------

TEST_F(DataBufQueueTest, UninitialisedItAnswersFalseZeroOrNothing) {
   const auto check = [this] {
      EXPECT_FALSE(mQueue.IsActive());
      EXPECT_TRUE(mQueue.IsEmpty());
      EXPECT_TRUE(mQueue.IsFull());
      EXPECT_FALSE(mQueue.HasData());
      EXPECT_FALSE(mQueue.IsAtReserve());
      EXPECT_EQ(mQueue.GetFreeCount(), 0);
      EXPECT_EQ(mQueue.GetUsedCount(), 0);
      EXPECT_EQ(mQueue.GetUsedCountLocked(), 0);
      DataBufQueue::State state{1, 2, 3, 4, 5};
      EXPECT_FALSE(mQueue.GetState(&state));
      EXPECT_EQ(state.count + state.used + state.free + state.readIndex + state.writeIndex, 0);
      DataBufQueue::Stats stats{1, 2, 3, 4};
      EXPECT_FALSE(mQueue.GetStats(&stats));
      EXPECT_EQ(stats.readTotal + stats.baseTotal + stats.lastLatency, 0U);
      EXPECT_EQ(stats.pending, 0);
      char byte = 'x';
      EXPECT_EQ(mQueue.GetNextWriteData(), nullptr);
      EXPECT_FALSE(mQueue.SetWriteSide(&byte, 1));
      EXPECT_FALSE(mQueue.CommitWrite());
      EXPECT_FALSE(mQueue.Write(&byte, 1));
      EXPECT_FALSE(mQueue.WriteLocked(&byte, 1));
      EXPECT_FALSE(mQueue.WriteNoCopy(&byte, 1));
      EXPECT_EQ(mQueue.WriteAndGetData(&byte, 1), nullptr);
      EXPECT_EQ(mQueue.GetNextReadBuf(), nullptr);
      EXPECT_EQ(mQueue.GetNextReadBufLocked(), nullptr);
      EXPECT_EQ(mQueue.GetReadSide(), nullptr);
      EXPECT_FALSE(mQueue.CommitRead());
      EXPECT_FALSE(mQueue.CommitReadLocked());
      EXPECT_FALSE(mQueue.SkipRead(1));
      EXPECT_FALSE(mQueue.SkipRead(0));
      EXPECT_EQ(mQueue.WaitRead(), nullptr);
      DataBuffer target;
      EXPECT_FALSE(mQueue.WaitReadCopy(target));
      mQueue.KeepCurrentOnly();
      EXPECT_FALSE(mQueue.ReleaseByData(&byte));
      EXPECT_FALSE(mQueue.ReleaseByData(nullptr));
      EXPECT_EQ(mQueue.GetConsumedTotal(), 0U);
      mQueue.Stop();
      mQueue.Uninit();
   };
   check();
   ASSERT_TRUE(mQueue.Init(2, 4, 1, false));
   mQueue.Uninit();
   check();
   EXPECT_EQ(mLog.Count(logger::ERROR, "%s - Uninitialized error (mIsInit is false)!", "GetNextWriteBuf"), 2)
      << mLog.Dump();
}

TEST_F(DataBufQueueTest, ACountNotAboveTheReserveFailsAndLeavesAQueueInUseTornDown) {
   EXPECT_FALSE(mQueue.Init(1, 4, 1, false));
   ASSERT_TRUE(mQueue.Init(2, 4, 1, false));
   EXPECT_FALSE(mQueue.Init(1, 4, 1, false));
   EXPECT_FALSE(mQueue.IsActive());
   EXPECT_EQ(mQueue.GetFreeCount(), 0);
   ASSERT_TRUE(mQueue.Init(2, 4, 1, false));
   EXPECT_FALSE(mQueue.InitSlotsLocked(1, 1, false));
   EXPECT_FALSE(mQueue.IsActive());
}

TEST_F(DataBufQueueTest, CountsAndSizesThatCannotBeAreRefused) {
   EXPECT_FALSE(mQueue.Init(-1, 4, -5, false));
   EXPECT_FALSE(mQueue.Init(0, 4, -5, false));
   EXPECT_FALSE(mQueue.Init(INT_MAX, 4, 1, false));
   EXPECT_FALSE(mQueue.Init(2, -1, 1, false));
   EXPECT_FALSE(mQueue.IsActive());
   EXPECT_TRUE(mQueue.Init(2, 0, -5, false));
}

TEST_F(DataBufQueueTest, TakesAMillionSlotsAndNoMore) {
   EXPECT_TRUE(mQueue.InitSlots(1'048'576, 1, false));
   EXPECT_EQ(mQueue.GetFreeCount(), 1'048'576);
   EXPECT_FALSE(mQueue.InitSlots(1'048'577, 1, false));
   EXPECT_FALSE(mQueue.IsActive());
}

TEST_F(DataBufQueueTest, ASecondInitStartsAnew) {
   ASSERT_TRUE(mQueue.Init(3, 4, 1, false));
   ASSERT_TRUE(Put("ab"));
   ASSERT_TRUE(mQueue.CommitRead());
   ASSERT_TRUE(Put("cd"));
   ASSERT_TRUE(mQueue.Init(2, 4, 1, false));
   DataBufQueue::State state;
   ASSERT_TRUE(mQueue.GetState(&state));
   EXPECT_EQ(state.count, 2);
   EXPECT_EQ(state.used, 0);
   EXPECT_EQ(state.free, 2);
   EXPECT_EQ(state.readIndex, 0);
   EXPECT_EQ(state.writeIndex, 0);
   EXPECT_EQ(mQueue.GetConsumedTotal(), 0U);
}

TEST_F(DataBufQueueTest, SlotsOfInitHaveMemoryAndThoseOfInitSlotsNone) {
   ASSERT_TRUE(mQueue.Init(2, 100, 1, false));
   EXPECT_EQ(mQueue.GetNextWriteBuf()->GetCapacity(), 100);
   ASSERT_TRUE(mQueue.InitSlots(2, 1, false));
   EXPECT_EQ(mQueue.GetNextWriteBuf()->GetCapacity(), 0);
   EXPECT_EQ(mQueue.GetNextWriteData(), nullptr);
}

// ---- In place -------------------------------------------------------------------------------------------------------

TEST_F(DataBufQueueTest, AQueueOfTenHoldsTenAndRefusesTheEleventh) {
   ASSERT_TRUE(mQueue.Init(10, 4, 1, false));
   for (uint32_t round = 0; round < 3; ++round) { // the wrap flags take both values
      for (uint32_t i = 0; i < 10; ++i) {
         EXPECT_EQ(mQueue.IsAtReserve(), i >= 9);
         ASSERT_TRUE(PutInPlace(std::string(1, static_cast<char>('a' + i)), i));
      }
      EXPECT_TRUE(mQueue.IsFull());
      mLog.Clear();
      EXPECT_EQ(mQueue.GetNextWriteBuf(), nullptr);
      EXPECT_TRUE(mLog.Saw(logger::ERROR, "%s - buffer is full!", "GetNextWriteBuf")) << mLog.Dump();
      EXPECT_EQ(mLog.Lines().size(), 1U);
      const SampleMeta meta;
      EXPECT_FALSE(mQueue.SetWriteSide(&meta, sizeof meta)); // would be the reader's
      EXPECT_FALSE(mQueue.CommitWrite());
      for (uint32_t i = 0; i < 10; ++i) {
         EXPECT_EQ(Text(mQueue.GetNextReadBuf()), std::string(1, static_cast<char>('a' + i)));
         EXPECT_EQ(ReadTime(), i);
         EXPECT_TRUE(mQueue.CommitRead());
      }
      EXPECT_TRUE(mQueue.IsEmpty());
      EXPECT_FALSE(mQueue.CommitRead());
      EXPECT_EQ(mQueue.GetConsumedTotal(), 10U * (round + 1));
   }
}

TEST_F(DataBufQueueTest, ASlotThatIsNotCommittedComesAgain) {
   ASSERT_TRUE(mQueue.Init(2, 4, 1, false));
   DataBuffer *const slot = mQueue.GetNextWriteBuf();
   slot->SetLength(4);
   EXPECT_TRUE(mQueue.IsEmpty());
   EXPECT_EQ(mQueue.GetNextWriteBuf(), slot);
   EXPECT_EQ(mQueue.GetNextWriteData(), slot->GetData());
}

TEST_F(DataBufQueueTest, TheSideKeepsItsContentUntilItIsSetAgain) {
   ASSERT_TRUE(mQueue.Init(1, 4, 0, false));
   ASSERT_TRUE(PutInPlace("a", 7));
   ASSERT_TRUE(mQueue.CommitRead());
   EXPECT_EQ(ReadTime(), 7U); // required: it does not look whether the queue is empty
   ASSERT_TRUE(Put("b"));     // without a side
   EXPECT_EQ(ReadTime(), 7U);
   ASSERT_TRUE(mQueue.CommitRead());
   EXPECT_TRUE(mQueue.SetWriteSide(nullptr, 0));
   EXPECT_EQ(ReadTime(), 7U);
   EXPECT_FALSE(mQueue.SetWriteSide(nullptr, 4));
   EXPECT_FALSE(mQueue.SetWriteSide("abc", -1));
}

TEST_F(DataBufQueueTest, ASlotWhoseMemoryACallerTookAwayHasTheSizeOfInitAgain) {
   uint8_t mine[] = {'x', 'y'};
   ASSERT_TRUE(mQueue.Init(1, 4, 0, false));
   ASSERT_TRUE(mQueue.WriteNoCopy(mine, 2));
   ASSERT_TRUE(mQueue.CommitRead());
   DataBuffer *const slot = mQueue.GetNextWriteBuf();
   ASSERT_NE(slot, nullptr);
   EXPECT_NE(slot->GetData(), nullptr);
   EXPECT_NE(slot->GetData(), mine);
   EXPECT_GE(slot->GetCapacity(), 4);
}

// ---- By copy --------------------------------------------------------------------------------------------------------

TEST_F(DataBufQueueTest, WriteCopiesDataAndSide) {
   ASSERT_TRUE(mQueue.InitSlots(2, 1, false));
   EXPECT_TRUE(mQueue.Write("data", 4, "side", 4));
   EXPECT_TRUE(mQueue.WriteLocked("more", 4, "s", 1));
   EXPECT_EQ(Text(mQueue.GetNextReadBuf()), "data");
   EXPECT_EQ(Text(mQueue.GetReadSide()), "side");
   EXPECT_TRUE(mQueue.CommitReadLocked());
   EXPECT_EQ(Text(mQueue.GetNextReadBufLocked()), "more");
   EXPECT_EQ(Text(mQueue.GetReadSide()), "s");
}

TEST_F(DataBufQueueTest, WriteIntoASlotWithUnreadDataSaysWhichAndTheOtherFormsAreSilent) {
   uint8_t byte = 'x';
   ASSERT_TRUE(mQueue.Init(2, 4, 1, false));
   ASSERT_TRUE(Put("a"));
   ASSERT_TRUE(Put("b"));
   ASSERT_TRUE(mQueue.CommitRead());
   ASSERT_TRUE(Put("c"));
   EXPECT_FALSE(Put("d"));
   EXPECT_TRUE(mLog.Saw(logger::TRACE, "there exist pending data in buffer %d", 1)) << mLog.Dump();
   EXPECT_FALSE(mQueue.WriteNoCopy(&byte, 1));
   EXPECT_EQ(mQueue.WriteAndGetData(&byte, 1), nullptr);
   EXPECT_EQ(mLog.Lines().size(), 1U) << mLog.Dump();
   EXPECT_EQ(Text(mQueue.GetNextReadBuf()), "b");
}

TEST_F(DataBufQueueTest, UnreadDataOfAnUncommittedSlotIsInTheWayOfWriteToo) {
   ASSERT_TRUE(mQueue.Init(2, 4, 1, false));
   mQueue.GetNextWriteBuf()->SetLength(1);
   EXPECT_FALSE(Put("a"));
   EXPECT_TRUE(mLog.Saw(logger::TRACE, "there exist pending data in buffer %d", 0)) << mLog.Dump();
}

TEST_F(DataBufQueueTest, AFullRingIsNotOverwrittenEvenWhereNothingIsUnread) {
   ASSERT_TRUE(mQueue.Init(2, 4, 1, false));
   EXPECT_TRUE(mQueue.Write(nullptr, 0)); // written empty
   EXPECT_TRUE(Put("b"));
   EXPECT_FALSE(Put("c"));
   EXPECT_EQ(mQueue.GetUsedCount(), 2);
   ASSERT_TRUE(mQueue.CommitRead());
   ASSERT_TRUE(Put("c"));
   ASSERT_NE(mQueue.GetNextReadBuf()->Consume(1), nullptr); // read, but not given back
   EXPECT_FALSE(Put("d"));
   EXPECT_EQ(mQueue.GetUsedCount(), 2);
   EXPECT_EQ(Text(mQueue.GetNextReadBuf()), "b");
}

TEST_F(DataBufQueueTest, WriteThatCannotCopyLeavesTheSlotFree) {
   ASSERT_TRUE(mQueue.Init(2, 4, 1, false));
   EXPECT_FALSE(mQueue.Write(nullptr, 4));
   EXPECT_FALSE(mQueue.Write("a", -1));
   EXPECT_FALSE(mQueue.Write("a", 1, nullptr, 4)); // no such side
   EXPECT_FALSE(mQueue.Write("a", 1, "side", -4));
   EXPECT_EQ(mQueue.WriteAndGetData("a", 1, nullptr, 4), nullptr);
   EXPECT_FALSE(mQueue.WriteNoCopy(nullptr, 4));
   EXPECT_TRUE(mQueue.IsEmpty());
   EXPECT_TRUE(Put("longer than the slots of Init"));
   EXPECT_EQ(Text(mQueue.GetNextReadBuf()), "longer than the slots of Init");
}

TEST_F(DataBufQueueTest, WriteNoCopyPointsAtTheCallersMemory) {
   uint8_t mine[] = {'x', 'y'};
   ASSERT_TRUE(mQueue.Init(1, 4, 0, false));
   ASSERT_TRUE(mQueue.WriteNoCopy(mine, 2, "s", 1));
   EXPECT_EQ(mQueue.GetNextReadBuf()->GetData(), mine);
   EXPECT_EQ(Text(mQueue.GetNextReadBuf()), "xy");
   EXPECT_EQ(Text(mQueue.GetReadSide()), "s");
   ASSERT_TRUE(mQueue.CommitRead());
   ASSERT_TRUE(Put("ab")); // into memory of its own again
   EXPECT_EQ(mine[0], 'x');
   EXPECT_EQ(Text(mQueue.GetNextReadBuf()), "ab");
}

TEST_F(DataBufQueueTest, WriteAndGetDataGivesTheAddressOfTheCopy) {
   ASSERT_TRUE(mQueue.InitSlots(2, 1, false));
   const uint8_t *const copy = mQueue.WriteAndGetData("ab", 2, "s", 1);
   ASSERT_NE(copy, nullptr);
   EXPECT_EQ(mQueue.GetNextReadBuf()->GetData(), copy);
   EXPECT_EQ(mQueue.WriteAndGetData("", 0), nullptr); // queued, with no data to point at
   EXPECT_EQ(mQueue.GetUsedCount(), 2);
}

TEST_F(DataBufQueueTest, WriteAndGetDataOfNoDataQueuesNothing) {
   ASSERT_TRUE(mQueue.InitSlots(2, 1, false));
   EXPECT_EQ(mQueue.WriteAndGetData(nullptr, 2), nullptr);
   EXPECT_TRUE(mQueue.IsEmpty());
}

TEST_F(DataBufQueueTest, RequiredReleaseByDataEmptiesASlotButNeverSlotZero) {
   ASSERT_TRUE(mQueue.Init(3, 4, 1, false));
   const uint8_t *const first = mQueue.WriteAndGetData("a", 1);
   const uint8_t *const second = mQueue.WriteAndGetData("b", 1);
   EXPECT_FALSE(mQueue.ReleaseByData(first));
   EXPECT_EQ(Text(mQueue.GetNextReadBuf()), "a");
   EXPECT_TRUE(mQueue.ReleaseByData(second));
   EXPECT_FALSE(mQueue.ReleaseByData(second)); // once
   EXPECT_FALSE(mQueue.ReleaseByData(second + 1));
   EXPECT_EQ(mQueue.GetUsedCount(), 2);
   ASSERT_TRUE(mQueue.CommitRead());
   EXPECT_EQ(Text(mQueue.GetNextReadBuf()), ""); // keeps its place
}

TEST_F(DataBufQueueTest, ReleaseByDataLeavesASlotAloneThatTheProducerFills) {
   ASSERT_TRUE(mQueue.Init(2, 4, 1, false));
   ASSERT_TRUE(Put("a"));
   const uint8_t *const second = mQueue.WriteAndGetData("b", 1);
   ASSERT_TRUE(mQueue.SkipRead(2));
   ASSERT_TRUE(Put("c"));
   DataBuffer *const filling = mQueue.GetNextWriteBuf();
   ASSERT_EQ(filling->GetData(), second);
   filling->SetLength(3);
   EXPECT_TRUE(mQueue.ReleaseByData(second));
   EXPECT_EQ(filling->GetLength(), 3);
}

TEST_F(DataBufQueueTest, TheDataIndexKnowsOnlyTheAddressThatASlotHasNow) {
   uint8_t mine[1000];
   ASSERT_TRUE(mQueue.InitSlots(2, 1, false));
   for (uint8_t &byte : mine) {
      ASSERT_TRUE(mQueue.WriteNoCopy(&byte, 1));
      ASSERT_TRUE(mQueue.CommitRead());
   }
   EXPECT_TRUE(mQueue.ReleaseByData(&mine[999]));
   EXPECT_FALSE(mQueue.ReleaseByData(&mine[997])); // the same slot, long ago
}

// ---- Reading --------------------------------------------------------------------------------------------------------

TEST_F(DataBufQueueTest, SkipReadGivesBackAllOrNothing) {
   ASSERT_TRUE(mQueue.Init(3, 4, 1, false));
   ASSERT_TRUE(Put("a"));
   ASSERT_TRUE(Put("b"));
   EXPECT_FALSE(mQueue.SkipRead(3));
   EXPECT_FALSE(mQueue.SkipRead(INT_MAX));
   EXPECT_TRUE(mQueue.SkipRead(0));
   EXPECT_TRUE(mQueue.SkipRead(INT_MIN));
   EXPECT_EQ(mQueue.GetConsumedTotal(), 0U);
   EXPECT_TRUE(mQueue.SkipRead(2));
   EXPECT_TRUE(mQueue.IsEmpty());
   EXPECT_EQ(mQueue.GetConsumedTotal(), 2U);
}

TEST_F(DataBufQueueTest, RequiredKeepCurrentOnlyLeavesExactlyOneSlotEvenOnAnEmptyQueue) {
   for (int32_t before = 0; before <= 3; ++before) {
      ASSERT_TRUE(mQueue.Init(3, 4, 1, false));
      for (int32_t i = 0; i < before; ++i) {
         ASSERT_TRUE(Put(std::string(1, static_cast<char>('a' + i))));
      }
      mQueue.KeepCurrentOnly();
      EXPECT_EQ(mQueue.GetUsedCount(), 1);
      EXPECT_EQ(Text(mQueue.GetNextReadBuf()), before > 0 ? "a" : "");
      EXPECT_TRUE(Put("x")); // the others are empty
      EXPECT_TRUE(Put("y"));
      EXPECT_TRUE(mQueue.IsFull());
   }
}

TEST_F(DataBufQueueTest, StatisticsCountReadsThroughWaitReadAndTheirLatency) {
   ASSERT_TRUE(mQueue.Init(4, 4, 1, true));
   DataBufQueue::Stats stats;
   ASSERT_TRUE(mQueue.GetStats(&stats));
   EXPECT_EQ(stats.readTotal, 0U);
   EXPECT_EQ(stats.baseTotal, 1U);
   EXPECT_EQ(stats.pending, -1);
   ASSERT_TRUE(Put("a"));
   mClock.AdvanceNs(12'999'999);
   ASSERT_NE(mQueue.WaitRead(), nullptr);
   ASSERT_TRUE(mQueue.GetStats(&stats));
   EXPECT_EQ(stats.readTotal, 1U);
   EXPECT_EQ(stats.baseTotal, 1U);
   EXPECT_EQ(stats.lastLatency, 12U); // the fraction is dropped
   EXPECT_EQ(stats.pending, 0);       // one used slot
   mClock.AdvanceMs(50);
   ASSERT_NE(mQueue.WaitRead(), nullptr); // the same slot; its stopwatch stands
   ASSERT_TRUE(mQueue.GetStats(&stats));
   EXPECT_EQ(stats.lastLatency, 12U);
   EXPECT_EQ(stats.readTotal, 2U);
   EXPECT_EQ(stats.baseTotal, 2U); // armed by the call before
   ASSERT_NE(mQueue.GetNextReadBuf(), nullptr);
   ASSERT_NE(mQueue.WaitRead(), nullptr);
   ASSERT_NE(mQueue.WaitRead(), nullptr);
   ASSERT_TRUE(mQueue.GetStats(&stats));
   EXPECT_EQ(stats.readTotal, 4U);
   EXPECT_EQ(stats.baseTotal, 3U); // the first read after arming
}

TEST_F(DataBufQueueTest, WithoutKeepTimesNothingIsCounted) {
   ASSERT_TRUE(mQueue.Init(4, 4, 1, false));
   ASSERT_TRUE(Put("a"));
   mClock.AdvanceMs(5);
   ASSERT_NE(mQueue.WaitRead(), nullptr);
   DataBufQueue::Stats stats;
   ASSERT_TRUE(mQueue.GetStats(&stats));
   EXPECT_EQ(stats.readTotal, 0U);
   EXPECT_EQ(stats.lastLatency, 0U);
}

// ---- Waiting --------------------------------------------------------------------------------------------------------

TEST_F(DataBufQueueTest, WriteWakesABlockedReaderAndCommitWriteDoesNot) {
   ASSERT_TRUE(mQueue.Init(4, 4, 1, false));
   std::atomic<bool> out{false};
   std::string text;
   std::thread reader([&] {
      text = Text(mQueue.WaitRead());
      out = true;
   });
   AwaitReader();
   ASSERT_TRUE(PutInPlace("a", 1));
   mClock.AdvanceMs(100000);
   EXPECT_FALSE(out);
   EXPECT_TRUE(mQueue.IsWaiting());
   ASSERT_TRUE(Put("b"));
   reader.join();
   EXPECT_EQ(text, "a"); // the oldest; it has been there all the time
   EXPECT_FALSE(mQueue.IsWaiting());
}

TEST_F(DataBufQueueTest, WaitReadDoesNotGiveTheSlotBack) {
   ASSERT_TRUE(mQueue.Init(4, 4, 1, false));
   ASSERT_TRUE(Put("a"));
   EXPECT_EQ(mQueue.WaitRead(), mQueue.WaitRead());
   EXPECT_EQ(mQueue.GetUsedCount(), 1);
}

TEST_F(DataBufQueueTest, WaitReadCopyNeedsRoomInItsTarget) {
   ASSERT_TRUE(mQueue.Init(4, 4, 1, false));
   ASSERT_TRUE(Put("abc"));
   DataBuffer target;
   EXPECT_FALSE(mQueue.WaitReadCopy(target));
   ASSERT_TRUE(target.Create(3, 0));
   EXPECT_TRUE(mQueue.WaitReadCopy(target));
   EXPECT_EQ(Text(&target), "abc");
   EXPECT_EQ(mQueue.GetUsedCount(), 1);
}

TEST_F(DataBufQueueTest, StopWakesABlockedReaderWhichReturnsNothing) {
   ASSERT_TRUE(mQueue.Init(4, 4, 1, false));
   DataBuffer *slot = mQueue.GetNextWriteBuf();
   std::thread reader([&] { slot = mQueue.WaitRead(); });
   AwaitReader();
   mQueue.Stop();
   reader.join();
   EXPECT_EQ(slot, nullptr);
   EXPECT_FALSE(mQueue.IsActive());
   ASSERT_TRUE(Put("a")); // the other calls go on
   EXPECT_EQ(mQueue.WaitRead(), nullptr);
   EXPECT_EQ(Text(mQueue.GetNextReadBuf()), "a");
}

TEST_F(DataBufQueueTest, RequiredAQueueThatWasOnceStoppedStaysInNoWaitModeAfterInit) {
   ASSERT_TRUE(mQueue.Init(4, 4, 1, false));
   mQueue.Stop();
   ASSERT_TRUE(mQueue.Init(4, 4, 1, false) && mQueue.IsActive());
   std::string text;
   std::atomic<bool> isReading = false;
   std::thread reader([&] {
      isReading = true;
      text = Text(mQueue.WaitRead());
   });
   for (int looks = 0; looks < 1000; looks += isReading ? 1 : 0) {
      std::this_thread::yield(); // it finds nothing, time and again
   }
   ASSERT_TRUE(PutInPlace("a", 1)); // signals nothing, and yet the reader finds it: it does not sleep
   reader.join();
   EXPECT_EQ(text, "a");
   EXPECT_FALSE(mQueue.IsWaiting());
}

TEST_F(DataBufQueueTest, UninitLetsABlockedReaderOutBeforeItTakesTheEventAndTheSlots) {
   for (int round = 0; round < 200; ++round) {
      ASSERT_TRUE(mQueue.Init(4, 4, 1, false));
      DataBuffer *slot = mQueue.GetNextWriteBuf();
      std::thread reader([&] { slot = mQueue.WaitRead(); });
      if (round % 2 == 0) {
         AwaitReader();
      } // else it may be anywhere on its way in
      mQueue.Uninit();
      reader.join();
      EXPECT_EQ(slot, nullptr);
   }
}

TEST_F(DataBufQueueTest, EveryBlockedReaderIsLetOut) {
   for (const bool stop : {true, false}) {
      DataBufQueue queue;
      ASSERT_TRUE(queue.Init(4, 4, 1, false));
      std::thread first([&] { EXPECT_EQ(queue.WaitRead(), nullptr); });
      std::thread second([&] { EXPECT_EQ(queue.WaitRead(), nullptr); });
      mClock.AwaitSleepers(2);
      if (stop) {
         queue.Stop();
      } else {
         queue.Uninit();
      }
      first.join();
      second.join();
   }
}

TEST_F(DataBufQueueTest, TheOuterLockHoldsOtherThreadsOffAndItsHolderMayRetakeIt) {
   ASSERT_TRUE(mQueue.Init(4, 4, 1, false));
   mQueue.LockOuter();
   EXPECT_TRUE(mQueue.WriteLocked("a", 1));
   std::atomic<bool> written{false};
   std::thread other([&] {
      EXPECT_TRUE(mQueue.WriteLocked("b", 1));
      written = true;
   });
   EXPECT_EQ(mQueue.GetUsedCountLocked(), 1);
   EXPECT_FALSE(written);
   mQueue.UnlockOuter();
   other.join();
   EXPECT_EQ(mQueue.GetUsedCountLocked(), 2);
}

// ---- States ---------------------------------------------------------------------------------------------------------

TEST_F(DataBufQueueTest, EveryCallInEveryStateDoesWhatTheTableSays) {
   enum class Fill { Empty, Some, Full };
   for (const bool stopped : {false, true}) {
      for (const Fill fill : {Fill::Empty, Fill::Some, Fill::Full}) {
         const bool empty = fill == Fill::Empty;
         const bool full = fill == Fill::Full;
         const int32_t used = empty ? 0 : full ? 2 : 1;
         const auto enter = [&] {
            ASSERT_TRUE(mQueue.Init(2, 4, 1, false));
            for (int32_t i = 0; i < used; ++i) {
               ASSERT_TRUE(Put("a"));
            }
            if (stopped) {
               mQueue.Stop();
            }
         };
         const auto in = [&](auto &&call) {
            enter();
            return call();
         };
         EXPECT_EQ(in([&] { return mQueue.IsActive(); }), !stopped);
         EXPECT_EQ(in([&] { return mQueue.IsEmpty(); }), empty);
         EXPECT_EQ(in([&] { return mQueue.IsFull(); }), full);
         EXPECT_EQ(in([&] { return mQueue.HasData(); }), !empty);
         EXPECT_EQ(in([&] { return mQueue.IsAtReserve(); }), !empty);
         EXPECT_EQ(in([&] { return mQueue.GetUsedCount(); }), used);
         EXPECT_EQ(in([&] { return mQueue.GetFreeCount(); }), 2 - used);
         DataBufQueue::State state;
         EXPECT_EQ(in([&] { return mQueue.GetState(&state); }), !stopped);
         EXPECT_EQ(state.used, stopped ? 0 : used);
         DataBufQueue::Stats stats;
         EXPECT_TRUE(in([&] { return mQueue.GetStats(&stats); }));
         EXPECT_EQ(stats.pending, used - 1);
         EXPECT_EQ(in([&] { return mQueue.GetNextWriteBuf() != nullptr; }), !full);
         EXPECT_EQ(in([&] { return mQueue.SetWriteSide("s", 1); }), !full);
         EXPECT_EQ(in([&] { return mQueue.CommitWrite(); }), !full);
         EXPECT_EQ(in([&] { return Put("b"); }), !full);
         EXPECT_EQ(in([&] { return mQueue.WriteAndGetData("b", 1) != nullptr; }), !full);
         EXPECT_EQ(in([&] { return mQueue.GetNextReadBuf() != nullptr; }), !empty);
         EXPECT_TRUE(in([&] { return mQueue.GetReadSide() != nullptr; }));
         EXPECT_EQ(in([&] { return mQueue.CommitRead(); }), !empty);
         EXPECT_EQ(in([&] { return mQueue.SkipRead(1); }), !empty);
         if (stopped || !empty) { // else it sleeps, which has tests of its own
            EXPECT_EQ(in([&] { return mQueue.WaitRead() != nullptr; }), !stopped);
         }
         EXPECT_EQ(in([&] {
                      mQueue.KeepCurrentOnly();
                      return mQueue.GetUsedCount();
                   }),
                   1);
         EXPECT_FALSE(in([&] {
            mQueue.Stop();
            return mQueue.IsActive();
         }));
         EXPECT_FALSE(in([&] {
            mQueue.Uninit();
            return mQueue.IsActive();
         }));
      }
   }
}

} // namespace
