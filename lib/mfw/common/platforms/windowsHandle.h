#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>

namespace platforms {

/// A condition variable for events: wakes threads, remembers at most one Signal.
///
/// No wake-up is lost: who is going to wait takes a Ticket while it looks at its own state, and a Signal or Broadcast
/// after that moment ends the wait, even when it comes before the waiter is asleep. Nobody waiting costs no system
/// call. Owner: the handle or the wait that it is part of. Threads: any thread. Locks: none. Life cycle: no thread may
/// be inside Wait when it goes.
class PthreadCondition {
public:
   PthreadCondition() = default;
   PthreadCondition(const PthreadCondition &) = delete;
   PthreadCondition &operator=(const PthreadCondition &) = delete;
   virtual ~PthreadCondition() = default;

   /// Wakes all who hold a ticket. Leaves no mark: who takes a ticket later is not woken by it.
   virtual void Broadcast();
   /// Waits until a Signal or Broadcast that came after `ticket` was taken, or takes the mark that a Signal has left.
   /// May also return without a reason. Clears the mark.
   virtual void Wait(uint32_t ticket);
   /// The same, but not beyond `deadlineNs` of the clock's monotonicNs: false then.
   virtual bool TimedWait(uint32_t ticket, uint64_t deadlineNs);
   /// Takes back the mark of a Signal that nobody has consumed.
   virtual void Reset();

   /// Wakes one who holds a ticket, and leaves a mark for one who comes later.
   void Signal();

   [[nodiscard]] uint32_t Ticket() const { return mSequence.load(); }

private:
   std::atomic<uint32_t> mSequence{0}; // grows with each Signal and Broadcast; what waiters sleep on
   std::atomic<uint32_t> mSleepers{0};
   std::atomic<bool> mSignalled{false};
};

/// What can be waited for: the base of events and threads, and the HANDLE of the calls in linuxSupport.h.
///
/// Owner: whoever created it, until CloseHandle. Threads: any thread, all methods; Close while no thread waits on it.
/// Locks: mMutex guards the word and the list of multiple waits; a multiple wait takes the mutexes of its handles one
/// at a time. No wait happens under it. Life cycle: created -> Close, which deletes it.
class WindowsHandle {
public:
   WindowsHandle() = default;
   WindowsHandle(const WindowsHandle &) = delete;
   WindowsHandle &operator=(const WindowsHandle &) = delete;
   virtual ~WindowsHandle() = default;

   /// Called under the mutex when a single wait has found the word set: an auto-reset event consumes it here, so that
   /// test and reset are one step. False lets the wait go on.
   virtual bool Satisfied() { return true; }
   /// Whether a signal lets all waiters through (true) or one (false).
   [[nodiscard]] virtual bool IsManualReset() const { return false; }
   /// Forgets all waiters and deletes the object.
   virtual void Close();

   /// Sets the word and wakes: all waiters when manual, else one single wait and one multiple wait picked at random.
   void Set();
   /// Clears the word.
   void Reset();
   /// The word as it is; consumes nothing.
   [[nodiscard]] bool IsSignalled() const { return mSignalled.load(); }

   /// Waits until the word is set and Satisfied agrees; false when `deadlineNs` came first.
   bool DoWait(uint64_t deadlineNs);

   /// A multiple wait puts itself on the list, and off it again. A signal that was meant for `leaving`, and that it has
   /// no use for, goes on to another one.
   void AddWaiter(PthreadCondition *waiter);
   void RemoveWaiter(PthreadCondition *leaving);

protected:
   /// Clears word and mark; for Satisfied, under the mutex.
   void ClearWord();

private:
   void WakeMultipleWaits();

   std::vector<PthreadCondition *> mWaiters;
   std::mutex mMutex;
   PthreadCondition mCondition;
   std::atomic<bool> mSignalled{false};
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
