#include "lib/mfw/common/coretimerindex.h"

#include <algorithm>
#include <deque>
#include <gtest/gtest.h>
#include <random>

namespace CORE {
namespace {

TEST(TimerIndex, GivesTheLowestRankOfThoseThatAreDue) {
   coretimerindex index;
   index.Reserve(3);
   coretimerentry first{nullptr, 1};
   coretimerentry second{nullptr, 2};
   coretimerentry third{nullptr, 3};
   EXPECT_EQ(index.TakeDue(0), nullptr);
   EXPECT_EQ(index.NextDeadline(), coretimerindex::kNever);
   index.Arm(third, 10);
   index.Arm(second, 5);
   index.Arm(first, 11);
   EXPECT_EQ(index.TakeDue(4), nullptr);
   EXPECT_EQ(index.NextDeadline(), 5);
   EXPECT_EQ(index.TakeDue(10), &second);
   index.Arm(second, 10); // again due, and again before the third, which was found before
   EXPECT_EQ(index.TakeDue(10), &second);
   EXPECT_EQ(index.TakeDue(10), &third);
   EXPECT_EQ(index.TakeDue(10), nullptr);
   EXPECT_EQ(index.NextDeadline(), 11);
   index.Disarm(first);
   index.Disarm(first);
   EXPECT_EQ(index.NextDeadline(), coretimerindex::kNever);
}

TEST(TimerIndex, ForgetsAll) {
   coretimerindex index;
   index.Reserve(2);
   coretimerentry first{nullptr, 1};
   coretimerentry second{nullptr, 2};
   index.Arm(first, 0);
   index.Arm(second, 0);
   EXPECT_EQ(index.TakeDue(0), &first); // the second is among the due
   index.Arm(first, 9);
   index.Clear();
   EXPECT_EQ(index.TakeDue(100), nullptr);
   index.Arm(second, 100);
   EXPECT_EQ(index.TakeDue(100), &second);
}

// The model is the walk in the order of registration.
TEST(TimerIndex, FindsWhatAWalkThroughAllFinds) {
   for (uint32_t seed = 1; seed <= 300; ++seed) {
      std::mt19937 random(seed);
      const size_t count = 1 + random() % 60;
      std::deque<coretimerentry> entries(count);
      std::vector<int64_t> model(count, coretimerindex::kNever);
      coretimerindex index;
      index.Reserve(count);
      for (size_t i = 0; i < count; ++i) {
         entries[i].rank = i + 1;
      }
      int64_t now = 0;
      for (int step = 0; step < 500; ++step) {
         const size_t i = random() % count;
         switch (random() % 5) {
         case 0:
         case 1:
            model[i] = now + static_cast<int64_t>(random() % 20);
            index.Arm(entries[i], model[i]);
            break;
         case 2:
            model[i] = coretimerindex::kNever;
            index.Disarm(entries[i]);
            break;
         case 3:
            now += static_cast<int64_t>(random() % 10);
            break;
         default:
            const auto due =
               std::find_if(model.begin(), model.end(), [&](int64_t deadline) { return deadline <= now; });
            const coretimerentry *const found = index.TakeDue(now);
            if (due == model.end()) {
               ASSERT_EQ(found, nullptr) << seed;
               ASSERT_EQ(index.NextDeadline(), *std::min_element(model.begin(), model.end())) << seed;
            } else {
               ASSERT_EQ(found, &entries[static_cast<size_t>(due - model.begin())]) << seed;
               *due = coretimerindex::kNever;
            }
         }
      }
   }
}

} // namespace
} // namespace CORE
