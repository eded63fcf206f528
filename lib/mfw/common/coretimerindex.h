#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace CORE {

class coretimer;

/// A member of a ring, or its head; a ring of its own at first.
struct coretimerlink {
   coretimerlink() = default;
   coretimerlink(const coretimerlink &) = delete;
   coretimerlink &operator=(const coretimerlink &) = delete;

   coretimerlink *next = this;
   coretimerlink *previous = this;
};

/// A timer's place in the index, which alone writes it; the timer holds it, and has it removed before it goes.
struct coretimerentry : coretimerlink {
   enum class State : uint8_t { Disarmed, Waiting, Due };

   explicit coretimerentry(coretimer *owner = nullptr)
       : timer(owner) {}

   coretimer *const timer;
   int64_t deadline = 0;
   size_t order = 0; ///< grows with each one added; decides who is first among those that are due
   uint8_t ring = 0; ///< of those that wait
   State state = State::Disarmed;
};

/// Finds the timer that a walk through all timers in the order of registration would find first to be due, without the
/// walk. Who is due has a bit in a set that is laid out in that order. Who waits is in the ring of the highest bit in
/// which deadline and present differ: when time goes on, only rings up to the highest bit that changed can hold a due
/// one, and each move takes an entry to a lower ring or to the set. So an entry costs at most one step for each bit of
/// its interval, however many there are, and the steady state is one ring for those that are armed together.
///
/// Owner: the timer service; the entries are the timers'. Threads: one at a time. Life cycle: empty -> Add for each
/// entry -> Arm, Disarm and TakeDue, which allocate nothing -> Remove or Clear. The time given never goes back.
class coretimerindex {
public:
   /// The entry is the last in order from here on. Throws std::bad_alloc; it is not added then.
   void Add(coretimerentry &entry);
   void Remove(coretimerentry &entry);
   /// Removes all.
   void Clear();

   /// From `deadline` on, 0 or above, the entry is due. Replaces what was said of it before.
   void Arm(coretimerentry &entry, int64_t deadline);
   /// The entry is due at no time.
   void Disarm(coretimerentry &entry);

   /// The first in order of those with a deadline of at most `now`, disarmed; null when there is none.
   [[nodiscard]] coretimerentry *TakeDue(int64_t now);
   /// The earliest deadline once TakeDue has given null; kNever when nothing is armed.
   [[nodiscard]] int64_t NextDeadline();

   static constexpr int64_t kNever = INT64_MAX;

private:
   static constexpr int64_t kUnknown = -1;

   void Put(coretimerentry &entry);
   void MoveOn(int64_t now);
   void Unlink(coretimerentry &entry);
   void CloseGaps();

   int64_t mNow = 0;                     // the last that TakeDue was given
   std::array<coretimerlink, 64> mRings; // who waits
   uint64_t mFilledRings = 0;            // a bit for each
   int64_t mEarliest = kUnknown;         // the earliest deadline in the rings, if it is known
   std::vector<coretimerentry *> mOrder; // null where one was removed
   size_t mCount = 0;                    // without those
   std::vector<uint64_t> mDue;           // a bit for each place of mOrder
   size_t mFirstDue = 0;                 // no word of mDue before it has a bit
};

} // namespace CORE
