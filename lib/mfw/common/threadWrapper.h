#pragma once

#include "lib/mfw/common/corethreadgroup.h"
#include "lib/mfw/common/linuxSupport.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

namespace CORE {

class corerunnable;

/// What stands between a thread and what its body throws. Owner: the process for the default one; else references.
/// Threads: any thread. Locks: none. Life cycle: by references; no fields of its own.
class threadwrapper : public coreref {
public:
   constexpr threadwrapper() = default;
   /// Gives up the references that are left, and from then on runnables let go of it no more (destroyedThreadWrapper).
   ~threadwrapper() noexcept(false) override;

   /// Runs ThreadMain. Every exception ends here, with a line at ERROR; ExitThread and cancellation go on.
   virtual void Run(corerunnable *runnable);
};

/// The wrapper of all runnables that name no other. Ready before any code runs, and never destroyed: threads may end
/// while the process does. At exit it only becomes the destroyedThreadWrapper.
extern threadwrapper &defaultThreadWrapper;

/// The wrapper whose destructor has run; null while there is none.
extern std::atomic<threadwrapper *> destroyedThreadWrapper;

/// Turns on a line at the begin and at the end of each thread. Off.
extern std::atomic<bool> mCoreDebugThreads;

/// How threads are made: _beginthreadex. A replacement runs `start` on another thread than the caller's.
using BeginThread = HANDLE (*)(void *security, uint32_t stack, platforms::ThreadStart start, void *argument,
                               uint32_t flags, uint32_t *outId);
extern std::atomic<BeginThread> coreBeginThread;

/// Something that runs on a thread of its own.
///
/// In a group it may have any number of threads at a time, each tracked by the group. Without one it has one thread at
/// a time, which Wait waits for, and may have another after that.
/// Owner: references; each thread holds one, so that the creator may Release it right after Start.
/// Threads: any thread, all methods. Locks: mLock guards thread id and handle, never across a wait; it is held while
/// a thread is made, so that the body finds both stored.
/// Life cycle: constructed -> (Start -> thread ends)* -> destroyed.
class corerunnable : public coreref {
public:
   /// `name` is copied; null takes the group's name, empty is no name. `wrapper` null is defaultThreadWrapper,
   /// NoWrapper() runs the body bare, so that what it throws ends the process. `group` may be null. Nothing here reads
   /// `flags`.
   corerunnable(const char *name, threadwrapper *wrapper, corethreadgroup *group, uint32_t flags);
   ~corerunnable() noexcept(false) override;

   virtual void ThreadMain() = 0;

   /// Starts a thread. False, with a line at ERROR, when one runs already and there is no group, or when none can be
   /// had; errno then says why.
   bool Start();

   /// Waits until the thread has ended; true at once when none runs. False: the time was over, the caller is the thread
   /// itself, or there is a group (an ERROR line).
   bool Wait(uint32_t timeoutMS);

   [[nodiscard]] static threadwrapper *NoWrapper();

   [[nodiscard]] const char *Name() const { return mName.get(); } ///< null without one
   [[nodiscard]] uint32_t ThreadId() const;                       ///< 0 when none runs, and always in a group
   [[nodiscard]] uint32_t Flags() const { return mFlags; }
   [[nodiscard]] threadwrapper *Wrapper() const { return mWrapper; }

protected:
   /// Set: the destructor gives up the references that others still hold, instead of throwing.
   bool mKeepAlive = false;

private:
   struct Freed {
      void operator()(char *text) const;
   };
   class Ending;

   static uint32_t ThreadEntry(void *self);
   bool BeginTracked();
   void LogBegin();
   void LogEnd();
   void Untrack();

   std::unique_ptr<char, Freed> mName;
   mutable std::mutex mLock;
   uint32_t mThreadId = 0;                          // guarded by mLock
   std::shared_ptr<corethreadhandle> mThreadHandle; // guarded by mLock
   const uint32_t mFlags;
   threadwrapper *mWrapper;
   corethreadgroup *const mGroup;
   std::atomic<int64_t> mStartCount{0};
};

/// A runnable that calls a plain function.
class corerun final : public corerunnable {
public:
   using Function = void (*)(void *argument);

   corerun(const char *name, Function function, void *argument, threadwrapper *wrapper, corethreadgroup *group,
           uint32_t flags);

   void ThreadMain() override { mFunction(mArgument); }

private:
   void *const mArgument;
   const Function mFunction;
};

} // namespace CORE
