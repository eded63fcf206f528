#include "libs/avManager/NamedLogLimiter.h"

#include <gtest/gtest.h>

namespace {

TEST(NamedLogLimiter, The21stComplaintInARowIsSilentUntilTheTroubleHasEnded) {
   NamedLogLimiter limiter;
   for (int i = 0; i < 20; ++i) {
      EXPECT_TRUE(limiter.ShouldLog("a")) << i;
   }
   EXPECT_FALSE(limiter.ShouldLog("a"));
   EXPECT_FALSE(limiter.ShouldLog("a"));
   limiter.Reset("a");
   EXPECT_TRUE(limiter.ShouldLog("a"));
}

TEST(NamedLogLimiter, NamesCountForThemselves) {
   NamedLogLimiter limiter;
   for (int i = 0; i < 20; ++i) {
      EXPECT_TRUE(limiter.ShouldLog("a"));
   }
   EXPECT_TRUE(limiter.ShouldLog("b"));
   limiter.Reset("b");
   EXPECT_FALSE(limiter.ShouldLog("a"));
}

TEST(NamedLogLimiter, ANameNotSeenBeforeCanBeReset) {
   NamedLogLimiter limiter;
   limiter.Reset("a");
   EXPECT_TRUE(limiter.ShouldLog("a"));
}

} // namespace
