#include "lib/mfw/common/coretimerindex.h"

#include <algorithm>
#include <array>
#include <deque>
#include <gtest/gtest.h>
#include <random>
#include <vector>

namespace CORE {
namespace {

TEST(TimerIndex, GivesTheLowestRankOfThoseThatAreDue) {
   coretimerindex index;
   std::array<coretimerentry, 3> entries;
   auto &[first, second, third] = entries;
   for (coretimerentry &entry : entries) {
      index.Add(entry);
   }
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

TEST(TimerIndex, KeepsATimerToTheEndOfTime) {
   constexpr int64_t kFarthest = coretimerindex::kNever - 1;
   for (int64_t due = 1; due > 0 && due < kFarthest; due = due * 2 + 1) { // each highest bit that can differ
      coretimerindex index;
      coretimerentry entry;
      index.Add(entry);
      index.Arm(entry, due);
      EXPECT_EQ(index.NextDeadline(), due);
      EXPECT_EQ(index.TakeDue(due / 2), nullptr) << due;
      EXPECT_EQ(index.TakeDue(due - 1), nullptr) << due;
      EXPECT_EQ(index.TakeDue(due), &entry) << due;
      EXPECT_EQ(index.NextDeadline(), coretimerindex::kNever);
   }
   coretimerindex index;
   coretimerentry entry;
   index.Add(entry);
   index.Arm(entry, kFarthest);
   EXPECT_EQ(index.TakeDue(5), nullptr);
   EXPECT_EQ(index.TakeDue(kFarthest), &entry);
}

TEST(TimerIndex, ForgetsAll) {
   coretimerindex index;
   coretimerentry first;
   coretimerentry second;
   index.Add(first);
   index.Add(second);
   index.Arm(first, 0);
   index.Arm(second, 0);
   EXPECT_EQ(index.TakeDue(0), &first); // the second is among the due
   index.Arm(first, 9);
   index.Clear();
   EXPECT_EQ(index.TakeDue(100), nullptr);
   EXPECT_EQ(index.NextDeadline(), coretimerindex::kNever);
   index.Add(second);
   index.Arm(second, 100);
   EXPECT_EQ(index.TakeDue(100), &second);
}

/// The walk in the order of registration.
class Walk {
public:
   void Add(coretimerentry &entry) { mTimers.push_back({&entry, coretimerindex::kNever}); }
   void Remove(size_t i) { mTimers.erase(mTimers.begin() + static_cast<ptrdiff_t>(i)); }
   void Arm(size_t i, int64_t deadline) { mTimers[i].deadline = deadline; }
   coretimerentry *TakeDue(int64_t now) {
      for (Timer &timer : mTimers) {
         if (timer.deadline <= now) {
            timer.deadline = coretimerindex::kNever;
            return timer.entry;
         }
      }
      return nullptr;
   }
   [[nodiscard]] int64_t NextDeadline() const {
      int64_t next = coretimerindex::kNever;
      for (const Timer &timer : mTimers) {
         next = std::min(next, timer.deadline);
      }
      return next;
   }
   [[nodiscard]] size_t Count() const { return mTimers.size(); }
   [[nodiscard]] coretimerentry &At(size_t i) { return *mTimers[i].entry; }

private:
   struct Timer {
      coretimerentry *entry;
      int64_t deadline;
   };
   std::vector<Timer> mTimers;
};

TEST(TimerIndex, FindsWhatAWalkThroughAllFinds) {
   for (uint32_t seed = 1; seed <= 300; ++seed) {
      std::mt19937 random(seed);
      const size_t mostTimers = 1 + random() % 200;
      const auto longest = uint64_t{1} << random() % 32; // of an interval
      std::deque<coretimerentry> entries;
      coretimerindex index;
      Walk walk;
      int64_t now = 0;
      for (int step = 0; step < 3000; ++step) {
         const auto what = random() % 16;
         if (what == 0 || walk.Count() == 0) {
            if (walk.Count() < mostTimers) {
               index.Add(entries.emplace_back());
               walk.Add(entries.back());
            }
            continue;
         }
         const size_t i = random() % walk.Count();
         if (what == 1) {
            index.Remove(walk.At(i));
            walk.Remove(i);
         } else if (what < 7) {
            const int64_t deadline = now + static_cast<int64_t>(random() % longest);
            index.Arm(walk.At(i), deadline);
            walk.Arm(i, deadline);
         } else if (what == 7) {
            index.Disarm(walk.At(i));
            walk.Arm(i, coretimerindex::kNever);
         } else if (what < 11) {
            now += static_cast<int64_t>(random() % longest / (1 + random() % 32));
         } else {
            coretimerentry *const due = walk.TakeDue(now);
            ASSERT_EQ(index.TakeDue(now), due) << seed;
            if (due == nullptr) {
               ASSERT_EQ(index.NextDeadline(), walk.NextDeadline()) << seed;
            }
         }
      }
   }
}

TEST(TimerIndex, KeepsTheOrderWhenItClosesGaps) {
   coretimerindex index;
   std::deque<coretimerentry> gone(1000);
   coretimerentry first;
   coretimerentry second;
   coretimerentry last;
   index.Add(first);
   for (size_t i = 0; i < gone.size(); ++i) {
      if (i == 500) {
         index.Add(second);
      }
      index.Add(gone[i]);
   }
   index.Arm(second, 5);
   index.Arm(first, 10);
   EXPECT_EQ(index.TakeDue(4), nullptr);
   index.Arm(gone[700], 3); // due
   index.Arm(gone[300], 9);
   for (coretimerentry &entry : gone) {
      index.Remove(entry);
   }
   index.Arm(second, 4); // among the due while the gaps close
   index.Add(last);
   EXPECT_LT(last.order, 10U);
   index.Arm(last, 0);
   EXPECT_EQ(index.TakeDue(4), &second);
   EXPECT_EQ(index.TakeDue(4), &last);
   EXPECT_EQ(index.TakeDue(4), nullptr);
   EXPECT_EQ(index.NextDeadline(), 10);
   EXPECT_EQ(index.TakeDue(10), &first);
}

} // namespace
} // namespace CORE
