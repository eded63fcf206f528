#include "osal/WaitWord.h"

#if defined(__linux__)
#include <cerrno>
#include <climits>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace osal::waitword {

#if defined(__linux__)

namespace {

static_assert(sizeof(std::atomic<uint32_t>) == sizeof(uint32_t) && std::atomic<uint32_t>::is_always_lock_free);

void Futex(const std::atomic<uint32_t> &word, int operation, uint32_t value) {
   const int error = errno;
   syscall(SYS_futex, &word, operation | FUTEX_PRIVATE_FLAG, value, nullptr, nullptr, 0);
   errno = error;
}

} // namespace

void waitWhile(const std::atomic<uint32_t> &word, uint32_t value) {
   Futex(word, FUTEX_WAIT, value);
}

void wakeOne(std::atomic<uint32_t> &word) {
   Futex(word, FUTEX_WAKE, 1);
}

void wakeAll(std::atomic<uint32_t> &word) {
   Futex(word, FUTEX_WAKE, INT_MAX);
}

#else

void waitWhile(const std::atomic<uint32_t> &word, uint32_t value) {
   word.wait(value);
}

void wakeOne(std::atomic<uint32_t> &word) {
   word.notify_one();
}

void wakeAll(std::atomic<uint32_t> &word) {
   word.notify_all();
}

#endif

} // namespace osal::waitword
