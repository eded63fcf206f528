#include "lib/corvanebase/corvanebase.h"
#include "lib/corvanebase/text.h"

#include <atomic>
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
   if (lock != nullptr && lock->word.load(std::memory_order_relaxed) != kFree) {
      Panic("%s: lock '%s' (rank 0x%X) is held\n", "MXUser_DestroyRecLock", lock->name.get(), lock->rank);
   }
   delete lock;
}

void MXUser_AcquireRecLock(MXUserRecLock *lock) {
   const uint32_t self = ThisThread();
   uint64_t word = lock->word.load(std::memory_order_relaxed);
   if (HolderOf(word) == self) {
      lock->word.store(word + 1, std::memory_order_relaxed);
      return;
   }
   for (word = kFree;
        !lock->word.compare_exchange_weak(word, Held(self, 1), std::memory_order_acquire, std::memory_order_relaxed);
        word = kFree) {
      if (word != kFree) {
         lock->word.wait(word, std::memory_order_relaxed);
      }
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
   lock->word.store(kFree, std::memory_order_release);
   lock->word.notify_one();
}

int MXUser_IsCurThreadHoldingRecLock(const MXUserRecLock *lock) {
   return HolderOf(lock->word.load(std::memory_order_relaxed)) == ThisThread() ? 1 : 0;
}
