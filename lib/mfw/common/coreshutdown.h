#pragma once

#include "lib/mfw/common/corestring.h"

#include <cstdint>
#include <vector>

/// Shutting down the threads of the CORE classes, and being told about it.
///
/// A shutdown calls each registered function once and forgets it, and then waits for the threads of allThreadsGroup.
/// It may be repeated, and what is registered between two of them is called by the second. Threads: any thread.
/// Locks: the timer lock guards flag, event and list; no function is called and nothing is waited for under it.
namespace CORE {

using ShutdownCallback = void (*)();

/// One shutdown: waits at most so long, and returns how many threads are left. 0 at once while coreExiting is set.
uint32_t waitForAllThreads(uint32_t timeoutMS);

/// Has `function` called by the next shutdown. False, and not registered, while one is running.
bool registerShutdownCallback(ShutdownCallback function);

/// The same for a function that may be registered already, and is then called once all the same.
bool registerShutdownCallbackOnce(ShutdownCallback function);

/// Like registerShutdownCallback, but waits, at most so long, for the end of a shutdown that is running. False when it
/// did not end in time, which is always so for a time of 0. What went on is appended to `messages`, and not logged.
bool waitForAllThreads_NotifyWithWait(ShutdownCallback function, uint32_t timeoutMS, std::vector<corestring> &messages);

} // namespace CORE
