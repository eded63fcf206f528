#pragma once

#include "lib/mfw/common/coresync.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <string>

namespace CORE {

/// A thread's handle, shared by who tracks the thread and who waits for it: the last to let go closes it, so that no
/// handle goes under a waiter. `handle` and `owned` are set under the lock of who tracks it.
struct corethreadhandle {
   corethreadhandle() = default;
   corethreadhandle(const corethreadhandle &) = delete;
   corethreadhandle &operator=(const corethreadhandle &) = delete;
   ~corethreadhandle() {
      if (owned && handle != nullptr) {
         CloseHandle(handle);
      }
   }

   HANDLE handle = nullptr;
   bool owned = true;
};

/// The running threads of some runnables, so that one can wait for all of them.
///
/// Owner: whoever made it, and each runnable that has it as its group, by reference. Threads: any thread.
/// Locks: the map, by mLock, never across a wait; after the timer lock where both are held.
/// Life cycle: empty -> Add and Remove of threads -> destroyed with the last reference.
class corethreadgroup : public coreref {
   using Threads = std::map<uint64_t, std::shared_ptr<corethreadhandle>>;

public:
   /// `name` is copied; null or empty for none. Runnables of the group that have no name of their own take it.
   explicit corethreadgroup(const char *name = nullptr);
   ~corethreadgroup() noexcept(false) override;

   /// Room for one thread, so that tracking it cannot fail once it runs.
   class Room {
   public:
      Room() = default;
      explicit Room(std::shared_ptr<corethreadhandle> thread);

   private:
      friend class corethreadgroup;
      Threads::node_type mNode;
   };

   /// Tracks a thread. The group closes the handle, once nobody here waits on it any more. A handle that was stored
   /// under the same id before is forgotten, and its owner's again.
   void Add(uint64_t id, HANDLE handle);
   void Add(Room room, uint64_t id) noexcept;

   /// Forgets the calling thread, if it is tracked; closes its handle, or leaves it to its owner.
   void Remove(bool closeHandle);

   /// Waits until no thread is left, at most so long; forgets each thread that has ended. Waits for the lowest id
   /// first; after 2 seconds logs who is waited for. Not for a thread of the group: it would wait for itself.
   void Wait(uint32_t timeoutMS);

   [[nodiscard]] size_t Size();
   [[nodiscard]] const char *Name() const { return mName.empty() ? nullptr : mName.c_str(); } ///< null without one

private:
   struct Round;

   Round NextRound(uint64_t startNs, size_t &loggedCount);
   void Forget(const Round &round);

   const std::string mName;
   corecritsec mLock;
   Threads mThreads MAVR_GUARDED_BY(mLock);
};

/// The group of the threads that a shutdown waits for.
class corerunnable_allThreadsGroup final : public corethreadgroup {
public:
   corerunnable_allThreadsGroup();
   ~corerunnable_allThreadsGroup() noexcept(false) override;

   /// Whether the process's instance can be touched.
   [[nodiscard]] static bool Exists();
};

/// The process's own. Made on first use and never destroyed: threads may end while the process does.
[[nodiscard]] corerunnable_allThreadsGroup &allThreadsGroup();

} // namespace CORE
