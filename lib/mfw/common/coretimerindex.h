#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace CORE {

class coretimer;

/// A timer's place in the index; the timer holds it, and takes it out before it goes.
struct coretimerentry {
   coretimer *timer = nullptr;
   uint64_t rank = 0; ///< grows with each registration; decides who is first among those that are due
   int64_t deadline = 0;
   size_t position = 0;
   enum class Place : uint8_t { None, Waiting, Due } place = Place::None;
};

/// Finds the timer that a walk through all timers in the order of registration would find first to be due, without the
/// walk: a heap of those that wait, by deadline, and a heap of those that are due, by rank.
///
/// Owner: the timer service; the entries are the timers'. Threads: one at a time. Life cycle: empty -> Reserve for
/// each entry -> Arm, Disarm and TakeDue, which allocate nothing. The time given never goes back.
class coretimerindex {
public:
   /// Room for `count` entries in all.
   void Reserve(size_t count);

   /// From `deadline` on the entry is due. Replaces what was said of it before.
   void Arm(coretimerentry &entry, int64_t deadline);
   /// The entry is due at no time.
   void Disarm(coretimerentry &entry);
   /// Disarms all.
   void Clear();

   /// The entry with the lowest rank of those with a deadline of at most `now`, disarmed; null when there is none.
   [[nodiscard]] coretimerentry *TakeDue(int64_t now);
   /// The earliest deadline once TakeDue has given null; kNever when nothing is armed.
   [[nodiscard]] int64_t NextDeadline() const { return mWaiting.empty() ? kNever : mWaiting.front().key; }

   static constexpr int64_t kNever = INT64_MAX;

private:
   // Keys lie beside the pointers, so that a comparison touches no entry. A node has four children: fewer levels.
   struct Node {
      int64_t key;
      coretimerentry *entry;
   };
   using Heap = std::vector<Node>;

   static void Push(Heap &heap, Node node);
   static void Erase(Heap &heap, size_t position);
   static void SiftUp(Heap &heap, size_t position, Node node);
   static void SiftDown(Heap &heap, size_t position, Node node);
   static void Place(Heap &heap, size_t position, Node node);

   Heap mWaiting;
   Heap mDue;
};

} // namespace CORE
