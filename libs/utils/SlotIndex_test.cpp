#include "libs/utils/SlotIndex.h"

#include <gtest/gtest.h>

#include <map>
#include <random>

namespace {

int32_t At(SlotIndex &index, const void *address) {
   const int32_t *const slot = index.Find(address);
   return slot != nullptr ? *slot : -100;
}

TEST(SlotIndex, ASlotIsFoundByTheAddressRecordedLast) {
   const char memory[3] = {};
   SlotIndex index;
   ASSERT_TRUE(index.Create(2));
   index.Record(1, &memory[2]);
   index.Record(0, &memory[1]);
   EXPECT_EQ(At(index, &memory[2]), 1);
   EXPECT_EQ(At(index, &memory[1]), 0);
   index.Record(1, &memory[0]); // moved: the old address is nobody's
   EXPECT_EQ(At(index, &memory[0]), 1);
   EXPECT_EQ(At(index, &memory[2]), -100);
   index.Record(0, nullptr);
   EXPECT_EQ(At(index, &memory[1]), -100);
   EXPECT_EQ(At(index, nullptr), -100);
}

TEST(SlotIndex, AnEntryMayBeMarkedUntilTheNextRecord) {
   const char memory = 0;
   SlotIndex index;
   ASSERT_TRUE(index.Create(2));
   index.Record(1, &memory);
   *index.Find(&memory) = 0;
   EXPECT_EQ(At(index, &memory), 0);
   index.Record(1, &memory);
   EXPECT_EQ(At(index, &memory), 1);
   index.Record(0, &memory); // another slot's now
   EXPECT_EQ(At(index, &memory), 0);
   index.Record(1, nullptr); // does not take it from its new slot
   EXPECT_EQ(At(index, &memory), 0);
}

TEST(SlotIndex, ADroppedOneKnowsNoAddress) {
   const char memory = 0;
   SlotIndex index;
   ASSERT_TRUE(index.Create(1));
   index.Record(0, &memory);
   index.Drop();
   EXPECT_EQ(At(index, &memory), -100);
   ASSERT_TRUE(index.Create(1));
   EXPECT_EQ(At(index, &memory), -100);
}

TEST(SlotIndex, ItAgreesWithAMapWhateverIsRecorded) {
   constexpr int32_t kSlots = 5;
   const char memory[8] = {};
   SlotIndex index;
   ASSERT_TRUE(index.Create(kSlots));
   std::map<const void *, int32_t> model;
   std::mt19937 random(7);
   for (int i = 0; i < 20000; ++i) {
      const auto slot = static_cast<int32_t>(random() % kSlots);
      const void *const address = &memory[random() % 8];
      for (auto at = model.begin(); at != model.end();) {
         at = at->second == slot ? model.erase(at) : std::next(at);
      }
      model[address] = slot;
      index.Record(slot, address);
      for (const char &byte : memory) {
         const auto found = model.find(&byte);
         ASSERT_EQ(At(index, &byte), found != model.end() ? found->second : -100) << i;
      }
   }
}

} // namespace
