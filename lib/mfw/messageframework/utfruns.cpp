#include "lib/mfw/messageframework/utfruns.h"

#include <array>
#include <cstring>

namespace CORE {
namespace {

constexpr size_t kUnitSize = sizeof(uint16_t);
constexpr size_t kBlock = 16; // characters of an ASCII step; compilers make vector instructions of the plain loops
constexpr size_t kHalfBlock = 8;
// So many ASCII characters in a row make it worth looking for whole blocks of them again. In mixed text the look costs
// more than it brings.
constexpr unsigned kRunOfAscii = 16;

template <typename Value>
[[nodiscard]] Value Load(const uint8_t *source) {
   Value value;
   std::memcpy(&value, source, sizeof value);
   return value;
}

template <typename Value>
void Store(uint8_t *target, const Value &value) {
   std::memcpy(target, &value, sizeof value);
}

struct Place {
   const uint8_t *source;
   const uint8_t *sourceEnd;
   uint8_t *target;
   uint8_t *targetEnd;

   [[nodiscard]] bool Has(size_t sourceSize, size_t targetSize) const {
      return static_cast<size_t>(sourceEnd - source) >= sourceSize &&
             static_cast<size_t>(targetEnd - target) >= targetSize;
   }
   void Move(size_t sourceSize, size_t targetSize) {
      source += sourceSize;
      target += targetSize;
   }
};

// `Count` characters of ASCII from bytes to units; false, and nothing moved, when one of them is none.
template <size_t Count>
[[nodiscard]] bool WidenAscii(Place &at) {
   if (!at.Has(Count, Count * kUnitSize)) {
      return false;
   }
   const auto bytes = Load<std::array<uint8_t, Count>>(at.source);
   uint64_t all = 0;
   for (size_t word = 0; word < Count; word += sizeof all) {
      all |= Load<uint64_t>(at.source + word);
   }
   if ((all & 0x8080808080808080U) != 0) {
      return false;
   }
   std::array<uint16_t, Count> units;
   for (size_t i = 0; i < Count; ++i) {
      units[i] = bytes[i];
   }
   Store(at.target, units);
   at.Move(Count, Count * kUnitSize);
   return true;
}

// And back.
template <size_t Count>
[[nodiscard]] bool NarrowAscii(Place &at) {
   if (!at.Has(Count * kUnitSize, Count)) {
      return false;
   }
   const auto units = Load<std::array<uint16_t, Count>>(at.source);
   uint64_t all = 0;
   for (size_t word = 0; word < Count * kUnitSize; word += sizeof all) {
      all |= Load<uint64_t>(at.source + word);
   }
   if ((all & 0xFF80FF80FF80FF80U) != 0) {
      return false;
   }
   std::array<uint8_t, Count> bytes;
   for (size_t i = 0; i < Count; ++i) {
      bytes[i] = static_cast<uint8_t>(units[i]);
   }
   Store(at.target, bytes);
   at.Move(Count * kUnitSize, Count);
   return true;
}

void StoreUnit(uint8_t *target, uint32_t unit) {
   Store(target, static_cast<uint16_t>(unit));
}

enum class Stop { Doubt, RunOfAscii };

// One by one, while no form can reach past an end.
[[nodiscard]] Stop WidenSingly(Place &at) {
   unsigned ascii = 0;
   while (at.Has(4, 2 * kUnitSize)) {
      const uint32_t first = at.source[0];
      if (first < 0x80) {
         StoreUnit(at.target, first);
         at.Move(1, kUnitSize);
         if (++ascii == kRunOfAscii) {
            return Stop::RunOfAscii;
         }
         continue;
      }
      ascii = 0;
      const uint32_t second = at.source[1];
      const uint32_t third = at.source[2];
      const uint32_t fourth = at.source[3];
      if (first < 0xE0) {
         if (second >= 0xC0) {
            return Stop::Doubt;
         }
         StoreUnit(at.target, (first & 0x1F) << 6 | (second & 0x3F));
         at.Move(2, kUnitSize);
      } else if (first < 0xF0) {
         if (second >= 0xC0 || third >= 0xC0) {
            return Stop::Doubt;
         }
         StoreUnit(at.target, (first & 0x0F) << 12 | (second & 0x3F) << 6 | (third & 0x3F));
         at.Move(3, kUnitSize);
      } else {
         const uint32_t codePoint =
            (first & 0x07) << 18 | (second & 0x3F) << 12 | (third & 0x3F) << 6 | (fourth & 0x3F);
         // An overlong form of one unit is rare enough for the other path.
         if (first > 0xF7 || second >= 0xC0 || third >= 0xC0 || fourth >= 0xC0 || codePoint <= 0xFFFF) {
            return Stop::Doubt;
         }
         StoreUnit(at.target, 0xD7C0 + (codePoint >> 10));
         StoreUnit(at.target + kUnitSize, 0xDC00 | (codePoint & 0x3FF));
         at.Move(4, 2 * kUnitSize);
      }
   }
   return Stop::Doubt;
}

[[nodiscard]] uint8_t Byte(uint32_t value) {
   return static_cast<uint8_t>(value);
}

[[nodiscard]] Stop NarrowSingly(Place &at) {
   unsigned ascii = 0;
   while (at.Has(2 * kUnitSize, 4)) {
      const uint32_t unit = Load<uint16_t>(at.source);
      if (unit < 0x80) {
         at.target[0] = Byte(unit);
         at.Move(kUnitSize, 1);
         if (++ascii == kRunOfAscii) {
            return Stop::RunOfAscii;
         }
         continue;
      }
      ascii = 0;
      if (unit < 0x800) {
         at.target[0] = Byte(0xC0 | unit >> 6);
         at.target[1] = Byte(0x80 | (unit & 0x3F));
         at.Move(kUnitSize, 2);
      } else if ((unit & 0xFC00) != 0xD800) {
         at.target[0] = Byte(0xE0 | unit >> 12);
         at.target[1] = Byte(0x80 | (unit >> 6 & 0x3F));
         at.target[2] = Byte(0x80 | (unit & 0x3F));
         at.Move(kUnitSize, 3);
      } else {
         const uint32_t low = Load<uint16_t>(at.source + kUnitSize);
         if ((low & 0xFC00) != 0xDC00) {
            return Stop::Doubt;
         }
         const uint32_t codePoint = 0x10000 + ((unit & 0x3FF) << 10 | (low & 0x3FF));
         at.target[0] = 0xF0; // Required: as EncodeUtf8 has it.
         at.target[1] = Byte(0x80 | (codePoint >> 12 & 0x3F));
         at.target[2] = Byte(0x80 | (codePoint >> 6 & 0x3F));
         at.target[3] = Byte(0x80 | (codePoint & 0x3F));
         at.Move(2 * kUnitSize, 4);
      }
   }
   return Stop::Doubt;
}

} // namespace

RunProgress RunUtf8ToUtf16(const uint8_t *source, size_t sourceSize, uint8_t *target, size_t targetSize) {
   Place at{source, source + sourceSize, target, target + targetSize};
   do {
      while (WidenAscii<kBlock>(at)) {
      }
      while (WidenAscii<kHalfBlock>(at)) {
      }
   } while (WidenSingly(at) == Stop::RunOfAscii);
   return {static_cast<size_t>(at.source - source), static_cast<size_t>(at.target - target)};
}

RunProgress RunUtf16ToUtf8(const uint8_t *source, size_t sourceSize, uint8_t *target, size_t targetSize) {
   Place at{source, source + sourceSize, target, target + targetSize};
   do {
      while (NarrowAscii<kBlock>(at)) {
      }
      while (NarrowAscii<kHalfBlock>(at)) {
      }
   } while (NarrowSingly(at) == Stop::RunOfAscii);
   return {static_cast<size_t>(at.source - source), static_cast<size_t>(at.target - target)};
}

} // namespace CORE
