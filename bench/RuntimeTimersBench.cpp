#include "bench/RuntimeBench.h"
#include "lib/mfw/common/coretimer.h"
#include "lib/mfw/common/coretimerlock.h"
#include "osal/Clock.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <memory>
#include <string>
#include <uv.h>
#include <vector>

// Firing, all timers due at the same time, per callback: what it takes to find the next timer, call it and arm it
// again. Rounds follow each other without a rest, for all alike, so that no sleep is measured: our service's waits
// jump to their deadline, and libuv's loop is turned without waiting.
namespace {

constexpr uint32_t kIntervalMS = 950; // a round is a second: all are due, and none is late enough for a line

using Time = std::chrono::steady_clock::time_point;
using Duration = std::chrono::duration<double, std::nano>;

Time Now() {
   return std::chrono::steady_clock::now();
}

/// The system's clock, read like it and at its price, but a wait with a limit moves it on by a round instead of
/// sleeping. Paused, it holds whoever waits.
class JumpingClock final : public osal::Clock {
public:
   uint64_t monotonicNs() const override { return mSystem.monotonicNs() + Rounds() * 1'000'000'000; }
   osal::WallTime wallTime() const override {
      const osal::WallTime now = mSystem.wallTime();
      return {now.seconds + static_cast<int64_t>(Rounds()), now.microseconds};
   }
   void sleepNs(uint64_t ns) override { mSystem.sleepNs(ns); }
   bool waitWhile(const std::atomic<uint32_t> &word, uint32_t value, uint64_t deadlineNs) override {
      if (deadlineNs == kNoDeadline) {
         return mSystem.waitWhile(word, value, deadlineNs);
      }
      mPaused.wait(true);
      ++mRounds;
      return false;
   }

   void Pause(bool paused) {
      mPaused.store(paused);
      mPaused.notify_all();
   }

private:
   [[nodiscard]] uint64_t Rounds() const { return mRounds.load(std::memory_order_relaxed); }

   osal::Clock &mSystem = osal::Clock::current();
   std::atomic<uint64_t> mRounds{0};
   std::atomic<bool> mPaused{true};
};

/// `count` timers of the product's own, on its own thread.
class OurTimers {
public:
   OurTimers(JumpingClock &clock, size_t count)
       : mClock(clock) {
      mClock.Pause(true);
      for (size_t i = 0; i < count; ++i) {
         mTimers.emplace_back(new Timer(*this))->Start(kIntervalMS);
      }
   }
   ~OurTimers() {
      for (Timer *const timer : mTimers) {
         timer->StopAndWait();
         timer->Release();
      }
      mClock.Pause(false);
   }
   OurTimers(const OurTimers &) = delete;
   OurTimers &operator=(const OurTimers &) = delete;

   /// How long that takes, from the first callback to the last: waking the thread and hearing of the end must not
   /// weigh.
   Duration Fire(uint64_t times) {
      mTimes = times;
      mFired.store(0);
      mClock.Pause(false);
      mDone.wait(false);
      mDone.store(false);
      return mEnd - mStart;
   }

private:
   class Timer final : public CORE::coretimer {
   public:
      explicit Timer(OurTimers &owner)
          : mOwner(owner) {}
      bool OnTimer() override {
         mOwner.Count();
         return true;
      }

   private:
      OurTimers &mOwner;
   };

   void Count() {
      const uint64_t fired = mFired.load(std::memory_order_relaxed) + 1;
      mFired.store(fired, std::memory_order_relaxed);
      if (fired == 1) {
         mStart = Now();
      } else if (fired == mTimes) {
         mEnd = Now();
         mClock.Pause(true);
         mDone.store(true);
         mDone.notify_one();
      }
   }

   JumpingClock &mClock;
   std::vector<Timer *> mTimers;
   uint64_t mTimes = 0;
   std::atomic<uint64_t> mFired{0}; // written by the timers' thread, once it is let go
   Time mStart;
   Time mEnd;
   std::atomic<bool> mDone{false};
};

/// The same timers found by a walk from the first to the one that is due, each looked up by its weak id.
class ScannedTimers {
public:
   explicit ScannedTimers(size_t count) {
      for (size_t i = 0; i < count; ++i) {
         mIds.push_back(mTimers.emplace_back(new Timer)->GetWeakId(true));
      }
   }
   ~ScannedTimers() {
      for (Timer *const timer : mTimers) {
         timer->Release();
      }
   }
   ScannedTimers(const ScannedTimers &) = delete;
   ScannedTimers &operator=(const ScannedTimers &) = delete;

   Duration Fire(uint64_t times) {
      const Time start = Now();
      while (times > 0) {
         uint32_t now = 0;
         if (Timer *const timer = FindDue(now)) {
            Fire(*timer);
            --times;
         } else {
            mOffsetMS += kIntervalMS + 50;
         }
      }
      return Now() - start;
   }

private:
   struct Timer : CORE::corerefex<Timer> {
      virtual bool OnTimer() {
         ++fired;
         return true;
      }

      uint64_t fired = 0;
      uint32_t lastTick = GetTickCount();
      bool inCallback = false;
      bool active = true;
   };

   Timer *FindDue(uint32_t &now) {
      const CORE::coresynctimer hold;
      now = Tick();
      for (const uint64_t id : mIds) {
         Timer *const timer = Timer::FindByWeakId(id);
         if (timer->active && !timer->inCallback && kIntervalMS <= now - timer->lastTick) {
            timer->inCallback = true;
            return timer;
         }
         timer->Release();
      }
      return nullptr;
   }

   void Fire(Timer &timer) {
      timer.active = timer.OnTimer();
      timer.lastTick = Tick();
      const CORE::coresynctimer hold;
      timer.inCallback = false;
      timer.Release();
   }

   [[nodiscard]] uint32_t Tick() const { return GetTickCount() + mOffsetMS; }

   uint32_t mOffsetMS = 0;
   std::vector<Timer *> mTimers;
   std::vector<uint64_t> mIds;
};

/// `count` repeating timers of one libuv loop. It reads the system's clock itself, so each round is made due by taking
/// a moment off all deadlines, which keeps their order.
class UvTimers {
public:
   explicit UvTimers(size_t count)
       : mTimers(count) {
      uv_loop_init(&mLoop);
      for (uv_timer_t &timer : mTimers) {
         uv_timer_init(&mLoop, &timer);
         timer.data = &mFired;
         uv_timer_start(
            &timer, [](uv_timer_t *self) { ++*static_cast<uint64_t *>(self->data); }, 1, 1);
      }
   }
   ~UvTimers() {
      for (uv_timer_t &timer : mTimers) {
         uv_close(reinterpret_cast<uv_handle_t *>(&timer), nullptr);
      }
      uv_run(&mLoop, UV_RUN_DEFAULT);
      uv_loop_close(&mLoop);
   }
   UvTimers(const UvTimers &) = delete;
   UvTimers &operator=(const UvTimers &) = delete;

   Duration Fire(uint64_t times) {
      const Time start = Now();
      for (mFired = 0; mFired < times;) {
         for (uv_timer_t &timer : mTimers) {
            timer.timeout -= 10;
         }
         uv_run(&mLoop, UV_RUN_NOWAIT);
      }
      return Now() - start;
   }

private:
   uv_loop_t mLoop{};
   std::vector<uv_timer_t> mTimers;
   uint64_t mFired = 0;
};

template <typename Timers>
bench::Sampler NanosecondsPerFiring(Timers &timers, uint64_t times) {
   return [&timers, times] {
      return timers.Fire(times).count() / static_cast<double>(times);
   };
}

} // namespace

void TimerRows(bench::Report &report) {
   for (const size_t count : {size_t{10}, size_t{100}, size_t{1000}}) {
      const std::string name = "timer." + std::to_string(count);
      if (!report.Wants(name)) {
         continue;
      }
      static JumpingClock clock; // outlives the service's thread, which nobody waits for
      const osal::ScopedClock inForce(clock);
      OurTimers ours(clock, count);
      ScannedTimers scanned(count);
      UvTimers uv(count);
      report.Run({.name = name,
                  .unit = "ns",
                  .ours = NanosecondsPerFiring(ours, 200'000),
                  .peers = {{"libuv", NanosecondsPerFiring(uv, 200'000)},
                            {"linear scan", NanosecondsPerFiring(scanned, 10'000)}}});
   }
}
