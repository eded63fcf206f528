#pragma once

#include "lib/mfw/common/coreException.h"

#include <atomic>
#include <cstdint>

namespace CORE {

/// Whether destructors verify the reference count. Never changed.
inline constexpr bool coreCheckRefCountOnDelete = true;

/// Set by a process that is past the point where locks and waits make sense: locks and waits of the CORE classes then
/// do nothing. Nothing here sets it.
inline std::atomic<bool> coreExiting{false};

/// Base of everything that is counted by reference.
///
/// Owner: whoever holds a reference, or the scope of an object by value, whose count stays 1. Threads: any thread.
/// Locks: none, the count is atomic. Life cycle: constructed with count 1 -> AddRef and Release in pairs -> the Release
/// that reaches 0 deletes it. Its destructor throws coreException("Delete of object with RefCount") when the count is
/// 2 or more.
class coreref {
public:
   coreref() = default;
   coreref(const coreref &) = delete;
   coreref &operator=(const coreref &) = delete;
   virtual ~coreref() noexcept(false);

   /// The new count.
   virtual int64_t AddRef();
   /// The new count; at 0 the object is gone.
   virtual int64_t Release();
   virtual int64_t GetRefCount();

protected:
   /// Gives up references that others still hold, so that the check of the destructor passes.
   void DropExtraReferences();

private:
   std::atomic<int64_t> mRefCount{1};
};

} // namespace CORE
