// What the queues do when there is no memory: they refuse, lose nothing that is queued, and work again afterwards.

#include "lib/mfw/common/logger.h"
#include "libs/utils/DataBufQueueUtil.h"
#include "libs/utils/MemRefQueueUtil.h"
#include "libs/utils/SlotIndex.h"
#include "tests/kit/Faults.h"
#include "tests/kit/LogCapture.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

using kit::FailNth;
using kit::Fault;
using kit::Repeat;

std::string Text(const DataBuffer *buffer) {
   return buffer != nullptr ? std::string(buffer->GetData(), buffer->GetEnd()) : "(none)";
}

// ---- One buffer -----------------------------------------------------------------------------------------------------

TEST(DataBufferMemory, WithoutMemoryANewBlockLeavesTheOldOneAsItWas) {
   DataBuffer buffer;
   ASSERT_TRUE(buffer.Create(4, 2));
   ASSERT_TRUE(buffer.Set("abcd", 4));
   {
      const FailNth fault(Fault::Allocation, 1, Repeat::FromThenOn);
      EXPECT_FALSE(buffer.Create(8, 0));
      EXPECT_FALSE(buffer.Resize(8, 0)) << "grows in place";
      EXPECT_FALSE(buffer.Reserve(100));
      EXPECT_FALSE(buffer.EnsureRoom(100)) << "a zeroed block of its own";
      EXPECT_FALSE(buffer.Append("e", 1, true));
   }
   EXPECT_EQ(Text(&buffer), "abcd");
   EXPECT_EQ(buffer.GetCapacity(), 4);
   EXPECT_TRUE(buffer.Append("e", 1, true));
   EXPECT_EQ(Text(&buffer), "abcde");
}

TEST(DataBufferMemory, ACallersMemoryStaysAttachedWhenThereIsNoneForACopy) {
   char bytes[] = "abcd";
   DataBuffer buffer;
   ASSERT_TRUE(buffer.Attach(bytes, 4));
   {
      const FailNth fault(Fault::Allocation, 1);
      EXPECT_FALSE(buffer.Resize(8, 0));
   }
   EXPECT_EQ(static_cast<void *>(buffer.GetData()), bytes);
   EXPECT_EQ(Text(&buffer), "abcd");
}

TEST(DataBufferMemory, PrepareWithoutMemoryLeavesAnEmptyBufferWithoutCapacity) {
   DataBuffer buffer;
   ASSERT_TRUE(buffer.Create(4, 0));
   {
      const FailNth fault(Fault::Allocation, 1);
      EXPECT_FALSE(buffer.Prepare(8));
   }
   EXPECT_EQ(buffer.GetCapacity(), 0);
   EXPECT_EQ(buffer.GetData(), nullptr);
   EXPECT_TRUE(buffer.Prepare(8));
}

// ---- The ring -------------------------------------------------------------------------------------------------------

TEST(DataBufQueueMemory, InitIsAllOrNothingWhicheverAllocationFails) {
   uint64_t failures = 0;
   for (uint64_t nth = 1;; ++nth) {
      DataBufQueue queue;
      FailNth fault(Fault::Allocation, nth);
      const bool done = queue.Init(3, 16, 0, false);
      fault.Disarm();
      if (!fault.Struck()) {
         EXPECT_TRUE(done);
         break;
      }
      ++failures;
      EXPECT_FALSE(done);
      EXPECT_FALSE(queue.IsActive());
      EXPECT_EQ(queue.GetNextReadBuf(), nullptr);
      ASSERT_TRUE(queue.Init(3, 16, 0, false)) << "the next attempt";
      EXPECT_TRUE(queue.Write("a", 1));
   }
   EXPECT_GE(failures, 8U) << "two rings, the index, the event and three slots";
}

TEST(DataBufQueueMemory, ASlotThatHasLostItsMemoryIsNotHandedOutWithoutAny) {
   const kit::LogCapture log;
   DataBufQueue queue;
   ASSERT_TRUE(queue.Init(2, 16, 0, false));
   char lent[4] = "abc";
   ASSERT_TRUE(queue.WriteNoCopy(lent, 3));
   ASSERT_TRUE(queue.CommitRead());
   ASSERT_NE(queue.GetNextWriteBuf(), nullptr); // the other slot
   ASSERT_TRUE(queue.CommitWrite());
   ASSERT_TRUE(queue.CommitRead());
   {
      const FailNth fault(Fault::Allocation, 1);
      EXPECT_EQ(queue.GetNextWriteBuf(), nullptr);
      EXPECT_TRUE(fault.Struck());
   }
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Failed to allocate memory", "GetNextWriteBuf")) << log.Dump();
   const DataBuffer *const slot = queue.GetNextWriteBuf();
   ASSERT_NE(slot, nullptr);
   EXPECT_GE(slot->GetCapacity(), 16);
}

TEST(DataBufQueueMemory, ASlotThatItsProducerHasMadeSmallerComesBackWithItsFullCapacity) {
   DataBufQueue queue;
   ASSERT_TRUE(queue.Init(2, 16, 0, false));
   DataBuffer *const slot = queue.GetNextWriteBuf();
   ASSERT_NE(slot, nullptr);
   ASSERT_TRUE(slot->Resize(4, 0));
   ASSERT_EQ(queue.GetNextWriteBuf(), slot);
   EXPECT_EQ(slot->GetCapacity(), 16);
}

TEST(DataBufQueueMemory, AWriteWithoutMemoryForDataOrSideQueuesNothingAndStandsInNobodysWay) {
   const char side[] = "side";
   const auto write = [&](DataBufQueue &queue) {
      return queue.Write("abcdef", 6, side, 4);
   };
   const auto writeAndGet = [&](DataBufQueue &queue) {
      return queue.WriteAndGetData("abcdef", 6, side, 4) != nullptr;
   };
   const auto check = [](auto attempt) {
      uint64_t failures = 0;
      for (uint64_t nth = 1;; ++nth) {
         DataBufQueue queue;
         EXPECT_TRUE(queue.InitSlots(2, 0, false)); // slots without memory: the first write brings it
         FailNth fault(Fault::Allocation, nth);
         const bool done = attempt(queue);
         fault.Disarm();
         if (!fault.Struck()) {
            EXPECT_TRUE(done);
            return failures;
         }
         ++failures;
         EXPECT_FALSE(done);
         EXPECT_TRUE(queue.IsEmpty());
         EXPECT_TRUE(attempt(queue));
         EXPECT_EQ(Text(queue.GetNextReadBuf()), "abcdef");
         EXPECT_EQ(Text(queue.GetReadSide()), "side");
      }
   };
   EXPECT_EQ(check(write), 2U);
   EXPECT_EQ(check(writeAndGet), 2U);
}

TEST(DataBufQueueMemory, ALentSlotWithoutMemoryForItsSideIsNotQueued) {
   DataBufQueue queue;
   ASSERT_TRUE(queue.InitSlots(2, 0, false));
   char lent[] = "abc";
   {
      const FailNth fault(Fault::Allocation, 1);
      EXPECT_FALSE(queue.WriteNoCopy(lent, 3, "side", 4));
      EXPECT_TRUE(fault.Struck());
   }
   EXPECT_TRUE(queue.IsEmpty());
   EXPECT_TRUE(queue.WriteNoCopy(lent, 3, "side", 4));
   EXPECT_EQ(Text(queue.GetNextReadBuf()), "abc");
}

// ---- Slots by address, and the reference queue ----------------------------------------------------------------------

TEST(SlotIndexMemory, SaysWhichTableHadNoRoom) {
   for (const uint64_t nth : {1U, 2U}) {
      SlotIndex index;
      const FailNth fault(Fault::Allocation, nth);
      EXPECT_FALSE(index.Create(4));
   }
}

TEST(MemRefQueueMemory, InitWithoutMemoryLeavesAQueueThatCanBeMadeLater) {
   MemRefQueue queue;
   {
      const FailNth fault(Fault::Allocation, 1);
      EXPECT_FALSE(queue.Init(2));
   }
   EXPECT_EQ(queue.Add("a", 1, false), nullptr);
   EXPECT_TRUE(queue.Init(2));
}

TEST(MemRefQueueMemory, AnAddressIsGivenOnlyWithBothItsMemoryAndItsEntry) {
   logger::Instance(); // made at the first use
   for (const bool slotsOnly : {true, false}) {
      MemRefQueue queue;
      ASSERT_TRUE(queue.Init(1));
      for (const uint64_t nth : {1U, 2U}) { // the memory, the entry
         const FailNth fault(Fault::Allocation, nth, Repeat::FromThenOn);
         EXPECT_EQ(queue.Add("abc", 4, slotsOnly), nullptr);
         EXPECT_TRUE(fault.Struck());
      }
      void *const address = queue.Add("abc", 4, slotsOnly);
      ASSERT_NE(address, nullptr);
      EXPECT_EQ(std::memcmp(address, "abc", 4), 0);
      EXPECT_TRUE(queue.Release(address));
   }
}

TEST(MemRefQueueMemory, ACopyOnTheHeapThatCanNotBeEnteredIsFreed) {
   MemRefQueue queue;
   ASSERT_TRUE(queue.Init(1));
   void *const slot = queue.Add("slot", 5, true); // the only one is busy now
   ASSERT_NE(slot, nullptr);
   for (const uint64_t nth : {1U, 2U}) { // leak checkers tell of what is not freed
      const FailNth fault(Fault::Allocation, nth);
      EXPECT_EQ(queue.Add("heap", 5, false), nullptr);
      EXPECT_TRUE(fault.Struck());
   }
   EXPECT_NE(queue.Add("heap", 5, false), nullptr);
}

} // namespace
