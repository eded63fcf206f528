#include "osal/WaitWord.h"

#include "osal/Clock.h"
#include "osal/posix/ParkedWait.h"

#include <array>
#include <cerrno>
#include <gtest/gtest.h>
#include <memory>
#include <pthread.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace osal {
namespace {

using Word = std::atomic<uint32_t>;
constexpr uint64_t kNoLimit = UINT64_MAX;

// The same promises, kept by the system's own means and by the table that stands in for them.
struct System {
   static void WaitWhile(const Word &word, uint32_t value) { waitword::waitWhile(word, value); }
   static bool WaitWhileUntil(const Word &word, uint32_t value, uint64_t deadlineNs) {
      return waitword::waitWhileUntil(word, value, deadlineNs);
   }
   static void WakeOne(Word &word) { waitword::wakeOne(word); }
   static void WakeAll(Word &word) { waitword::wakeAll(word); }
};
struct Parked {
   static void WaitWhile(const Word &word, uint32_t value) { parkedwait::waitWhileUntil(word, value, kNoLimit); }
   static bool WaitWhileUntil(const Word &word, uint32_t value, uint64_t deadlineNs) {
      return parkedwait::waitWhileUntil(word, value, deadlineNs);
   }
   static void WakeOne(Word &word) { parkedwait::wakeOne(word); }
   static void WakeAll(Word &word) { parkedwait::wakeAll(word); }
};

template <typename Way>
class WaitWord : public testing::Test {};
using Ways = testing::Types<System, Parked>;
TYPED_TEST_SUITE(WaitWord, Ways);

TYPED_TEST(WaitWord, DoesNotSleepWhenTheWordHasChangedAlready) {
   Word word{2};
   errno = 7;
   TypeParam::WaitWhile(word, 1);
   EXPECT_TRUE(TypeParam::WaitWhileUntil(word, 1, kNoLimit));
   EXPECT_EQ(errno, 7);
}

TYPED_TEST(WaitWord, NoWakeAfterAChangeIsMissed) {
   constexpr uint32_t kTurns = 20'000;
   Word word{0};
   const auto awaitTurn = [&](uint32_t parity) {
      for (uint32_t now = word.load(); now % 2 != parity; now = word.load()) {
         TypeParam::WaitWhile(word, now);
      }
   };
   const auto play = [&](uint32_t parity) {
      for (uint32_t turn = 0; turn < kTurns; ++turn) {
         awaitTurn(parity);
         word.fetch_add(1);
         TypeParam::WakeOne(word);
      }
   };
   std::thread odd(play, 1);
   play(0);
   odd.join();
   EXPECT_EQ(word.load(), 2 * kTurns);
}

TYPED_TEST(WaitWord, NoWakeIsMissedByAWaitWithALimit) {
   constexpr uint32_t kTurns = 20'000;
   const uint64_t farAway = Clock::current().monotonicNs() + 3'600'000'000'000;
   Word word{0};
   const auto play = [&](uint32_t parity) {
      for (uint32_t turn = 0; turn < kTurns; ++turn) {
         for (uint32_t now = word.load(); now % 2 != parity; now = word.load()) {
            EXPECT_TRUE(TypeParam::WaitWhileUntil(word, now, farAway));
         }
         word.fetch_add(1);
         TypeParam::WakeOne(word);
      }
   };
   std::thread odd(play, 1);
   play(0);
   odd.join();
   EXPECT_EQ(word.load(), 2 * kTurns);
}

TYPED_TEST(WaitWord, WakeAllEndsEverySleep) {
   Word word{0};
   std::atomic<int> up{0};
   std::vector<std::thread> sleepers;
   for (int i = 0; i < 4; ++i) {
      sleepers.emplace_back([&] {
         while (word.load() == 0) {
            TypeParam::WaitWhile(word, 0);
         }
         ++up;
      });
   }
   word = 1;
   TypeParam::WakeAll(word);
   for (std::thread &sleeper : sleepers) {
      sleeper.join();
   }
   EXPECT_EQ(up.load(), 4);
}

TYPED_TEST(WaitWord, WakesThoseOfTheWordAndNoOthersInTheirPlace) {
   // Enough words that several share whatever place they are kept at.
   constexpr size_t kWords = 256;
   const auto words = std::make_unique<std::array<Word, kWords>>();
   std::vector<std::thread> sleepers;
   for (Word &word : *words) {
      sleepers.emplace_back([&word] {
         while (word.load() == 0) {
            TypeParam::WaitWhile(word, 0);
         }
      });
   }
   for (size_t i = kWords; i-- > 0;) {
      (*words)[i] = 1;
      TypeParam::WakeOne((*words)[i]);
      sleepers[i].join();
   }
}

TYPED_TEST(WaitWord, EndsWhenItsTimeIsOver) {
   Word word{0};
   errno = 7;
   while (TypeParam::WaitWhileUntil(word, 0, Clock::current().monotonicNs() + 1)) {
   }
   EXPECT_FALSE(TypeParam::WaitWhileUntil(word, 0, 0));
   EXPECT_EQ(errno, 7);
}

TYPED_TEST(WaitWord, AWordThatHasChangedCountsMoreThanATimeThatIsOver) {
   Word word{1};
   EXPECT_TRUE(TypeParam::WaitWhileUntil(word, 0, 0));
}

TYPED_TEST(WaitWord, WakingNobodyIsNothing) {
   Word word{0};
   errno = 7;
   TypeParam::WakeOne(word);
   TypeParam::WakeAll(word);
   EXPECT_EQ(errno, 7);
}

template <typename Wait>
void *EndOf(Wait wait) {
   pthread_t thread{};
   EXPECT_EQ(pthread_create(
                &thread, nullptr,
                [](void *argument) -> void * {
                   (*static_cast<Wait *>(argument))();
                   return nullptr;
                },
                &wait),
             0);
   EXPECT_EQ(pthread_cancel(thread), 0);
   void *end = nullptr;
   EXPECT_EQ(pthread_join(thread, &end), 0);
   return end;
}

#if defined(__linux__)
TEST(WaitWordCancelled, EndsAWaitWithoutLimit) {
   Word word{0};
   EXPECT_EQ(EndOf([&] {
                for (;;) {
                   waitword::waitWhileUntil(word, 0, kNoLimit);
                }
             }),
             PTHREAD_CANCELED);
}
#endif

TEST(WaitWordCancelled, DoesNotEndTheWaitOfALock) {
   Word word{1};
   EXPECT_EQ(EndOf([&] { waitword::waitWhile(word, 0); }), nullptr);
   EXPECT_EQ(EndOf([&] { parkedwait::waitWhileUntil(word, 0, kNoLimit); }), nullptr);
   EXPECT_EQ(EndOf([&] { EXPECT_FALSE(parkedwait::waitWhileUntil(word, 1, 0)); }), nullptr);
}

TEST(ParkedWait, StartsAfreshInAForkedChild) {
   Word word{0};
   std::atomic<bool> over{false};
   std::thread sleeper([&] {
      while (!over.load()) {
         parkedwait::waitWhileUntil(word, 0, kNoLimit);
      }
   });
   for (int i = 0; i < 20; ++i) {
      parkedwait::wakeAll(word); // keeps the sleeper moving in and out of the table
      const pid_t child = fork();
      if (child == 0) {
         parkedwait::wakeAll(word); // of nobody: the sleeper is no thread of this process
         _exit(parkedwait::waitWhileUntil(word, 0, 0) ? 1 : 0);
      }
      ASSERT_GT(child, 0);
      int status = -1;
      ASSERT_EQ(waitpid(child, &status, 0), child);
      EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
   }
   over = true;
   word = 1;
   parkedwait::wakeAll(word);
   sleeper.join();
}

} // namespace
} // namespace osal
