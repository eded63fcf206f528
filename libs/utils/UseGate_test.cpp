#include "libs/utils/UseGate.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

TEST(UseGate, OnlyAnOpenOneLetsIn) {
   UseGate gate;
   EXPECT_FALSE(UseGate::Stay(gate));
   gate.Open();
   EXPECT_TRUE(UseGate::Stay(gate));
   gate.CloseAndDrain();
   EXPECT_FALSE(UseGate::Stay(gate));
   gate.Open();
   EXPECT_TRUE(UseGate::Stay(gate));
}

TEST(UseGate, DrainingReturnsWhenTheLastOneIsOut) {
   UseGate gate;
   gate.Open();
   std::atomic<int> inside{0};
   std::atomic<bool> mayLeave{false};
   std::atomic<int> out{0};
   const auto stayer = [&] {
      const UseGate::Stay stay(gate);
      ASSERT_TRUE(stay);
      ++inside;
      mayLeave.wait(false);
      ++out;
   };
   std::thread first(stayer);
   std::thread second(stayer);
   while (inside != 2) {
      std::this_thread::yield();
   }
   std::thread opener([&] {
      while (UseGate::Stay(gate)) { // until the drain has closed it
         std::this_thread::yield();
      }
      mayLeave = true;
      mayLeave.notify_all();
   });
   gate.CloseAndDrain();
   EXPECT_EQ(out, 2);
   first.join();
   second.join();
   opener.join();
}

} // namespace
