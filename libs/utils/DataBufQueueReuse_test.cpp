// What a slot and a queue keep when they are used again, and what they forget.

#include "libs/utils/DataBufQueueUtil.h"
#include "tests/kit/ManualClock.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(DataBufQueueReuse, ASlotThatIsAskedForAgainStillHoldsWhatTheProducerHasPutIn) {
   DataBufQueue queue;
   ASSERT_TRUE(queue.Init(2, 4, 1, false));
   DataBuffer *const slot = queue.GetNextWriteBuf();
   ASSERT_NE(slot, nullptr);
   ASSERT_TRUE(slot->Set("ab", 2));
   ASSERT_EQ(queue.GetNextWriteBuf(), slot);
   EXPECT_EQ(std::string(slot->GetData(), slot->GetEnd()), "ab");
}

TEST(DataBufQueueReuse, ASlotThatWasAskedForAndThenWrittenByCopyIsTheReadersWithItsSide) {
   DataBufQueue queue;
   ASSERT_TRUE(queue.Init(2, 4, 1, false));
   ASSERT_NE(queue.GetNextWriteBuf(), nullptr);
   ASSERT_TRUE(queue.Write("a", 1));
   EXPECT_TRUE(queue.SetWriteSide("s", 1)); // of the slot behind it
   EXPECT_EQ(queue.GetReadSide()->GetLength(), 0);
   ASSERT_TRUE(queue.Write("b", 1));
   ASSERT_TRUE(queue.CommitRead());
   EXPECT_EQ(queue.GetReadSide()->GetLength(), 1);
}

TEST(DataBufQueueReuse, ANewSetUpForgetsTheStatisticsOfTheFormer) {
   kit::ManualClock clock;
   DataBufQueue queue;
   ASSERT_TRUE(queue.Init(2, 4, 1, true));
   ASSERT_TRUE(queue.Write("a", 1));
   clock.AdvanceMs(7);
   ASSERT_NE(queue.WaitRead(), nullptr);
   DataBufQueue::Stats stats{};
   ASSERT_TRUE(queue.GetStats(&stats));
   EXPECT_EQ(stats.readTotal, 1U);
   EXPECT_EQ(stats.lastLatency, 7U);
   ASSERT_TRUE(queue.Init(2, 4, 1, true));
   ASSERT_TRUE(queue.GetStats(&stats));
   EXPECT_EQ(stats.readTotal, 0U);
   EXPECT_EQ(stats.baseTotal, 1U);
   EXPECT_EQ(stats.lastLatency, 0U);
}

} // namespace
