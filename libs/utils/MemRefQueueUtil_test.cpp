#include "libs/utils/MemRefQueueUtil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <climits>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

std::string Text(const void *address, size_t size) {
   return {static_cast<const char *>(address), size};
}

TEST(MemRefQueue, UninitialisedItGivesNothing) {
   MemRefQueue queue;
   char byte = 'x';
   EXPECT_EQ(queue.Add(&byte, 1, false), nullptr);
   EXPECT_FALSE(queue.Release(&byte));
   queue.Uninit();
}

TEST(MemRefQueue, InitOnALiveQueueRefusesAndKeepsAll) {
   MemRefQueue queue;
   EXPECT_FALSE(queue.Init(0));
   EXPECT_FALSE(queue.Init(-1));
   EXPECT_FALSE(queue.Init(INT_MAX));
   ASSERT_TRUE(queue.Init(2));
   void *const address = queue.Add("ab", 2, true);
   EXPECT_FALSE(queue.Init(5));
   EXPECT_EQ(Text(address, 2), "ab");
   EXPECT_TRUE(queue.Release(address));
   queue.Uninit();
   EXPECT_TRUE(queue.Init(1));
}

TEST(MemRefQueue, WithTheSlotsBusyTheCopyComesFromTheHeapAndLeavesNoEntry) {
   MemRefQueue queue;
   ASSERT_TRUE(queue.Init(2));
   void *const first = queue.Add("a", 1, false);
   void *const second = queue.Add("b", 1, false);
   void *const third = queue.Add("c", 1, false);
   EXPECT_EQ(Text(first, 1) + Text(second, 1) + Text(third, 1), "abc");
   EXPECT_EQ(queue.Add("d", 1, true), nullptr); // slots only
   EXPECT_TRUE(queue.Release(third));
   EXPECT_FALSE(queue.Release(third));
   EXPECT_TRUE(queue.Release(first));
   EXPECT_EQ(queue.Add("e", 1, true), first); // the next slot did not move for the heap
   EXPECT_TRUE(queue.Release(second));
}

TEST(MemRefQueue, ASlotThatGrowsForgetsItsOldAddress) {
   MemRefQueue queue;
   ASSERT_TRUE(queue.Init(1));
   void *const small = queue.Add("a", 1, true);
   ASSERT_TRUE(queue.Release(small));
   const std::string text(100000, 'x');
   void *const large = queue.Add(text.data(), static_cast<int32_t>(text.size()), true);
   EXPECT_EQ(Text(large, text.size()), text);
   if (large != small) {
      EXPECT_FALSE(queue.Release(small));
   }
   EXPECT_TRUE(queue.Release(large));
   EXPECT_EQ(queue.Add("b", 1, true), large); // and keeps what it has grown to
}

TEST(MemRefQueue, RequiredASecondReleaseOfASlotIsTrueAndChangesNothing) {
   MemRefQueue queue;
   ASSERT_TRUE(queue.Init(2));
   void *const first = queue.Add("a", 1, true);
   EXPECT_TRUE(queue.Release(first));
   EXPECT_TRUE(queue.Release(first));
   void *const second = queue.Add("b", 1, true);
   EXPECT_EQ(queue.Add("c", 1, true), first);
   EXPECT_EQ(Text(second, 1), "b");
}

TEST(MemRefQueue, AnAddressNeverHandedOutIsNotKnown) {
   MemRefQueue queue;
   ASSERT_TRUE(queue.Init(1));
   char byte = 'x';
   EXPECT_FALSE(queue.Release(&byte));
   EXPECT_FALSE(queue.Release(nullptr));
   char *const inside = static_cast<char *>(queue.Add("ab", 2, true)) + 1;
   EXPECT_FALSE(queue.Release(inside));
}

TEST(MemRefQueue, NoDataIsNotTaken) {
   MemRefQueue queue;
   ASSERT_TRUE(queue.Init(1));
   EXPECT_EQ(queue.Add(nullptr, 1, false), nullptr);
   EXPECT_EQ(queue.Add("a", 0, false), nullptr);
   EXPECT_EQ(queue.Add("a", -1, false), nullptr);
   EXPECT_NE(queue.Add("a", 1, true), nullptr);
}

TEST(MemRefQueue, UninitTakesAllAddressesBack) {
   MemRefQueue queue;
   ASSERT_TRUE(queue.Init(1));
   void *const slot = queue.Add("a", 1, false);
   void *const heap = queue.Add("b", 1, false); // the leak sanitizer looks
   queue.Uninit();
   EXPECT_FALSE(queue.Release(slot));
   EXPECT_FALSE(queue.Release(heap));
   ASSERT_TRUE(queue.Init(1));
   EXPECT_FALSE(queue.Release(heap));
}

TEST(MemRefQueue, AddAndReleaseMayComeFromDifferentThreads) {
   constexpr int kItems = 2000;
   MemRefQueue queue;
   ASSERT_TRUE(queue.Init(4));
   std::vector<void *> handed(kItems);
   std::atomic<int> added{0};
   std::thread receiver([&] {
      for (int i = 0; i < kItems; ++i) {
         while (added <= i) {
            std::this_thread::yield();
         }
         int value = 0;
         std::memcpy(&value, handed[static_cast<size_t>(i)], sizeof value);
         EXPECT_EQ(value, i);
         EXPECT_TRUE(queue.Release(handed[static_cast<size_t>(i)]));
      }
   });
   for (int i = 0; i < kItems; ++i) {
      handed[static_cast<size_t>(i)] = queue.Add(&i, sizeof i, false);
      added = i + 1;
   }
   receiver.join();
}

} // namespace
