#include "lib/mfw/common/threadWrapper.h"

#include "lib/mfw/common/coreException.h"
#include "lib/mfw/common/corelogger.h"
#include "lib/mfw/common/corestring.h"
#include "lib/mfw/common/logger.h"

#include "osal/SchedulePoint.h"
#include "osal/Threads.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <utility>

namespace CORE {
namespace {

// Keeps its value for good: no destructor runs at exit.
template <typename T>
union Forever {
   constexpr Forever()
       : value() {}
   ~Forever() {}
   T value;
};

constinit Forever<threadwrapper> gDefaultThreadWrapper;

struct Retirement {
   ~Retirement() { destroyedThreadWrapper.store(&defaultThreadWrapper); }
};
const Retirement gRetirement;

char *Copied(const char *text) {
   return text != nullptr && *text != '\0' ? strdup(text) : nullptr;
}

} // namespace

constinit threadwrapper &defaultThreadWrapper = gDefaultThreadWrapper.value;
constinit std::atomic<threadwrapper *> destroyedThreadWrapper{nullptr};
constinit std::atomic<bool> mCoreDebugThreads{false};
constinit std::atomic<BeginThread> coreBeginThread{_beginthreadex};

// ---- threadwrapper --------------------------------------------------------------------------------------------------

threadwrapper::~threadwrapper() noexcept(false) {
   while (threadwrapper::GetRefCount() >= 2) {
      if (threadwrapper::Release() == 0) {
         break;
      }
   }
   destroyedThreadWrapper.store(this);
}

namespace {

// No memory for the description is no reason to let the exception out.
void LogException(const char *name, const coreException &exception) {
   corestring text;
   try {
      text = Describe(exception);
   } catch (...) {
      const char *const message = exception.Message();
      MAVR_LOG_ERROR("Runnable: %s EXCEPTION %s", name, message != nullptr ? message : "");
      return;
   }
   MAVR_LOG_ERROR("Runnable: %s EXCEPTION %s", name, text.Text());
}

} // namespace

void threadwrapper::Run(corerunnable *runnable) {
   const char *const name = runnable->Name() != nullptr ? runnable->Name() : "<UNNAMED>";
   try {
      runnable->ThreadMain();
   } catch (uint32_t code) {
      MAVR_LOG_ERROR("Runnable: %s SEH EXCEPTION 0x%x", name, code);
   } catch (int32_t code) { // a bare code is one of 32 bits, signed or not
      MAVR_LOG_ERROR("Runnable: %s SEH EXCEPTION 0x%x", name, static_cast<uint32_t>(code));
   } catch (const coreException &exception) {
      LogException(name, exception);
   } catch (...) {
      if (std::current_exception() == nullptr) {
         throw; // nothing that was thrown: the thread ends itself or is cancelled, and must get through
      }
      MAVR_LOG_ERROR("Runnable: %s EXCEPTION", name);
   }
}

// ---- corerunnable ---------------------------------------------------------------------------------------------------

void corerunnable::Freed::operator()(char *text) const {
   std::free(text);
}

threadwrapper *corerunnable::NoWrapper() {
   // NOLINTNEXTLINE(performance-no-int-to-ptr): a number is shown or kept as a pointer
   return reinterpret_cast<threadwrapper *>(UINTPTR_MAX);
}

corerunnable::corerunnable(const char *name, threadwrapper *wrapper, corethreadgroup *group, uint32_t flags)
    : mName(Copied(name == nullptr && group != nullptr ? group->Name() : name))
    , mFlags(flags)
    , mWrapper(wrapper == nullptr ? &defaultThreadWrapper : wrapper)
    , mGroup(group) {
   if (mWrapper == NoWrapper()) {
      mWrapper = nullptr;
   }
   if (mWrapper != nullptr) {
      mWrapper->AddRef();
   }
   if (mGroup != nullptr) {
      mGroup->AddRef();
   }
}

corerunnable::~corerunnable() noexcept(false) {
   if (mGroup != nullptr) {
      mGroup->Release();
   }
   if (mWrapper != nullptr && mWrapper != destroyedThreadWrapper.load()) {
      mWrapper->Release();
   }
   if (mKeepAlive || coreExiting.load()) {
      DropExtraReferences();
   }
}

uint32_t corerunnable::ThreadId() const {
   const std::lock_guard<std::mutex> hold(mLock);
   return mThreadId;
}

bool corerunnable::Start() {
   if (mGroup == nullptr && mStartCount.fetch_add(1) + 1 > 1) {
      mStartCount.fetch_sub(1);
      MAVR_LOG_ERROR("corerunnable: ONLY ONE THREAD ALLOWED WHEN NO GROUP, name=%s", Name());
      return false;
   }
   AddRef();
   if (BeginTracked()) {
      return true;
   }
   const int error = errno;
   if (mGroup == nullptr) {
      mStartCount.fetch_sub(1);
   }
   // Required: two zeros, whatever went wrong.
   MAVR_LOG_ERROR("corerunnable: FAILED TO CREATE THREAD, name=%s with error %d, %d", Name(), 0, 0);
   Release();
   errno = error;
   return false;
}

// Makes the thread and stores its id and handle. The lock holds the body back until that is done: the body finds itself
// tracked, and what it undoes at its end has been done. All memory is taken before there is a thread.
bool corerunnable::BeginTracked() {
   std::shared_ptr<corethreadhandle> thread;
   corethreadgroup::Room room;
   try {
      thread = std::make_shared<corethreadhandle>();
      room = corethreadgroup::Room(thread);
   } catch (const std::bad_alloc &) {
      errno = ENOMEM;
      return false;
   }
   const std::lock_guard<std::mutex> hold(mLock);
   uint32_t id = 0;
   thread->handle = coreBeginThread.load()(nullptr, 0, ThreadEntry, this, 0, &id);
   if (thread->handle == nullptr) {
      return false;
   }
   osal::schedulePoint();
   if (mGroup != nullptr) {
      mGroup->Add(std::move(room), id);
   } else {
      mThreadHandle = std::move(thread); // closes the former one
      mThreadId = id;
   }
   return true;
}

bool corerunnable::Wait(uint32_t timeoutMS) {
   if (mGroup != nullptr) {
      MAVR_LOG_ERROR("corerunnable: ERROR: WAIT WHEN IN GROUP, name=%s", Name());
      return false;
   }
   std::shared_ptr<corethreadhandle> thread;
   {
      const std::lock_guard<std::mutex> hold(mLock);
      if (mThreadHandle == nullptr || mThreadId == 0) {
         return true;
      }
      if (mThreadId == GetCurrentThreadId()) {
         return false;
      }
      thread = mThreadHandle;
   }
   osal::schedulePoint();
   return coreExiting.load() || WaitForSingleObject(thread->handle, timeoutMS) == WAIT_OBJECT_0;
}

// ---- The thread -----------------------------------------------------------------------------------------------------

// What every thread does last, also one that leaves through ExitThread or is cancelled.
class corerunnable::Ending {
public:
   explicit Ending(corerunnable &runnable)
       : mRunnable(runnable) {}
   Ending(const Ending &) = delete;
   Ending &operator=(const Ending &) = delete;
   ~Ending() {
      mRunnable.LogEnd();
      mRunnable.Untrack();
      mRunnable.Release();
      if (corerunnable_allThreadsGroup::Exists()) {
         allThreadsGroup().Remove(false);
      }
   }

private:
   corerunnable &mRunnable;
};

uint32_t corerunnable::ThreadEntry(void *self) {
   auto &runnable = *static_cast<corerunnable *>(self);
   { const std::lock_guard<std::mutex> tracked(runnable.mLock); }
   const Ending ending(runnable);
   if (runnable.mName != nullptr) {
      osal::setThreadName(runnable.Name());
   }
   runnable.LogBegin();
   if (runnable.mWrapper != nullptr) {
      runnable.mWrapper->Run(&runnable);
   } else {
      runnable.ThreadMain();
   }
   return 0;
}

void corerunnable::LogBegin() {
   if (mCoreDebugThreads.load(std::memory_order_relaxed)) {
      corelogger::Log("threads", corelogger::Trace, "Begin '%s', count=%u, wrapper=0x%p, group=0x%p",
                      Name() != nullptr ? Name() : "UNNAMED", static_cast<uint32_t>(allThreadsGroup().Size()),
                      static_cast<void *>(mWrapper), static_cast<void *>(mGroup));
   }
}

// Required: the counts are those without this thread, and go below 0 for a thread that is not in the group.
void corerunnable::LogEnd() {
   if (mCoreDebugThreads.load(std::memory_order_relaxed)) {
      const size_t inGroup = mGroup != nullptr ? mGroup->Size() - 1 : 0;
      corelogger::Log("threads", corelogger::Trace, "End '%s', count=%u, group=%u",
                      Name() != nullptr ? Name() : "UNNAMED", static_cast<uint32_t>(allThreadsGroup().Size() - 1),
                      static_cast<uint32_t>(inGroup));
   }
}

// The id goes before the count: with the count at 0 another Start may store its own.
void corerunnable::Untrack() {
   if (mGroup != nullptr) {
      mGroup->Remove(true);
      return;
   }
   {
      const std::lock_guard<std::mutex> hold(mLock);
      mThreadId = 0;
   }
   osal::schedulePoint();
   mStartCount.fetch_sub(1);
}

// ---- corerun --------------------------------------------------------------------------------------------------------

corerun::corerun(const char *name, Function function, void *argument, threadwrapper *wrapper, corethreadgroup *group,
                 uint32_t flags)
    : corerunnable(name, wrapper, group, flags)
    , mArgument(argument)
    , mFunction(function) {}

} // namespace CORE
