#include "lib/mfw/common/linuxSupport.h"

#include "lib/mfw/common/logger.h"
#include "lib/mfw/common/platforms/multiWait.h"

#include "osal/Clock.h"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <new>

using platforms::MultiWait;
using platforms::WindowsEvent;
using platforms::WindowsThread;

// ---- Threads --------------------------------------------------------------------------------------------------------

HANDLE _beginthreadex(void * /*security*/, uint32_t /*stack*/, platforms::ThreadStart start, void *argument,
                      uint32_t flags, uint32_t *outId) {
   if ((flags & CREATE_SUSPENDED) != 0) {
      MAVR_LOG_DEBUG("Ignoring the CREATE_SUSPENDED flag on POSIX, the thread will be started immediately\n");
   }
   WindowsThread *const thread = WindowsThread::Create(start, argument);
   if (thread != nullptr && outId != nullptr) {
      *outId = thread->Id();
   }
   return thread;
}

void ExitThread(uint32_t value) {
   // NOLINTNEXTLINE(performance-no-int-to-ptr): a number is shown or kept as a pointer
   pthread_exit(reinterpret_cast<void *>(static_cast<uintptr_t>(value)));
}

bool TerminateThread(HANDLE handle) {
   auto *const thread = dynamic_cast<WindowsThread *>(handle);
   assert(thread);
   return thread->Cancel();
}

uint32_t GetCurrentThreadId() {
   return WindowsThread::CurrentId();
}

uint32_t TlsAlloc() {
   pthread_key_t key{};
   return pthread_key_create(&key, nullptr) == 0 ? static_cast<uint32_t>(key) : TLS_OUT_OF_INDEXES;
}

void *TlsGetValue(uint32_t index) {
   return pthread_getspecific(index);
}

bool TlsSetValue(uint32_t index, void *value) {
   return pthread_setspecific(index, value) == 0;
}

bool TlsFree(uint32_t index) {
   return pthread_key_delete(index) == 0;
}

// ---- Events and waits -----------------------------------------------------------------------------------------------

HANDLE CreateEvent(void * /*attributes*/, bool manualReset, bool initialState, const char *name) {
   [[maybe_unused]] const char *const pName = name;
   // NOLINTNEXTLINE(modernize-use-nullptr): the text of the assertion is stated
   assert(pName == 0);
   std::unique_ptr<WindowsEvent> event(new (std::nothrow) WindowsEvent(manualReset, initialState));
   // A loop that has its events must not end because a wait for them finds no memory.
   if (event == nullptr || !event->MakeRoom()) {
      errno = ENOMEM;
      return nullptr;
   }
   return event.release();
}

bool SetEvent(HANDLE handle) {
   assert(handle);
   handle->Set();
   return true;
}

bool ResetEvent(HANDLE handle) {
   assert(handle);
   handle->Reset();
   return true;
}

bool CloseHandle(HANDLE handle) {
   if (handle == nullptr) {
      return false;
   }
   handle->Close();
   return true;
}

namespace {

// The clock is asked only by who has to wait.
bool TakeOrWait(HANDLE handle, uint32_t ms) {
   return handle->TakeAtOnce() || handle->DoWait(osal::Clock::current().deadlineAfterMs(ms));
}

} // namespace

uint32_t WaitForSingleObject(HANDLE handle, uint32_t ms) {
   if (handle == nullptr) {
      return WAIT_FAILED;
   }
   if (ms == 0) {
      return handle->IsSignalled() ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
   }
   return TakeOrWait(handle, ms) ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
}

namespace {

// Required: the timed form also for a time of 0, so that the handles are consumed, one after the other.
uint32_t WaitForAll(uint32_t count, const HANDLE *handles, uint32_t ms) {
   for (uint32_t i = 0; i < count; ++i) {
      if (handles[i] == nullptr || !TakeOrWait(handles[i], ms)) {
         return WAIT_TIMEOUT;
      }
   }
   return WAIT_OBJECT_0;
}

uint32_t WaitForAny(uint32_t count, const HANDLE *handles, uint32_t ms) {
   const bool forEver = count == 0 && ms == INFINITE;
   if (forEver || std::find(handles, handles + count, nullptr) != handles + count) {
      return WAIT_FAILED;
   }
   if (const auto first = MultiWait::FirstSignalled(count, handles); first || ms == 0) {
      return first.value_or(WAIT_TIMEOUT);
   }
   const uint64_t deadlineNs = osal::Clock::current().deadlineAfterMs(ms);
   MultiWait wait(count, handles);
   if (!wait.Listed()) {
      errno = ENOMEM;
      return WAIT_FAILED;
   }
   return wait.Wait(deadlineNs).value_or(WAIT_TIMEOUT);
}

} // namespace

uint32_t WaitForMultipleObjects(uint32_t count, const HANDLE *handles, bool waitAll, uint32_t ms) {
   if (count > 0 && handles == nullptr) {
      return WAIT_FAILED;
   }
   return waitAll ? WaitForAll(count, handles, ms) : WaitForAny(count, handles, ms);
}

// ---- Critical sections ----------------------------------------------------------------------------------------------

void InitializeCriticalSection(CRITICAL_SECTION *cs) {
   auto *const pMutex = static_cast<pthread_mutex_t *>(std::calloc(1, sizeof(pthread_mutex_t)));
   assert(pMutex);
   pthread_mutexattr_t attributes;
   pthread_mutexattr_init(&attributes);
   pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
   pthread_mutex_init(pMutex, &attributes);
   pthread_mutexattr_destroy(&attributes);
   *cs = pMutex;
}

void DeleteCriticalSection(CRITICAL_SECTION *cs) {
   pthread_mutex_destroy(*cs);
   std::free(*cs);
   *cs = nullptr;
}

// ---- Time and last error --------------------------------------------------------------------------------------------

uint32_t GetTickCount() {
   const osal::WallTime now = osal::Clock::current().wallTime();
   return static_cast<uint32_t>(now.seconds * 1000 + now.microseconds / 1000);
}

void Sleep(uint32_t ms) {
   osal::Clock::current().sleepNs(uint64_t{ms} * 1'000'000);
}

int GetLastError() {
   return errno;
}
