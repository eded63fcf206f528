#pragma once

#include <atomic>
#include <cstdint>

/// Counts who is inside, so that what they use can be taken down once all are out.
///
/// Owner: the object that is used and taken down. Threads: any. Locks: none; nobody waits to get in. Life cycle: closed
/// -> Open -> CloseAndDrain -> Open ...
class UseGate {
public:
   void Open() { mWord.fetch_and(~kClosed); }
   /// Nobody gets in any more; returns when the last one is out. Whoever may sleep inside has been woken before.
   void CloseAndDrain();

   /// One stay inside; false when the gate was closed.
   class Stay {
   public:
      explicit Stay(UseGate &gate)
          : mGate(gate)
          , mInside((gate.mWord.fetch_add(1) & kClosed) == 0) {}
      Stay(const Stay &) = delete;
      Stay &operator=(const Stay &) = delete;
      ~Stay() { mGate.Leave(); }
      [[nodiscard]] explicit operator bool() const { return mInside; }

   private:
      UseGate &mGate;
      const bool mInside;
   };

private:
   static constexpr uint32_t kClosed = 1U << 31;

   void Leave();

   std::atomic<uint32_t> mWord{kClosed}; // the number inside, with kClosed
};
