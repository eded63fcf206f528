#include "lib/mfw/common/platforms/windowsThread.h"

#include "lib/mfw/common/platforms/waitTestKit.h"
#include "tests/kit/LogCapture.h"
#include "tests/kit/ManualClock.h"

#include "lib/mfw/common/logger.h"

#include <cerrno>
#include <cstdlib>
#include <gtest/gtest.h>
#include <pthread.h>
#include <set>

using platforms::ThreadStart;
using waittest::EndableThread;
using waittest::Handle;
using waittest::Waiter;

namespace {

HANDLE Begin(ThreadStart start, void *argument = nullptr, uint32_t *id = nullptr) {
   return _beginthreadex(nullptr, 0, start, argument, 0, id);
}

TEST(Thread, RunsItsFunctionAndIsSetForGoodAtItsEnd) {
   bool ran = false;
   const Handle thread(Begin(
      [](void *argument) -> uint32_t {
         *static_cast<bool *>(argument) = true;
         return 7;
      },
      &ran));
   EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
   EXPECT_TRUE(ran);
   EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
   EXPECT_TRUE(thread.IsSet());
}

TEST(Thread, ItsEndLetsTwoWaitersThrough) {
   kit::ManualClock clock;
   EndableThread thread;
   Waiter first([&] { return WaitForSingleObject(thread, INFINITE); });
   Waiter second([&] { return WaitForSingleObject(thread, 50); });
   clock.AwaitSleepers(3);
   thread.End();
   EXPECT_EQ(first.Result(), WAIT_OBJECT_0);
   EXPECT_EQ(second.Result(), WAIT_OBJECT_0);
}

TEST(Thread, KnowsItsGeneratedId) {
   uint32_t seen = 0;
   uint32_t id = 0;
   const Handle thread(Begin(
      [](void *argument) -> uint32_t {
         *static_cast<uint32_t *>(argument) = GetCurrentThreadId();
         return 0;
      },
      &seen, &id));
   WaitForSingleObject(thread, INFINITE);
   EXPECT_GE(id, 1U);
   EXPECT_EQ(seen, id);
}

TEST(Thread, AForeignThreadGetsANewIdAndKeepsIt) {
   std::set<uint32_t> ids{GetCurrentThreadId()};
   for (int i = 0; i < 3; ++i) {
      std::thread([&] {
         const uint32_t id = GetCurrentThreadId();
         EXPECT_EQ(GetCurrentThreadId(), id);
         EXPECT_GE(id, 1U);
         ids.insert(id);
      }).join();
   }
   EXPECT_EQ(ids.size(), 4U);
}

TEST(Thread, CloseWhileItRunsLeavesTheObjectUntilItsEnd) {
   const Handle go = Handle::ManualReset();
   const Handle done = Handle::ManualReset();
   struct Events {
      HANDLE go;
      HANDLE done;
   } events{go, done};
   const HANDLE thread = Begin(
      [](void *argument) -> uint32_t {
         const Events &mine = *static_cast<Events *>(argument);
         WaitForSingleObject(mine.go, INFINITE);
         SetEvent(mine.done);
         return 0;
      },
      &events);
   EXPECT_TRUE(CloseHandle(thread)); // the thread frees it: a leak, or a second free, is the sanitizer's to find
   SetEvent(go);
   EXPECT_EQ(WaitForSingleObject(done, INFINITE), WAIT_OBJECT_0);
}

TEST(Thread, ItsThreadIsDetachedSoThatNobodyNeedsToJoinIt) {
#ifdef MAVR_THREAD_SANITIZED
   GTEST_SKIP() << "the thread sanitizer ends the process when a thread is detached for the second time";
#endif
   int outcome = 0;
   const Handle thread(Begin(
      [](void *argument) -> uint32_t {
         *static_cast<int *>(argument) = pthread_detach(pthread_self());
         return 0;
      },
      &outcome));
   WaitForSingleObject(thread, INFINITE);
   EXPECT_EQ(outcome, EINVAL) << "it was joinable";
}

TEST(Thread, ExitThreadEndsItWithItsHandleSet) {
   static bool unwound;
   unwound = false;
   const Handle thread(Begin([](void *) -> uint32_t {
      struct Guard {
         ~Guard() { unwound = true; }
      } guard;
      ExitThread(3);
   }));
   EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
   EXPECT_TRUE(unwound);
}

// ---- TerminateThread ------------------------------------------------------------------------------------------------

class Terminated : public testing::TestWithParam<ThreadStart> {};

TEST_P(Terminated, EndsWhileItRestsOrWaitsAndLeavesNothingBehind) {
   kit::ManualClock clock;
   const Handle events[] = {Handle::AutoReset(), Handle::AutoReset()};
   HANDLE handles[] = {events[0], events[1]};
   const Handle thread(Begin(GetParam(), handles));
   clock.AwaitSleepers(1);
   EXPECT_TRUE(TerminateThread(thread));
   EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
   EXPECT_EQ(clock.Sleepers(), 0U);
   for (const Handle &event : events) { // finds no waiter of the dead thread
      SetEvent(event);
      EXPECT_EQ(WaitForSingleObject(event, 1), WAIT_OBJECT_0);
   }
}

HANDLE *Handles(void *argument) {
   return static_cast<HANDLE *>(argument);
}

INSTANTIATE_TEST_SUITE_P(
   InEachWait, Terminated,
   testing::Values(
      +[](void *handles) -> uint32_t { return WaitForSingleObject(Handles(handles)[0], INFINITE); },
      +[](void *handles) -> uint32_t { return WaitForSingleObject(Handles(handles)[0], 50); },
      +[](void *handles) -> uint32_t { return WaitForMultipleObjects(2, Handles(handles), false, INFINITE); },
      +[](void *handles) -> uint32_t { return WaitForMultipleObjects(2, Handles(handles), false, 50); },
      +[](void *handles) -> uint32_t { return WaitForMultipleObjects(2, Handles(handles), true, INFINITE); }));

TEST(TerminateThread, EndsAThreadThatSleeps) {
#ifdef MAVR_THREAD_SANITIZED
   GTEST_SKIP() << "the thread sanitizer loses sight of a thread that is cancelled inside its own nanosleep";
#endif
   const Handle thread(Begin([](void *) -> uint32_t {
      for (;;) {
         Sleep(3'600'000);
      }
   }));
   EXPECT_TRUE(TerminateThread(thread));
   EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
}

TEST(TerminateThread, OfAThreadThatHasEndedIsFalse) {
   const Handle thread(Begin([](void *) -> uint32_t { return 0; }));
   WaitForSingleObject(thread, INFINITE);
   EXPECT_FALSE(TerminateThread(thread));
   EXPECT_FALSE(TerminateThread(thread));
}

TEST(TerminateThreadDeathTest, OfSomethingElseEndsTheProcess) {
   const Handle event = Handle::AutoReset();
   EXPECT_DEATH(TerminateThread(event), "TerminateThread.*thread");
   EXPECT_DEATH(TerminateThread(nullptr), "TerminateThread.*thread");
}

// ---- Messages -------------------------------------------------------------------------------------------------------

TEST(ThreadMessages, CreationIsTraced) {
   const kit::LogCapture log;
   uint32_t id = 0;
   pthread_t self{};
   const Handle thread(Begin(
      [](void *argument) -> uint32_t {
         *static_cast<pthread_t *>(argument) = pthread_self();
         return 0;
      },
      &self, &id));
   WaitForSingleObject(thread, INFINITE);
   EXPECT_TRUE(log.Saw(logger::TRACE, "Created WindowsThread. Id = %lu. Generated Id = %d",
                       static_cast<unsigned long>(self), static_cast<int>(id)))
      << log.Dump();
}

TEST(ThreadMessages, CreateSuspendedIsIgnoredAloud) {
   const kit::LogCapture log;
   const Handle thread(_beginthreadex(
      nullptr, 0, [](void *) -> uint32_t { return 0; }, nullptr, CREATE_SUSPENDED, nullptr));
   EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
   EXPECT_TRUE(
      log.Saw(logger::DEBUG, "Ignoring the CREATE_SUSPENDED flag on POSIX, the thread will be started immediately\n"))
      << log.Dump();
}

TEST(ThreadMessagesDeathTest, WithoutAKeyForItsIdAThreadRunsAllTheSame) {
   testing::GTEST_FLAG(death_test_style) = "threadsafe"; // a process of its own: the key is made once
   const auto runWithoutAKey = [] {
      pthread_key_t key{};
      while (pthread_key_create(&key, nullptr) == 0) {
      }
      const kit::LogCapture log;
      uint32_t seen = 7;
      bool right = true;
      {
         const Handle thread(Begin(
            [](void *argument) -> uint32_t {
               *static_cast<uint32_t *>(argument) = GetCurrentThreadId();
               return 0;
            },
            &seen));
         right = WaitForSingleObject(thread, INFINITE) == WAIT_OBJECT_0 && seen == 0;
      }
      right = right && log.Saw(logger::FATAL, "Unable to initialize TLS for WindowsThread");
      std::_Exit(right ? 3 : 4);
   };
   EXPECT_EXIT(runWithoutAKey(), testing::ExitedWithCode(3), "");
}

} // namespace
