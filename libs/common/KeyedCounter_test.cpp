#include "libs/common/KeyedCounter.h"

#include <gtest/gtest.h>

namespace {

int Tries(KeyedCounter &counter, const std::string &key) {
   int count = 0;
   while (count < 1000 && counter.Try(key)) {
      ++count;
   }
   return count;
}

TEST(KeyedCounter, EachKeyHasTwentyTries) {
   KeyedCounter counter;
   EXPECT_EQ(Tries(counter, "a"), 20);
   EXPECT_EQ(Tries(counter, "b"), 20);
   EXPECT_EQ(Tries(counter, ""), 20);
   EXPECT_FALSE(counter.Try("a"));
}

TEST(KeyedCounter, ClearFreesOneKeyAndResetAllAndTheLimit) {
   KeyedCounter counter;
   counter.SetLimit(3);
   EXPECT_EQ(Tries(counter, "a"), 3);
   EXPECT_EQ(Tries(counter, "b"), 3);
   counter.Clear("a");
   counter.Clear("unknown");
   EXPECT_EQ(Tries(counter, "a"), 3);
   EXPECT_EQ(Tries(counter, "b"), 0);
   counter.Reset();
   EXPECT_EQ(Tries(counter, "b"), 20);
}

TEST(KeyedCounter, ALimitOfZeroOrLessLetsNothingThrough) {
   KeyedCounter counter;
   counter.SetLimit(0);
   EXPECT_FALSE(counter.Try("a"));
   counter.SetLimit(-1);
   EXPECT_FALSE(counter.Try("a"));
}

} // namespace
