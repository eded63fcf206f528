#include "lib/log/LogFileLabel.h"
#include "lib/log/LogFilePurge.h"
#include "lib/log/LogRegistry.h"
#include "lib/log/LogRetry.h"
#include "lib/log/LogThrottle.h"
#include "lib/log/LogTimeStamp.h"

#include <gtest/gtest.h>

#include <string>

// The decisions of the log, with neither files, threads nor a clock.

namespace {

uint64_t gNowUs = 0;

bool DecideAt(LogThrottle *throttle, uint64_t bytes, uint64_t nowUs) {
   gNowUs = nowUs;
   return throttle->Decide(bytes, [] { return gNowUs; });
}

constexpr uint64_t kSecond = 1'000'000;
constexpr uint64_t kMs = 1'000'000; // in nanoseconds

std::string Text(const LogTimeStamp &stamp) {
   return std::string(stamp.dateTime) + stamp.milliseconds + stamp.zone;
}

} // namespace

TEST(LogThrottle, CountsNothingWithoutALimit) {
   LogThrottle throttle;
   EXPECT_FALSE(DecideAt(&throttle, 1000, 1));
   EXPECT_EQ(throttle.totalBytes, 0U);
}

TEST(LogThrottle, LetsEverythingThroughBelowTheThreshold) {
   LogThrottle throttle{.threshold = 100, .rateLimit = 1};
   EXPECT_FALSE(DecideAt(&throttle, 99, 10 * kSecond));
   EXPECT_EQ(throttle.lastCheckUs, 0U);
}

TEST(LogThrottle, StopsAtTheThresholdWithARateOfZero) {
   LogThrottle throttle{.threshold = 100, .rateLimit = LogThrottle::kStop};
   EXPECT_FALSE(DecideAt(&throttle, 99, 1));
   EXPECT_TRUE(DecideAt(&throttle, 1, 1));
}

TEST(LogThrottle, BeginsAfterMoreThanFiveSecondsOfAFlood) {
   LogThrottle throttle{.threshold = 0, .rateLimit = 1000};
   EXPECT_FALSE(DecideAt(&throttle, 1'000'000, kSecond)) << "the first check only starts the measurement";
   EXPECT_FALSE(DecideAt(&throttle, 1'000'000, 6 * kSecond));
   EXPECT_TRUE(DecideAt(&throttle, 1, 6 * kSecond + 1));
}

TEST(LogThrottle, TakesARateAtTheLimitForAcceptable) {
   LogThrottle throttle{.threshold = 0, .rateLimit = 1000};
   EXPECT_FALSE(DecideAt(&throttle, 1, kSecond));
   EXPECT_FALSE(DecideAt(&throttle, 10'000, 11 * kSecond));
   EXPECT_TRUE(DecideAt(&throttle, 10'010, 21 * kSecond));
}

TEST(LogThrottle, EndsAfterMoreThanSixtySecondsWithoutOne) {
   LogThrottle throttle{.threshold = 0, .rateLimit = 1000, .throttled = 1};
   EXPECT_FALSE(DecideAt(&throttle, 1, kSecond));
   throttle.throttled = 1;
   EXPECT_TRUE(DecideAt(&throttle, 1, 61 * kSecond));
   EXPECT_FALSE(DecideAt(&throttle, 1, 61 * kSecond + 1));
}

TEST(LogRetry, TriesOncePerMessageThenAtTheNextThenRests) {
   LogRetry retry;
   EXPECT_TRUE(retry.MayTry(1, 0));
   retry.Failed(1, 0);
   EXPECT_FALSE(retry.MayTry(1, 1000 * kMs)) << "another line of the same message";
   EXPECT_TRUE(retry.MayTry(2, 0));
   retry.Failed(2, 0);
   EXPECT_FALSE(retry.MayTry(3, 249 * kMs));
   EXPECT_TRUE(retry.MayTry(3, 250 * kMs));
   retry.Failed(3, 250 * kMs);
   EXPECT_FALSE(retry.MayTry(4, 749 * kMs));
   EXPECT_TRUE(retry.MayTry(4, 750 * kMs));
}

TEST(LogRetry, NeverRestsLongerThanAMinute) {
   LogRetry retry;
   for (uint64_t message = 1; message < 100; ++message) {
      retry.Failed(message, 0);
   }
   EXPECT_FALSE(retry.MayTry(100, 59'999 * kMs));
   EXPECT_TRUE(retry.MayTry(100, 60'000 * kMs));
   retry.Succeeded();
   EXPECT_TRUE(retry.MayTry(99, 0));
}

TEST(LogTimeStamp, PacksItsFieldsAtTheirBits) {
   const uint64_t fields = LogStamp_Pack({126, 10, 12, 18, 30, 5, 123});
   EXPECT_EQ(fields, uint64_t{126} << 18 | uint64_t{10} << 28 | uint64_t{12} << 32 | uint64_t{18} << 37 |
                        uint64_t{30} << 42 | uint64_t{5} << 48 | uint64_t{123} << 54);
   const LogBrokenTime time = LogStamp_Unpack(fields);
   EXPECT_EQ(LogStamp_Pack(time), fields);
   EXPECT_EQ(time.year, 126);
   EXPECT_EQ(time.millisecond, 123);
}

TEST(LogTimeStamp, WritesAMomentInUtc) {
   LogTimeStamp stamp;
   LogStamp_Write({126, 10, 12, 18, 30, 0, 7}, &stamp);
   EXPECT_EQ(Text(stamp), "2026-11-12T18:30:00.007Z");
   LogStamp_Write({8100, 0, 1, 0, 0, 0, 0}, &stamp);
   EXPECT_EQ(Text(stamp), "10000-01-01T00:00:00.000Z");
   LogStamp_Write({-1901, 0, 1, 0, 0, 0, 0}, &stamp);
   EXPECT_EQ(Text(stamp), "-001-01-01T00:00:00.000Z");
}

TEST(LogTimeStamp, WritesTheTimeSinceTheLastOneInAHandler) {
   LogTimeStamp stamp;
   const LogStampCache last{LogStamp_Pack({126, 10, 12, 18, 30, 0, 0}), 1'000'000};
   LogStamp_WriteElapsed(last, 1'003'045, &stamp);
   EXPECT_EQ(Text(stamp), "2026-11-12T18:30:00Z[+3.045]");
   LogStamp_WriteElapsed(last, 999'000, &stamp);
   EXPECT_EQ(Text(stamp), "2026-11-12T18:30:00Z[+0.000]") << "the clock went back";
}

TEST(LogTimeStamp, TakesTheMillisecondsOfTheLastMomentOffTwice) {
   LogTimeStamp stamp;
   LogStamp_WriteElapsed({LogStamp_Pack({126, 10, 12, 18, 30, 0, 123}), 1'000'123}, 1'003'123, &stamp);
   EXPECT_EQ(Text(stamp), "2026-11-12T18:30:00Z[+2.877]");
}

TEST(LogTimeStamp, WritesNineteenHundredBeforeTheFirstOne) {
   LogTimeStamp stamp;
   LogStamp_WriteElapsed({}, 1'500, &stamp);
   EXPECT_EQ(Text(stamp), "1900-01-00T00:00:00Z[+1.500]");
}

TEST(LogRegistryRules, SayWhichKindsGoTogether) {
   const uint32_t tags[] = {0x12345, 0x23456, 0x34567, 0x45678, 0x56789};
   const uint32_t forbidden[] = {24, 26, 24, 23, 31};
   for (size_t at = 0; at < 5; ++at) {
      EXPECT_EQ(LogRegistry_KindBit(tags[at]), 1U << at);
      for (uint32_t present = 0; present < 32; ++present) {
         EXPECT_EQ(LogRegistry_KindsAgree(present, tags[at]), (present & forbidden[at]) == 0) << at << " " << present;
      }
   }
   EXPECT_EQ(LogRegistry_KindBit(0x11111), 0U);
   EXPECT_FALSE(LogRegistry_KindsAgree(0, 0x11111));
}

TEST(LogLabelOffset, SplitsAnOffsetIntoHoursAndMinutes) {
   const struct {
      int64_t seconds;
      int hours;
      int minutes;
   } cases[] = {{0, 0, 0}, {3600, 1, 0}, {19800, 5, 30}, {-12600, -3, 30}, {-1800, 0, 30}, {50400, 14, 0}};
   for (const auto &each : cases) {
      EXPECT_EQ(LogLabel_SplitOffset(each.seconds).hours, each.hours) << each.seconds;
      EXPECT_EQ(LogLabel_SplitOffset(each.seconds).minutes, each.minutes) << each.seconds;
   }
}

TEST(LogPurge, ReadsTheProcessFromAFileName) {
   uint32_t pid = 0;
   EXPECT_TRUE(LogPurge_PidInName("zenthar-MAVR-4711.log", "zenthar-MAVR", &pid));
   EXPECT_EQ(pid, 4711U);
   EXPECT_TRUE(LogPurge_PidInName("zenthar-MAVR-12-0.log", "zenthar-MAVR", &pid));
   EXPECT_EQ(pid, 12U);
   for (const char *const name : {"zenthar-MAVR", "zenthar-MAVR-", "zenthar-MAVR-x1.log", "zenthar-MAVRX1", "zenthar-1",
                                  "zenthar-MAVR--1.log", "zenthar-MAVR-99999999999.log", ""}) {
      EXPECT_FALSE(LogPurge_PidInName(name, "zenthar-MAVR", &pid)) << name;
   }
}
