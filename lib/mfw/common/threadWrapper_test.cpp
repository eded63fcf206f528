#include "lib/mfw/common/threadWrapper.h"

#include "lib/mfw/common/coreException.h"
#include "lib/mfw/common/logger.h"
#include "osal/SchedulePoint.h"
#include "tests/kit/LogCapture.h"
#include "tests/kit/ManualClock.h"
#include "tests/kit/PerturbedSchedule.h"

#include <cstring>
#include <functional>
#include <gtest/gtest.h>
#include <stdexcept>
#include <thread>
#include <vector>

namespace CORE {
namespace {

/// A runnable whose body is a function of the test.
class Body final : public corerunnable {
public:
   explicit Body(std::function<void(Body &)> function, const char *name = "body", corethreadgroup *group = nullptr,
                 threadwrapper *wrapper = nullptr)
       : corerunnable(name, wrapper, group, 3)
       , mFunction(std::move(function)) {}
   ~Body() override { SetEvent(sGone); }

   void ThreadMain() override { mFunction(*this); }
   void KeepAlive() { mKeepAlive = true; }

   static inline const HANDLE sGone = CreateEvent(nullptr, true, false, nullptr); // set when one is destroyed

private:
   const std::function<void(Body &)> mFunction;
};

/// Lets threads of a test stand still until it says so.
class Gate {
public:
   ~Gate() { CloseHandle(mEvent); }
   void Open() { SetEvent(mEvent); }
   void Pass() { WaitForSingleObject(mEvent, INFINITE); }

private:
   const HANDLE mEvent = CreateEvent(nullptr, true, false, nullptr);
};

void AwaitEnd(Body *body) {
   EXPECT_TRUE(body->Wait(INFINITE));
   body->Release();
   WaitForSingleObject(Body::sGone, INFINITE); // the thread's own reference goes last
}

void RunOnce(const std::function<void(Body &)> &function, const char *name = "body") {
   auto *const body = new Body(function, name);
   ASSERT_TRUE(body->Start());
   AwaitEnd(body);
}

TEST(Runnable, RunsItsBodyOnAThreadOfItsOwn) {
   uint32_t id = 0;
   auto *const body = new Body([&](Body &self) {
      id = GetCurrentThreadId();
      EXPECT_EQ(self.ThreadId(), id) << "the body finds itself tracked";
   });
   ASSERT_TRUE(body->Start());
   AwaitEnd(body);
   EXPECT_NE(id, 0U);
   EXPECT_NE(id, GetCurrentThreadId());
}

TEST(Runnable, OfAPlainFunctionCallsItWithItsArgument) {
   int value = 0;
   auto *const run = new corerun(
      "run", [](void *argument) { *static_cast<int *>(argument) = 7; }, &value, nullptr, nullptr, 3);
   EXPECT_EQ(run->Flags(), 3U);
   ASSERT_TRUE(run->Start());
   EXPECT_TRUE(run->Wait(INFINITE));
   run->Release();
   EXPECT_EQ(value, 7);
}

TEST(Runnable, MayBeReleasedRightAfterStart) {
   auto *const body = new Body([](Body &self) { EXPECT_GE(self.GetRefCount(), 1); });
   ASSERT_TRUE(body->Start());
   body->Release();
   EXPECT_EQ(WaitForSingleObject(Body::sGone, INFINITE), WAIT_OBJECT_0);
}

TEST(Runnable, WithoutAGroupHasOneThreadAtATimeAndMayHaveAnotherAfterIt) {
   kit::LogCapture log;
   Gate gate;
   std::atomic<int> runs{0};
   auto *const body = new Body(
      [&](Body &) {
         ++runs;
         gate.Pass();
      },
      "single");
   ASSERT_TRUE(body->Start());
   EXPECT_FALSE(body->Start());
   EXPECT_TRUE(log.Saw(logger::ERROR, "corerunnable: ONLY ONE THREAD ALLOWED WHEN NO GROUP, name=%s", "single"))
      << log.Dump();
   gate.Open();
   EXPECT_TRUE(body->Wait(INFINITE));
   while (!body->Start()) { // the wait may be over before the thread has done its last step
      std::this_thread::yield();
   }
   AwaitEnd(body);
   EXPECT_EQ(runs.load(), 2);
}

TEST(Runnable, WaitsInVainUntilTheTimeIsOver) {
   kit::ManualClock clock;
   Gate gate;
   auto *const body = new Body([&](Body &) { gate.Pass(); });
   ASSERT_TRUE(body->Start());
   clock.AwaitSleepers(1);
   bool waited = true;
   std::thread waiter([&] { waited = body->Wait(50); });
   clock.AwaitSleepers(2);
   clock.AdvanceMs(50);
   waiter.join();
   EXPECT_FALSE(waited);
   EXPECT_FALSE(body->Wait(0));
   gate.Open();
   AwaitEnd(body);
}

TEST(Runnable, ThatWasNeverStartedIsNotWaitedFor) {
   Body body([](Body &) {});
   EXPECT_TRUE(body.Wait(INFINITE));
   EXPECT_EQ(body.ThreadId(), 0U);
}

TEST(Runnable, DoesNotWaitForItself) {
   bool waited = true;
   RunOnce([&](Body &self) { waited = self.Wait(INFINITE); });
   EXPECT_FALSE(waited);
}

TEST(Runnable, InAGroupIsNotWaitedForAlone) {
   kit::LogCapture log;
   auto *const group = new corethreadgroup("group");
   {
      Body body([](Body &) {}, nullptr, group);
      EXPECT_STREQ(body.Name(), "group");
      EXPECT_FALSE(body.Wait(INFINITE));
   }
   EXPECT_TRUE(log.Saw(logger::ERROR, "corerunnable: ERROR: WAIT WHEN IN GROUP, name=%s", "group")) << log.Dump();
   EXPECT_EQ(group->Release(), 0);
}

TEST(Runnable, DoesNotWaitWhileTheProcessIsExiting) {
   Gate gate;
   auto *const body = new Body([&](Body &) { gate.Pass(); });
   ASSERT_TRUE(body->Start());
   coreExiting = true;
   EXPECT_TRUE(body->Wait(INFINITE));
   coreExiting = false;
   gate.Open();
   AwaitEnd(body);
}

TEST(Runnable, HasTheNameItWasGivenOrTheGroupsOrNone) {
   corethreadgroup group("group");
   EXPECT_STREQ(Body([](Body &) {}, "own", &group).Name(), "own");
   EXPECT_STREQ(Body([](Body &) {}, nullptr, &group).Name(), "group");
   EXPECT_EQ(Body([](Body &) {}, "", &group).Name(), nullptr); // Required: an empty name is one, and is no name
   EXPECT_EQ(Body([](Body &) {}, nullptr).Name(), nullptr);
   EXPECT_EQ(group.GetRefCount(), 1);
}

TEST(Runnable, HoldsItsWrapperAndItsGroup) {
   auto *const wrapper = new threadwrapper;
   auto *const group = new corethreadgroup;
   {
      const Body body([](Body &) {}, "name", group, wrapper);
      EXPECT_EQ(body.Wrapper(), wrapper);
      EXPECT_EQ(wrapper->GetRefCount(), 2);
      EXPECT_EQ(group->GetRefCount(), 2);
   }
   EXPECT_EQ(wrapper->GetRefCount(), 1);
   EXPECT_EQ(group->Release(), 0);
   EXPECT_EQ(wrapper->Release(), 0);
}

TEST(Runnable, TakesTheDefaultWrapperUnlessItIsToRunBare) {
   EXPECT_EQ(Body([](Body &) {}).Wrapper(), &defaultThreadWrapper);
   EXPECT_EQ(Body([](Body &) {}, "name", nullptr, corerunnable::NoWrapper()).Wrapper(), nullptr);
   EXPECT_EQ(defaultThreadWrapper.GetRefCount(), 1);
}

TEST(Runnable, LetsGoOfAWrapperThatIsGoneNoMore) {
   alignas(threadwrapper) unsigned char memory[sizeof(threadwrapper)];
   auto *const wrapper = new (memory) threadwrapper;
   Body body([](Body &) {}, "name", nullptr, wrapper);
   EXPECT_EQ(wrapper->GetRefCount(), 2);
   wrapper->~threadwrapper(); // gives up the runnable's reference, so that its own check passes
   EXPECT_EQ(destroyedThreadWrapper.load(), wrapper);
   std::memset(memory, 0xA5, sizeof memory); // a Release from here on would crash
}

TEST(Runnable, ThatIsDestroyedWithReferencesLeftThrowsUnlessItIsKeptAlive) {
   auto kept = [](bool alive) {
      auto *const body = new Body([](Body &) {});
      body->AddRef();
      if (alive) {
         body->KeepAlive();
      }
      delete body;
   };
   EXPECT_NO_THROW(kept(true));
   coreExiting = true;
   EXPECT_NO_THROW(kept(false));
   coreExiting = false;
}

TEST(Runnable, ThatCannotHaveAThreadSaysSoAndIsAsBefore) {
   kit::LogCapture log;
   coreBeginThread = [](void *, uint32_t, platforms::ThreadStart, void *, uint32_t, uint32_t *) -> HANDLE {
      errno = EAGAIN;
      return nullptr;
   };
   corethreadgroup group("group");
   Body alone([](Body &) {}, "alone");
   Body inGroup([](Body &) {}, nullptr, &group);
   EXPECT_FALSE(alone.Start());
   EXPECT_EQ(errno, EAGAIN);
   EXPECT_FALSE(inGroup.Start());
   EXPECT_TRUE(
      log.Saw(logger::ERROR, "corerunnable: FAILED TO CREATE THREAD, name=%s with error %d, %d", "alone", 0, 0))
      << log.Dump();
   EXPECT_EQ(alone.GetRefCount(), 1);
   EXPECT_EQ(inGroup.GetRefCount(), 1);
   EXPECT_EQ(group.Size(), 0U);
   EXPECT_FALSE(alone.Start()) << "a failed start is not one that runs";
   EXPECT_EQ(log.CountLevel(logger::ERROR), 3) << log.Dump();
   coreBeginThread = _beginthreadex;
}

TEST(Runnable, HasItsHandleClosedAtTheNextStartAndAtItsEnd) {
   static std::atomic<int> live{0};
   struct Counted final : platforms::WindowsHandle {
      Counted() { ++live; }
      ~Counted() override { --live; }
   };
   coreBeginThread = [](void *, uint32_t, platforms::ThreadStart start, void *argument, uint32_t, uint32_t *id) {
      *id = 1000;
      std::thread([=] { start(argument); }).detach();
      return static_cast<HANDLE>(new Counted);
   };
   auto *const body = new Body([](Body &) {});
   for (int i = 0; i < 3; ++i) {
      while (!body->Start()) {
         std::this_thread::yield();
      }
      EXPECT_EQ(live.load(), 1);
   }
   body->Release();
   WaitForSingleObject(Body::sGone, INFINITE);
   while (live.load() != 0) {
      std::this_thread::yield();
   }
   coreBeginThread = _beginthreadex;
}

TEST(Runnable, LogsBeginAndEndWhenAsked) {
   kit::LogCapture log;
   mCoreDebugThreads = true;
   RunOnce([](Body &) {}, "named");
   RunOnce([](Body &) {}, nullptr);
   mCoreDebugThreads = false;
   const uint32_t below0 = UINT32_MAX; // Required: one less than the threads of the group, also when there is none
   EXPECT_TRUE(log.Saw(logger::TRACE, "Begin '%s', count=%u, wrapper=0x%p, group=0x%p", "named", 0U,
                       static_cast<void *>(&defaultThreadWrapper), static_cast<void *>(nullptr)))
      << log.Dump();
   EXPECT_TRUE(log.Saw(logger::TRACE, "End '%s', count=%u, group=%u", "named", below0, 0U)) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::TRACE, "End '%s', count=%u, group=%u", "UNNAMED", below0, 0U)) << log.Dump();
}

TEST(Runnable, LogsTheThreadsThatAreLeftInItsGroup) {
   kit::LogCapture log;
   mCoreDebugThreads = true;
   auto *const body = new Body([](Body &) {}, "one", &allThreadsGroup());
   ASSERT_TRUE(body->Start());
   body->Release();
   WaitForSingleObject(Body::sGone, INFINITE);
   allThreadsGroup().Wait(INFINITE);
   mCoreDebugThreads = false;
   EXPECT_TRUE(log.Saw(logger::TRACE, "End '%s', count=%u, group=%u", "one", 0U, 0U)) << log.Dump();
}

// ---- What the body throws -------------------------------------------------------------------------------------------

TEST(ThreadWrapper, ReportsWhatTheBodyThrows) {
   kit::LogCapture log;
   RunOnce([](Body &) { throw coreException("broken"); }, "core");
   RunOnce([](Body &) { throw 0xC0000005U; }, "code");
   RunOnce([](Body &) { throw -2; }, "signed");
   RunOnce([](Body &) { throw std::runtime_error("text"); }, "other");
   RunOnce([](Body &) { throw std::runtime_error("text"); }, nullptr);
   EXPECT_TRUE(log.Saw(logger::ERROR, "Runnable: %s EXCEPTION %s", "core", "broken")) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::ERROR, "Runnable: %s SEH EXCEPTION 0x%x", "code", 0xC0000005U)) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::ERROR, "Runnable: %s SEH EXCEPTION 0x%x", "signed", 0xFFFFFFFEU)) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::ERROR, "Runnable: %s EXCEPTION", "other")) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::ERROR, "Runnable: %s EXCEPTION", "<UNNAMED>")) << log.Dump();
   EXPECT_EQ(log.CountLevel(logger::ERROR), 5) << log.Dump();
}

TEST(ThreadWrapper, LetsAThreadThatThrewBeStartedAgain) {
   kit::LogCapture log;
   std::atomic<int> runs{0};
   auto *const body = new Body([&](Body &) {
      ++runs;
      throw coreException(5);
   });
   for (int i = 0; i < 2; ++i) {
      while (!body->Start()) {
         std::this_thread::yield();
      }
      EXPECT_TRUE(body->Wait(INFINITE));
   }
   AwaitEnd(body);
   EXPECT_EQ(runs.load(), 2);
}

TEST(ThreadWrapper, LetsAThreadEndItselfInsideTheBody) {
   kit::LogCapture log;
   struct Guard {
      bool &left;
      ~Guard() { left = true; }
   };
   bool left = false;
   auto *const group = new corethreadgroup;
   for (corethreadgroup *const in : {static_cast<corethreadgroup *>(nullptr), group}) {
      ResetEvent(Body::sGone);
      auto *const body = new Body(
         [&](Body &) {
            const Guard guard{left};
            ExitThread(3);
         },
         "leaver", in);
      ASSERT_TRUE(body->Start());
      body->Release();
      EXPECT_EQ(WaitForSingleObject(Body::sGone, INFINITE), WAIT_OBJECT_0) << "its reference is given back";
      EXPECT_TRUE(left);
   }
   EXPECT_EQ(group->Size(), 0U);
   EXPECT_EQ(log.CountLevel(logger::ERROR), 0) << log.Dump();
   while (group->GetRefCount() != 1) {
      std::this_thread::yield();
   }
   group->Release();
}

TEST(ThreadWrapperDeathTest, IsMissedByABareBodyThatThrows) {
   GTEST_FLAG_SET(death_test_style, "threadsafe");
   EXPECT_DEATH(
      {
         auto *const body = new Body([](Body &) { throw 5; }, "bare", nullptr, corerunnable::NoWrapper());
         body->Start();
         body->Wait(INFINITE);
      },
      "");
}

TEST(ThreadWrapperDeathTest, OfTheProcessServesInitialisersAndExit) {
   GTEST_FLAG_SET(death_test_style, "threadsafe"); // the initialiser's thread may still be on its way out
   EXPECT_EXIT(
      {
         std::atexit([] {
            // The library's own things are past their end by now, and are used all the same.
            RunOnce([](Body &) {}, "late");
            {
               const Body body([](Body &) {}, "last");
            }
            _exit(allThreadsGroup().Size() == 0 ? 0 : 1);
         });
         std::exit(2);
      },
      testing::ExitedWithCode(0), "");
}

const bool gStartedWhileInitialising = [] {
   auto *const body = new Body([](Body &) {}, "early", &allThreadsGroup());
   const bool started = body->Start();
   body->Release();
   allThreadsGroup().Wait(INFINITE);
   WaitForSingleObject(Body::sGone, INFINITE);
   ResetEvent(Body::sGone);
   return started;
}();

TEST(Runnable, StartsFromAnInitialiser) {
   EXPECT_TRUE(gStartedWhileInitialising);
}

// ---- Many at a time -------------------------------------------------------------------------------------------------

TEST(Runnable, IsStartedWaitedForAndReleasedByManyThreads) {
   const kit::PerturbedSchedule schedule;
   kit::LogCapture log;
   std::atomic<int> runs{0};
   std::atomic<int> starts{0};
   auto *const body = new Body([&](Body &) { ++runs; });
   std::vector<std::thread> threads;
   for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&] {
         for (int n = 0; n < 100; ++n) {
            body->AddRef();
            starts += body->Start() ? 1 : 0;
            body->Wait(INFINITE);
            body->Release();
         }
      });
   }
   for (std::thread &thread : threads) {
      thread.join();
   }
   EXPECT_TRUE(body->Wait(INFINITE));
   AwaitEnd(body);
   EXPECT_EQ(runs.load(), starts.load());
   EXPECT_GE(starts.load(), 1);
}

} // namespace
} // namespace CORE
