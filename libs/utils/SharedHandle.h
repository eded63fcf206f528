#pragma once

#include "lib/mfw/common/linuxSupport.h"

/// One of several owners of a handle; the last one to go closes it. So whoever waits on it with a copy of his own may
/// let go of every lock.
///
/// Threads: one object belongs to one thread or to one lock; copies of it are independent. Locks: none, the count is
/// atomic. Life cycle: empty, or given a handle by Adopt or by Reserve and Fill; copied; reset.
class SharedHandle {
public:
   SharedHandle() = default;
   SharedHandle(const SharedHandle &other);
   SharedHandle(SharedHandle &&other) noexcept;
   SharedHandle &operator=(SharedHandle other) noexcept;
   ~SharedHandle();

   /// Takes the handle over. Empty when it is null; out of memory it is closed, and the result is empty.
   [[nodiscard]] static SharedHandle Adopt(HANDLE handle);
   /// Memory for a handle that comes later, so that nothing can fail any more once it is there. CanFill says whether
   /// there was memory.
   [[nodiscard]] static SharedHandle Reserve();
   [[nodiscard]] bool CanFill() const { return mBlock != nullptr; }
   /// Takes the handle over, once, for all copies; needs CanFill.
   void Fill(HANDLE handle);

   /// The handle, null when empty; good as long as this object.
   [[nodiscard]] HANDLE Get() const;
   [[nodiscard]] explicit operator bool() const { return Get() != nullptr; }

private:
   class Block;
   Block *mBlock = nullptr;
};
