#include "libs/avManager/SyncMediaClock.h"

#include "tests/kit/ManualClock.h"

#include <gtest/gtest.h>
#include <memory>
#include <thread>
#include <vector>

namespace {

// The process's stopwatch was started by the system's clock.
struct SteppedTime {
   SteppedTime() { SyncMediaClock::Reset(); }
   void AdvanceMs(uint64_t ms) { clock.AdvanceMs(ms); }
   void AdvanceNs(uint64_t ns) { clock.AdvanceNs(ns); }
   kit::ManualClock clock;
};

TEST(SyncMediaClock, IsZeroWithoutAClient) {
   SteppedTime time;
   EXPECT_EQ(SyncMediaClock::GetTimeMS(), 0U);
   {
      const SyncMediaClock client;
      time.AdvanceMs(5);
   }
   EXPECT_EQ(SyncMediaClock::GetTimeMS(), 0U);
}

TEST(SyncMediaClock, EveryClientSeesTheSameTime) {
   SteppedTime time;
   const SyncMediaClock first;
   const uint32_t start = SyncMediaClock::GetTimeMS();
   time.AdvanceMs(1000);
   const SyncMediaClock second;
   EXPECT_EQ(SyncMediaClock::GetTimeMS(), start + 1000) << "a second client does not restart it";
   time.AdvanceMs(234);
   EXPECT_EQ(SyncMediaClock::GetTimeMS(), start + 1234);
}

TEST(SyncMediaClock, TimeIsRoundedDown) {
   SteppedTime time;
   const SyncMediaClock client;
   const uint32_t start = SyncMediaClock::GetTimeMS();
   time.AdvanceNs(1'999'999);
   EXPECT_EQ(SyncMediaClock::GetTimeMS(), start + 1);
   time.AdvanceNs(1);
   EXPECT_EQ(SyncMediaClock::GetTimeMS(), start + 2);
}

// The base is what the stopwatch showed when the first client came: the time since its last start.
TEST(SyncMediaClock, RequiredTheFirstClientTakesTheTimeSinceTheLastStartAsItsBase) {
   SteppedTime time;
   { const SyncMediaClock earlier; }
   time.AdvanceMs(700);
   const SyncMediaClock client;
   EXPECT_EQ(SyncMediaClock::GetTimeMS(), 700U);
   time.AdvanceMs(50);
   SyncMediaClock::Reset();
   EXPECT_EQ(SyncMediaClock::GetTimeMS(), 50U);
}

TEST(SyncMediaClock, WrapsAt32Bits) {
   SteppedTime time;
   const SyncMediaClock client;
   const uint32_t start = SyncMediaClock::GetTimeMS();
   time.AdvanceMs(uint64_t{1} << 32);
   EXPECT_EQ(SyncMediaClock::GetTimeMS(), start);
}

TEST(SyncMediaClock, ClientsComeAndGoOnAnyThread) {
   std::vector<std::thread> threads;
   for (int i = 0; i < 4; ++i) {
      threads.emplace_back([] {
         for (int round = 0; round < 2000; ++round) {
            const SyncMediaClock client;
            (void)SyncMediaClock::GetTimeMS();
            SyncMediaClock::Reset();
         }
      });
   }
   for (std::thread &thread : threads) {
      thread.join();
   }
   EXPECT_EQ(SyncMediaClock::GetTimeMS(), 0U);
}

} // namespace
