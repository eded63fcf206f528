#pragma once

#include "lib/mfw/common/coresync.h"

/// Lets a lock go that the caller holds, once, and takes it again at the end of the scope. The caller holds the lock as
/// far as the thread-safety analysis is concerned.
class ScopedUnlock {
public:
   explicit ScopedUnlock(CORE::coresyncObject &lock) MAVR_NO_THREAD_SAFETY_ANALYSIS : mLock(lock) { mLock.Unlock(); }
   ScopedUnlock(const ScopedUnlock &) = delete;
   ScopedUnlock &operator=(const ScopedUnlock &) = delete;
   ~ScopedUnlock() MAVR_NO_THREAD_SAFETY_ANALYSIS { mLock.Lock(); }

private:
   CORE::coresyncObject &mLock;
};
