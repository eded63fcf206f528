#include "lib/corvanebase/corvanebase.h"
#include "lib/corvanebase/text.h"

#include "osal/WaitWord.h"

#include <atomic>
#include <cstring>
#include <memory>
#include <new>

namespace {

// Threads are told apart by a number of our own, given out at a thread's first use. Unlike the system's it stays what
// it was in the child of a fork, so that the child can release what the forking thread held.
uint32_t ThisThread() {
   static std::atomic<uint32_t> gLast{0};
   static thread_local uint32_t gMine = 0;
   if (gMine == 0) {
      gMine = gLast.fetch_add(1, std::memory_order_relaxed) + 1;
   }
   return gMine;
}

constexpr uint64_t kFree = 0;

uint64_t Held(uint32_t thread, uint32_t depth) {
   return (static_cast<uint64_t>(thread) << 32) | depth;
}
uint32_t HolderOf(uint64_t word) {
   return static_cast<uint32_t>(word >> 32);
}
uint32_t DepthOf(uint64_t word) {
   return static_cast<uint32_t>(word);
}

} // namespace

struct MXUserRecLock {
   // Holder and depth in one word, so that both change in one step: a signal handler that runs between any two
   // instructions of the holder sees either a lock of its own thread, or one that it may take and give back.
   std::atomic<uint64_t> word{kFree};
   // Who finds the lock taken counts itself in and sleeps on the number of releases that had somebody to wake.
   std::atomic<uint32_t> waiting{0};
   std::atomic<uint32_t> wakes{0};
   corvanebase::HeapText name;
   uint32_t rank = 0;
};

MXUserRecLock *MXUser_CreateRecLock(const char *name, uint32_t rank) {
   std::unique_ptr<MXUserRecLock> lock(new (std::nothrow) MXUserRecLock);
   if (lock != nullptr) {
      lock->name.reset(strdup(name != nullptr ? name : ""));
      lock->rank = rank;
   }
   return lock != nullptr && lock->name != nullptr ? lock.release() : nullptr;
}

void MXUser_DestroyRecLock(MXUserRecLock *lock) {
   if (lock != nullptr && lock->word.load(std::memory_order_relaxed) != kFree) {
      Panic("%s: lock '%s' (rank 0x%X) is held\n", "MXUser_DestroyRecLock", lock->name.get(), lock->rank);
   }
   delete lock;
}

namespace {

bool TryTake(MXUserRecLock *lock, uint32_t self) {
   uint64_t expected = kFree;
   return lock->word.compare_exchange_strong(expected, Held(self, 1));
}

// A waiter counts itself in before it looks at the lock; a holder frees the lock before it looks at the count. So one
// of the two sees the other, and no sleeper is forgotten.
void WaitAndTake(MXUserRecLock *lock, uint32_t self) {
   lock->waiting.fetch_add(1);
   for (;;) {
      const uint32_t wakes = lock->wakes.load();
      if (TryTake(lock, self)) {
         break;
      }
      osal::waitword::waitWhile(lock->wakes, wakes);
   }
   lock->waiting.fetch_sub(1);
}

} // namespace

void MXUser_AcquireRecLock(MXUserRecLock *lock) {
   const uint32_t self = ThisThread();
   const uint64_t word = lock->word.load(std::memory_order_relaxed);
   if (HolderOf(word) == self) {
      lock->word.store(word + 1, std::memory_order_relaxed);
   } else if (!TryTake(lock, self)) {
      WaitAndTake(lock, self);
   }
}

void MXUser_ReleaseRecLock(MXUserRecLock *lock) {
   const uint64_t word = lock->word.load(std::memory_order_relaxed);
   if (HolderOf(word) != ThisThread()) {
      Panic("%s: lock '%s' (rank 0x%X) is not held by this thread\n", "MXUser_ReleaseRecLock", lock->name.get(),
            lock->rank);
   }
   if (DepthOf(word) > 1) {
      lock->word.store(word - 1, std::memory_order_relaxed);
      return;
   }
   lock->word.store(kFree);
   if (lock->waiting.load() != 0) {
      lock->wakes.fetch_add(1);
      osal::waitword::wakeOne(lock->wakes);
   }
}

int MXUser_IsCurThreadHoldingRecLock(const MXUserRecLock *lock) {
   return HolderOf(lock->word.load(std::memory_order_relaxed)) == ThisThread() ? 1 : 0;
}
