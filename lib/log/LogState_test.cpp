#include "lib/log/LogTestKit.h"

#include "lib/log/LogDeferred.h"

#include <atomic>
#include <csignal>
#include <latch>
#include <malloc.h>
#include <new>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

using logtest::CaptureOutput;
using logtest::CountOf;
using logtest::LogFixture;

namespace {

std::atomic<uint64_t> gAllocations{0};
#ifndef MAVR_SANITIZED
std::atomic<void (*)()> gOnAllocation{nullptr}; // called once, at the next allocation
#endif

class LogStateTest : public LogFixture {
protected:
};

void LogFromHandler(int) {
   const int former = VThreadBase_SetIsInSignal(1);
   Log_Info("from the handler");
   VThreadBase_SetIsInSignal(former);
}

// Runs `body` in a child and says how it ended; a child that hangs is ended by its alarm.
template <class Body>
int InChild(Body body) {
   const pid_t child = fork();
   if (child == 0) {
      alarm(60);
      body();
      _exit(0);
   }
   int status = -1;
   waitpid(child, &status, 0);
   return status;
}

} // namespace

#ifndef MAVR_SANITIZED
void *operator new(size_t size) {
   gAllocations.fetch_add(1, std::memory_order_relaxed);
   if (void (*const call)() = gOnAllocation.exchange(nullptr); call != nullptr) {
      call();
   }
   if (void *const memory = std::malloc(size); memory != nullptr) {
      return memory;
   }
   std::abort();
}
[[gnu::noinline]] void operator delete(void *memory) noexcept {
   std::free(memory);
}
[[gnu::noinline]] void operator delete(void *memory, size_t) noexcept {
   std::free(memory);
}
#endif

TEST_F(LogStateTest, HasItsLockByNameAndRank) {
   EXPECT_STREQ(gLogState.lockName, "logLock");
   EXPECT_EQ(gLogState.lockRank, 0xFF000002U);
   EXPECT_EQ(gLogState.busy.load(), 0U);
}

TEST_F(LogStateTest, AllocatesNothingForALine) {
   ASSERT_NE(StartFile(path, {"log.throttleBytesPerSec=-1"}), nullptr);
   const std::string longText(2000, 'x');
   Log_Info("warm %s", longText.c_str());
   const uint64_t before = gAllocations.load();
   const struct mallinfo2 heapBefore = mallinfo2();
   for (int count = 0; count < 1000; ++count) {
      Log_Info("line %d of many", count);
      Log_Info("%s", longText.c_str());
   }
   EXPECT_EQ(gAllocations.load(), before);
   EXPECT_EQ(mallinfo2().uordblks, heapBefore.uordblks);
}

TEST_F(LogStateTest, WritesWholeLinesFromManyThreads) {
   constexpr int kThreads = 4;
   constexpr int kLines = 250; // each line fits the stack: only one thread has the big buffer at a time
   LogOutput *const output = StartFile(path, {"log.throttleBytesPerSec=-1"});
   AsFile(output)->rotateSize = 0;
   std::vector<std::thread> threads;
   for (int thread = 0; thread < kThreads; ++thread) {
      threads.emplace_back([=] {
         for (int line = 0; line < kLines; ++line) {
            Log_Info("thread %d line %d %s end", thread, line, std::string(static_cast<size_t>(line), 'x').c_str());
         }
      });
   }
   for (std::thread &thread : threads) {
      thread.join();
   }
   const std::string content = kit::ReadFile(path);
   EXPECT_EQ(CountOf(content, " end\n"), static_cast<size_t>(kThreads * kLines));
   for (int thread = 0; thread < kThreads; ++thread) {
      size_t at = 0;
      for (int line = 0; line < kLines; ++line) {
         const std::string part = "thread " + std::to_string(thread) + " line " + std::to_string(line) + " ";
         at = content.find(part, at);
         ASSERT_NE(at, std::string::npos) << part;
      }
   }
}

TEST_F(LogStateTest, LogsInTheChildOfAForkWhileThreadsLog) {
   constexpr int kThreads = 2;
   ASSERT_NE(StartFile(path, {"log.throttleBytesPerSec=-1"}), nullptr);
   // Nobody asks for memory from the first fork on: not every sanitizer's heap survives a fork in the midst of that.
   const std::string text(1000, 'x'); // through the big buffer
   std::latch logging(kThreads);
   std::atomic<bool> stop{false};
   std::vector<std::thread> threads;
   for (int thread = 0; thread < kThreads; ++thread) {
      threads.emplace_back([&] {
         Log_Info("%s", text.c_str());
         logging.count_down();
         while (!stop) {
            Log_Info("%s", text.c_str());
         }
      });
   }
   logging.wait();
   for (int round = 0; round < 30 && !HasFailure(); ++round) {
      const int status = InChild([&] {
         Log_Info("child %d %s", round, text.c_str());
         if (gLogState.bigBuffer.load() == nullptr || gLogState.busy.load() != 0 || gLogState.depth.load() != 0) {
            _exit(1);
         }
      });
      EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << round << " " << status;
   }
   stop = true;
   for (std::thread &thread : threads) {
      thread.join();
   }
   Log_Info("parent");
   const std::string content = kit::ReadFile(path);
   EXPECT_EQ(CountOf(content, "parent\n"), 1U);
}

#ifndef MAVR_SANITIZED
TEST_F(LogStateTest, LogsInTheChildOfAForkWhileTheLockIsBeingCreated) {
   if (gLogState.lock.load() != nullptr) {
      GTEST_SKIP() << "the lock is there already: run this test in a process of its own";
   }
   static int status = -1;
   gOnAllocation.store([] {
      EXPECT_EQ(gLogState.busy.load(), 1U) << "this is not the allocation of the lock";
      std::thread([] {
         status = InChild([] {
            Log_Info("child");
            _exit(gLogState.earlyRing->used > 0 ? 0 : 1);
         });
      }).join();
   });
   Log_Info("parent");
   EXPECT_EQ(status, 0);
   EXPECT_GT(gLogState.earlyRing->used, 0U);
}
#endif

TEST_F(LogStateTest, LeavesTheLockFreeBehindAForkInAnOutput) {
   CaptureOutput output;
   output.onWrite = [] {
      static bool done = false;
      if (!done) {
         done = true;
         EXPECT_EQ(InChild([] { Log_Info("nested in the child"); }), 0);
      }
   };
   ASSERT_TRUE(Log_AddOutput(&output));
   Log_Info("x");
   std::thread([] { Log_Info("another thread gets the lock"); }).join();
   EXPECT_TRUE(output.Saw(5, "another thread gets the lock\n"));
}

TEST_F(LogStateTest, LogsFromASignalHandlerWithTheLastStamp) {
   ASSERT_NE(StartFile(path), nullptr);
   Log_Info("before");
   clock.AdvanceMs(3168);
   std::signal(SIGUSR1, &LogFromHandler);
   raise(SIGUSR1);
   const std::string content = kit::ReadFile(path);
   EXPECT_EQ(CountOf(content, "\n2026-11-12T18:30:00Z[+3.045] In(05) "), 1U) << content;
   EXPECT_EQ(CountOf(content, " from the handler\n"), 1U);
}

TEST_F(LogStateTest, KeepsAMessageOfAHandlerThatInterruptsTheLog) {
   CaptureOutput output;
   std::signal(SIGUSR1, &LogFromHandler);
   ASSERT_TRUE(Log_AddOutput(&output));
   {
      const LogLock lock(&gLogState); // lock and rings may be half moved from here on
      raise(SIGUSR1);
      EXPECT_EQ(gLogState.earlyRing->used, 0U) << "the ring was touched";
   }
   Log_Info("next");
   ASSERT_EQ(output.lines.size(), 2U);
   EXPECT_EQ(output.lines[0].text, "from the handler\n");
   EXPECT_EQ(output.lines[1].text, "next\n");
}

TEST_F(LogStateTest, LosesNothingButTheOverflowOfHandlersThatInterruptTheLog) {
   CaptureOutput output;
   std::signal(SIGUSR1, &LogFromHandler);
   ASSERT_TRUE(Log_AddOutput(&output));
   {
      const LogLock lock(&gLogState);
      for (int count = 0; count < 20; ++count) {
         raise(SIGUSR1);
      }
   }
   Log_Info("next");
   EXPECT_EQ(output.lines.size(), 17U);
}

TEST_F(LogStateTest, SurvivesAHandlerAtAnyMoment) {
   ASSERT_NE(StartFile(path, {"log.throttleBytesPerSec=-1"}), nullptr);
   std::signal(SIGUSR1, &LogFromHandler);
   const pthread_t self = pthread_self();
   std::atomic<bool> stop{false};
   std::thread sender([&] {
      while (!stop) {
         pthread_kill(self, SIGUSR1);
         std::this_thread::yield();
      }
   });
   for (int count = 0; count < 20000; ++count) {
      Log_Info("line %d", count);
   }
   stop = true;
   sender.join();
   const std::string content = kit::ReadFile(path);
   EXPECT_EQ(CountOf(content, " line "), 20000U);
   EXPECT_EQ(CountOf(content, "from the handler\n"), CountOf(content, "from the handler"));
}

TEST_F(LogStateTest, TakesTheStampOfTheClockAndKeepsUpWithItsJumps) {
   char text[32];
   const struct {
      int64_t us;
      const char *stamp;
   } cases[] = {{-1'000'000, "1969-12-31T23:59:59.000Z"},
                {0, "1970-01-01T00:00:00.000Z"},
                {999'999, "1970-01-01T00:00:00.999Z"},
                {1'000'000, "1970-01-01T00:00:01.000Z"},
                {951'782'400'000'000, "2000-02-29T00:00:00.000Z"},
                {951'782'399'999'999, "2000-02-28T23:59:59.999Z"},
                {4'102'444'800'000'000, "2100-01-01T00:00:00.000Z"},
                {40'000'000'000'000'000, "3237-07-19T23:06:40.000Z"}};
   for (const auto &each : cases) {
      clock.SetWallUs(each.us);
      Log_FormatTimeStampText(true, text, sizeof text);
      EXPECT_STREQ(text, each.stamp);
      Log_FormatTimeStampText(true, text, sizeof text);
      EXPECT_STREQ(text, each.stamp) << "from the cache";
   }
}
