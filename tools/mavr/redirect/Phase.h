#pragma once

#include <chrono>
#include <condition_variable>
#include <mutex>

namespace mavr::redirect {

/// What several threads tell and one waits for: a value under a lock, and a sleep until it suits.
///
/// Owner: a side. Threads: any. Locks: one of its own.
template <typename State>
class Phase {
public:
   /// Changes the value and wakes who waits.
   template <typename Change>
   void Set(const Change &change) {
      const std::lock_guard<std::mutex> hold(mLock);
      change(mState);
      mChanged.notify_all();
   }
   /// Until `suits`, at most so long; whether it does.
   template <typename Suits>
   bool Await(std::chrono::milliseconds patience, const Suits &suits) {
      std::unique_lock<std::mutex> lock(mLock);
      return mChanged.wait_for(lock, patience, [&] { return suits(mState); });
   }
   [[nodiscard]] State Get() const {
      const std::lock_guard<std::mutex> hold(mLock);
      return mState;
   }

private:
   mutable std::mutex mLock;
   std::condition_variable mChanged;
   State mState{};
};

} // namespace mavr::redirect
