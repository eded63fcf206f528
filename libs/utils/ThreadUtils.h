#pragma once

#include "lib/mfw/common/coresync.h"
#include "lib/mfw/common/linuxSupport.h"
#include "libs/utils/SharedHandle.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

/// A service thread: calls one function again and again, with a wait between two calls that a notification event
/// ends early and an exit event for good.
///
/// Owner: the object whose service loop it runs; a member by value. It stops the thread before it goes: a destructor
/// that finds the loop alive says so in the log ("WaitForStop request timed out!"), ends it and waits for that, or, on
/// the loop's own thread, sees to it that the loop touches nothing any more.
/// Threads: any thread, all methods; the destructor while no other call runs. Locks: mLock, recursive, for the fields
/// only; every wait is without it, but for the look with time 0 inside StartThread.
/// Life cycle, read from the handles:
///
/// | State   | Condition         | StartThread      | StopThread    | WaitForStop         | ShouldStop     |
/// |---------|-------------------|------------------|---------------|---------------------|----------------|
/// | Idle    | no thread         | true -> Running  | true          | true                | true           |
/// | Running | thread, not ended | false, two lines | true -> Ended | false on a time-out | waits          |
/// | Ended   | thread, ended     | true -> Running  | true          | true                | the exit event |
///
/// A thread ends by StopThread or when the callback has run `runLimit` times. On the loop's own thread StopThread asks
/// and returns false at once, and WaitForStop returns false.
class CRVThread {
public:
   /// `data` as given to StartThread, and the thread that calls. The result is not used.
   using fCallback = bool (*)(void *data, CRVThread *thread);

   /// Without memory for the notification event ("NotifEvent create failed" at ERROR) the thread still works; it can
   /// not be notified then.
   CRVThread();
   CRVThread(const CRVThread &) = delete;
   CRVThread &operator=(const CRVThread &) = delete;
   virtual ~CRVThread() noexcept;

   /// The name for log lines and for the system's list of threads, where it takes effect with the next start.
   void SetName(const std::string &name);
   [[nodiscard]] std::string GetName() const;

   /// Starts the loop; the first callback runs at once. A notification from before the start is discarded.
   /// `intervalMS`: 1 and above are milliseconds; 0 calls back to back, so that the callback paces itself; -1 waits
   /// without limit. `runLimit`: how many callbacks; 0 and below for no limit. False, with a line logged: alive
   /// already, a null callback or an interval below -1, no event or no thread to be had.
   [[nodiscard]] bool StartThread(fCallback callback, void *data, int intervalMS, int runLimit);

   /// Asks the loop to end and waits for it, `timeoutMS` at most (INFINITE: no limit). False when it has not ended in
   /// time (logged), and on the loop's own thread.
   bool StopThread(unsigned timeoutMS);
   /// Waits for the end without asking. False as with StopThread.
   [[nodiscard]] bool WaitForStop(unsigned timeoutMS);

   /// The wait between two callbacks, which a callback may also use inside a long pass: true when the thread is to end;
   /// false when the time is over or a notification came.
   /// Required: it leaves the notification set. Until somebody consumes it, by a single wait with a time or ResetEvent,
   /// every further wait ends at once.
   [[nodiscard]] bool ShouldStop(unsigned timeoutMS);

   /// Waits without limit until the loop is asked to end; false when there has been no start. Also ends, true, when a
   /// loop that has ended by its run limit is started again or destroyed.
   bool WaitForExitEvent();

   /// Auto-reset; SetEvent on it wakes the loop before its interval ends. Null when it could not be created. The
   /// thread's own; lives as long as it.
   [[nodiscard]] HANDLE GetNotifEvent() const { return mNotifEvent.Get(); }

   /// Required: in this form the interval is read as seconds, and the wait grows by all that the callbacks leave of it.
   void SetFixedRate(bool fixedRate) { mFixedRate.store(fixedRate, std::memory_order_relaxed); }

protected:
   /// Whether the wait between two callbacks has no time limit, whatever the interval.
   std::atomic<bool> mWaitForever{false};

private:
   using Name = std::shared_ptr<const std::string>;

   enum class End { Ended, TimedOut, OwnThread };

   static uint32_t ThreadMain(void *self);
   void Loop();
   /// Until the thread is to end. `orphaned` becomes true when a callback destroys this object.
   void RunCallbacks(const bool &orphaned);
   [[nodiscard]] bool OnOwnThread() const;
   [[nodiscard]] End WaitForEnd(const SharedHandle &thread, unsigned timeoutMS) const;
   void RetireExitEvent() MAVR_REQUIRES(mLock);
   void ForgetRun() MAVR_REQUIRES(mLock);
   void EndLoop();

   Name mName MAVR_GUARDED_BY(mLock); // null for the empty name
   fCallback mCallback = nullptr;     // null while not configured; this and the next as mLock has it, and the loop
   void *mUserData = nullptr;
   std::atomic<double> mIntervalMS{0};
   std::atomic<uint64_t> mThreadId{0}; // of the loop; 0 before it runs and after
   SharedHandle mThreadHandle MAVR_GUARDED_BY(mLock);
   SharedHandle mExitEvent MAVR_GUARDED_BY(mLock);
   SharedHandle mNotifEvent;
   mutable CORE::corecritsec mLock;
   bool mNotified MAVR_GUARDED_BY(mLock) = false; // the last wait ended through mNotifEvent; nothing reads it
   std::atomic<bool> mFixedRate{false};
   std::atomic<int32_t> mRunLimit{0};
   bool *mLoopOrphaned = nullptr; // on the loop's stack, and the loop's: set when its callback destroys this object
};

/// A service thread with a name and a mark whether it has been started.
///
/// Owner: the object whose loop it runs. Threads: host-serialised; GetThread any thread. Locks: those of the thread.
/// Life cycle: inactive -> Start -> active -> Stop -> inactive, as often as wanted.
class CRVThreadWrapper {
public:
   explicit CRVThreadWrapper(const std::string &name);

   /// As StartThread; true without doing anything when active (DEBUG line). Success and failure are logged.
   [[nodiscard]] bool Start(CRVThread::fCallback callback, void *data, int intervalMS, int runLimit);
   /// As StopThread; true when not active. Required: inactive afterwards even when the stop has timed out.
   bool Stop(unsigned timeoutMS);
   [[nodiscard]] CRVThread *GetThread() { return &mThread; }

private:
   bool mActive = false;
   CRVThread mThread;
};
