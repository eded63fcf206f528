#include "libs/avManager/VideoBase.h"

#include "libs/avManager/SyncMediaClock.h"

#include "tests/kit/ManualClock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <thread>

namespace {

class Base final : public VideoBase {
public:
   bool Open(UserPrefs &, SyncMediaClock *) override { return StartServiceThread(interval); }
   bool Close() override {
      StopServiceThread();
      return true;
   }
   bool ServiceThreadCB() override {
      ++passes;
      return true;
   }
   int32_t interval = 0;
   std::atomic<int> passes{0};
};

TEST(VideoBaseTest, AServiceThreadTakesNoIntervalBelowAMillisecond) {
   kit::ManualClock time;
   SyncMediaClock clock;
   VideoBase::UserPrefs prefs;
   Base base;
   for (const int32_t interval : {0, -1, INT32_MIN}) {
      base.interval = interval;
      EXPECT_FALSE(base.Open(prefs, &clock)) << interval;
   }
   base.interval = 1;
   EXPECT_TRUE(base.Open(prefs, &clock));
   while (base.passes < 3) {
      time.AdvanceMs(1);
      std::this_thread::yield();
   }
   base.Close();
   const int passes = base.passes;
   time.AdvanceMs(10);
   EXPECT_EQ(base.passes, passes);
}

} // namespace
