#include "lib/mfw/common/coretimerservice.h"

#include "lib/mfw/common/coreException.h"
#include "lib/mfw/common/coreshutdown.h"
#include "lib/mfw/common/coretimer.h"
#include "lib/mfw/common/coretimerlock.h"
#include "lib/mfw/common/logger.h"

#include "osal/Clock.h"
#include "osal/SchedulePoint.h"

#include <algorithm>
#include <typeinfo>
#include <utility>

namespace CORE {
namespace {

constinit coretimerservice *gService = nullptr;
constinit uint64_t gLastSerial = 0;

uint64_t MonotonicNs() {
   return osal::Clock::current().monotonicNs();
}

} // namespace

/// The timer lock, which the service's thread lets go of for a rest or a callback.
class coretimerservice::Hold {
public:
   Hold() { Take(); }
   Hold(const Hold &) = delete;
   Hold &operator=(const Hold &) = delete;
   ~Hold() {
      if (mHeld) {
         LetGo();
      }
   }
   void Take() MAVR_NO_THREAD_SAFETY_ANALYSIS {
      mLock.Lock();
      mHeld = true;
   }
   void LetGo() MAVR_NO_THREAD_SAFETY_ANALYSIS {
      mHeld = false;
      mLock.Unlock();
   }
   [[nodiscard]] bool IsHeld() const { return mHeld; }

private:
   coretimer_critsec &mLock = coreTimerLock();
   bool mHeld = false;
};

// ---- Life -----------------------------------------------------------------------------------------------------------

coretimerservice *coretimerservice::Current() {
   return gService;
}

// A shutdown forgets the registration, and so does nothing else: a service that comes after another one finds it.
coretimerservice::coretimerservice()
    : corerunnable("TimerService", nullptr, nullptr, 3)
    , mShuttingDown(!registerShutdownCallbackOnce(Shutdown))
    , mSerial(++gLastSerial)
    , mClock(GetTickCount()) {}

coretimerservice::~coretimerservice() noexcept(false) {
   mTimers.clear();
   if (mWakeEvent != nullptr) {
      SetEvent(mWakeEvent);
      corerunnable::Wait(INFINITE);
      CloseHandle(mWakeEvent);
   }
}

void coretimerservice::Register(coretimer &timer) {
   if (gService == nullptr) {
      gService = new coretimerservice;
   }
   if (gService->mShuttingDown) {
      MAVR_LOG_TRACE("Add of timer skipped at shutdown");
      return;
   }
   const size_t before = gService->mTimers.size();
   try {
      gService->mTimers.push_back(timer.GetWeakId(true));
      gService->mIndex.Add(timer.mEntry);
   } catch (...) {
      gService->mTimers.resize(before);
      EndService();
      throw;
   }
   timer.mServiceSerial = gService->mSerial;
   gService->AddRef();
}

void coretimerservice::Unregister(coretimer &timer) {
   if (gService == nullptr) {
      return;
   }
   if (gService->Tracks(timer)) {
      auto &timers = gService->mTimers;
      timers.erase(std::remove(timers.begin(), timers.end(), timer.GetWeakId(false)), timers.end());
      gService->mIndex.Remove(timer.mEntry);
      timer.mServiceSerial = 0;
      gService->Release();
   }
   EndService();
}

// Ends the service if it has no timers: also one that was made in the middle of a shutdown and never had any.
void coretimerservice::EndService() {
   if (!gService->mTimers.empty()) {
      return;
   }
   coretimerservice *const service = gService;
   gService = nullptr;
   if (service->mWakeEvent != nullptr) {
      SetEvent(service->mWakeEvent);
   }
   service->Release();
}

void coretimerservice::Shutdown() {
   const coresynctimer hold;
   if (gService == nullptr) {
      return;
   }
   for (size_t left = gService->mTimers.size(); left > 0; --left) {
      gService->Release();
   }
   gService->mTimers.clear();
   gService->mIndex.Clear();
   gService->mSerial = 0; // tracks nobody: a timer in its callback is not armed again
   EndService();
}

// ---- What timers ask for --------------------------------------------------------------------------------------------

bool coretimerservice::Tracks(const coretimer &timer) const {
   return mSerial != 0 && timer.mServiceSerial == mSerial;
}

void coretimerservice::Restart(coretimer &timer) {
   if (gService == nullptr || !gService->Tracks(timer)) {
      timer.mLastTick = GetTickCount();
      return;
   }
   timer.mLastTick = gService->Look();
   timer.mLastTime = gService->mClock.Now();
   gService->Rearm(timer);
}

void coretimerservice::Disarm(coretimer &timer) {
   if (gService != nullptr && gService->Tracks(timer)) {
      gService->mIndex.Disarm(timer.mEntry);
   }
}

void coretimerservice::Rearm(coretimer &timer) {
   if (timer.mActive && !timer.mInCallback && Tracks(timer)) {
      mIndex.Arm(timer.mEntry, timer.mLastTime + timer.mIntervalMS);
   }
}

void coretimerservice::Wake() {
   if (mWakeEvent == nullptr) {
      mWakeEvent = CreateEvent(nullptr, false, false, nullptr);
      if (mWakeEvent == nullptr) {
         throw coreException(GetLastError());
      }
   }
   if (!mNeedsThread) {
      SetEvent(mWakeEvent);
      return;
   }
   if (!corerunnable::Start()) {
      throw coreException(GetLastError()); // still needs one: the next Start tries again
   }
   mNeedsThread = false;
}

// The tick count now. Everyone who reads it for a timer does so here, under the lock: the clock sees each step of it.
// While the thread rests, the length of its rest tells whether the wall clock was set back meanwhile.
uint32_t coretimerservice::Look() {
   if (!mResting) {
      mTick = GetTickCount();
      mClock.Advance(mTick);
      return mTick;
   }
   const uint64_t nowNs = MonotonicNs(); // before the tick: a pause between the two must not look like a step back
   const uint64_t restedMS = (nowNs - mRestingSinceNs) / 1'000'000;
   mRestingSinceNs += restedMS * 1'000'000;
   mTick = GetTickCount();
   mClock.Advance(mTick, restedMS);
   return mTick;
}

// ---- The thread -----------------------------------------------------------------------------------------------------

void coretimerservice::ThreadMain() {
   Hold hold;
   mThread = GetCurrentThreadId();
   Look();
   for (uint32_t result = WAIT_OBJECT_0;;) {
      if (result == WAIT_FAILED || mTimers.empty()) {
         mNeedsThread = true;
         return;
      }
      if (coretimer *const timer = TakeDue(); timer != nullptr) {
         Fire(*timer, hold);
      } else {
         result = Rest(hold);
      }
   }
}

uint32_t coretimerservice::Rest(Hold &hold) {
   const int64_t next = mIndex.NextDeadline();
   const uint32_t ms = next == coretimerindex::kNever ? INFINITE : static_cast<uint32_t>(next - mClock.Now());
   mResting = true;
   mRestingSinceNs = MonotonicNs();
   hold.LetGo();
   osal::schedulePoint();
   const uint32_t result = WaitForSingleObject(mWakeEvent, ms);
   hold.Take();
   Look();
   mResting = false;
   return result;
}

// The first timer that is due, with a reference. One whose last Release has begun gives none, and is skipped: it may be
// in its destructors, up to where they wait for the lock, so no virtual function may be called.
coretimer *coretimerservice::TakeDue() {
   while (coretimerentry *const entry = mIndex.TakeDue(mClock.Now())) {
      coretimer &timer = *entry->timer;
      if (timer.Counted::AddRef() != 0) {
         return &timer;
      }
      timer.Counted::Release();
   }
   return nullptr;
}

/// One callback. Whatever way it ends, the timer's mark is cleared, its reference given back, and who waits is woken.
class coretimerservice::Firing {
public:
   Firing(coretimerservice &service, coretimer &timer, Hold &hold)
       : mService(service)
       , mTimer(timer)
       , mHold(hold) {
      timer.mInCallback = true;
      timer.mCallbackThread = service.mThread;
   }
   Firing(const Firing &) = delete;
   Firing &operator=(const Firing &) = delete;
   ~Firing() {
      if (!mHold.IsHeld()) {
         mHold.Take();
      }
      coretimer::DoneWait *waiting = std::exchange(mTimer.mDoneEvent, nullptr);
      mTimer.mInCallback = false;
      mService.Rearm(mTimer);
      mTimer.Counted::Release();
      // All under one hold of the lock: a destructor that comes now must find the reference given back, and a waiter
      // takes the lock before its event goes.
      while (waiting != nullptr) {
         coretimer::DoneWait *const next = waiting->next;
         SetEvent(&waiting->event);
         waiting = next;
      }
   }

private:
   coretimerservice &mService;
   coretimer &mTimer;
   Hold &mHold;
};

// Begins and ends under the lock.
void coretimerservice::Fire(coretimer &timer, Hold &hold) {
   const uint32_t now = mTick;
   const uint32_t expected = timer.mLastTick;
   const uint32_t interval = timer.mIntervalMS;
   const auto elapsed = static_cast<uint32_t>(mClock.Now() - timer.mLastTime);
   const bool verbose = mVerbose;
   const Firing firing(*this, timer, hold);
   hold.LetGo();
   if (IsMissed(elapsed, interval)) {
      MAVR_LOG_ERROR("Timer callback missed by 1.4x, name=%s, expected=%u, now=%u, interval=%u, intervalElapsed=%u",
                     typeid(timer).name(), expected, now, interval, elapsed);
   } else if (verbose) {
      MAVR_LOG_DEBUG("Calling timer callback, name=%s, now=%u, interval=%u, intervalElapsed=%u", typeid(timer).name(),
                     now, interval, elapsed);
   }
   const bool active = timer.OnTimer();
   hold.Take();
   const uint32_t end = Look();
   timer.mActive = active;
   timer.mLastTick = end;
   timer.mLastTime = mClock.Now();
   const uint32_t cbElapsed = end - now;
   if (!IsSlow(cbElapsed) && !verbose) {
      return;
   }
   hold.LetGo();
   if (IsSlow(cbElapsed)) {
      MAVR_LOG_ERROR("Detected a slow timer callback, name=%s, start=%u, end=%u, cbElapsed=%u", typeid(timer).name(),
                     now, end, cbElapsed);
   } else {
      MAVR_LOG_DEBUG("Timer callback complete, name=%s, start=%u, end=%u, cbElasped=%d", typeid(timer).name(), now, end,
                     static_cast<int>(cbElapsed));
   }
   hold.Take();
   Look(); // a line takes its time
}

bool coretimerservice::IsMissed(uint32_t elapsed, uint32_t intervalMS) {
   return static_cast<float>(elapsed) > static_cast<float>(intervalMS) * 1.4F;
}

bool coretimerservice::IsSlow(uint32_t cbElapsed) {
   return cbElapsed >= 10001;
}

} // namespace CORE
