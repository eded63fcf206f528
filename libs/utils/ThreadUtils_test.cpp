#include "libs/utils/ThreadUtils.h"

#include "lib/mfw/common/logger.h"
#include "tests/kit/LogCapture.h"
#include "tests/kit/ManualClock.h"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <pthread.h>
#include <string>
#include <thread>

namespace {

constexpr uint64_t kMs = 1'000'000;

// What the callback of a test does, and how often it has been called.
class Service {
public:
   using Step = std::function<void(CRVThread &thread, int call)>;

   explicit Service(Step step = nullptr)
       : mStep(std::move(step)) {}

   static bool Callback(void *data, CRVThread *thread) {
      auto *const self = static_cast<Service *>(data);
      const int call = self->mCalls.load() + 1;
      self->mThreadId.store(GetCurrentThreadId());
      if (self->mStep) {
         self->mStep(*thread, call);
      }
      self->mCalls.store(call);
      self->mCalls.notify_all();
      return false;
   }

   void AwaitCalls(int count) const {
      for (int seen = mCalls.load(); seen < count; seen = mCalls.load()) {
         mCalls.wait(seen);
      }
   }
   int Calls() const { return mCalls.load(); }
   unsigned long ThreadId() const { return mThreadId.load(); }

private:
   const Step mStep;
   std::atomic<int> mCalls{0};
   std::atomic<uint32_t> mThreadId{0};
};

// Opened once, for good.
class Latch {
public:
   void Open() {
      mOpen.store(true);
      mOpen.notify_all();
   }
   void Pass() const { mOpen.wait(false); }

private:
   std::atomic<bool> mOpen{false};
};

class CRVThreadTest : public testing::Test {
protected:
   void AwaitDeadline(uint64_t deadlineNs) const {
      while (mClock.NextDeadlineNs() != deadlineNs) {
         std::this_thread::yield();
      }
   }

   kit::LogCapture mLog;
   kit::ManualClock mClock;
};

// ---- Start, interval, stop ------------------------------------------------------------------------------------------

TEST_F(CRVThreadTest, NeverStartedItIsStoppedAndAnswersAtOnce) {
   CRVThread thread;
   EXPECT_TRUE(thread.StopThread(INFINITE));
   EXPECT_TRUE(thread.WaitForStop(INFINITE));
   EXPECT_TRUE(thread.ShouldStop(INFINITE));
   EXPECT_FALSE(thread.WaitForExitEvent());
   EXPECT_NE(thread.GetNotifEvent(), nullptr);
   EXPECT_TRUE(mLog.Lines().empty()) << mLog.Dump();
}

TEST_F(CRVThreadTest, TheFirstCallbackComesAtOnceAndTheOthersAtTheInterval) {
   Service service;
   CRVThread thread;
   const uint64_t start = mClock.monotonicNs();
   ASSERT_TRUE(thread.StartThread(Service::Callback, &service, 1000, 0));
   service.AwaitCalls(1);
   AwaitDeadline(start + 1000 * kMs);
   mClock.AdvanceMs(999);
   EXPECT_EQ(service.Calls(), 1);
   mClock.AdvanceMs(1);
   service.AwaitCalls(2);
   AwaitDeadline(start + 2000 * kMs);
   EXPECT_TRUE(thread.StopThread(INFINITE));
   EXPECT_EQ(service.Calls(), 2);
}

TEST_F(CRVThreadTest, TheThreadIsNamedAndSaysSo) {
   std::string systemName;
   Service service([&systemName](CRVThread &, int) {
      char name[64] = "";
      pthread_getname_np(pthread_self(), name, sizeof name);
      systemName = name;
   });
   CRVThread thread;
   thread.SetName("FPSCheck");
   EXPECT_EQ(thread.GetName(), "FPSCheck");
   ASSERT_TRUE(thread.StartThread(Service::Callback, &service, -1, 1));
   EXPECT_TRUE(thread.WaitForStop(INFINITE));
   EXPECT_EQ(systemName, "FPSCheck");
   EXPECT_TRUE(mLog.Saw(logger::TRACE, "Thread started. Name=%s. Id=%lu", "FPSCheck", service.ThreadId()))
      << mLog.Dump();
   EXPECT_TRUE(mLog.Saw(logger::TRACE, "Thread exited. Name=%s. Id=%lu", "FPSCheck", service.ThreadId()))
      << mLog.Dump();
}

TEST_F(CRVThreadTest, ANamelessThreadHasAnEmptyNameInItsLines) {
   Service service;
   CRVThread thread;
   ASSERT_TRUE(thread.StartThread(Service::Callback, &service, 0, 1));
   EXPECT_TRUE(thread.WaitForStop(INFINITE));
   EXPECT_TRUE(mLog.Saw(logger::TRACE, "Thread started. Name=%s. Id=%lu", "", service.ThreadId())) << mLog.Dump();
   EXPECT_EQ(thread.GetName(), "");
}

TEST_F(CRVThreadTest, AnIntervalOfMinusOneWaitsWithoutLimit) {
   Service service;
   CRVThread thread;
   ASSERT_TRUE(thread.StartThread(Service::Callback, &service, -1, 0));
   service.AwaitCalls(1);
   mClock.AwaitSleepers(1);
   EXPECT_EQ(mClock.NextDeadlineNs(), osal::Clock::kNoDeadline);
   mClock.AdvanceMs(uint64_t{1} << 33);
   EXPECT_EQ(service.Calls(), 1);
   EXPECT_TRUE(thread.StopThread(INFINITE));
}

TEST_F(CRVThreadTest, AnIntervalBelowMinusOneOrNoCallbackIsRefused) {
   Service service;
   CRVThread thread;
   EXPECT_FALSE(thread.StartThread(Service::Callback, &service, -2, 0));
   EXPECT_EQ(mLog.Count(logger::ERROR, "Thread not started. Reqd param missing"), 1) << mLog.Dump();
   EXPECT_FALSE(thread.StartThread(nullptr, &service, 1000, 0));
   EXPECT_EQ(mLog.Count(logger::ERROR, "Thread not started. Reqd param missing"), 2) << mLog.Dump();
   EXPECT_EQ(service.Calls(), 0);
   EXPECT_TRUE(thread.ShouldStop(0));
}

TEST_F(CRVThreadTest, AnIntervalOfZeroCallsBackToBackUntilStopped) {
   Service service;
   CRVThread thread;
   ASSERT_TRUE(thread.StartThread(Service::Callback, &service, 0, 0));
   service.AwaitCalls(1000);
   EXPECT_TRUE(thread.StopThread(INFINITE));
   EXPECT_EQ(mClock.Sleepers(), 0U);
}

TEST_F(CRVThreadTest, AtItsRunLimitItEndsByItselfWithoutTouchingTheEvents) {
   Service service;
   CRVThread thread;
   ASSERT_TRUE(thread.StartThread(Service::Callback, &service, 0, 3));
   EXPECT_TRUE(thread.WaitForStop(INFINITE));
   EXPECT_EQ(service.Calls(), 3);
   EXPECT_FALSE(thread.ShouldStop(0));
   EXPECT_EQ(WaitForSingleObject(thread.GetNotifEvent(), 0), WAIT_TIMEOUT);
   ASSERT_TRUE(thread.StartThread(Service::Callback, &service, 0, 1));
   EXPECT_TRUE(thread.WaitForStop(INFINITE));
   EXPECT_EQ(service.Calls(), 4);
}

TEST_F(CRVThreadTest, TheLastRunOfALimitIsNotFollowedByAWait) {
   Service service;
   CRVThread thread;
   ASSERT_TRUE(thread.StartThread(Service::Callback, &service, -1, 1));
   EXPECT_TRUE(thread.WaitForStop(INFINITE)); // with a wait it would never end
}

TEST_F(CRVThreadTest, RequiredFixedRateReadsTheIntervalAsSecondsAndTheWaitsGrow) {
   Service service([this](CRVThread &, int) { mClock.AdvanceMs(500); });
   CRVThread thread;
   thread.SetFixedRate(true);
   const uint64_t start = mClock.monotonicNs();
   ASSERT_TRUE(thread.StartThread(Service::Callback, &service, 2, 0));
   AwaitDeadline(start + (500 + 1500) * kMs);
   mClock.AdvanceMs(1500);
   AwaitDeadline(start + (500 + 1500 + 500 + 3000) * kMs);
   EXPECT_TRUE(thread.StopThread(INFINITE));
}

class WaitingForever : public CRVThread {
public:
   WaitingForever() { mWaitForever = true; }
};

TEST_F(CRVThreadTest, WaitForeverOverridesTheInterval) {
   Service service;
   WaitingForever thread;
   ASSERT_TRUE(thread.StartThread(Service::Callback, &service, 10, 0));
   service.AwaitCalls(1);
   mClock.AwaitSleepers(1);
   EXPECT_EQ(mClock.NextDeadlineNs(), osal::Clock::kNoDeadline);
   EXPECT_TRUE(thread.StopThread(INFINITE));
}

// ---- Notifications --------------------------------------------------------------------------------------------------

TEST_F(CRVThreadTest, ANotificationInTheMiddleOfAWaitCallsAtOnceAndTheIntervalStartsAnew) {
   Service service([](CRVThread &thread, int) { ResetEvent(thread.GetNotifEvent()); });
   CRVThread thread;
   const uint64_t start = mClock.monotonicNs();
   ASSERT_TRUE(thread.StartThread(Service::Callback, &service, 1000, 0));
   AwaitDeadline(start + 1000 * kMs);
   mClock.AdvanceMs(600);
   SetEvent(thread.GetNotifEvent());
   service.AwaitCalls(2);
   AwaitDeadline(start + 1600 * kMs);
   EXPECT_TRUE(thread.StopThread(INFINITE));
}

TEST_F(CRVThreadTest, RequiredANotificationStaysSetAndTheLoopRunsWithoutPauseUntilItIsConsumed) {
   Service service;
   CRVThread thread;
   ASSERT_TRUE(thread.StartThread(Service::Callback, &service, -1, 0));
   mClock.AwaitSleepers(1);
   SetEvent(thread.GetNotifEvent());
   service.AwaitCalls(100);
   EXPECT_EQ(WaitForSingleObject(thread.GetNotifEvent(), 1), WAIT_OBJECT_0); // a single wait consumes it
   mClock.AwaitSleepers(1);
   const int calls = service.Calls();
   mClock.AdvanceMs(100000);
   EXPECT_EQ(service.Calls(), calls);
   EXPECT_TRUE(thread.StopThread(INFINITE));
}

TEST_F(CRVThreadTest, ANotificationFromBeforeTheStartIsDiscarded) {
   Service service;
   CRVThread thread;
   SetEvent(thread.GetNotifEvent());
   ASSERT_TRUE(thread.StartThread(Service::Callback, &service, -1, 0));
   service.AwaitCalls(1);
   mClock.AwaitSleepers(1);
   EXPECT_EQ(service.Calls(), 1);
   EXPECT_TRUE(thread.StopThread(INFINITE));
}

TEST_F(CRVThreadTest, ACallbackMayWaitWithShouldStopAndIsToldToEnd) {
   std::atomic<bool> told{false};
   Service service([&told](CRVThread &thread, int) { told = thread.ShouldStop(INFINITE); });
   CRVThread thread;
   ASSERT_TRUE(thread.StartThread(Service::Callback, &service, 0, 0));
   mClock.AwaitSleepers(1);
   EXPECT_TRUE(thread.StopThread(INFINITE));
   EXPECT_TRUE(told);
   EXPECT_EQ(service.Calls(), 1);
   EXPECT_TRUE(thread.ShouldStop(INFINITE)); // the exit event stays set for the rest of the run
   EXPECT_TRUE(thread.WaitForExitEvent());
}

// ---- Stopping -------------------------------------------------------------------------------------------------------

TEST_F(CRVThreadTest, AStopFromInsideTheCallbackReturnsFalseAndEndsTheLoopAtItsNextWait) {
   bool stopped = true;
   bool waited = true;
   bool started = true;
   Service service([&](CRVThread &thread, int) {
      stopped = thread.StopThread(INFINITE);
      waited = thread.WaitForStop(INFINITE);
      started = thread.StartThread(Service::Callback, nullptr, 0, 0);
   });
   CRVThread thread;
   ASSERT_TRUE(thread.StartThread(Service::Callback, &service, -1, 0));
   EXPECT_TRUE(thread.WaitForStop(INFINITE));
   EXPECT_FALSE(stopped);
   EXPECT_FALSE(waited);
   EXPECT_FALSE(started);
   EXPECT_EQ(service.Calls(), 1);
   EXPECT_TRUE(mLog.Saw(logger::TRACE, "Thread already running. No action taken")) << mLog.Dump();
   EXPECT_EQ(mLog.CountLevel(logger::ERROR), 0) << mLog.Dump();
}

TEST_F(CRVThreadTest, AStopThatIsNotInTimeSaysSoAndTheThreadEndsLater) {
   Latch latch;
   Service service([&latch](CRVThread &, int) { latch.Pass(); });
   CRVThread thread;
   ASSERT_TRUE(thread.StartThread(Service::Callback, &service, 0, 0));
   mClock.SetJumping(true);
   const uint64_t start = mClock.monotonicNs();
   EXPECT_FALSE(thread.StopThread(50));
   EXPECT_EQ(mClock.monotonicNs(), start + 50 * kMs);
   EXPECT_TRUE(mLog.Saw(logger::ERROR, "StopThread request timed out!")) << mLog.Dump();
   EXPECT_FALSE(thread.WaitForStop(50));
   EXPECT_TRUE(mLog.Saw(logger::ERROR, "WaitForStop request timed out!")) << mLog.Dump();
   latch.Open();
   EXPECT_TRUE(thread.WaitForStop(INFINITE));
   EXPECT_EQ(service.Calls(), 1);
}

TEST_F(CRVThreadTest, AStartWhileAliveIsRefusedWithBothLines) {
   Service service;
   CRVThread thread;
   ASSERT_TRUE(thread.StartThread(Service::Callback, &service, -1, 0));
   EXPECT_FALSE(thread.StartThread(Service::Callback, &service, 5, 1));
   EXPECT_TRUE(mLog.Saw(logger::ERROR, "WaitForStop request timed out!")) << mLog.Dump();
   EXPECT_TRUE(mLog.Saw(logger::TRACE, "Thread already running. No action taken")) << mLog.Dump();
   EXPECT_TRUE(thread.StopThread(INFINITE));
}

TEST_F(CRVThreadTest, WhoWaitsForTheExitEventOfARunThatHasEndedIsLetGoByTheNextStart) {
   Service service;
   CRVThread thread;
   ASSERT_TRUE(thread.StartThread(Service::Callback, &service, 0, 1));
   ASSERT_TRUE(thread.WaitForStop(INFINITE));
   bool exited = false;
   std::thread waiter([&] { exited = thread.WaitForExitEvent(); });
   mClock.AwaitSleepers(1);
   ASSERT_TRUE(thread.StartThread(Service::Callback, &service, 0, 1));
   waiter.join();
   EXPECT_TRUE(exited);
}

// ---- The end of the object ------------------------------------------------------------------------------------------

TEST_F(CRVThreadTest, DestroyedWhileItsLoopStillWaitsItEndsTheLoopFirst) {
   // As a service that plays a file: it waits in its callback, for a notification that does not come any more.
   Service service([](CRVThread &thread, int) { WaitForSingleObject(thread.GetNotifEvent(), INFINITE); });
   {
      CRVThread thread;
      ASSERT_TRUE(thread.StartThread(Service::Callback, &service, 0, 0));
      mClock.AwaitSleepers(1);
   }
   EXPECT_EQ(service.Calls(), 1); // the callback is over
   EXPECT_TRUE(mLog.Saw(logger::ERROR, "WaitForStop request timed out!")) << mLog.Dump();
   EXPECT_TRUE(mLog.Saw(logger::TRACE, "Thread exited. Name=%s. Id=%lu", "", service.ThreadId())) << mLog.Dump();
}

TEST_F(CRVThreadTest, DestroyedByItsOwnCallbackItsLoopTouchesNothingAnyMore) {
   auto thread = std::make_unique<CRVThread>();
   thread->SetName("a name that is too long for a short string of the standard library");
   Service service([&thread](CRVThread &, int) { thread.reset(); });
   ASSERT_TRUE(thread->StartThread(Service::Callback, &service, -1, 0));
   service.AwaitCalls(1);
   while (!mLog.Saw(logger::TRACE, "Thread exited. Name=%s. Id=%lu",
                    "a name that is too long for a short string of the standard library", service.ThreadId())) {
      std::this_thread::yield();
   }
   EXPECT_EQ(thread, nullptr);
}

// ---- States ---------------------------------------------------------------------------------------------------------

TEST_F(CRVThreadTest, EveryCallInEveryStateDoesWhatTheTableSays) {
   enum class State { Idle, Running, Ended };
   for (const State state : {State::Idle, State::Running, State::Ended}) {
      const bool running = state == State::Running;
      // Each call on a thread brought into the state afresh.
      const auto in = [&](const std::function<void(CRVThread &)> &call) {
         Service service;
         CRVThread thread;
         if (state != State::Idle) {
            ASSERT_TRUE(thread.StartThread(Service::Callback, &service, -1, running ? 0 : 1));
            service.AwaitCalls(1);
         }
         if (state == State::Ended) {
            ASSERT_TRUE(thread.WaitForStop(INFINITE));
         }
         call(thread);
         EXPECT_TRUE(thread.StopThread(INFINITE));
      };
      in([&](CRVThread &thread) {
         Service next;
         EXPECT_EQ(thread.StartThread(Service::Callback, &next, -1, 0), !running);
         EXPECT_TRUE(thread.StopThread(INFINITE));
      });
      in([&](CRVThread &thread) { EXPECT_TRUE(thread.StopThread(INFINITE)); });
      in([&](CRVThread &thread) { EXPECT_EQ(thread.WaitForStop(0), !running); });
      in([&](CRVThread &thread) { EXPECT_EQ(thread.ShouldStop(0), state == State::Idle); });
      in([&](CRVThread &thread) {
         std::thread stopper([&] { thread.StopThread(INFINITE); });
         if (state == State::Ended) {
            EXPECT_TRUE(thread.WaitForExitEvent());
         } else if (running) {
            EXPECT_TRUE(thread.WaitForExitEvent());
         } else {
            EXPECT_FALSE(thread.WaitForExitEvent());
         }
         stopper.join();
      });
   }
}

// ---- Wrapper --------------------------------------------------------------------------------------------------------

TEST_F(CRVThreadTest, AWrapperStartsOneThreadHoweverOftenItIsAsked) {
   Service service;
   CRVThreadWrapper wrapper("VideoRec");
   const void *const address = wrapper.GetThread();
   EXPECT_TRUE(wrapper.Start(Service::Callback, &service, -1, 0));
   EXPECT_TRUE(mLog.Saw(logger::DEBUG, "%s - The thread starts successfully: %p.", "Start", address)) << mLog.Dump();
   EXPECT_TRUE(wrapper.Start(Service::Callback, &service, -1, 0));
   EXPECT_TRUE(mLog.Saw(logger::DEBUG, "%s - The thread is already active: %p.", "Start", address)) << mLog.Dump();
   service.AwaitCalls(1);
   EXPECT_TRUE(wrapper.Stop(INFINITE));
   EXPECT_EQ(mLog.Count(logger::TRACE, "Thread started. Name=%s. Id=%lu", "VideoRec", service.ThreadId()), 1);
   const size_t lines = mLog.Lines().size();
   EXPECT_TRUE(wrapper.Stop(INFINITE));
   EXPECT_EQ(mLog.Lines().size(), lines) << mLog.Dump();
   EXPECT_EQ(service.Calls(), 1);
}

TEST_F(CRVThreadTest, AWrapperThatCannotStartSaysSo) {
   CRVThreadWrapper wrapper("VideoRec");
   EXPECT_FALSE(wrapper.Start(nullptr, nullptr, 0, 0));
   EXPECT_TRUE(mLog.Saw(logger::ERROR, "%s - failed to start thread(name=%s).",
                        "bool CRVThreadWrapper::Start(CRVThread::fCallback, void *, int, int)", "VideoRec"))
      << mLog.Dump();
   Service service;
   EXPECT_TRUE(wrapper.Start(Service::Callback, &service, -1, 0)); // not active before
   EXPECT_TRUE(wrapper.Stop(INFINITE));
}

TEST_F(CRVThreadTest, RequiredAWrapperWhoseStopTimedOutIsInactive) {
   Latch latch;
   Service service([&latch](CRVThread &, int) { latch.Pass(); });
   CRVThreadWrapper wrapper("VideoRec");
   ASSERT_TRUE(wrapper.Start(Service::Callback, &service, 0, 0));
   mClock.SetJumping(true);
   EXPECT_FALSE(wrapper.Stop(10));
   EXPECT_TRUE(wrapper.Stop(10));
   latch.Open();
   EXPECT_TRUE(wrapper.GetThread()->WaitForStop(INFINITE));
}

} // namespace
