#include "osal/WaitWord.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace osal {
namespace {

TEST(WaitWord, DoesNotSleepWhenTheWordHasChangedAlready) {
   const std::atomic<uint32_t> word{2};
   errno = 7;
   waitword::waitWhile(word, 1);
   EXPECT_EQ(errno, 7);
}

TEST(WaitWord, NoWakeAfterAChangeIsMissed) {
   constexpr uint32_t kTurns = 20'000;
   std::atomic<uint32_t> word{0};
   const auto awaitTurn = [&](uint32_t parity) {
      for (uint32_t now = word.load(); now % 2 != parity; now = word.load()) {
         waitword::waitWhile(word, now);
      }
   };
   const auto play = [&](uint32_t parity) {
      for (uint32_t turn = 0; turn < kTurns; ++turn) {
         awaitTurn(parity);
         word.fetch_add(1);
         waitword::wakeOne(word);
      }
   };
   std::thread odd(play, 1);
   play(0);
   odd.join();
   EXPECT_EQ(word.load(), 2 * kTurns);
}

TEST(WaitWord, WakeAllEndsEverySleep) {
   std::atomic<uint32_t> word{0};
   std::atomic<int> up{0};
   std::vector<std::thread> sleepers;
   for (int i = 0; i < 4; ++i) {
      sleepers.emplace_back([&] {
         while (word.load() == 0) {
            waitword::waitWhile(word, 0);
         }
         ++up;
      });
   }
   word = 1;
   waitword::wakeAll(word);
   for (std::thread &sleeper : sleepers) {
      sleeper.join();
   }
   EXPECT_EQ(up.load(), 4);
}

} // namespace
} // namespace osal
