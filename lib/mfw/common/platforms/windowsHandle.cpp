#include "lib/mfw/common/platforms/windowsHandle.h"

#include "lib/mfw/common/logger.h"

#include "osal/Clock.h"
#include "osal/SchedulePoint.h"
#include "osal/WaitWord.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace platforms {

// ---- PthreadCondition -----------------------------------------------------------------------------------------------

// Counts a thread in while it may sleep; a cancelled one too is counted out.
//
// A waiter counts itself in before it looks at the sequence (in waitWhile); a waker moves the sequence before it looks
// at the count. So one of the two sees the other.
class PthreadCondition::Sleeper {
public:
   explicit Sleeper(std::atomic<uint32_t> &sleepers)
       : mSleepers(sleepers) {
      mSleepers.fetch_add(1);
   }
   Sleeper(const Sleeper &) = delete;
   Sleeper &operator=(const Sleeper &) = delete;
   ~Sleeper() { mSleepers.fetch_sub(1); }

private:
   std::atomic<uint32_t> &mSleepers;
};

void PthreadCondition::Broadcast() {
   AnnounceBroadcast().WakeAll();
}

void PthreadCondition::Signal() {
   AnnounceSignal().WakeOne();
}

PthreadCondition::Sleepers PthreadCondition::AnnounceBroadcast() {
   mSequence.fetch_add(1);
   osal::schedulePoint();
   return Sleepers(mSleepers.load() != 0 ? &mSequence : nullptr);
}

PthreadCondition::Sleepers PthreadCondition::AnnounceSignal() {
   mSignalled.store(true);
   return AnnounceBroadcast();
}

void PthreadCondition::Sleepers::WakeOne() const {
   osal::schedulePoint();
   if (mWord != nullptr) {
      osal::waitword::wakeOne(*mWord);
   }
}

void PthreadCondition::Sleepers::WakeAll() const {
   osal::schedulePoint();
   if (mWord != nullptr) {
      osal::waitword::wakeAll(*mWord);
   }
}

bool PthreadCondition::Wait(uint32_t ticket) {
   return TimedWait(ticket, osal::Clock::kNoDeadline);
}

bool PthreadCondition::TimedWait(uint32_t ticket, uint64_t deadlineNs) {
   if (mSignalled.exchange(false)) {
      return true;
   }
   {
      const Sleeper counted(mSleepers);
      osal::schedulePoint();
      while (mSequence.load() == ticket && osal::Clock::current().waitWhile(mSequence, ticket, deadlineNs)) {
      }
   }
   const bool woken = mSequence.load() != ticket;
   mSignalled.store(false);
   return woken;
}

void PthreadCondition::Reset() {
   mSignalled.store(false);
}

// ---- WindowsHandle --------------------------------------------------------------------------------------------------

// A single wait's presence from before its last look until it has its answer; also when it is cancelled in between.
class WindowsHandle::Attendance {
public:
   explicit Attendance(WindowsHandle &handle)
       : mHandle(handle) {
      const std::lock_guard<std::mutex> hold(mHandle.mMutex);
      mHandle.Attend();
   }
   Attendance(const Attendance &) = delete;
   Attendance &operator=(const Attendance &) = delete;
   ~Attendance() {
      const std::lock_guard<std::mutex> hold(mHandle.mMutex);
      mHandle.Leave();
      // Left over only by a cancelled waiter: the wake-up that it got goes on to another.
      if (mHandle.mAttending != 0 && !mHandle.IsManualReset() && mHandle.IsSignalled()) {
         mHandle.mCondition.Signal();
      }
   }

private:
   WindowsHandle &mHandle;
};

void WindowsHandle::Close() {
   {
      // A setter may still be on its way out, after its signal has let the closing thread through.
      const std::lock_guard<std::mutex> hold(mMutex);
      mWaiters.clear();
   }
   delete this;
}

void WindowsHandle::Set() {
   if (SetUnattended()) {
      return;
   }
   if (IsManualReset()) {
      SetForAll();
   } else {
      SetForOne();
   }
}

void WindowsHandle::SetForAll() {
   PthreadCondition::Sleepers single;
   {
      const std::lock_guard<std::mutex> hold(mMutex);
      mState.fetch_or(kSet);
      single = mCondition.AnnounceBroadcast();
      SignalAllMultipleWaits();
   }
   single.WakeAll(); // the handle may be gone by now
}

void WindowsHandle::SetForOne() {
   PthreadCondition::Sleepers single;
   PthreadCondition::Sleepers multiple;
   {
      const std::lock_guard<std::mutex> hold(mMutex);
      mState.fetch_or(kSet);
      single = mCondition.AnnounceSignal();
      multiple = SignalOneMultipleWait();
   }
   single.WakeOne(); // the handle may be gone by now
   multiple.WakeOne();
}

// A word that is set already is written again all the same: what the setter did before must be seen by whoever
// consumes the signal.
bool WindowsHandle::SetUnattended() {
   uint32_t found = mState.load(std::memory_order_relaxed);
   while ((found & kAttended) == 0) {
      if (mState.compare_exchange_weak(found, found | kSet)) {
         return true;
      }
   }
   return false;
}

void WindowsHandle::Reset() {
   mState.fetch_and(~kSet);
   mCondition.Reset();
}

bool WindowsHandle::ConsumeWord() {
   return (mState.fetch_and(~kSet) & kSet) != 0;
}

void WindowsHandle::Attend() {
   ++mAttending;
   mState.fetch_or(kAttended);
}

void WindowsHandle::Leave() {
   if (--mAttending == 0) {
      mState.fetch_and(~kAttended);
   }
}

void WindowsHandle::SignalAllMultipleWaits() {
   for (PthreadCondition *const waiter : mWaiters) {
      if (!IsSignalled()) {
         return;
      }
      waiter->Signal();
   }
}

PthreadCondition::Sleepers WindowsHandle::SignalOneMultipleWait() {
   if (mWaiters.empty()) {
      return {};
   }
   constexpr double kPerDraw = 3000.0 / 2147483648.0;
   const auto draw = static_cast<size_t>(std::rand() * kPerDraw) + 1;
   mPicked = mWaiters[draw % mWaiters.size()];
   return mPicked->AnnounceSignal();
}

bool WindowsHandle::DoWait(uint64_t deadlineNs) {
   osal::schedulePoint();
   const Attendance attendance(*this);
   for (bool inTime = true;;) {
      // Taken before the look: a signal after the look ends the wait, so none is lost.
      const uint32_t ticket = mCondition.Ticket();
      if (IsSignalled() && Satisfied()) {
         return true;
      }
      if (!inTime) {
         if (deadlineNs == osal::Clock::kNoDeadline) {
            MAVR_LOG_DEBUG("DoWait: Failed!!\n");
         }
         return false;
      }
      osal::schedulePoint();
      inTime = mCondition.TimedWait(ticket, deadlineNs);
   }
}

bool WindowsHandle::MakeRoom() {
   const std::lock_guard<std::mutex> hold(mMutex);
   try {
      mWaiters.reserve(kRoomForWaiters);
      return true;
   } catch (const std::bad_alloc &) {
      return false;
   }
}

bool WindowsHandle::AddWaiter(PthreadCondition *waiter) {
   const std::lock_guard<std::mutex> hold(mMutex);
   try {
      mWaiters.push_back(waiter);
   } catch (const std::bad_alloc &) {
      return false;
   }
   Attend();
   return true;
}

void WindowsHandle::RemoveWaiter(PthreadCondition *leaving, bool used) {
   const std::lock_guard<std::mutex> hold(mMutex);
   const auto self = std::find(mWaiters.begin(), mWaiters.end(), leaving);
   if (self == mWaiters.end()) {
      return;
   }
   mWaiters.erase(self);
   Leave();
   if (mPicked == leaving) {
      mPicked = nullptr;
      if (!used && IsSignalled()) {
         SignalOneMultipleWait().WakeOne();
      }
   }
}

// ---- WindowsEvent ---------------------------------------------------------------------------------------------------

WindowsEvent::WindowsEvent(bool manualReset, bool initialState)
    : WindowsHandle((manualReset ? 0 : kAutoReset) | (initialState ? kSet : 0))
    , mManualReset(manualReset) {}

bool WindowsEvent::Satisfied() {
   return mManualReset || ConsumeWord();
}

} // namespace platforms
