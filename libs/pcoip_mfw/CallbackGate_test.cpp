#include "libs/pcoip_mfw/CallbackGate.h"

#include "tests/kit/PerturbedSchedule.h"

#include <atomic>
#include <gtest/gtest.h>
#include <optional>
#include <thread>

namespace {

TEST(CallbackGate, NobodyInsideIsNoWait) {
   CallbackGate gate;
   gate.AwaitOthers();
   { const CallbackGate::Stay stay(gate); }
   gate.AwaitOthers();
}

TEST(CallbackGate, OwnStaysAreNotWaitedFor) {
   CallbackGate gate;
   CallbackGate other;
   const CallbackGate::Stay outer(gate);
   const CallbackGate::Stay elsewhere(other);
   const CallbackGate::Stay inner(gate);
   gate.AwaitOthers();
   other.AwaitOthers();
}

TEST(CallbackGate, WaitsUntilTheOtherThreadIsOut) {
   const kit::PerturbedSchedule schedule;
   for (int round = 0; round < 300; ++round) {
      CallbackGate gate;
      std::atomic<bool> inside{false};
      std::atomic<bool> over{false};
      std::thread other([&] {
         const CallbackGate::Stay stay(gate);
         inside = true;
         for (int i = 0; i < round % 5; ++i) {
            std::this_thread::yield();
         }
         over = true;
      });
      while (!inside) {
         std::this_thread::yield();
      }
      const CallbackGate::Stay own(gate);
      gate.AwaitOthers();
      EXPECT_TRUE(over);
      other.join();
   }
}

} // namespace
