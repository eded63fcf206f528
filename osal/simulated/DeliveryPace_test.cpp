#include "osal/simulated/DeliveryPace.h"

#include <gtest/gtest.h>

namespace osal {
namespace {

TEST(DeliveryPace, TheFirstIsDueOnePeriodAfterTheStart) {
   EXPECT_EQ(DeliveryPace(25).DueNs(0), 40'000'000u);
   EXPECT_EQ(DeliveryPace(30).DueNs(0), 33'333'333u);
   EXPECT_EQ(DeliveryPace(93.75).DueNs(2), 32'000'000u) << "512 samples at 48 kHz";
   EXPECT_EQ(DeliveryPace(0.001).DueNs(0), 1'000'000'000'000u);
}

TEST(DeliveryPace, NothingAddsUpOverAYear) {
   constexpr uint64_t kSecond = 1'000'000'000;
   const DeliveryPace pace(30);
   EXPECT_EQ(pace.DueNs(30 * 86400 - 1), 86400 * kSecond);
   EXPECT_NEAR(static_cast<double>(pace.DueNs(uint64_t{30} * 86400 * 365 - 1)), 86400.0 * 365 * 1e9, 16);
}

TEST(DeliveryPace, CountingIsTheInverseOfBeingDue) {
   for (const double rate : {0.5, 15.0, 29.97, 30.0, 60.0, 93.75, 1000.0}) {
      const DeliveryPace pace(rate);
      EXPECT_EQ(pace.CountDue(0), 0u);
      for (const uint64_t index : {0u, 1u, 2u, 29u, 1000u, 2'592'000u}) {
         const uint64_t due = pace.DueNs(index);
         EXPECT_EQ(pace.CountDue(due - 1), index) << rate;
         EXPECT_EQ(pace.CountDue(due), index + 1) << rate;
      }
   }
}

TEST(DeliveryPace, CountsToTheNanosecondEvenWhereADoubleDoesNot) {
   const DeliveryPace pace(1000);
   EXPECT_EQ(pace.CountDue(9'999'999'999'999'999), 9'999'999'999U) << "after 115 days";
   EXPECT_EQ(pace.CountDue(10'000'000'000'000'000), 10'000'000'000U);
}

TEST(DeliveryPace, LateOnesArePassedOverOrDeliveredUpToTheBacklog) {
   using Late = DeliveryPace::Late;
   // index, due by now, discarding, delivering
   constexpr uint64_t kTable[][4] = {{0, 0, 1, 1},    {0, 1, 1, 1},    {0, 2, 2, 1},        {0, 5, 5, 1},
                                     {4, 5, 5, 5},    {4, 11, 11, 5},  {4, 15, 15, 5},      {4, 16, 16, 6},
                                     {4, 30, 30, 20}, {9, 10, 10, 10}, {9, 1000, 1000, 990}};
   for (const auto &[index, due, discarding, delivering] : kTable) {
      EXPECT_EQ(DeliveryPace::Following(index, due, Late::Discard), discarding) << index << ", " << due;
      EXPECT_EQ(DeliveryPace::Following(index, due, Late::Deliver), delivering) << index << ", " << due;
   }
}

} // namespace
} // namespace osal
