#pragma once

#ifdef MAVR_SIDE_CHECKS
#include <atomic>
#include <cassert>
#include <thread>
#endif

/// One side of a queue, which one thread may use at a time: remembers that thread while it is inside, and asserts that
/// no other one comes in. Debug and sanitizer builds only; nothing in the others, nor where branches are counted. The
/// build says which it is: a queue has the same shape in all of it, however a source is optimised.
///
/// The thread may be another one each time: a serial queue runs on many threads, one after the other.
class SideCheck {
public:
   /// The scope in which a thread is inside.
   class Use {
   public:
#ifdef MAVR_SIDE_CHECKS
      explicit Use(SideCheck &side)
          : mSide(side) {
         const std::thread::id self = std::this_thread::get_id();
         std::thread::id inside;
         mOutermost = mSide.mInside.compare_exchange_strong(inside, self, std::memory_order_relaxed);
         [[maybe_unused]] const bool oneThreadAtATime = mOutermost || inside == self;
         assert(oneThreadAtATime);
      }
      ~Use() {
         if (mOutermost) {
            mSide.mInside.store(std::thread::id(), std::memory_order_relaxed);
         }
      }

   private:
      SideCheck &mSide;
      bool mOutermost = false;
#else
      explicit Use(SideCheck & /*side*/) {}
      ~Use() {} // NOLINT(modernize-use-equals-default): a plain object that is never read would be warned about
#endif
   public:
      Use(const Use &) = delete;
      Use &operator=(const Use &) = delete;
   };

private:
#ifdef MAVR_SIDE_CHECKS
   std::atomic<std::thread::id> mInside{};
#endif
};
