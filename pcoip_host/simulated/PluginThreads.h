#pragma once

#include "lib/mfw/common/threadWrapper.h"

#include "osal/Clock.h"

#include <atomic>
#include <cstdint>
#include <list>
#include <mutex>

/// Watches the threads that runnables have, to tell when nothing moves any more: each of them has ended, or sleeps on
/// something that has not happened.
///
/// Owner: the simulated host. Threads: any. Locks: one of its own, nothing is taken under it. Life cycle: in force, as
/// the process's clock and as the maker of threads, from construction to destruction; one at a time, made before the
/// threads that it watches, gone after them.
class PluginThreads final : private osal::Clock {
public:
   PluginThreads();
   ~PluginThreads() override;

   [[nodiscard]] uint32_t Alive() const { return mAlive.load(); }
   /// How many sleep in a wait of the clock whose word has not changed.
   [[nodiscard]] uint32_t Asleep() const;
   /// Grows before each thread that goes to sleep, here or elsewhere, or ends: two equal readings around a count say
   /// that nobody has moved.
   [[nodiscard]] uint64_t Moves() const { return mMoves.load(); }
   void CountMove() { mMoves.fetch_add(1); }

private:
   struct Begun;
   struct Sleeper {
      const std::atomic<uint32_t> *word;
      uint32_t value;
   };

   static HANDLE Begin(void *security, uint32_t stack, platforms::ThreadStart start, void *argument, uint32_t flags,
                       uint32_t *outId);
   static uint32_t Main(void *begun);

   [[nodiscard]] uint64_t monotonicNs() const override { return mSystem.monotonicNs(); }
   [[nodiscard]] osal::WallTime wallTime() const override { return mSystem.wallTime(); }
   void sleepNs(uint64_t ns) override { mSystem.sleepNs(ns); }
   bool waitWhile(const std::atomic<uint32_t> &word, uint32_t value, uint64_t deadlineNs) override;

   osal::Clock &mSystem;
   const CORE::BeginThread mFormerBegin;
   std::atomic<uint32_t> mAlive{0};
   std::atomic<uint64_t> mMoves{0};
   mutable std::mutex mLock;
   std::list<Sleeper> mSleepers; // guarded by mLock
   osal::ScopedClock mInForce;
};
