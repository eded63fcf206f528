#include "lib/corvanebase/corvanebase.h"
#include "lib/corvanebase/text.h"

#include <atomic>
#include <mutex>
#include <new>

namespace {

// Its address tells threads apart. Unlike a thread id it stays what it was in the child of a fork, so that the child
// can release what the forking thread held.
thread_local char gSelf;

} // namespace

struct MXUserRecLock {
   std::mutex mutex;
   // Written by the holder only; another thread sees some value that is not its own address, which is all it asks.
   std::atomic<const void *> holder{nullptr};
   uint32_t depth = 0;
   corvanebase::HeapText name;
   uint32_t rank = 0;
};

MXUserRecLock *MXUser_CreateRecLock(const char *name, uint32_t rank) {
   auto *const lock = new (std::nothrow) MXUserRecLock;
   if (lock != nullptr) {
      lock->name.reset(UtilSafeStrdup0(name != nullptr ? name : ""));
      lock->rank = rank;
   }
   return lock;
}

void MXUser_DestroyRecLock(MXUserRecLock *lock) {
   if (lock != nullptr && lock->holder.load(std::memory_order_relaxed) != nullptr) {
      Panic("%s: lock '%s' (rank 0x%X) is held\n", "MXUser_DestroyRecLock", lock->name.get(), lock->rank);
   }
   delete lock;
}

void MXUser_AcquireRecLock(MXUserRecLock *lock) {
   if (lock->holder.load(std::memory_order_relaxed) != &gSelf) {
      lock->mutex.lock();
      lock->holder.store(&gSelf, std::memory_order_relaxed);
   }
   ++lock->depth;
}

void MXUser_ReleaseRecLock(MXUserRecLock *lock) {
   if (lock->holder.load(std::memory_order_relaxed) != &gSelf) {
      Panic("%s: lock '%s' (rank 0x%X) is not held by this thread\n", "MXUser_ReleaseRecLock", lock->name.get(),
            lock->rank);
   }
   if (--lock->depth == 0) {
      lock->holder.store(nullptr, std::memory_order_relaxed);
      lock->mutex.unlock();
   }
}

int MXUser_IsCurThreadHoldingRecLock(const MXUserRecLock *lock) {
   return lock->holder.load(std::memory_order_relaxed) == &gSelf ? 1 : 0;
}
