// Service threads and queues under every interleaving that the machine and a perturbed schedule give.

#include "lib/mfw/common/logger.h"
#include "libs/utils/DataBufQueueUtil.h"
#include "libs/utils/ThreadUtils.h"
#include "tests/kit/LogCapture.h"
#include "tests/kit/PerturbedSchedule.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <thread>

namespace {

#ifdef MAVR_SANITIZED
constexpr uint64_t kItems = 100'000; // each step of each thread is watched
constexpr int kRounds = 300;
#else
constexpr uint64_t kItems = 10'000'000;
constexpr int kRounds = 2000;
#endif

uint64_t Number(const DataBuffer *buffer) {
   uint64_t number = UINT64_MAX;
   if (buffer != nullptr && buffer->GetLength() == sizeof number) {
      std::memcpy(&number, buffer->GetData(), sizeof number);
   }
   return number;
}

TEST(DataBufQueueStress, InPlaceEveryItemComesOnceAndInOrder) {
   const kit::PerturbedSchedule schedule;
   DataBufQueue queue;
   ASSERT_TRUE(queue.Init(10, sizeof(uint64_t), 1, false));
   const HANDLE ready = CreateEvent(nullptr, false, false, nullptr);
   uint64_t wrong = 0;
   std::thread consumer([&] {
      for (uint64_t next = 0; next < kItems; ++next) {
         while (queue.IsEmpty()) {
            WaitForSingleObject(ready, INFINITE);
         }
         wrong += Number(queue.GetNextReadBuf()) != next || Number(queue.GetReadSide()) != ~next;
         queue.CommitRead();
      }
   });
   for (uint64_t next = 0; next < kItems;) {
      if (queue.IsFull()) {
         std::this_thread::yield();
         continue;
      }
      DataBuffer *const slot = queue.GetNextWriteBuf();
      const uint64_t side = ~next;
      ASSERT_TRUE(slot->Set(&next, sizeof next));
      queue.SetWriteSide(&side, sizeof side);
      queue.CommitWrite();
      SetEvent(ready);
      ++next;
   }
   consumer.join();
   CloseHandle(ready);
   EXPECT_EQ(wrong, 0U);
   EXPECT_EQ(queue.GetConsumedTotal(), kItems);
}

TEST(DataBufQueueStress, WriteAndABlockingReaderLoseNoItemAndNoWakeUp) {
   const kit::PerturbedSchedule schedule;
   logger::SetDropBelow(logger::DEBUG); // a full queue says so each time
   DataBufQueue queue;
   ASSERT_TRUE(queue.Init(3, sizeof(uint64_t), 1, true));
   uint64_t wrong = 0;
   std::thread consumer([&] {
      for (uint64_t next = 0; next < kItems / 10; ++next) {
         wrong += Number(queue.WaitRead()) != next;
         queue.CommitRead();
      }
   });
   for (uint64_t next = 0; next < kItems / 10;) {
      if (queue.Write(&next, sizeof next)) {
         ++next;
      } else {
         std::this_thread::yield();
      }
   }
   consumer.join();
   EXPECT_EQ(wrong, 0U);
}

TEST(DataBufQueueStress, StopAndUninitAtAnyPointLetTheReaderOut) {
   const kit::PerturbedSchedule schedule;
   for (int round = 0; round < kRounds; ++round) {
      DataBufQueue queue;
      ASSERT_TRUE(queue.Init(2, 8, 1, false));
      std::thread reader([&] {
         while (queue.WaitRead() != nullptr) {
         }
      });
      for (int yields = round % 7; yields > 0; --yields) {
         std::this_thread::yield();
      }
      if (round % 2 == 0) {
         queue.Stop();
      }
      queue.Uninit();
      reader.join();
   }
}

bool Nothing(void *data, CRVThread * /*thread*/) {
   static_cast<std::atomic<int> *>(data)->fetch_add(1);
   return true;
}

TEST(CRVThreadStress, StartStopNotifyAndDestroyAtAnyPoint) {
   const kit::PerturbedSchedule schedule;
   kit::LogCapture log; // swallows
   for (int round = 0; round < kRounds; ++round) {
      std::atomic<int> calls{0};
      auto thread = std::make_unique<CRVThread>();
      std::thread stopper([&] {
         for (int i = 0; i < round % 4; ++i) {
            thread->StopThread(i % 2 == 0 ? INFINITE : 0);
            (void)thread->WaitForStop(0);
         }
      });
      std::thread notifier([&] {
         SetEvent(thread->GetNotifEvent());
         (void)thread->ShouldStop(0);
      });
      const int interval = round % 3 - 1;
      bool started = thread->StartThread(Nothing, &calls, interval, round % 5);
      started = thread->StartThread(Nothing, &calls, interval, 0) || started;
      stopper.join();
      notifier.join();
      thread.reset(); // running, ended or stopped: the destructor ends it
      const int after = calls;
      EXPECT_TRUE(started);
      std::this_thread::yield();
      EXPECT_EQ(calls, after);
      log.Clear();
   }
}

} // namespace
