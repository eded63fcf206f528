#include "lib/log/LogDeferred.h"

#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>

namespace {

enum SlotState : uint32_t { kFree, kFilling, kFinished };

struct Slot {
   std::atomic<uint32_t> state;
   LogLineHeader header;
   size_t length;
   std::array<char, kLogStackLimit + 1> text;
};

constinit std::array<Slot, 16> gSlots{};
constinit std::atomic<uint32_t> gFinished{0}; // how many slots wait

} // namespace

void LogDeferred_Put(const LogLineHeader &header, size_t length, char *text) {
   for (Slot &slot : gSlots) {
      uint32_t expected = kFree;
      if (!slot.state.compare_exchange_strong(expected, kFilling, std::memory_order_acquire)) {
         continue;
      }
      slot.header = header;
      slot.length = length > kLogStackLimit ? Log_TruncateUtf8Line(kLogStackLimit, text) : length;
      std::memcpy(slot.text.data(), text, slot.length);
      slot.state.store(kFinished, std::memory_order_release);
      gFinished.fetch_add(1, std::memory_order_release);
      return;
   }
}

void LogDeferred_MoveTo(LogRing *ring) {
   if (gFinished.load(std::memory_order_acquire) == 0) {
      return;
   }
   for (Slot &slot : gSlots) {
      if (slot.state.load(std::memory_order_acquire) == kFinished) {
         LogRing_Push(ring, slot.header, slot.length, slot.text.data());
         slot.state.store(kFree, std::memory_order_release);
         gFinished.fetch_sub(1, std::memory_order_relaxed);
      }
   }
}

void LogDeferred_AbandonUnfinished() {
   uint32_t finished = 0;
   for (Slot &slot : gSlots) {
      uint32_t expected = kFilling;
      slot.state.compare_exchange_strong(expected, kFree);
      finished += slot.state.load() == kFinished ? 1 : 0;
   }
   gFinished.store(finished);
}
