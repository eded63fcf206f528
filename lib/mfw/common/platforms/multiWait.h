#pragma once

#include "lib/mfw/common/platforms/windowsHandle.h"

#include <cstdint>
#include <optional>

namespace platforms {

/// One thread's wait for any of several handles; lives on that thread's stack.
///
/// While it lives its condition is on the list of each handle; a cancelled thread takes it off again. Owner: the
/// waiting thread, the only one that calls it. Locks: those of the handles, one at a time. Life cycle: made -> Wait
/// once -> gone. The handles must outlive it.
class MultiWait {
public:
   MultiWait(uint32_t count, WindowsHandle *const *handles);
   MultiWait(const MultiWait &) = delete;
   MultiWait &operator=(const MultiWait &) = delete;
   ~MultiWait();

   /// Whether it is on the list of every handle; false when out of memory.
   [[nodiscard]] bool Listed() const { return mListed == mCount; }

   /// Index of the first handle that is set, now or after one wake-up. None when `deadlineNs` came first, or when none
   /// is set any more after the wake-up.
   [[nodiscard]] std::optional<uint32_t> Wait(uint64_t deadlineNs);

   /// Index of the first handle that is set now. Consumes nothing.
   [[nodiscard]] static std::optional<uint32_t> FirstSignalled(uint32_t count, WindowsHandle *const *handles);

private:
   PthreadCondition mCondition;
   bool mSignalled = false;
   const uint32_t mCount;
   WindowsHandle *const *const mHandles;
   uint32_t mListed = 0;
   std::optional<uint32_t> mFound;
};

} // namespace platforms
