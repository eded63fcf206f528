#pragma once

#include "osal/Clock.h"
#include "osal/WaitWord.h"

#include <atomic>
#include <cstdint>

namespace pcoip_host {

/// A lock that is asked for until a deadline. Threads: any. Not recursive. Hold it through a Stay.
class TimedTurn {
public:
   /// The scope in which the lock is held, if it was got in time.
   class Stay {
   public:
      /// `deadlineNs` of osal::Clock; 0 does not wait at all.
      Stay(TimedTurn &turn, uint64_t deadlineNs)
          : mTurn(turn)
          , mHeld(turn.Take(deadlineNs)) {}
      ~Stay() {
         if (mHeld) {
            mTurn.GiveBack();
         }
      }
      Stay(const Stay &) = delete;
      Stay &operator=(const Stay &) = delete;
      [[nodiscard]] explicit operator bool() const { return mHeld; } ///< false: not in time

   private:
      TimedTurn &mTurn;
      const bool mHeld;
   };

private:
   static constexpr uint32_t kFree = 0;
   static constexpr uint32_t kTaken = 1;
   static constexpr uint32_t kAwaited = 2; // taken, and somebody may sleep

   bool Take(uint64_t deadlineNs) {
      uint32_t expected = kFree;
      if (mWord.compare_exchange_strong(expected, kTaken)) {
         return true;
      }
      while (deadlineNs != 0 && mWord.exchange(kAwaited) != kFree) {
         if (!osal::Clock::current().waitWhile(mWord, kAwaited, deadlineNs)) {
            return mWord.exchange(kAwaited) == kFree;
         }
      }
      return deadlineNs != 0;
   }
   void GiveBack() {
      if (mWord.exchange(kFree) == kAwaited) {
         osal::waitword::wakeOne(mWord);
      }
   }

   std::atomic<uint32_t> mWord{kFree};
};

} // namespace pcoip_host
