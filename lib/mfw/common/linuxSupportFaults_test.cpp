#include "lib/mfw/common/platforms/waitTestKit.h"
#include "tests/kit/Faults.h"
#include "tests/kit/LogCapture.h"
#include "tests/kit/ManualClock.h"

#include "lib/mfw/common/linuxSupportSystem.h"
#include "lib/mfw/common/logger.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <gtest/gtest.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

using kit::FailNth;
using kit::Fault;
using kit::Repeat;
using waittest::Handle;

namespace {

uint32_t Nothing(void *) {
   return 0;
}

TEST(SupportFaults, AnEventWithoutMemoryIsNull) {
   for (const Repeat repeat : {Repeat::Once, Repeat::FromThenOn}) {
      for (const uint64_t nth : {uint64_t{1}, uint64_t{2}}) { // the event, and its room for waits
         FailNth fault(Fault::Allocation, nth, repeat);
         const HANDLE event = CreateEvent(nullptr, false, false, nullptr);
         const int error = GetLastError();
         fault.Disarm();
         EXPECT_EQ(event, nullptr);
         EXPECT_EQ(error, ENOMEM);
      }
   }
}

TEST(SupportFaults, AMultipleWaitForEventsNeedsNoMemory) {
   const Handle events[] = {Handle::AutoReset(), Handle::AutoReset()};
   const HANDLE handles[] = {events[0], events[1]};
   kit::ManualClock clock;
   clock.SetJumping(true);
   FailNth fault(Fault::Allocation, 1, Repeat::FromThenOn);
   const uint32_t result = WaitForMultipleObjects(2, handles, false, 1);
   fault.Disarm();
   EXPECT_EQ(result, WAIT_TIMEOUT);
}

TEST(SupportFaults, AThreadThatCannotBeHadIsNullAndSaidSo) {
   const uint32_t last = GetCurrentThreadId();
   for (const Repeat repeat : {Repeat::Once, Repeat::FromThenOn}) {
      const kit::LogCapture log;
      FailNth fault(Fault::ThreadCreation, 1, repeat);
      uint32_t id = 77;
      const HANDLE thread = _beginthreadex(nullptr, 0, Nothing, nullptr, 0, &id);
      const int error = GetLastError();
      fault.Disarm();
      EXPECT_EQ(thread, nullptr);
      EXPECT_EQ(error, EAGAIN);
      EXPECT_EQ(id, 77U);
      EXPECT_TRUE(log.Saw(logger::ERROR, "Error creating WindowsThread. Generated Id = %d. Error No: %d",
                          static_cast<int>(last + (repeat == Repeat::Once ? 1 : 2)), EAGAIN))
         << log.Dump();
   }
   const Handle thread(_beginthreadex(nullptr, 0, Nothing, nullptr, 0, nullptr));
   EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0) << "the next one is had again";
}

TEST(SupportFaults, AThreadWithoutMemoryForItsObjectIsNull) {
   FailNth fault(Fault::Allocation, 1);
   const HANDLE thread = _beginthreadex(nullptr, 0, Nothing, nullptr, 0, nullptr);
   const int error = GetLastError();
   fault.Disarm();
   EXPECT_EQ(thread, nullptr);
   EXPECT_EQ(error, ENOMEM);
}

TEST(SupportFaults, AForeignThreadWithoutMemoryForItsIdHasNone) {
   std::thread([] {
      FailNth fault(Fault::Allocation, 1);
      const uint32_t without = GetCurrentThreadId();
      const uint32_t with = GetCurrentThreadId();
      fault.Disarm();
      EXPECT_EQ(without, 0U);
      EXPECT_GE(with, 1U);
   }).join();
}

// Each allocation in its turn, until the wait needs none that fails.
TEST(SupportFaults, AMultipleWaitWithoutMemoryFailsAndLeavesNothingBehind) {
   kit::ManualClock clock;
   waittest::EndableThread threads[2];
   const HANDLE handles[] = {threads[0], threads[1]};
   clock.AwaitSleepers(2);
   clock.SetJumping(true);
   for (uint64_t nth = 1;; ++nth) {
      FailNth fault(Fault::Allocation, nth);
      const uint32_t result = WaitForMultipleObjects(2, handles, false, 1);
      const int error = GetLastError();
      const bool struck = fault.Struck();
      fault.Disarm();
      if (!struck) {
         EXPECT_EQ(result, WAIT_TIMEOUT);
         EXPECT_GE(nth, 2U) << "none failed";
         break;
      }
      EXPECT_EQ(result, WAIT_FAILED);
      EXPECT_EQ(error, ENOMEM);
   }
   for (waittest::EndableThread &thread : threads) {
      thread.End(); // finds nobody on its list
      EXPECT_EQ(WaitForSingleObject(thread, INFINITE), WAIT_OBJECT_0);
   }
}

TEST(SupportFaults, AnIdsTextWithoutMemoryIsNull) {
   UUID id{};
   char *text = nullptr;
   FailNth fault(Fault::Allocation, 1);
   const int32_t status = UuidToString(&id, &text);
   fault.Disarm();
   EXPECT_EQ(status, RPC_S_OUT_OF_MEMORY);
   EXPECT_EQ(text, nullptr);
}

TEST(SupportFaultsDeathTest, ACriticalSectionWithoutMemoryEndsTheProcess) {
   CRITICAL_SECTION section = nullptr;
   EXPECT_DEATH(
      {
         const FailNth fault(Fault::Allocation, 1);
         InitializeCriticalSection(&section);
      },
      "InitializeCriticalSection.*pMutex");
}

TEST(SupportCosts, SettingAndWaitingAllocateNothing) {
   const Handle event = Handle::AutoReset();
   const Handle other = Handle::ManualReset();
   const HANDLE both[] = {event, other};
   kit::ManualClock clock;
   clock.SetJumping(true);
   (void)WaitForMultipleObjects(2, both, false, 1); // the lists have room from now on
   const uint64_t before = kit::AllocationCount();
   for (int i = 0; i < 100; ++i) {
      SetEvent(event);
      (void)WaitForSingleObject(event, INFINITE);
      (void)WaitForMultipleObjects(2, both, false, 1);
   }
   EXPECT_EQ(kit::AllocationCount(), before);
}

#ifndef MAVR_SANITIZED // the sanitizers make system calls of their own

// The kernel kills this process at any system call but read, write and the exit of a thread.
[[noreturn]] void SetAndWaitWithoutTheSystem() {
   const HANDLE autoReset = CreateEvent(nullptr, false, false, nullptr);
   const HANDLE manualReset = CreateEvent(nullptr, true, false, nullptr);
   const HANDLE both[] = {autoReset, manualReset};
   bool right = prctl(PR_SET_SECCOMP, SECCOMP_MODE_STRICT) == 0;
   for (int i = 0; i < 100; ++i) {
      SetEvent(autoReset);
      right = right && WaitForMultipleObjects(2, both, false, INFINITE) == 0;
      right = right && WaitForSingleObject(autoReset, 0) == WAIT_OBJECT_0;
      right = right && WaitForSingleObject(autoReset, INFINITE) == WAIT_OBJECT_0;
      right = right && WaitForSingleObject(autoReset, 0) == WAIT_TIMEOUT;
      SetEvent(manualReset);
      right = right && WaitForMultipleObjects(1, &manualReset, true, INFINITE) == WAIT_OBJECT_0;
      ResetEvent(manualReset);
   }
   syscall(SYS_exit, right ? 3 : 4);
   std::abort();
}

TEST(SupportCostsDeathTest, NoSystemCallIsMadeWhileNobodyWaits) {
   EXPECT_EXIT(SetAndWaitWithoutTheSystem(), testing::ExitedWithCode(3), "");
}

// The test above can fail.
[[noreturn]] void MakeOneSystemCall() {
   prctl(PR_SET_SECCOMP, SECCOMP_MODE_STRICT);
   syscall(SYS_getppid);
   syscall(SYS_exit, 3);
   std::abort();
}

TEST(SupportCostsDeathTest, ASystemCallWouldBeSeen) {
   EXPECT_EXIT(MakeOneSystemCall(), testing::KilledBySignal(SIGKILL), "");
}

#endif

} // namespace
