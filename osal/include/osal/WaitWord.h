#pragma once

#include <atomic>
#include <cstdint>

namespace osal {

/// Sleeping on a word of memory: what locks and events are made of. Any thread; in a signal handler too. One process.
///
/// Unlike std::atomic::wait these do not spin or yield before they sleep: who calls them has looked already.
namespace waitword {

/// Sleeps until a wake, but not when `word` is no longer `value`: looking and falling asleep are one step, so that no
/// wake after a change of the word is missed. May also return without a reason: look again.
/// With a time limit: osal::Clock::waitWhile, whose time a test can step.
void waitWhile(const std::atomic<uint32_t> &word, uint32_t value);

/// The same until the system's monotonic clock (CLOCK_MONOTONIC, in nanoseconds) has reached `deadlineNs`: false then.
/// For the system's osal::Clock only; everybody else asks the clock in force.
bool waitWhileUntil(const std::atomic<uint32_t> &word, uint32_t value, uint64_t deadlineNs);

/// Wakes one sleeper, or all. A system call, also when nobody sleeps: keep count of who does.
void wakeOne(std::atomic<uint32_t> &word);
void wakeAll(std::atomic<uint32_t> &word);

} // namespace waitword
} // namespace osal
