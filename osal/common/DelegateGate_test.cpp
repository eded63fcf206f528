#include "osal/common/DelegateGate.h"

#include "osal/Threads.h"
#include "osal/common/BasicParts.h"
#include "osal/common/LabelledQueue.h"
#include "osal/common/SoundBuffer.h"
#include "tests/kit/PerturbedSchedule.h"

#include <gtest/gtest.h>

#include <functional>
#include <pthread.h>
#include <string>
#include <thread>

namespace osal {
namespace {

class Calling final : public SampleBufferDelegate {
public:
   std::function<void()> act;
   std::atomic<int> calls = 0;
   void captureOutput(const Ref<SampleBuffer> &, const CaptureConnection &) override {
      if (act) {
         act();
      }
      ++calls;
   }
};

std::string ThreadName() {
   char name[64] = "";
   pthread_getname_np(pthread_self(), name, sizeof(name));
   return name;
}

struct Gate {
   std::shared_ptr<BasicConnection> connection = std::make_shared<BasicConnection>(MediaType::Video);
   DelegateGate gate;
   std::shared_ptr<LabelledQueue> queue = std::make_shared<LabelledQueue>("Queue");
   std::shared_ptr<SampleBufferPool> pool = std::make_shared<SampleBufferPool>();
   Ref<SampleBuffer> buffer;
   int session = 0;

   explicit Gate(DelegateGate::Threads threads = DelegateGate::Threads::Own)
       : gate(connection, threads) {
      auto sound = std::make_unique<SoundBuffer>();
      EXPECT_TRUE(sound->Allocate(2));
      pool->Add(std::move(sound));
      buffer = Ref<SampleBuffer>::adopt(pool->Take());
   }
};

TEST(DelegateGate, AThreadOfItsOwnKeepsTheQueuesNameAndABorrowedOneGetsItsOwnBack) {
   for (const auto threads : {DelegateGate::Threads::Own, DelegateGate::Threads::Borrowed}) {
      Gate it(threads);
      Calling delegate;
      std::string named;
      delegate.act = [&] {
         named = ThreadName();
      };
      it.gate.SetDelegate(&delegate, it.queue);
      it.gate.Open(&it.session);
      std::thread([&] {
         setThreadName("the system's");
         for (int i = 0; i < 2; ++i) {
            EXPECT_TRUE(it.gate.Deliver(it.buffer));
            EXPECT_EQ(named, "Queue");
            EXPECT_EQ(ThreadName(), threads == DelegateGate::Threads::Own ? "Queue" : "the system's");
         }
      }).join();
   }
}

TEST(DelegateGate, ABufferPassesWhenTheGateIsOpenAndThereIsADelegateWithAQueue) {
   Gate it;
   Calling delegate;
   for (const bool isOpen : {false, true}) {
      for (const bool hasDelegate : {false, true}) {
         for (const bool hasQueue : {false, true}) {
            isOpen ? it.gate.Open(&it.session) : it.gate.Close();
            it.gate.SetDelegate(hasDelegate ? &delegate : nullptr, hasQueue ? it.queue : nullptr);
            const bool passes = isOpen && hasDelegate && hasQueue;
            EXPECT_EQ(it.gate.IsTaken(), passes);
            EXPECT_EQ(it.gate.Deliver(it.buffer), passes);
         }
      }
   }
   EXPECT_EQ(delegate.calls, 1);
}

TEST(DelegateGate, EveryChangeOfBeingTakenRaisesTheSignal) {
   Gate it;
   Calling delegate;
   WakeSignal signal;
   it.gate.SetSignal(&signal);
   uint32_t seen = signal.Look();
   it.gate.Open(&it.session);
   EXPECT_EQ(signal.Look(), seen) << "nobody takes it yet";
   it.gate.SetDelegate(&delegate, it.queue);
   EXPECT_NE(signal.Look(), seen);
   seen = signal.Look();
   it.gate.Close();
   EXPECT_NE(signal.Look(), seen);
   seen = signal.Look();
   it.gate.SetSignal(nullptr);
   it.gate.Open(&it.session);
   EXPECT_EQ(signal.Look(), seen);
}

TEST(DelegateGate, TheCallIsKnownToBelongToItsSession) {
   Gate it;
   Calling delegate;
   int other = 0;
   delegate.act = [&] {
      EXPECT_TRUE(DelegateGate::IsInCallOf(&it.session));
      EXPECT_FALSE(DelegateGate::IsInCallOf(&other));
      EXPECT_FALSE(DelegateGate::IsInCallOf(nullptr));
      std::thread([&] { EXPECT_FALSE(DelegateGate::IsInCallOf(&it.session)); }).join();
      it.gate.Close(); // does not wait for itself
   };
   it.gate.SetDelegate(&delegate, it.queue);
   it.gate.Open(&it.session);
   EXPECT_TRUE(it.gate.Deliver(it.buffer));
   EXPECT_FALSE(DelegateGate::IsInCallOf(&it.session));
   EXPECT_FALSE(it.gate.Deliver(it.buffer));
}

TEST(DelegateGate, OutputsThatShareAQueueTakeTurns) {
   const kit::PerturbedSchedule schedule;
   Gate first;
   Gate second;
   std::atomic<int> inside = 0;
   Calling delegate;
   delegate.act = [&] {
      EXPECT_EQ(++inside, 1);
      std::this_thread::yield();
      --inside;
   };
   for (Gate *const it : {&first, &second}) {
      it->gate.SetDelegate(&delegate, first.queue);
      it->gate.Open(&it->session);
   }
   std::thread other([&] {
      for (int i = 0; i < 300; ++i) {
         EXPECT_TRUE(second.gate.Deliver(second.buffer));
      }
   });
   for (int i = 0; i < 300; ++i) {
      EXPECT_TRUE(first.gate.Deliver(first.buffer));
   }
   other.join();
   EXPECT_EQ(delegate.calls, 600);
}

TEST(DelegateGate, OnceTheDelegateIsTakenAwayNoCallRunsUnderAnyInterleaving) {
   const kit::PerturbedSchedule schedule;
   Gate it;
   it.gate.Open(&it.session);
   std::atomic<bool> isOver = false;
   std::thread delivery([&] {
      while (!isOver) {
         static_cast<void>(it.gate.Deliver(it.buffer));
         std::this_thread::yield();
      }
   });
   for (int round = 0; round < 500; ++round) {
      auto delegate = std::make_unique<Calling>();
      it.gate.SetDelegate(delegate.get(), it.queue);
      if (round % 2 == 0) {
         while (delegate->calls == 0) {
            std::this_thread::yield();
         }
      }
      switch (round % 3) {
      case 0:
         it.gate.SetDelegate(nullptr, nullptr);
         break;
      case 1:
         it.gate.Close();
         break;
      default:
         it.gate.SetDelegate(nullptr, it.queue);
      }
      delegate.reset(); // a call from here on is on freed memory
      it.gate.SetDelegate(nullptr, nullptr);
      it.gate.Open(&it.session);
   }
   isOver = true;
   delivery.join();
}

} // namespace
} // namespace osal
