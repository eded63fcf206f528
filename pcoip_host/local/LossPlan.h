#pragma once

#include <cstdint>
#include <string_view>

namespace pcoip_host {

/// Which datagrams of a lossy channel get lost: a pure function of seed, channel and the datagram's number, so that a
/// run can be repeated and each channel is independent of how much others send.
class LossPlan {
public:
   static constexpr uint32_t kAll = 1'000'000;

   /// `perMillion` of the datagrams get lost, at most kAll.
   constexpr LossPlan(uint64_t seed, std::string_view channel, uint32_t perMillion)
       : mStart(Mix(seed ^ Hash(channel)))
       , mPerMillion(perMillion) {}

   [[nodiscard]] constexpr bool IsLost(uint64_t number) const {
      return Mix(mStart + number * kStep) % kAll < mPerMillion;
   }

private:
   static constexpr uint64_t kStep = 0x9E3779B97F4A7C15;

   // Spreads neighbouring numbers over the whole range.
   static constexpr uint64_t Mix(uint64_t word) {
      word = (word ^ (word >> 30)) * 0xBF58476D1CE4E5B9;
      word = (word ^ (word >> 27)) * 0x94D049BB133111EB;
      return word ^ (word >> 31);
   }
   static constexpr uint64_t Hash(std::string_view text) {
      uint64_t hash = 0xCBF29CE484222325;
      for (const char c : text) {
         hash = (hash ^ static_cast<uint8_t>(c)) * 0x100000001B3;
      }
      return hash;
   }

   uint64_t mStart;
   uint32_t mPerMillion;
};

} // namespace pcoip_host
