#include "libs/common/VideoAdapter.h"

#include <gtest/gtest.h>

namespace {

TEST(VideoAdapter, DefaultsAreValid) {
   EXPECT_FALSE(CheckVideoAdapter({}).Any());
}

TEST(VideoAdapter, FindsEachFault) {
   struct Case {
      VideoAdapterNumbers numbers;
      bool interval, overuse, underuse, crossing;
   };
   const Case cases[] = {
      {{2, 95, 95}, false, false, false, false},
      {{1, 100, 1}, false, false, false, false},
      {{0xFFFFFFFF, 1, 1}, false, false, false, false},
      {{0, 98, 95}, true, false, false, false},
      {{2, 0, 0}, false, true, true, false},
      {{2, 101, 100}, false, true, false, false},
      {{2, 100, 101}, false, false, true, true},
      {{2, 98, 0}, false, false, true, false},
      {{2, 94, 95}, false, false, false, true},
      {{0, 0, 0xFFFFFFFF}, true, true, true, true},
   };
   for (const Case &c : cases) {
      const VideoAdapterFaults faults = CheckVideoAdapter(c.numbers);
      EXPECT_EQ(faults.interval, c.interval);
      EXPECT_EQ(faults.overuse, c.overuse);
      EXPECT_EQ(faults.underuse, c.underuse);
      EXPECT_EQ(faults.crossing, c.crossing);
      EXPECT_EQ(faults.Any(), c.interval || c.overuse || c.underuse || c.crossing);
   }
}

} // namespace
