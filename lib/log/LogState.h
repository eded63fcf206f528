#pragma once

#include "lib/corvanebase/corvanebase.h"
#include "lib/log/Log.h"
#include "lib/log/LogOutput.h"
#include "lib/log/LogRing.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>

inline constexpr uint32_t kLogMaxOutputs = 10;

/// The log: one object for the process, complete before any code runs.
///
/// Owner: static. Threads: `filter`, `busy`, `noLock`, `outputCount`, `lock` and `bigBuffer` any thread without the
/// lock; the rest under it. Locks: `lock`, through LogLock. Life cycle: static; never destroyed, so that the last line
/// of the process still finds it.
struct LogState {
   const char *lockName;
   std::atomic<MXUserRecLock *> lock; ///< created on first use
   uint32_t lockRank;
   std::atomic<bool> noLock;
   std::atomic<uint32_t> busy;    ///< the lock is being created; messages are dropped meanwhile
   std::atomic<uint32_t> depth;   ///< how often the present thread holds the lock
   LogFilter filter;              ///< the global pair
   std::atomic<char *> bigBuffer; ///< null while a thread formats into it
   LogRing *earlyRing;
   std::atomic<uint32_t> outputCount;
   std::array<LogOutput *, kLogMaxOutputs> outputs;
   LogOpIdProvider opIdProvider;
   uint64_t messageNumber; ///< of the ordinary message on its way to the outputs; Log_AddOutput counts as one
   bool delivering;        ///< outputs are being called: what is logged now comes from inside
   bool askingForOpId;     ///< so is the provider of operation ids
};
extern constinit LogState gLogState;

/// Keeps errno for its scope: a log call is invisible to the code that makes it.
class LogErrnoKeeper {
public:
   LogErrnoKeeper()
       : mError(errno) {}
   ~LogErrnoKeeper() { errno = mError; }
   LogErrnoKeeper(const LogErrnoKeeper &) = delete;
   LogErrnoKeeper &operator=(const LogErrnoKeeper &) = delete;

   [[nodiscard]] int Error() const { return mError; }

private:
   int mError;
};

/// The log's lock for a scope. Recursive.
///
/// It fails, which says its bool, in two cases: there is no memory for the lock, or a signal handler runs on top of
/// this very thread while it takes or holds the lock and moves its rings. Such a handler can neither wait nor go on.
class LogLock {
public:
   explicit LogLock(LogState *state);
   ~LogLock();
   LogLock(const LogLock &) = delete;
   LogLock &operator=(const LogLock &) = delete;

   explicit operator bool() const { return mState != nullptr; }
   /// Whether the caller came from inside a call that holds the lock already.
   [[nodiscard]] bool IsNested() const;

private:
   LogState *mState = nullptr;
   MXUserRecLock *mLock = nullptr; ///< null: taken without one
   int mFormerPlace = 0;
};

/// While the thread that holds the lock calls something that may log itself: an output, the provider of operation ids.
class LogCallOut {
public:
   LogCallOut();
   ~LogCallOut();
   LogCallOut(const LogCallOut &) = delete;
   LogCallOut &operator=(const LogCallOut &) = delete;

private:
   int mFormerPlace;
};

/// Whether this thread is at a point where only a signal handler can have come in between.
[[nodiscard]] bool LogLock_IsInterrupted();

/// The big message buffer, kLogBigLimit + 1 bytes: null while another thread has it.
[[nodiscard]] char *LogState_TakeBigBuffer(LogState *state);
void LogState_ReturnBigBuffer(LogState *state, char *buffer);
