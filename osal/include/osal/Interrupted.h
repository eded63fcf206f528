#pragma once

#include <cerrno>

namespace osal {

/// Makes a system call again while a signal interrupts it; -1 with errno EINTR when it has been interrupted a hundred
/// times in a row: a file system that never gets anything done must not hold a thread of the host for ever.
///
/// `call` returns below 0 with errno set on failure. Any thread; in a signal handler too. Not for close, whose number
/// is gone after an interruption.
template <typename Call>
auto repeatInterrupted(Call call) -> decltype(call()) {
   constexpr int kMost = 100;
   auto result = call();
   for (int again = 0; result < 0 && errno == EINTR && again < kMost; ++again) {
      result = call();
   }
   return result;
}

} // namespace osal
