#pragma once

#include <atomic>
#include <cstdint>

/// Sleeping on a word of memory in plain POSIX, for systems that offer nothing of the kind themselves: what
/// osal/WaitWord.h promises, except that it is not for signal handlers and no cancellation point.
///
/// A sleeper parks itself, with a condition variable of its own, in a table that the word's address leads to. Who wakes
/// looks for it there. The word is looked at under the table's mutex, which a waker takes after it has changed the
/// word: so the sleeper sees the change, or the waker sees the sleeper. A wake that finds nobody makes no system call.
/// Threads: any thread. Locks: one of 64 mutexes, for a moment. A forked child starts with an empty table.
namespace osal::parkedwait {

/// False once the monotonic clock (CLOCK_MONOTONIC, nanoseconds) has reached `deadlineNs`; UINT64_MAX is no limit.
bool waitWhileUntil(const std::atomic<uint32_t> &word, uint32_t value, uint64_t deadlineNs);

void wakeOne(const std::atomic<uint32_t> &word);
void wakeAll(const std::atomic<uint32_t> &word);

} // namespace osal::parkedwait
