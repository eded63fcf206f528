#pragma once

#include <atomic>
#include <cstdint>

/// Counts the threads that are inside a callback of an endpoint, so that the endpoint can go when none is.
///
/// Who comes in looks up the owner after that, and who wants it gone first puts another in its place: then everyone who
/// may still have the former one is counted here.
/// Owner: the channel. Threads: any. Locks: none; getting in waits for nobody. Life cycle: the channel's.
class CallbackGate {
public:
   /// One stay inside. A thread may be inside several times, and in several gates.
   class Stay {
   public:
      explicit Stay(CallbackGate &gate);
      Stay(const Stay &) = delete;
      Stay &operator=(const Stay &) = delete;
      ~Stay();

   private:
      friend class CallbackGate;
      CallbackGate &mGate;
      Stay *const mOuter; // the thread's stay around this one
   };

   /// Returns once no other thread is inside. The calling thread may be: a callback may destroy its own endpoint.
   void AwaitOthers();

private:
   static constexpr uint32_t kAwaited = 1U << 31;

   [[nodiscard]] uint32_t StaysOfThisThread() const;

   std::atomic<uint32_t> mWord{0}; // the number inside, with kAwaited
};
