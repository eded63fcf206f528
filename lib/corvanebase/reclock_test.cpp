#include "lib/corvanebase/corvanebase.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

class RecLock : public testing::Test {
protected:
   void SetUp() override { ASSERT_NE(mLock, nullptr); }
   void TearDown() override { MXUser_DestroyRecLock(mLock); }
   MXUserRecLock *const mLock = MXUser_CreateRecLock("testLock", 0xFF000002);
};

TEST_F(RecLock, IsHeldUntilTheLastRelease) {
   EXPECT_FALSE(MXUser_IsCurThreadHoldingRecLock(mLock));
   MXUser_AcquireRecLock(mLock);
   MXUser_AcquireRecLock(mLock);
   EXPECT_TRUE(MXUser_IsCurThreadHoldingRecLock(mLock));
   MXUser_ReleaseRecLock(mLock);
   EXPECT_TRUE(MXUser_IsCurThreadHoldingRecLock(mLock));
   MXUser_ReleaseRecLock(mLock);
   EXPECT_FALSE(MXUser_IsCurThreadHoldingRecLock(mLock));
}

TEST_F(RecLock, AnotherThreadsHoldIsNotOurs) {
   MXUser_AcquireRecLock(mLock);
   int held = 1;
   std::thread([&] { held = MXUser_IsCurThreadHoldingRecLock(mLock); }).join();
   EXPECT_EQ(held, 0);
   MXUser_ReleaseRecLock(mLock);
}

TEST_F(RecLock, KeepsThreadsApart) {
   constexpr int kRounds = 20000;
   int count = 0;
   const auto work = [&] {
      for (int round = 0; round < kRounds; ++round) {
         MXUser_AcquireRecLock(mLock);
         MXUser_AcquireRecLock(mLock);
         ++count;
         MXUser_ReleaseRecLock(mLock);
         MXUser_ReleaseRecLock(mLock);
      }
   };
   std::vector<std::thread> threads;
   for (int number = 0; number < 4; ++number) {
      threads.emplace_back(work);
   }
   for (std::thread &thread : threads) {
      thread.join();
   }
   EXPECT_EQ(count, 4 * kRounds);
}

TEST_F(RecLock, ChildOfAForkHoldsAndReleasesWhatTheForkingThreadHeld) {
   MXUser_AcquireRecLock(mLock);
   const pid_t child = fork();
   if (child == 0) {
      bool ok = MXUser_IsCurThreadHoldingRecLock(mLock) != 0;
      MXUser_AcquireRecLock(mLock);
      MXUser_ReleaseRecLock(mLock);
      MXUser_ReleaseRecLock(mLock);
      ok = ok && MXUser_IsCurThreadHoldingRecLock(mLock) == 0;
      // Free for everyone in the child, a thread of its own included.
      std::thread([&] {
         MXUser_AcquireRecLock(mLock);
         MXUser_ReleaseRecLock(mLock);
      }).join();
      _exit(ok ? 0 : 1);
   }
   int status = -1;
   ASSERT_EQ(waitpid(child, &status, 0), child);
   EXPECT_EQ(status, 0);
   EXPECT_TRUE(MXUser_IsCurThreadHoldingRecLock(mLock));
   MXUser_ReleaseRecLock(mLock);
}

TEST_F(RecLock, ChildOfAForkInASecondThreadReleasesToo) {
   int status = -1;
   std::thread([&] {
      MXUser_AcquireRecLock(mLock);
      const pid_t child = fork();
      if (child == 0) {
         const bool ok = MXUser_IsCurThreadHoldingRecLock(mLock) != 0;
         MXUser_ReleaseRecLock(mLock);
         _exit(ok ? 0 : 1);
      }
      waitpid(child, &status, 0);
      MXUser_ReleaseRecLock(mLock);
   }).join();
   EXPECT_EQ(status, 0);
}

MXUserRecLock *gSignalLock = nullptr;
std::atomic<int> gSignalsTaken{0};

void TakeInHandler(int) {
   const int error = errno;
   MXUser_AcquireRecLock(gSignalLock);
   MXUser_ReleaseRecLock(gSignalLock);
   gSignalsTaken.fetch_add(1, std::memory_order_relaxed);
   errno = error;
}

// A lock that takes itself and notes its holder in two steps hangs here within a few thousand signals.
TEST_F(RecLock, SignalHandlerMayTakeItBetweenAnyTwoStepsOfItsThread) {
   gSignalLock = mLock;
   struct sigaction action {};
   action.sa_handler = TakeInHandler;
   ASSERT_EQ(sigaction(SIGUSR1, &action, nullptr), 0);
   std::atomic<bool> stop{false};
   std::thread worker([&] {
      while (!stop.load(std::memory_order_relaxed)) {
         MXUser_AcquireRecLock(mLock);
         MXUser_AcquireRecLock(mLock);
         MXUser_ReleaseRecLock(mLock);
         EXPECT_NE(MXUser_IsCurThreadHoldingRecLock(mLock), 0);
         MXUser_ReleaseRecLock(mLock);
      }
   });
   for (int i = 0; i < 20'000; ++i) {
      ASSERT_EQ(pthread_kill(worker.native_handle(), SIGUSR1), 0);
      MXUser_AcquireRecLock(mLock); // and against another thread
      MXUser_ReleaseRecLock(mLock);
   }
   stop = true;
   worker.join();
   EXPECT_GT(gSignalsTaken.load(), 0);
   EXPECT_EQ(MXUser_IsCurThreadHoldingRecLock(mLock), 0);
}

TEST(RecLockLife, NullIsAllowedWhereTheHeaderSaysSo) {
   MXUser_DestroyRecLock(nullptr);
   MXUserRecLock *const unnamed = MXUser_CreateRecLock(nullptr, 0);
   ASSERT_NE(unnamed, nullptr);
   MXUser_DestroyRecLock(unnamed);
}

TEST(RecLockDeathTest, MisuseEndsTheProcess) {
   MXUserRecLock *const lock = MXUser_CreateRecLock("testLock", 0xFF000002);
   EXPECT_EXIT(MXUser_ReleaseRecLock(lock), testing::KilledBySignal(SIGABRT),
               "MXUser_ReleaseRecLock: lock 'testLock' \\(rank 0xFF000002\\) is not held by this thread");
   MXUser_AcquireRecLock(lock);
   EXPECT_EXIT(MXUser_DestroyRecLock(lock), testing::KilledBySignal(SIGABRT),
               "MXUser_DestroyRecLock: lock 'testLock' \\(rank 0xFF000002\\) is held");
   MXUser_ReleaseRecLock(lock);
   MXUser_DestroyRecLock(lock);
}

} // namespace
