#include "tests/kit/ManualClock.h"

#include "osal/WaitWord.h"

#include <algorithm>
#include <thread>

namespace kit {
namespace {
constexpr int64_t kStartUs = 1'794'508'200'123'000; // 2026-11-12T18:30:00.123Z
}

ManualClock::ManualClock()
    : mMonotonicNs(1'000'000'000'000)
    , mWallUs(kStartUs)
    , mInForce(*this) {
   constexpr size_t kManyThreads = 256;
   mSleepers.reserve(kManyThreads);
}

osal::WallTime ManualClock::wallTime() const {
   const int64_t us = mWallUs.load();
   return {us / 1'000'000, static_cast<int32_t>(us % 1'000'000)};
}

// The monotonic clock goes last: it lets waits end, and who comes out of one must find the wall clock gone on too.
void ManualClock::AdvanceNs(uint64_t ns) {
   const uint64_t rest = mRestNs.fetch_add(ns) + ns;
   mWallUs += static_cast<int64_t>(rest / 1000);
   mRestNs -= rest / 1000 * 1000;
   mMonotonicNs += ns;
   EndDueWaits();
}

// A waker that comes between a sleeper's look at the clock and its sleep is missed, so it goes on waking until the
// sleeper has signed off.
void ManualClock::EndDueWaits() {
   for (;;) {
      {
         const std::lock_guard<std::mutex> hold(mMutex);
         const auto due = std::find_if(mSleepers.begin(), mSleepers.end(), [&](const Sleeper *sleeper) {
            return sleeper->deadlineNs <= mMonotonicNs.load();
         });
         if (due == mSleepers.end()) {
            return;
         }
         osal::waitword::wakeAll(const_cast<std::atomic<uint32_t> &>(*(*due)->word));
      }
      std::this_thread::yield();
   }
}

class ManualClock::Place {
public:
   Place(ManualClock &clock, const Sleeper &sleeper)
       : mClock(clock)
       , mSelf(sleeper) {
      {
         const std::lock_guard<std::mutex> hold(mClock.mMutex);
         mClock.mSleepers.push_back(&mSelf);
      }
      mClock.mSleepersChanged.notify_all();
   }
   Place(const Place &) = delete;
   Place &operator=(const Place &) = delete;
   ~Place() {
      const std::lock_guard<std::mutex> hold(mClock.mMutex);
      mClock.mSleepers.erase(std::find(mClock.mSleepers.begin(), mClock.mSleepers.end(), &mSelf));
   }

private:
   ManualClock &mClock;
   const Sleeper mSelf;
};

bool ManualClock::waitWhile(const std::atomic<uint32_t> &word, uint32_t value, uint64_t deadlineNs) {
   if (mJumping.load() && deadlineNs != kNoDeadline && word.load() == value) {
      const uint64_t now = mMonotonicNs.load();
      AdvanceNs(deadlineNs > now ? deadlineNs - now : 0);
      return word.load() != value;
   }
   {
      const Place place(*this, Sleeper{&word, deadlineNs});
      if (mMonotonicNs.load() < deadlineNs) {
         osal::waitword::waitWhileUntil(word, value, kNoDeadline);
      }
   }
   return word.load() != value || mMonotonicNs.load() < deadlineNs;
}

void ManualClock::AwaitSleepers(size_t count) {
   std::unique_lock<std::mutex> lock(mMutex);
   mSleepersChanged.wait(lock, [&] { return mSleepers.size() >= count; });
}

size_t ManualClock::Sleepers() const {
   const std::lock_guard<std::mutex> hold(mMutex);
   return mSleepers.size();
}

uint64_t ManualClock::NextDeadlineNs() const {
   const std::lock_guard<std::mutex> hold(mMutex);
   uint64_t next = kNoDeadline;
   for (const Sleeper *const sleeper : mSleepers) {
      next = std::min(next, sleeper->deadlineNs);
   }
   return next;
}

} // namespace kit
