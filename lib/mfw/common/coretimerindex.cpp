#include "lib/mfw/common/coretimerindex.h"

#include <algorithm>
#include <bit>

namespace CORE {
namespace {

using State = coretimerentry::State;

constexpr size_t kWordBits = 64;
constexpr size_t kGaps = 64; // as many places may be empty before it is worth a look

uint64_t Bit(size_t number) {
   return uint64_t{1} << number % kWordBits;
}

// Of the highest bit in which two different times differ.
size_t HighestDifference(int64_t a, int64_t b) {
   return static_cast<size_t>(std::bit_width(static_cast<uint64_t>(a ^ b))) - 1;
}

} // namespace

// ---- Order ----------------------------------------------------------------------------------------------------------

void coretimerindex::Add(coretimerentry &entry) {
   if (mOrder.size() > 2 * mCount + kGaps) {
      CloseGaps();
   }
   mDue.resize(mOrder.size() / kWordBits + 1);
   mOrder.push_back(&entry);
   entry.order = mOrder.size() - 1;
   ++mCount;
}

void coretimerindex::Remove(coretimerentry &entry) {
   Disarm(entry);
   mOrder[entry.order] = nullptr;
   --mCount;
}

void coretimerindex::Clear() {
   for (coretimerentry *const entry : mOrder) {
      if (entry != nullptr) {
         Disarm(*entry);
      }
   }
   mOrder.clear();
   mDue.clear();
   mCount = 0;
}

void coretimerindex::CloseGaps() {
   mOrder.erase(std::remove(mOrder.begin(), mOrder.end(), nullptr), mOrder.end());
   std::fill(mDue.begin(), mDue.end(), 0);
   for (size_t order = 0; order < mOrder.size(); ++order) {
      coretimerentry &entry = *mOrder[order];
      entry.order = order;
      if (entry.state == State::Due) {
         mDue[order / kWordBits] |= Bit(order);
      }
   }
   mFirstDue = 0;
}

// ---- Time -----------------------------------------------------------------------------------------------------------

void coretimerindex::Arm(coretimerentry &entry, int64_t deadline) {
   Disarm(entry);
   entry.deadline = deadline;
   Put(entry);
}

void coretimerindex::Disarm(coretimerentry &entry) {
   switch (entry.state) {
   case State::Disarmed:
      return;
   case State::Waiting:
      Unlink(entry);
      break;
   case State::Due:
      mDue[entry.order / kWordBits] &= ~Bit(entry.order);
      break;
   }
   entry.state = State::Disarmed;
}

coretimerentry *coretimerindex::TakeDue(int64_t now) {
   if (now != mNow) {
      MoveOn(now);
   }
   for (; mFirstDue < mDue.size(); ++mFirstDue) {
      if (uint64_t &due = mDue[mFirstDue]; due != 0) {
         coretimerentry *const entry = mOrder[mFirstDue * kWordBits + static_cast<size_t>(std::countr_zero(due))];
         due &= due - 1;
         entry->state = State::Disarmed;
         return entry;
      }
   }
   return nullptr;
}

int64_t coretimerindex::NextDeadline() {
   if (mFilledRings == 0) {
      return kNever;
   }
   if (mEarliest == kUnknown) {
      const coretimerlink &ring = mRings[static_cast<size_t>(std::countr_zero(mFilledRings))];
      mEarliest = kNever;
      for (const coretimerlink *link = ring.next; link != &ring; link = link->next) {
         mEarliest = std::min(mEarliest, static_cast<const coretimerentry *>(link)->deadline);
      }
   }
   return mEarliest;
}

void coretimerindex::MoveOn(int64_t now) {
   const uint64_t upToHighest = (Bit(HighestDifference(now, mNow)) << 1) - 1;
   uint64_t rings = mFilledRings & upToHighest;
   mFilledRings &= ~upToHighest;
   mNow = now;
   if (mEarliest <= now) {
      mEarliest = kUnknown;
   }
   for (; rings != 0; rings &= rings - 1) { // upwards: entries move to rings below, which are through
      coretimerlink &ring = mRings[static_cast<size_t>(std::countr_zero(rings))];
      coretimerlink *link = ring.next;
      ring.next = ring.previous = &ring;
      while (link != &ring) {
         auto &entry = static_cast<coretimerentry &>(*link);
         link = link->next;
         Put(entry);
      }
   }
}

// Where the deadline belongs now, for an entry that is nowhere.
void coretimerindex::Put(coretimerentry &entry) {
   if (entry.deadline <= mNow) {
      const size_t word = entry.order / kWordBits;
      mDue[word] |= Bit(entry.order);
      mFirstDue = std::min(mFirstDue, word);
      entry.state = State::Due;
      return;
   }
   mEarliest = mFilledRings == 0 ? entry.deadline : std::min(mEarliest, entry.deadline);
   const size_t number = HighestDifference(entry.deadline, mNow);
   coretimerlink &ring = mRings[number];
   mFilledRings |= Bit(number);
   entry.ring = static_cast<uint8_t>(number);
   entry.state = State::Waiting;
   entry.previous = ring.previous;
   entry.next = &ring;
   entry.previous->next = &entry;
   ring.previous = &entry;
}

void coretimerindex::Unlink(coretimerentry &entry) {
   entry.previous->next = entry.next;
   entry.next->previous = entry.previous;
   if (entry.next == entry.previous) { // only the head is left
      mFilledRings &= ~Bit(entry.ring);
   }
   if (entry.deadline == mEarliest) {
      mEarliest = kUnknown;
   }
}

} // namespace CORE
