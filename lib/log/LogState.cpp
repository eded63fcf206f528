#include "lib/log/LogState.h"

#include "lib/log/LogDeferred.h"

#include <csignal>
#include <ctime>
#include <pthread.h>

namespace {

constinit std::array<char, kLogBigLimit + 1> gBigBuffer{};
constinit std::array<char, kLogRingSize> gEarlyRingBytes{};
constinit LogRing gEarlyRing{gEarlyRingBytes.data(), 0, 0, 0, kLogRingSize};

// Where a thread stands. What is logged from inside a call-out is an output's own line, and goes to the early ring;
// what is logged between can only come from a signal handler, which finds lock and rings half moved.
enum Place : int { kOutside, kMoving, kCalledOut };
thread_local volatile std::sig_atomic_t gPlace = kOutside;

// The lock that the handlers of a fork have taken. Written under it.
constinit MXUserRecLock *gForkLock = nullptr;

// No other thread is inside the log at the moment of a fork, so that the child finds it whole.
void BeforeFork() {
   MXUserRecLock *const lock = gLogState.lock.load();
   if (lock != nullptr && gPlace != kMoving) {
      MXUser_AcquireRecLock(lock);
      gForkLock = lock;
   }
}

void ReleaseForkLock() {
   if (MXUserRecLock *const lock = gForkLock; lock != nullptr) {
      gForkLock = nullptr;
      MXUser_ReleaseRecLock(lock);
   }
}

void AfterForkInParent() {
   // A fork inside a handler that found the lock half taken has taken nothing, and must not release another thread's.
   if (gPlace != kMoving) {
      ReleaseForkLock();
   }
}

// What other threads had outside the lock never comes back: they are not there.
void AfterForkInChild() {
   gLogState.busy.store(0);
   gLogState.bigBuffer.store(gBigBuffer.data());
   LogDeferred_AbandonUnfinished();
   if (gPlace != kMoving) {
      ReleaseForkLock();
   }
}

void WatchForks() {
   static constinit std::atomic<bool> watched{false};
   if (!watched.exchange(true)) {
      pthread_atfork(&BeforeFork, &AfterForkInParent, &AfterForkInChild);
   }
}

MXUserRecLock *CreateLock(LogState *state) {
   WatchForks(); // first: a child that another thread forks meanwhile must not stay busy for ever
   state->busy.fetch_add(1);
   MXUserRecLock *lock = MXUser_CreateRecLock(state->lockName, state->lockRank);
   if (lock != nullptr) {
      MXUserRecLock *winner = nullptr;
      if (!state->lock.compare_exchange_strong(winner, lock)) {
         MXUser_DestroyRecLock(lock);
         lock = winner;
      }
   }
   state->busy.fetch_sub(1);
   tzset(); // later conversions of time then need not set the zone up
   return lock;
}

} // namespace

constinit LogState gLogState{
   .lockName = "logLock",
   .lock = nullptr,
   .lockRank = 0xFF000002U,
   .noLock = false,
   .busy = 0,
   .depth = 0,
   .filter = {kLogLevelInfo, -1},
   .bigBuffer = gBigBuffer.data(),
   .earlyRing = &gEarlyRing,
   .outputCount = 0,
   .outputs = {},
   .opIdProvider = nullptr,
   .messageNumber = 0,
   .delivering = false,
   .askingForOpId = false,
};

LogLock::LogLock(LogState *state)
    : mFormerPlace(gPlace) {
   if (gPlace == kMoving) {
      return;
   }
   MXUserRecLock *lock = nullptr;
   const bool noLock = state->noLock.load(std::memory_order_relaxed);
   if (!noLock) {
      lock = state->lock.load(std::memory_order_acquire);
      if (lock == nullptr && (lock = CreateLock(state)) == nullptr) {
         return;
      }
   }
   gPlace = kMoving;
   if (noLock) {
      state->depth.store(0, std::memory_order_relaxed);
   } else {
      MXUser_AcquireRecLock(lock);
      state->depth.store(state->depth.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
   }
   mState = state;
   mLock = lock;
}

LogLock::~LogLock() {
   if (mState == nullptr) {
      return;
   }
   if (mLock != nullptr) {
      // What was taken is given back, whatever the no-lock flag says by now: otherwise nobody would ever get it again.
      const uint32_t depth = mState->depth.load(std::memory_order_relaxed);
      mState->depth.store(depth > 0 ? depth - 1 : 0, std::memory_order_relaxed);
      MXUser_ReleaseRecLock(mLock);
   } else {
      mState->depth.store(0, std::memory_order_relaxed);
   }
   gPlace = mFormerPlace;
}

bool LogLock::IsNested() const {
   return mState->depth.load(std::memory_order_relaxed) > 1 || mState->delivering || mState->askingForOpId;
}

LogCallOut::LogCallOut()
    : mFormerPlace(gPlace) {
   gPlace = kCalledOut;
}

LogCallOut::~LogCallOut() {
   gPlace = mFormerPlace;
}

bool LogLock_IsInterrupted() {
   return gPlace == kMoving;
}

char *LogState_TakeBigBuffer(LogState *state) {
   return state->bigBuffer.exchange(nullptr, std::memory_order_acquire);
}

void LogState_ReturnBigBuffer(LogState *state, char *buffer) {
   state->bigBuffer.store(buffer, std::memory_order_release);
}
