#pragma once

#include "lib/mfw/common/platforms/windowsHandle.h"
#include "lib/mfw/common/platforms/windowsThread.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <pthread.h>

/// The Windows-model calls that the runtime, the queues and the channel layer are written against: threads, events and
/// waits, critical sections, interlocked calls, time. Its calls on text are in linuxSupportText.h, its questions to the
/// system in linuxSupportSystem.h.
///
/// Results of waits: 0 or the index of the handle; WAIT_TIMEOUT (258); WAIT_FAILED (0xFFFFFFFF) for a bad handle.
/// Times are milliseconds; INFINITE (0xFFFFFFFF) is no limit; time passes by osal::Clock, on its monotonic clock.
/// Handles come from CreateEvent and _beginthreadex and go back through CloseHandle. Any thread, all calls. A failed
/// assertion is a programming fault and ends the process. docs/runtime.md tells who may wait on what.

using HANDLE = platforms::WindowsHandle *;

inline constexpr uint32_t INFINITE = 0xFFFFFFFF;
inline constexpr uint32_t WAIT_OBJECT_0 = 0;
inline constexpr uint32_t WAIT_TIMEOUT = 258;
inline constexpr uint32_t WAIT_FAILED = 0xFFFFFFFF;
inline constexpr uint32_t TLS_OUT_OF_INDEXES = 0xFFFFFFFF;
inline constexpr uint32_t CREATE_SUSPENDED = 1; ///< bit of _beginthreadex's flags; ignored with a line in the log

// ---- Threads --------------------------------------------------------------------------------------------------------

/// Starts a thread that runs `start(argument)`; its handle is set when the thread ends, for every waiter. Null when the
/// thread cannot be created (an ERROR line, errno says why). `security` and `stack` are ignored. `outId` gets the
/// generated id, 1 and above.
[[nodiscard]] HANDLE _beginthreadex(void *security, uint32_t stack, platforms::ThreadStart start, void *argument,
                                    uint32_t flags, uint32_t *outId);
/// Ends the calling thread (pthread_exit); its handle is set. `value` goes nowhere: nobody joins.
[[noreturn]] void ExitThread(uint32_t value);
/// Asks the thread to end at its next cancellation point (pthread_cancel): a wait, Sleep, or a call of the system that
/// is one. False once it has ended. Its stack is unwound where the system does that (Linux); elsewhere a wait is no
/// such point and goes on. Asserts that `handle` is a thread.
bool TerminateThread(HANDLE handle);
/// The generated id of the calling thread; a thread not created here gets one at its first call. 0 without memory.
[[nodiscard]] uint32_t GetCurrentThreadId();

/// A slot in which each thread keeps a pointer of its own, null at first; TLS_OUT_OF_INDEXES when there is none left.
/// Nothing is done to the pointers when a thread ends or the slot is freed.
[[nodiscard]] uint32_t TlsAlloc();
/// The calling thread's pointer.
[[nodiscard]] void *TlsGetValue(uint32_t index);
/// False, errno untouched, for an index that is none.
bool TlsSetValue(uint32_t index, void *value);
bool TlsFree(uint32_t index);

// ---- Events and waits -----------------------------------------------------------------------------------------------

/// A new event; null when out of memory (errno is ENOMEM). `name` must be null (asserted).
[[nodiscard]] HANDLE CreateEvent(void *attributes, bool manualReset, bool initialState, const char *name);
/// Sets it and wakes: everyone who waits for a manual-reset event; else one single wait and one multiple wait picked at
/// random. True. Asserts on a null handle.
bool SetEvent(HANDLE handle);
/// Clears it. True. Asserts on a null handle.
bool ResetEvent(HANDLE handle);
/// Ends the handle's life; false for a null handle. A thread's handle goes when both this has been called and the
/// thread has ended.
bool CloseHandle(HANDLE handle);
/// A time of 0 is a look that consumes nothing. Null handle: WAIT_FAILED.
uint32_t WaitForSingleObject(HANDLE handle, uint32_t ms);
/// Any of the handles: the lowest index that is set, and nothing is consumed. WAIT_TIMEOUT after `ms`, and also, before
/// that, when the wait was woken and no handle is set any more. WAIT_FAILED for a null handle, for an endless wait for
/// none, and (errno is ENOMEM) without memory to put the wait on the handles' lists; events have room for four waits at
/// a time from the start.
/// All of them (`waitAll`): one after the other, each with the whole time `ms`, 0 when all were set; auto-reset events
/// are consumed, also by a time of 0, and stay so when a later one is not set. WAIT_TIMEOUT at the first that fails.
/// Null `handles` for a `count` above 0: WAIT_FAILED.
uint32_t WaitForMultipleObjects(uint32_t count, const HANDLE *handles, bool waitAll, uint32_t ms);

// ---- Critical sections ----------------------------------------------------------------------------------------------

using CRITICAL_SECTION = pthread_mutex_t *;

void InitializeCriticalSection(CRITICAL_SECTION *cs); ///< a recursive mutex on the heap
void DeleteCriticalSection(CRITICAL_SECTION *cs);
inline void EnterCriticalSection(CRITICAL_SECTION *cs) {
   pthread_mutex_lock(*cs);
}
inline void LeaveCriticalSection(CRITICAL_SECTION *cs) {
   pthread_mutex_unlock(*cs);
}
[[nodiscard]] inline bool TryEnterCriticalSection(CRITICAL_SECTION *cs) {
   return pthread_mutex_trylock(*cs) == 0;
}

// ---- Interlocked calls: full order ----------------------------------------------------------------------------------

template <typename T>
T InterlockedIncrement(std::atomic<T> *target) {
   return target->fetch_add(1) + 1;
}
template <typename T>
T InterlockedDecrement(std::atomic<T> *target) {
   return target->fetch_sub(1) - 1;
}
/// The value found. Required: one attempt only, so that under contention the store may not happen.
template <typename T>
T InterlockedExchange(std::atomic<T> *target, T value) {
   T found = target->load();
   target->compare_exchange_strong(found, value);
   return found;
}
/// The old value. With 0 and 0 an atomic read.
template <typename T>
T InterlockedCompareExchange(std::atomic<T> *target, T value, T comparand) {
   target->compare_exchange_strong(comparand, value);
   return comparand;
}

// ---- Time and last error --------------------------------------------------------------------------------------------

/// Milliseconds of the wall clock, cut to 32 bits: only differences mean anything, and they stay right across the wrap.
[[nodiscard]] uint32_t GetTickCount();
void Sleep(uint32_t ms);
[[nodiscard]] int GetLastError(); ///< errno
