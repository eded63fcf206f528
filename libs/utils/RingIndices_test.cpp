#include "libs/utils/RingIndices.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <deque>

namespace {

TEST(RingIndices, WrapFlagsTellFullFromEmptyForEveryCountAndPosition) {
   for (int32_t count = 1; count <= 4; ++count) {
      RingIndices ring(count);
      std::deque<int32_t> queued;
      int32_t next = 0;
      // Every fill level at every position: the pattern does not divide the count.
      for (int step = 0; step < 1000; ++step) {
         const bool write = queued.empty() || (static_cast<int32_t>(queued.size()) < count && step % 7 < 4);
         if (write) {
            EXPECT_EQ(ring.WriteAt(), next);
            queued.push_back(next);
            next = (next + 1) % count;
            ring.AdvanceWrite();
         } else {
            EXPECT_EQ(ring.ReadAt(), queued.front());
            queued.pop_front();
            ring.AdvanceRead();
         }
         const auto used = static_cast<int32_t>(queued.size());
         EXPECT_EQ(ring.Used(), used);
         EXPECT_EQ(ring.Free(), count - used);
         EXPECT_EQ(ring.IsEmpty(), used == 0);
         EXPECT_EQ(ring.IsFull(), used == count);
         for (int32_t slot = 0; slot < count; ++slot) {
            const bool held = std::find(queued.begin(), queued.end(), slot) != queued.end();
            EXPECT_EQ(ring.Holds(slot), held);
         }
      }
   }
}

TEST(RingIndices, WithoutSlotsItIsEmpty) {
   const RingIndices ring;
   EXPECT_TRUE(ring.IsEmpty());
   EXPECT_EQ(ring.Free(), 0);
   EXPECT_EQ(ring.Used(), 0);
}

TEST(RingIndices, RequiredKeepOneQueuesTheSlotAtTheReadIndexFromEveryState) {
   for (int32_t count = 1; count <= 3; ++count) {
      for (int32_t read = 0; read < 2 * count; ++read) {
         for (int32_t used = 0; used <= count; ++used) {
            RingIndices ring(count);
            for (int32_t i = 0; i < read; ++i) {
               ring.AdvanceWrite();
               ring.AdvanceRead();
            }
            for (int32_t i = 0; i < used; ++i) {
               ring.AdvanceWrite();
            }
            const int32_t at = ring.ReadAt();
            ring.KeepOne();
            EXPECT_EQ(ring.Used(), 1);
            EXPECT_EQ(ring.ReadAt(), at);
            EXPECT_TRUE(ring.Holds(at));
         }
      }
   }
}

} // namespace
