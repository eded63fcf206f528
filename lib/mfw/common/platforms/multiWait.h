#pragma once

#include "lib/mfw/common/platforms/windowsHandle.h"

#include <cstdint>
#include <optional>

namespace platforms {

/// One thread's wait for any of several handles; lives on that thread's stack.
///
/// While it lives its condition is on the list of each handle. The handles must outlive it.
class MultiWait {
public:
   MultiWait(uint32_t count, WindowsHandle *const *handles);
   MultiWait(const MultiWait &) = delete;
   MultiWait &operator=(const MultiWait &) = delete;
   ~MultiWait();

   /// Index of the first handle that is set, looked at again after each wake-up; none when `deadlineNs` came first.
   [[nodiscard]] std::optional<uint32_t> Wait(uint64_t deadlineNs);

   /// Index of the first handle that is set now. Consumes nothing.
   [[nodiscard]] static std::optional<uint32_t> FirstSignalled(uint32_t count, WindowsHandle *const *handles);

private:
   PthreadCondition mCondition;
   const uint32_t mCount;
   WindowsHandle *const *const mHandles;
};

} // namespace platforms
