#pragma once

#include <atomic>
#include <cstdint>

namespace osal {

/// Sleeping on a word of memory: what locks and events are made of. Any thread; in a signal handler too, where the
/// system itself lets threads sleep on a word (Linux). One process. The word's address is all that a wake uses: it may
/// be gone by then.
///
/// Unlike std::atomic::wait these do not spin or yield before they sleep: who calls them has looked already.
namespace waitword {

/// Sleeps until a wake, but not when `word` is no longer `value`: looking and falling asleep are one step, so that no
/// wake after a change of the word is missed. May also return without a reason: look again. Like taking a mutex it is
/// no cancellation point.
/// With a time limit: osal::Clock::waitWhile, whose time a test can step.
void waitWhile(const std::atomic<uint32_t> &word, uint32_t value);

/// The same until the system's monotonic clock (CLOCK_MONOTONIC, in nanoseconds) has reached `deadlineNs`: false then.
/// UINT64_MAX is no limit. A cancellation point, as waiting for a condition is, on systems where a cancelled thread's
/// stack is unwound (Linux): whoever calls it leaves nothing behind then. Elsewhere the cancelled wait goes on. For the
/// system's osal::Clock only; everybody else asks the clock in force.
bool waitWhileUntil(const std::atomic<uint32_t> &word, uint32_t value, uint64_t deadlineNs);

/// Wakes one sleeper, or all. A system call, also when nobody sleeps: keep count of who does.
void wakeOne(std::atomic<uint32_t> &word);
void wakeAll(std::atomic<uint32_t> &word);

} // namespace waitword
} // namespace osal
