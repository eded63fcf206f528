// What service threads and queues do when memory, events or threads cannot be had, one call and from then on; and the
// one fault that nothing outside can make, a wait with an impossible result.

#include "lib/mfw/common/logger.h"
#include "libs/utils/DataBufQueueUtil.h"
#include "libs/utils/MemRefQueueUtil.h"
#include "libs/utils/SampleMeta.h"
#include "libs/utils/ThreadUtils.h"
#include "tests/kit/Faults.h"
#include "tests/kit/LogCapture.h"
#include "tests/kit/ManualClock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <vector>

using kit::Fault;
using kit::Repeat;

namespace {

std::atomic<bool> gNoEvents{false};
std::atomic<bool> gWaitBreaks{false};
std::atomic<int> gHandles{0}; // created less closed, of events; threads close theirs as well

} // namespace

// The linker sends the library's own calls here.
extern "C" {
HANDLE __real__Z11CreateEventPvbbPKc(void *attributes, bool manualReset, bool initialState, const char *name);
HANDLE __wrap__Z11CreateEventPvbbPKc(void *attributes, bool manualReset, bool initialState, const char *name) {
   if (gNoEvents.load()) {
      return nullptr;
   }
   ++gHandles;
   return __real__Z11CreateEventPvbbPKc(attributes, manualReset, initialState, name);
}
bool __real__Z11CloseHandlePN9platforms13WindowsHandleE(HANDLE handle);
bool __wrap__Z11CloseHandlePN9platforms13WindowsHandleE(HANDLE handle) {
   --gHandles;
   return __real__Z11CloseHandlePN9platforms13WindowsHandleE(handle);
}
uint32_t __real__Z22WaitForMultipleObjectsjPKPN9platforms13WindowsHandleEbj(uint32_t count, const HANDLE *handles,
                                                                            bool waitAll, uint32_t ms);
uint32_t __wrap__Z22WaitForMultipleObjectsjPKPN9platforms13WindowsHandleEbj(uint32_t count, const HANDLE *handles,
                                                                            bool waitAll, uint32_t ms) {
   return gWaitBreaks.load()
             ? 7
             : __real__Z22WaitForMultipleObjectsjPKPN9platforms13WindowsHandleEbj(count, handles, waitAll, ms);
}
}

namespace {

bool Count(void *data, CRVThread * /*thread*/) {
   static_cast<std::atomic<int> *>(data)->fetch_add(1);
   return true;
}

// Makes an object and runs `attempt` on it with the nth call failing, until none fails any more. `attempt` says whether
// it succeeded. (The object itself is made without faults: no memory for a lock ends the process, as it must.)
template <typename Object>
void ForEveryFault(Fault fault, const std::function<bool(Object &)> &attempt) {
   for (const Repeat repeat : {Repeat::Once, Repeat::FromThenOn}) {
      for (uint64_t nth = 1;; ++nth) {
         ASSERT_LT(nth, 1000U);
         Object object;
         kit::FailNth armed(fault, nth, repeat);
         const bool done = attempt(object);
         const bool struck = armed.Struck();
         armed.Disarm();
         if (!struck) {
            EXPECT_TRUE(done);
            break;
         }
      }
   }
}

// ---- Service thread -------------------------------------------------------------------------------------------------

TEST(CRVThreadFaults, AThreadThatCannotBeHadIsSaidAndTheNextStartSucceeds) {
   kit::LogCapture log;
   std::atomic<int> calls{0};
   CRVThread thread;
   {
      const kit::FailNth fault(Fault::ThreadCreation, 1, Repeat::FromThenOn);
      EXPECT_FALSE(thread.StartThread(Count, &calls, 0, 1));
   }
   EXPECT_TRUE(log.Saw(logger::ERROR, "Thread not started. CreateThread failed!")) << log.Dump();
   EXPECT_TRUE(thread.StopThread(INFINITE)); // idle
   EXPECT_TRUE(thread.ShouldStop(INFINITE));
   ASSERT_TRUE(thread.StartThread(Count, &calls, 0, 1));
   EXPECT_TRUE(thread.WaitForStop(INFINITE));
   EXPECT_EQ(calls, 1);
}

TEST(CRVThreadFaults, AnExitEventThatCannotBeHadIsSaidAndLeavesAnEndedThreadEnded) {
   kit::LogCapture log;
   std::atomic<int> calls{0};
   CRVThread thread;
   ASSERT_TRUE(thread.StartThread(Count, &calls, 0, 1));
   ASSERT_TRUE(thread.WaitForStop(INFINITE));
   gNoEvents = true;
   EXPECT_FALSE(thread.StartThread(Count, &calls, 0, 1));
   gNoEvents = false;
   EXPECT_TRUE(log.Saw(logger::ERROR, "Thread not started. ExitEvent create failed")) << log.Dump();
   EXPECT_TRUE(thread.ShouldStop(INFINITE)); // there is no exit event
   EXPECT_FALSE(thread.WaitForExitEvent());
   EXPECT_TRUE(thread.StopThread(INFINITE)); // sets no event that is not there
   EXPECT_TRUE(thread.StartThread(Count, &calls, 0, 1));
   EXPECT_TRUE(thread.WaitForStop(INFINITE));
   EXPECT_EQ(calls, 2);
}

TEST(CRVThreadFaults, WithoutANotificationEventItWorksAndCannotBeNotified) {
   kit::LogCapture log;
   std::atomic<int> calls{0};
   gNoEvents = true;
   CRVThread thread;
   gNoEvents = false;
   EXPECT_TRUE(log.Saw(logger::ERROR, "NotifEvent create failed")) << log.Dump();
   EXPECT_EQ(thread.GetNotifEvent(), nullptr);
   ASSERT_TRUE(thread.StartThread(Count, &calls, -1, 0));
   EXPECT_TRUE(thread.StopThread(INFINITE));
   EXPECT_EQ(calls, 1);
}

TEST(CRVThreadFaultsDeathTest, AWaitResultThatCannotBeAssertsInShouldStop) {
   std::atomic<int> calls{0};
   CRVThread thread;
   ASSERT_TRUE(thread.StartThread(Count, &calls, 0, 1));
   ASSERT_TRUE(thread.WaitForStop(INFINITE));
   const auto broken = [&thread] {
      gWaitBreaks = true;
      return thread.ShouldStop(0);
   };
   EXPECT_DEATH((void)broken(), "ShouldStop");
   // The line comes before the end.
   static kit::LogCapture *lines = nullptr;
   EXPECT_EXIT(
      {
         kit::LogCapture log;
         lines = &log;
         std::signal(SIGABRT,
                     [](int) { std::_Exit(lines->Saw(logger::ERROR, "Should never hit Default case") ? 3 : 4); });
         (void)broken();
      },
      testing::ExitedWithCode(3), "");
}

TEST(CRVThreadFaults, AnyAllocationThatFailsFailsTheStartAndNothingElse) {
   for (const Fault fault : {Fault::Allocation, Fault::ThreadCreation}) {
      ForEveryFault<CRVThread>(fault, [](CRVThread &thread) {
         std::atomic<int> calls{0};
         const bool started = thread.StartThread(Count, &calls, 0, 1);
         EXPECT_TRUE(thread.WaitForStop(INFINITE));
         EXPECT_EQ(calls, started ? 1 : 0);
         return started;
      });
   }
}

TEST(CRVThreadFaults, WithoutMemoryTheLoopWaitsAllTheSame) {
   kit::ManualClock clock;
   clock.SetJumping(true);
   bool stops = true;
   CRVThread thread;
   ASSERT_TRUE(thread.StartThread(
      [](void *data, CRVThread *self) {
         const kit::FailNth fault(Fault::Allocation, 1, Repeat::FromThenOn);
         *static_cast<bool *>(data) = self->ShouldStop(1);
         return true;
      },
      &stops, 0, 1));
   EXPECT_TRUE(thread.WaitForStop(INFINITE));
   EXPECT_FALSE(stops);
}

TEST(CRVThreadFaults, AThreadStartedAThousandTimesKeepsTheHandlesOfOneRun) {
   const int before = gHandles;
   {
      std::atomic<int> calls{0};
      CRVThread thread;
      int held = 0;
      for (int run = 0; run < 1000; ++run) {
         ASSERT_TRUE(thread.StartThread(Count, &calls, 0, 1));
         ASSERT_TRUE(thread.WaitForStop(INFINITE));
         // Each run adds an event and closes the one before it, and the handle of the thread before it, which is not
         // counted in: one less each time.
         if (run == 0) {
            held = gHandles;
         }
         ASSERT_EQ(gHandles + run, held);
      }
      EXPECT_EQ(calls, 1000);
   }
   EXPECT_EQ(gHandles + 1000, before); // every thread handle too
}

// ---- Queues ---------------------------------------------------------------------------------------------------------

TEST(DataBufQueueFaults, AnInitThatFailsLeavesItUninitialised) {
   ForEveryFault<DataBufQueue>(Fault::Allocation, [](DataBufQueue &queue) {
      const bool done = queue.Init(3, 16, 1, false);
      EXPECT_EQ(queue.IsActive(), done);
      EXPECT_EQ(queue.GetNextReadBuf(), nullptr);
      return done;
   });
   gNoEvents = true;
   DataBufQueue queue;
   EXPECT_FALSE(queue.Init(3, 16, 1, false));
   gNoEvents = false;
   EXPECT_FALSE(queue.IsActive());
   EXPECT_TRUE(queue.Init(3, 16, 1, false));
}

TEST(DataBufQueueFaults, AWriteThatFailsLeavesTheSlotForTheNext) {
   struct Ready {
      Ready() { EXPECT_TRUE(queue.InitSlots(3, 1, false)); }
      DataBufQueue queue;
   };
   ForEveryFault<Ready>(Fault::Allocation, [](Ready &ready) {
      const bool written = ready.queue.Write("data", 4, "side", 4);
      EXPECT_EQ(ready.queue.GetUsedCount(), written ? 1 : 0);
      EXPECT_FALSE(!written && ready.queue.GetNextWriteBuf()->HasUnread()); // would be in the way of the next
      return written;
   });
}

TEST(DataBufQueueFaults, ASlotThatHasNoMemoryAnyMoreIsRefused) {
   kit::LogCapture log;
   uint8_t mine[] = {'x'};
   DataBufQueue queue;
   ASSERT_TRUE(queue.Init(1, 16, 0, false));
   ASSERT_TRUE(queue.WriteNoCopy(mine, 1));
   ASSERT_TRUE(queue.CommitRead());
   {
      const kit::FailNth fault(Fault::Allocation, 1);
      EXPECT_EQ(queue.GetNextWriteBuf(), nullptr);
   }
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Failed to allocate memory", "GetNextWriteBuf")) << log.Dump();
   EXPECT_NE(queue.GetNextWriteBuf(), nullptr);
}

TEST(DataBufQueueFaults, TheSteadyStateAllocatesNothing) {
   DataBufQueue queue;
   ASSERT_TRUE(queue.Init(10, 1024, 1, true));
   const std::vector<uint8_t> frame(1024);
   const auto inPlace = [&] {
      const SampleMeta meta;
      DataBuffer *const slot = queue.GetNextWriteBuf();
      ASSERT_TRUE(slot->Set(frame.data(), 1024));
      ASSERT_TRUE(queue.SetWriteSide(&meta, sizeof meta));
      ASSERT_TRUE(queue.CommitWrite());
      ASSERT_NE(queue.GetNextReadBuf(), nullptr);
      ASSERT_TRUE(queue.CommitRead());
   };
   const auto byCopy = [&] {
      const SampleMeta meta;
      ASSERT_TRUE(queue.Write(frame.data(), 1024, &meta, sizeof meta));
      ASSERT_NE(queue.WaitRead(), nullptr);
      ASSERT_TRUE(queue.CommitRead());
   };
   for (int i = 0; i < 10; ++i) { // the sides grow once
      inPlace();
   }
   const uint64_t before = kit::AllocationCount();
   for (int i = 0; i < 1000; ++i) {
      inPlace();
      byCopy();
   }
   EXPECT_EQ(kit::AllocationCount(), before);
}

TEST(DataBufferFaults, WithoutMemoryNothingChanges) {
   DataBuffer buffer;
   ASSERT_TRUE(buffer.Append("abc", 3, true));
   {
      const kit::FailNth fault(Fault::Allocation, 1, Repeat::FromThenOn);
      EXPECT_FALSE(buffer.Create(8, 0));
      EXPECT_FALSE(buffer.Resize(8, 0));
      EXPECT_FALSE(buffer.Reserve(8));
      EXPECT_FALSE(buffer.EnsureRoom(8));
      EXPECT_FALSE(buffer.Append("d", 1, true));
      EXPECT_EQ(std::string(buffer.GetData(), buffer.GetEnd()), "abc");
      EXPECT_EQ(buffer.GetCapacity(), 3);
      EXPECT_FALSE(buffer.Prepare(8));
   }
   EXPECT_EQ(buffer.GetData(), nullptr);
   EXPECT_EQ(buffer.GetLength(), 0);
   EXPECT_EQ(buffer.GetCapacity(), 0);
}

TEST(MemRefQueueFaults, WithoutMemoryAnAddGivesNothingAndBreaksNothing) {
   ForEveryFault<MemRefQueue>(Fault::Allocation, [](MemRefQueue &queue) {
      if (!queue.Init(1)) {
         return false;
      }
      void *const slot = queue.Add("a", 1, false);
      void *const heap = queue.Add("b", 1, false);
      EXPECT_EQ(queue.Release(slot), slot != nullptr);
      EXPECT_EQ(queue.Release(heap), heap != nullptr);
      return slot != nullptr && heap != nullptr;
   });
}

TEST(MemRefQueueFaults, AnAddThatFindsNoMemorySaysSo) {
   kit::LogCapture log;
   MemRefQueue queue;
   ASSERT_TRUE(queue.Init(1));
   ASSERT_NE(queue.Add("a", 1, false), nullptr);
   {
      const kit::FailNth fault(Fault::Allocation, 1); // once: the capture needs memory itself
      EXPECT_EQ(queue.Add("b", 1, false), nullptr);
   }
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Failed to allocate memory", "Add")) << log.Dump();
}

} // namespace
