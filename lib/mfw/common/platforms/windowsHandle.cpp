#include "lib/mfw/common/platforms/windowsHandle.h"

#include "osal/Clock.h"
#include "osal/SchedulePoint.h"
#include "osal/WaitWord.h"

#include <algorithm>
#include <cstdlib>

namespace platforms {

// ---- PthreadCondition -----------------------------------------------------------------------------------------------

void PthreadCondition::Broadcast() {
   mSequence.fetch_add(1);
   osal::schedulePoint();
   if (mSleepers.load() != 0) {
      osal::waitword::wakeAll(mSequence);
   }
}

void PthreadCondition::Signal() {
   mSignalled.store(true);
   mSequence.fetch_add(1);
   osal::schedulePoint();
   if (mSleepers.load() != 0) {
      osal::waitword::wakeOne(mSequence);
   }
}

void PthreadCondition::Wait(uint32_t ticket) {
   TimedWait(ticket, osal::Clock::kNoDeadline);
}

// A waiter counts itself in before it looks at the sequence (in waitWhile); a waker moves the sequence before it looks
// at the count. So one of the two sees the other.
bool PthreadCondition::TimedWait(uint32_t ticket, uint64_t deadlineNs) {
   bool inTime = true;
   if (!mSignalled.load()) {
      mSleepers.fetch_add(1);
      osal::schedulePoint();
      inTime = osal::Clock::current().waitWhile(mSequence, ticket, deadlineNs);
      mSleepers.fetch_sub(1);
   }
   mSignalled.store(false);
   return inTime;
}

void PthreadCondition::Reset() {
   mSignalled.store(false);
}

// ---- WindowsHandle --------------------------------------------------------------------------------------------------

void WindowsHandle::Close() {
   {
      // A setter may still be on its way out, after its signal has let the closing thread through.
      const std::lock_guard<std::mutex> hold(mMutex);
      mWaiters.clear();
   }
   delete this;
}

void WindowsHandle::Set() {
   const std::lock_guard<std::mutex> hold(mMutex);
   mSignalled.store(true);
   osal::schedulePoint();
   if (IsManualReset()) {
      mCondition.Broadcast();
   } else {
      mCondition.Signal();
   }
   if (!mWaiters.empty()) {
      WakeMultipleWaits();
   }
}

void WindowsHandle::Reset() {
   const std::lock_guard<std::mutex> hold(mMutex);
   ClearWord();
}

void WindowsHandle::ClearWord() {
   mSignalled.store(false);
   mCondition.Reset();
}

void WindowsHandle::WakeMultipleWaits() {
   if (IsManualReset()) {
      for (PthreadCondition *const waiter : mWaiters) {
         waiter->Signal();
      }
      return;
   }
   constexpr double kPerDraw = 3000.0 / 2147483648.0;
   const auto draw = static_cast<size_t>(std::rand() * kPerDraw) + 1;
   mWaiters[draw % mWaiters.size()]->Signal();
}

bool WindowsHandle::DoWait(uint64_t deadlineNs) {
   for (bool inTime = true;;) {
      std::unique_lock<std::mutex> lock(mMutex);
      if (mSignalled.load() && Satisfied()) {
         return true;
      }
      if (!inTime) {
         return false;
      }
      // Taken under the mutex: a signal after this look ends the wait, so none is lost.
      const uint32_t ticket = mCondition.Ticket();
      lock.unlock();
      inTime = mCondition.TimedWait(ticket, deadlineNs);
   }
}

void WindowsHandle::AddWaiter(PthreadCondition *waiter) {
   const std::lock_guard<std::mutex> hold(mMutex);
   mWaiters.push_back(waiter);
}

void WindowsHandle::RemoveWaiter(PthreadCondition *leaving) {
   const std::lock_guard<std::mutex> hold(mMutex);
   mWaiters.erase(std::remove(mWaiters.begin(), mWaiters.end(), leaving), mWaiters.end());
   if (mSignalled.load() && !mWaiters.empty()) {
      WakeMultipleWaits();
   }
}

// ---- WindowsEvent ---------------------------------------------------------------------------------------------------

WindowsEvent::WindowsEvent(bool manualReset, bool initialState)
    : mManualReset(manualReset) {
   if (initialState) {
      Set();
   }
}

bool WindowsEvent::Satisfied() {
   if (!mManualReset) {
      ClearWord();
   }
   return true;
}

} // namespace platforms
