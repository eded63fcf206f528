#include "tools/mavr/redirect/Distribution.h"

#include <gtest/gtest.h>

namespace mavr::redirect {
namespace {

Distribution Of(const std::vector<double> &values) {
   Distribution distribution;
   for (const double value : values) {
      distribution.Add(value);
   }
   return distribution;
}

TEST(Distribution, KnowsItsPercentiles) {
   const Distribution ten = Of({10, 1, 9, 2, 8, 3, 7, 4, 6, 5});
   EXPECT_EQ(ten.Percentile(0), 1);
   EXPECT_EQ(ten.Percentile(0.1), 1);
   EXPECT_EQ(ten.Percentile(0.11), 2);
   EXPECT_EQ(ten.Median(), 5);
   EXPECT_EQ(ten.Percentile(0.9), 9);
   EXPECT_EQ(ten.Percentile(0.99), 10);
   EXPECT_EQ(ten.Largest(), 10);
   EXPECT_EQ(ten.Mean(), 5.5);
   EXPECT_EQ(ten.Values()[0], 10) << "kept as they came";
}

TEST(Distribution, OfNothingIsZero) {
   const Distribution none;
   EXPECT_EQ(none.Median(), 0);
   EXPECT_EQ(none.Largest(), 0);
   EXPECT_EQ(none.Mean(), 0);
   EXPECT_EQ(none.Histogram(3, 1), (std::vector<size_t>{0, 0, 0}));
}

TEST(Distribution, CountsIntoEqualParts) {
   EXPECT_EQ(Of({0, 0.9, 1, 2.5, 3, 99, -5}).Histogram(3, 3), (std::vector<size_t>{3, 1, 3}));
   EXPECT_EQ(Of({1, 2}).Histogram(2, 0), (std::vector<size_t>{2, 0})) << "no extent";
}

} // namespace
} // namespace mavr::redirect
