#include "libs/utils/ThreadUtils.h"

#include "lib/mfw/common/logger.h"
#include "libs/utils/LoopPacing.h"
#include "libs/utils/ThreadStopwatch.h"
#include "osal/SchedulePoint.h"
#include "osal/Threads.h"

#include <cassert>
#include <utility>

CRVThread::CRVThread()
    : mNotifEvent(SharedHandle::Adopt(CreateEvent(nullptr, false, false, nullptr))) {
   if (!mNotifEvent) {
      MAVR_LOG_ERROR("NotifEvent create failed");
   }
}

CRVThread::~CRVThread() noexcept {
   if (!WaitForStop(0)) {
      EndLoop();
   }
   const CORE::coresync hold(mLock);
   RetireExitEvent();
   ForgetRun();
}

// The owner should have stopped it. Without this the loop would run on in freed memory.
void CRVThread::EndLoop() {
   if (OnOwnThread()) {
      *mLoopOrphaned = true;
   } else {
      StopThread(INFINITE);
   }
}

void CRVThread::SetName(const std::string &name) {
   Name copy = std::make_shared<const std::string>(name);
   const CORE::coresync hold(mLock);
   mName = std::move(copy);
}

std::string CRVThread::GetName() const {
   const CORE::coresync hold(mLock);
   return mName != nullptr ? *mName : std::string();
}

bool CRVThread::StartThread(fCallback callback, void *data, int intervalMS, int runLimit) {
   const CORE::coresync hold(mLock);
   if (!WaitForStop(0)) {
      MAVR_LOG_TRACE("Thread already running. No action taken");
      return false;
   }
   if (callback == nullptr || intervalMS < -1) {
      MAVR_LOG_ERROR("Thread not started. Reqd param missing");
      return false;
   }
   RetireExitEvent();
   mExitEvent = SharedHandle::Adopt(CreateEvent(nullptr, true, false, nullptr));
   if (!mExitEvent) {
      MAVR_LOG_ERROR("Thread not started. ExitEvent create failed");
      return false;
   }
   if (mNotifEvent) {
      ResetEvent(mNotifEvent.Get());
   }
   mCallback = callback;
   mUserData = data;
   mIntervalMS.store(intervalMS, std::memory_order_relaxed);
   mRunLimit.store(runLimit, std::memory_order_relaxed);
   mThreadHandle = SharedHandle::Reserve();
   if (mThreadHandle.CanFill()) {
      mThreadHandle.Fill(platforms::WindowsThread::Create(ThreadMain, this));
   }
   if (!mThreadHandle) {
      MAVR_LOG_ERROR("Thread not started. CreateThread failed!");
      ForgetRun();
      return false;
   }
   return true;
}

// A run that ended by its limit leaves its exit event clear. Who waits on it would wait for ever once the next start
// has put another event in its place.
void CRVThread::RetireExitEvent() {
   if (mExitEvent) {
      SetEvent(mExitEvent.Get());
   }
}

void CRVThread::ForgetRun() {
   mThreadHandle = SharedHandle();
   mExitEvent = SharedHandle();
   mRunLimit.store(0, std::memory_order_relaxed);
   mCallback = nullptr;
   mUserData = nullptr;
   mIntervalMS.store(0, std::memory_order_relaxed);
}

bool CRVThread::OnOwnThread() const {
   const uint64_t loop = mThreadId.load();
   return loop != 0 && loop == GetCurrentThreadId();
}

bool CRVThread::StopThread(unsigned timeoutMS) {
   SharedHandle thread;
   {
      const CORE::coresync hold(mLock);
      thread = mThreadHandle;
      if (thread && mExitEvent) {
         SetEvent(mExitEvent.Get());
      }
      if (thread && mNotifEvent) {
         SetEvent(mNotifEvent.Get());
      }
   }
   const End end = WaitForEnd(thread, timeoutMS);
   if (end == End::TimedOut) {
      MAVR_LOG_ERROR("StopThread request timed out!");
   }
   return end == End::Ended;
}

bool CRVThread::WaitForStop(unsigned timeoutMS) {
   SharedHandle thread;
   {
      const CORE::coresync hold(mLock);
      thread = mThreadHandle;
   }
   const End end = WaitForEnd(thread, timeoutMS);
   if (end == End::TimedOut) {
      MAVR_LOG_ERROR("WaitForStop request timed out!");
   }
   return end == End::Ended;
}

CRVThread::End CRVThread::WaitForEnd(const SharedHandle &thread, unsigned timeoutMS) const {
   if (!thread) {
      return End::Ended;
   }
   if (OnOwnThread()) {
      return End::OwnThread;
   }
   osal::schedulePoint();
   return WaitForSingleObject(thread.Get(), timeoutMS) == WAIT_TIMEOUT ? End::TimedOut : End::Ended;
}

bool CRVThread::ShouldStop(unsigned timeoutMS) {
   SharedHandle exitEvent;
   SharedHandle notifEvent;
   {
      const CORE::coresync hold(mLock);
      exitEvent = mExitEvent;
      notifEvent = mNotifEvent;
   }
   if (!exitEvent) {
      return true;
   }
   osal::schedulePoint();
   const HANDLE handles[] = {exitEvent.Get(), notifEvent.Get()};
   switch (WaitForMultipleObjects(notifEvent ? 2 : 1, handles, false, timeoutMS)) {
   case WAIT_OBJECT_0:
      return true;
   case WAIT_TIMEOUT:
      return false;
   case WAIT_OBJECT_0 + 1: {
      const CORE::coresync hold(mLock);
      mNotified = true;
      return false;
   }
   default:
      MAVR_LOG_ERROR("Should never hit Default case");
      assert(false && "Should never hit Default case");
      return true;
   }
}

bool CRVThread::WaitForExitEvent() {
   SharedHandle exitEvent;
   {
      const CORE::coresync hold(mLock);
      exitEvent = mExitEvent;
   }
   return WaitForSingleObject(exitEvent.Get(), INFINITE) == WAIT_OBJECT_0;
}

uint32_t CRVThread::ThreadMain(void *self) {
   static_cast<CRVThread *>(self)->Loop();
   return 0;
}

void CRVThread::Loop() {
   const uint64_t id = GetCurrentThreadId();
   mThreadId.store(id);
   Name name; // kept: the lines below may come when the object is gone
   {
      const CORE::coresync hold(mLock);
      name = mName;
   }
   const char *const nameText = name != nullptr ? name->c_str() : "";
   if (name != nullptr) {
      osal::setThreadName(nameText);
   }
   MAVR_LOG_TRACE("Thread started. Name=%s. Id=%lu", nameText, static_cast<unsigned long>(id));

   bool orphaned = false;
   mLoopOrphaned = &orphaned;
   RunCallbacks(orphaned);

   MAVR_LOG_TRACE("Thread exited. Name=%s. Id=%lu", nameText, static_cast<unsigned long>(id));
   if (!orphaned) {
      mThreadId.store(0);
   }
}

void CRVThread::RunCallbacks(const bool &orphaned) {
   LoopPacing pacing(mIntervalMS.load(std::memory_order_relaxed));
   const int32_t limit = mRunLimit.load(std::memory_order_relaxed);
   int32_t pass = 0;
   ThreadStopwatch stopwatch;
   stopwatch.Ticks(ThreadStopwatch::Command::RestartRunning);
   for (;;) {
      if (mFixedRate.load(std::memory_order_relaxed)) {
         stopwatch.Ticks(ThreadStopwatch::Command::RestartRunning);
      }
      mCallback(mUserData, this);
      if (orphaned || (limit >= 1 && ++pass == mRunLimit.load(std::memory_order_relaxed))) {
         return;
      }
      const double interval = mIntervalMS.load(std::memory_order_relaxed);
      const double wait =
         mFixedRate.load(std::memory_order_relaxed)
            ? pacing.NextFixedRateWait(interval, stopwatch.Seconds(ThreadStopwatch::Command::RestartRunning))
            : pacing.NextWait(interval);
      if (ShouldStop(mWaitForever.load(std::memory_order_relaxed) ? INFINITE : LoopPacing::ToTimeout(wait))) {
         return;
      }
   }
}

CRVThreadWrapper::CRVThreadWrapper(const std::string &name) {
   mThread.SetName(name);
}

bool CRVThreadWrapper::Start(CRVThread::fCallback callback, void *data, int intervalMS, int runLimit) {
   const void *const thread = &mThread;
   if (mActive) {
      MAVR_LOG_DEBUG("%s - The thread is already active: %p.", "Start", thread);
      return true;
   }
   mActive = mThread.StartThread(callback, data, intervalMS, runLimit);
   if (!mActive) {
      MAVR_LOG_ERROR("%s - failed to start thread(name=%s).",
                     "bool CRVThreadWrapper::Start(CRVThread::fCallback, void *, int, int)", mThread.GetName().c_str());
      return false;
   }
   MAVR_LOG_DEBUG("%s - The thread starts successfully: %p.", "Start", thread);
   return true;
}

bool CRVThreadWrapper::Stop(unsigned timeoutMS) {
   if (!mActive) {
      return true;
   }
   mActive = false;
   return mThread.StopThread(timeoutMS);
}
