#include "lib/mfw/common/coretimerindex.h"

#include <algorithm>

namespace CORE {
namespace {

constexpr size_t kChildren = 4;

} // namespace

void coretimerindex::Reserve(size_t count) {
   for (Heap *const heap : {&mWaiting, &mDue}) {
      if (count > heap->capacity()) {
         heap->reserve(std::max(count, heap->capacity() * 2));
      }
   }
}

void coretimerindex::Arm(coretimerentry &entry, int64_t deadline) {
   Disarm(entry);
   entry.deadline = deadline;
   entry.place = coretimerentry::Place::Waiting;
   Push(mWaiting, {deadline, &entry});
}

void coretimerindex::Disarm(coretimerentry &entry) {
   if (entry.place != coretimerentry::Place::None) {
      Erase(entry.place == coretimerentry::Place::Due ? mDue : mWaiting, entry.position);
      entry.place = coretimerentry::Place::None;
   }
}

void coretimerindex::Clear() {
   for (Heap *const heap : {&mWaiting, &mDue}) {
      for (const Node &node : *heap) {
         node.entry->place = coretimerentry::Place::None;
      }
      heap->clear();
   }
}

coretimerentry *coretimerindex::TakeDue(int64_t now) {
   while (!mWaiting.empty() && mWaiting.front().key <= now) {
      coretimerentry *const entry = mWaiting.front().entry;
      Erase(mWaiting, 0);
      entry->place = coretimerentry::Place::Due;
      Push(mDue, {static_cast<int64_t>(entry->rank), entry});
   }
   if (mDue.empty()) {
      return nullptr;
   }
   coretimerentry *const first = mDue.front().entry;
   Disarm(*first);
   return first;
}

void coretimerindex::Place(Heap &heap, size_t position, Node node) {
   heap[position] = node;
   node.entry->position = position;
}

void coretimerindex::Push(Heap &heap, Node node) {
   heap.push_back(node);
   SiftUp(heap, heap.size() - 1, node);
}

void coretimerindex::Erase(Heap &heap, size_t position) {
   const Node last = heap.back();
   heap.pop_back();
   if (position == heap.size()) {
      return;
   }
   if (position > 0 && last.key < heap[(position - 1) / kChildren].key) {
      SiftUp(heap, position, last);
   } else {
      SiftDown(heap, position, last);
   }
}

void coretimerindex::SiftUp(Heap &heap, size_t position, Node node) {
   while (position > 0) {
      const size_t parent = (position - 1) / kChildren;
      if (heap[parent].key <= node.key) {
         break;
      }
      Place(heap, position, heap[parent]);
      position = parent;
   }
   Place(heap, position, node);
}

void coretimerindex::SiftDown(Heap &heap, size_t position, Node node) {
   const size_t size = heap.size();
   for (size_t child = position * kChildren + 1; child < size; child = position * kChildren + 1) {
      const size_t end = std::min(child + kChildren, size);
      size_t least = child;
      for (++child; child < end; ++child) {
         if (heap[child].key < heap[least].key) {
            least = child;
         }
      }
      if (node.key <= heap[least].key) {
         break;
      }
      Place(heap, position, heap[least]);
      position = least;
   }
   Place(heap, position, node);
}

} // namespace CORE
