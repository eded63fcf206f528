#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

namespace platforms {

/// A condition variable for events: wakes threads, remembers at most one Signal.
///
/// No wake-up is lost: who is going to wait takes a Ticket before it looks at its own state, and a Signal or Broadcast
/// after that moment ends the wait, even when it comes before the waiter is asleep. Nobody waiting costs no system
/// call. Owner: the handle or the wait that it is part of. Threads: any thread. Locks: none. Life cycle: no thread may
/// be inside a call when it goes.
class PthreadCondition {
public:
   PthreadCondition() = default;
   PthreadCondition(const PthreadCondition &) = delete;
   PthreadCondition &operator=(const PthreadCondition &) = delete;
   virtual ~PthreadCondition() = default;

   /// Wakes all who hold a ticket. Leaves no mark: who takes a ticket later is not woken by it.
   virtual void Broadcast();
   /// Waits until a Signal or Broadcast that came after `ticket` was taken, or takes the mark that a Signal has left.
   /// Clears the mark. False when the wait failed: the clock in force has ended it without a reason. The system's clock
   /// never does.
   virtual bool Wait(uint32_t ticket);
   /// The same, but not beyond `deadlineNs` of the clock's monotonicNs: false then.
   virtual bool TimedWait(uint32_t ticket, uint64_t deadlineNs);
   /// Takes back the mark of a Signal that nobody has consumed.
   virtual void Reset();

   /// Wakes one who holds a ticket, and leaves a mark for one who comes later.
   void Signal();

   /// The sleepers that a signal has still to wake, if any. Only an address: the condition may be gone by then.
   class Sleepers {
   public:
      Sleepers() = default;
      void WakeOne() const;
      void WakeAll() const;

   private:
      friend class PthreadCondition;
      explicit Sleepers(std::atomic<uint32_t> *word)
          : mWord(word) {}
      std::atomic<uint32_t> *mWord = nullptr;
   };
   /// Broadcast and Signal in two steps: everything but the waking, which the caller does when it has let go of its
   /// lock. Otherwise who wakes up would run into that lock.
   [[nodiscard]] Sleepers AnnounceBroadcast();
   [[nodiscard]] Sleepers AnnounceSignal();

   [[nodiscard]] uint32_t Ticket() const { return mSequence.load(); }

private:
   class Sleeper;

   std::atomic<uint32_t> mSequence{0}; // grows with each Signal and Broadcast; what waiters sleep on
   std::atomic<uint32_t> mSleepers{0};
   std::atomic<bool> mSignalled{false};
};

/// What can be waited for: the base of events and threads, and the HANDLE of the calls in linuxSupport.h.
///
/// Owner: whoever created it, until CloseHandle. Threads: any thread, all methods. Close while no thread waits on it;
/// a thread that was let through may close it at once, even while the one who set it is still on its way out.
/// Locks: mMutex guards the list of multiple waits and who attends; a multiple wait takes the mutexes of its handles
/// one at a time. The word itself is changed in single steps: without the mutex only while nobody attends, so that who
/// sets it touches the handle no more after the step that lets a waiter through. No wait happens under the mutex, and
/// waking, which takes only an address, after it.
/// Life cycle: created -> Close, which deletes it.
class WindowsHandle {
public:
   WindowsHandle() = default;
   WindowsHandle(const WindowsHandle &) = delete;
   WindowsHandle &operator=(const WindowsHandle &) = delete;
   virtual ~WindowsHandle() = default;

   /// Called when a single wait has found the word set: an auto-reset event consumes it here, test and reset in one
   /// step. False, when another thread was quicker, lets the wait go on.
   virtual bool Satisfied() { return true; }
   /// Whether a signal lets all waiters through (true) or one (false).
   [[nodiscard]] virtual bool IsManualReset() const { return false; }
   /// Forgets all waiters and deletes the object.
   virtual void Close();

   /// Sets the word and wakes: all waiters when manual, else one single wait and one multiple wait picked at random.
   /// No lock and no system call while nobody waits.
   void Set();
   /// Clears the word.
   void Reset();
   /// The word as it is; consumes nothing.
   [[nodiscard]] bool IsSignalled() const { return (mState.load() & kSet) != 0; }

   /// Ends a single wait that need not wait: as if Satisfied were called, but without a virtual call. False: DoWait.
   bool TakeAtOnce() {
      const uint32_t found = mState.load();
      return (found & kSet) != 0 && ((found & kAutoReset) == 0 || ConsumeWord());
   }
   /// Waits until the word is set and Satisfied agrees; false when `deadlineNs` came first. An endless wait
   /// (osal::Clock::kNoDeadline) that fails logs so at DEBUG. A cancellation point: a cancelled waiter leaves nothing
   /// behind, and a signal that had woken it goes to another one.
   bool DoWait(uint64_t deadlineNs);

   /// So many multiple waits at a time need no memory any more once MakeRoom has succeeded.
   static constexpr size_t kRoomForWaiters = 4;
   [[nodiscard]] bool MakeRoom();
   /// A multiple wait puts itself on the list: false, and it is not on it, when out of memory.
   [[nodiscard]] bool AddWaiter(PthreadCondition *waiter);
   /// Takes it off again. When `leaving` was the one picked for a signal, and it has `used` it not (its time was over,
   /// or another handle came first), another one is picked.
   void RemoveWaiter(PthreadCondition *leaving, bool used);

protected:
   static constexpr uint32_t kSet = 1;      // the word
   static constexpr uint32_t kAttended = 2; // a wait is on the list or about to sleep: Set has to look for whom to wake
   static constexpr uint32_t kAutoReset = 4; // never changes: a single wait consumes the word

   explicit WindowsHandle(uint32_t state)
       : mState(state) {}

   /// Clears the word if it is set, in one step: whether it was.
   bool ConsumeWord();

   std::vector<PthreadCondition *> mWaiters; // multiple waits; guarded by mMutex
   std::mutex mMutex;

private:
   class Attendance;

   bool SetUnattended();
   void SetForAll();
   void SetForOne();
   void Attend();
   void Leave();
   void SignalAllMultipleWaits();
   [[nodiscard]] PthreadCondition::Sleepers SignalOneMultipleWait();

   PthreadCondition mCondition;
   std::atomic<uint32_t> mState{0};
   uint32_t mAttending = 0;             // single waits beyond their first look, and mWaiters; guarded by mMutex
   PthreadCondition *mPicked = nullptr; // the multiple wait that the last signal went to; guarded by mMutex
};

/// An event. Auto-reset (not manual): a single wait that takes any time consumes the signal; a look with time 0 and a
/// multiple wait do not.
class WindowsEvent final : public WindowsHandle {
public:
   WindowsEvent(bool manualReset, bool initialState);
   bool Satisfied() override;
   [[nodiscard]] bool IsManualReset() const override { return mManualReset; }

private:
   const bool mManualReset;
};

} // namespace platforms
