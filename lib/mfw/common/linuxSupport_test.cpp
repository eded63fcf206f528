#include "lib/mfw/common/linuxSupport.h"

#include "tests/kit/ManualClock.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <thread>
#include <vector>

namespace {

TEST(CriticalSection, MayBeTakenAgainByItsHolderAndByNobodyElse) {
   CRITICAL_SECTION section = nullptr;
   InitializeCriticalSection(&section);
   const auto freeForAnother = [&] {
      bool free = false;
      std::thread([&] {
         free = TryEnterCriticalSection(&section);
         if (free) {
            LeaveCriticalSection(&section);
         }
      }).join();
      return free;
   };
   EXPECT_TRUE(freeForAnother());
   EnterCriticalSection(&section);
   EXPECT_TRUE(TryEnterCriticalSection(&section));
   LeaveCriticalSection(&section);
   EXPECT_FALSE(freeForAnother());
   LeaveCriticalSection(&section);
   EXPECT_TRUE(freeForAnother());
   DeleteCriticalSection(&section);
   EXPECT_EQ(section, nullptr);
}

TEST(CriticalSection, LetsOneInAtATime) {
   CRITICAL_SECTION section = nullptr;
   InitializeCriticalSection(&section);
   int counter = 0;
   std::vector<std::thread> threads;
   for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&] {
         for (int turn = 0; turn < 10'000; ++turn) {
            EnterCriticalSection(&section);
            ++counter;
            LeaveCriticalSection(&section);
         }
      });
   }
   for (std::thread &thread : threads) {
      thread.join();
   }
   EXPECT_EQ(counter, 40'000);
   DeleteCriticalSection(&section);
}

TEST(Interlocked, CountsUnderContention) {
   std::atomic<int32_t> count{0};
   std::vector<std::thread> threads;
   for (int i = 0; i < 4; ++i) {
      threads.emplace_back([&] {
         for (int turn = 0; turn < 10'000; ++turn) {
            InterlockedIncrement(&count);
            InterlockedIncrement(&count);
            InterlockedDecrement(&count);
         }
      });
   }
   for (std::thread &thread : threads) {
      thread.join();
   }
   EXPECT_EQ(count.load(), 40'000);
}

TEST(Interlocked, GivesTheNewValueOfACountAndTheOldOneOfAnExchange) {
   std::atomic<int32_t> value{7};
   EXPECT_EQ(InterlockedIncrement(&value), 8);
   EXPECT_EQ(InterlockedDecrement(&value), 7);
   EXPECT_EQ(InterlockedExchange(&value, 9), 7);
   EXPECT_EQ(value.load(), 9);
   EXPECT_EQ(InterlockedCompareExchange(&value, 1, 8), 9);
   EXPECT_EQ(value.load(), 9);
   EXPECT_EQ(InterlockedCompareExchange(&value, 1, 9), 9);
   EXPECT_EQ(value.load(), 1);
}

TEST(Interlocked, CompareExchangeOfZeroAndZeroIsARead) {
   std::atomic<int32_t> value{5};
   EXPECT_EQ(InterlockedCompareExchange(&value, 0, 0), 5);
   EXPECT_EQ(value.load(), 5);
   value = 0;
   EXPECT_EQ(InterlockedCompareExchange(&value, 0, 0), 0);
}

TEST(Tls, EachThreadHasItsOwnPointer) {
   const uint32_t index = TlsAlloc();
   ASSERT_NE(index, TLS_OUT_OF_INDEXES);
   int mine = 0;
   EXPECT_EQ(TlsGetValue(index), nullptr);
   EXPECT_TRUE(TlsSetValue(index, &mine));
   std::thread([&] {
      EXPECT_EQ(TlsGetValue(index), nullptr);
      int theirs = 0;
      EXPECT_TRUE(TlsSetValue(index, &theirs));
      EXPECT_EQ(TlsGetValue(index), &theirs);
   }).join();
   EXPECT_EQ(TlsGetValue(index), &mine);
   EXPECT_TRUE(TlsFree(index));
   EXPECT_FALSE(TlsFree(index));
   EXPECT_FALSE(TlsSetValue(index, &mine));
}

TEST(Tls, RunsOutOfSlots) {
   std::vector<uint32_t> slots;
   uint32_t index = TlsAlloc();
   for (; index != TLS_OUT_OF_INDEXES; index = TlsAlloc()) {
      slots.push_back(index);
   }
   EXPECT_EQ(index, 0xFFFFFFFF);
   EXPECT_FALSE(slots.empty());
   for (const uint32_t slot : slots) {
      EXPECT_TRUE(TlsFree(slot));
   }
}

TEST(Ticks, AreMillisecondsOfTheWallClockCutTo32Bits) {
   kit::ManualClock clock;
   clock.SetWallUs(1'999'999);
   EXPECT_EQ(GetTickCount(), 1'999U);
   clock.SetWallUs(int64_t{0x1'0000'0000} * 1000 + 5'000);
   EXPECT_EQ(GetTickCount(), 5U);
   const uint32_t before = 0xFFFFFFF0;
   clock.SetWallUs(int64_t{0x2'0000'0010} * 1000);
   EXPECT_EQ(GetTickCount() - before, 0x20U) << "differences are right across the wrap";
}

TEST(Ticks, SleepLetsThemPass) {
   kit::ManualClock clock;
   const uint32_t before = GetTickCount();
   Sleep(1'500);
   EXPECT_EQ(GetTickCount() - before, 1'500U);
   Sleep(0);
   EXPECT_EQ(GetTickCount() - before, 1'500U);
   Sleep(5'000'000); // more microseconds than 32 bits hold
   EXPECT_EQ(GetTickCount() - before, 5'001'500U);
}

TEST(LastError, IsErrno) {
   errno = EAGAIN;
   EXPECT_EQ(GetLastError(), EAGAIN);
}

} // namespace
