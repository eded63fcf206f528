#include "bench/RuntimeBench.h"
#include "lib/mfw/common/linuxSupport.h"
#include "osal/WaitWord.h"

#include <atomic>
#include <benchmark/benchmark.h>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

namespace {

// ---- Set and wait, one thread ---------------------------------------------------------------------------------------

struct Closer {
   void operator()(HANDLE event) const { CloseHandle(event); }
};
using Event = std::unique_ptr<platforms::WindowsHandle, Closer>;

Event AutoReset() {
   return Event(CreateEvent(nullptr, false, false, nullptr));
}

void SetAndWait(uint64_t times) {
   static const Event event = AutoReset();
   for (; times > 0; --times) {
      SetEvent(event.get());
      benchmark::DoNotOptimize(WaitForSingleObject(event.get(), INFINITE));
   }
}

// What an event is without a wait: one step to set it, one to take it.
void ExchangeTwice(uint64_t times) {
   static std::atomic<uint32_t> word{0};
   for (; times > 0; --times) {
      word.exchange(1);
      benchmark::DoNotOptimize(word.exchange(0));
   }
}

// An auto-reset event as one writes it with the standard library.
class ConditionEvent {
public:
   void Set() {
      const std::lock_guard<std::mutex> hold(mMutex);
      mSet = true;
      mCondition.notify_one();
   }
   void Wait() {
      std::unique_lock<std::mutex> lock(mMutex);
      mCondition.wait(lock, [this] { return mSet; });
      mSet = false;
   }

private:
   std::mutex mMutex;
   std::condition_variable mCondition;
   bool mSet = false;
};

void ConditionSetAndWait(uint64_t times) {
   static ConditionEvent event;
   for (; times > 0; --times) {
      event.Set();
      event.Wait();
   }
}

// ---- Ping-pong, two threads -----------------------------------------------------------------------------------------

// An auto-reset event on a bare futex.
class FutexEvent {
public:
   void Set() {
      mWord.store(1);
      osal::waitword::wakeOne(mWord);
   }
   void Wait() {
      while (mWord.exchange(0) == 0) {
         osal::waitword::waitWhile(mWord, 0);
      }
   }

private:
   std::atomic<uint32_t> mWord{0};
};

class OurEvent {
public:
   void Set() { SetEvent(mEvent.get()); }
   void Wait() { benchmark::DoNotOptimize(WaitForSingleObject(mEvent.get(), INFINITE)); }

private:
   Event mEvent = AutoReset();
};

// Two threads that wake each other in turn; one round is two wake-ups.
template <typename Kind>
class PingPong {
public:
   PingPong()
       : mPartner([this] {
          for (;;) {
             mPing.Wait();
             if (mOver.load()) {
                return;
             }
             mPong.Set();
          }
       }) {}
   PingPong(const PingPong &) = delete;
   PingPong &operator=(const PingPong &) = delete;
   ~PingPong() {
      mOver = true;
      mPing.Set();
      mPartner.join();
   }
   void Play(uint64_t times) {
      for (; times > 0; --times) {
         mPing.Set();
         mPong.Wait();
      }
   }

private:
   Kind mPing;
   Kind mPong;
   std::atomic<bool> mOver{false};
   std::thread mPartner;
};

template <typename Kind>
bench::Sampler PingPongSampler() {
   return bench::MicrosecondsEach([game = std::make_shared<PingPong<Kind>>()](uint64_t times) { game->Play(times); });
}

} // namespace

void EventRows(bench::Report &report) {
   // As long as a process has one thread only, the C library's mutex leaves out what makes it a mutex.
   const PingPong<OurEvent> secondThread;
   report.Run({.name = "event.setwait",
               .unit = "ns",
               .ours = bench::NanosecondsEach(SetAndWait),
               .limit = bench::Case{"two exchanges", bench::NanosecondsEach(ExchangeTwice)},
               .peers = {{"condition variable", bench::NanosecondsEach(ConditionSetAndWait)}}});
   if (report.Wants("event.pingpong")) {
      report.Run({.name = "event.pingpong",
                  .unit = "us",
                  .ours = PingPongSampler<OurEvent>(),
                  .limit = bench::Case{"futex", PingPongSampler<FutexEvent>()},
                  .peers = {{"condition variable", PingPongSampler<ConditionEvent>()}}});
   }
}
