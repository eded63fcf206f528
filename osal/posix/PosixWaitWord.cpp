#include "osal/WaitWord.h"

#if defined(__linux__)
#include "osal/posix/PosixTime.h"

#include <cerrno>
#include <climits>
#include <linux/futex.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>
#else
#include "osal/posix/ParkedWait.h"
#endif

namespace osal::waitword {

#if defined(__linux__)

namespace {

static_assert(sizeof(std::atomic<uint32_t>) == sizeof(uint32_t) && std::atomic<uint32_t>::is_always_lock_free);

// The error, 0 for none; errno stays as it is.
int Futex(const std::atomic<uint32_t> &word, int operation, uint32_t value, const timespec *until = nullptr) {
   const int error = errno;
   const long result =
      syscall(SYS_futex, &word, operation | FUTEX_PRIVATE_FLAG, value, until, nullptr, FUTEX_BITSET_MATCH_ANY);
   const int outcome = result < 0 ? errno : 0;
   errno = error;
   return outcome;
}

} // namespace

void waitWhile(const std::atomic<uint32_t> &word, uint32_t value) {
   Futex(word, FUTEX_WAIT, value);
}

// The bitset form, because it takes a moment in time: going round after a signal does not stretch the wait.
//
// A system call of this kind ends by cancellation only while the thread may be cancelled at any instruction. So nothing
// here may need a destructor; and the address sanitizer, which does not learn of such an end, must not mark the frame.
[[gnu::no_sanitize_address]] bool waitWhileUntil(const std::atomic<uint32_t> &word, uint32_t value,
                                                 uint64_t deadlineNs) {
   const timespec until = AsTimespec(deadlineNs);
   int type = PTHREAD_CANCEL_DEFERRED;
   pthread_setcanceltype(PTHREAD_CANCEL_ASYNCHRONOUS, &type);
   const int outcome = Futex(word, FUTEX_WAIT_BITSET, value, deadlineNs == UINT64_MAX ? nullptr : &until);
   pthread_setcanceltype(type, nullptr);
   return outcome != ETIMEDOUT;
}

void wakeOne(std::atomic<uint32_t> &word) {
   Futex(word, FUTEX_WAKE, 1);
}

void wakeAll(std::atomic<uint32_t> &word) {
   Futex(word, FUTEX_WAKE, INT_MAX);
}

#else

void waitWhile(const std::atomic<uint32_t> &word, uint32_t value) {
   parkedwait::waitWhileUntil(word, value, UINT64_MAX);
}

bool waitWhileUntil(const std::atomic<uint32_t> &word, uint32_t value, uint64_t deadlineNs) {
   return parkedwait::waitWhileUntil(word, value, deadlineNs);
}

void wakeOne(std::atomic<uint32_t> &word) {
   parkedwait::wakeOne(word);
}

void wakeAll(std::atomic<uint32_t> &word) {
   parkedwait::wakeAll(word);
}

#endif

} // namespace osal::waitword
