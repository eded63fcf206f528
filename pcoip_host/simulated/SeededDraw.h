#pragma once

#include <cstdint>
#include <string_view>

/// A stream of numbers that a seed determines. A plain value; one thread at a time.
class SeededDraw {
public:
   explicit SeededDraw(uint64_t seed)
       : mState(seed) {}

   /// A stream of its own for what is named so, the same for the same seed whatever has been drawn from this one.
   [[nodiscard]] static SeededDraw For(uint64_t seed, std::string_view what, uint64_t number) {
      uint64_t state = seed ^ 0x9E3779B97F4A7C15;
      for (const char letter : what) {
         state = Mixed(state + static_cast<unsigned char>(letter));
      }
      return SeededDraw(Mixed(state + number));
   }

   [[nodiscard]] uint64_t Next() {
      mState += 0x9E3779B97F4A7C15;
      return Mixed(mState);
   }
   /// 0 up to, but not with, `end`; 0 for 0.
   [[nodiscard]] uint32_t Below(uint32_t end) { return end == 0 ? 0 : static_cast<uint32_t>(Next() % end); }
   [[nodiscard]] bool Chance(uint32_t percent) { return Below(100) < percent; }

private:
   // The finalizer of splitmix64.
   [[nodiscard]] static uint64_t Mixed(uint64_t value) {
      value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9;
      value = (value ^ (value >> 27)) * 0x94D049BB133111EB;
      return value ^ (value >> 31);
   }

   uint64_t mState;
};
