#include "lib/mfw/messageframework/utfruns.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

namespace CORE {
namespace {

constexpr size_t kUnitSize = sizeof(uint16_t);
constexpr size_t kBlock = 16; // characters of an ASCII step; compilers make vector instructions of the plain loops
constexpr size_t kHalfBlock = 8;
// So many characters go one by one at a time. When all of them are ASCII it is worth looking for whole blocks again; in
// mixed text the look costs more than it brings.
constexpr size_t kBatch = 16;

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

// The bits that any of so many bytes has.
template <size_t Size>
[[nodiscard]] uint64_t AnyBits(const uint8_t *source) {
   if constexpr (Size == sizeof(uint64_t)) {
      return Load<uint64_t>(source);
   } else {
      return AnyBits<Size / 2>(source) | AnyBits<Size / 2>(source + Size / 2);
   }
}

struct Place {
   const uint8_t *source;
   const uint8_t *sourceEnd;
   uint8_t *target;
   uint8_t *targetEnd;

   // How many steps of such sizes fit on both sides.
   [[nodiscard]] size_t Steps(size_t sourceStep, size_t targetStep) const {
      return std::min(static_cast<size_t>(sourceEnd - source) / sourceStep,
                      static_cast<size_t>(targetEnd - target) / targetStep);
   }
   void Move(size_t sourceSize, size_t targetSize) {
      source += sourceSize;
      target += targetSize;
   }
};

// UTF-8 to UTF-16.
struct Widen {
   static constexpr size_t kMostRead = 4; // of one code point
   static constexpr size_t kMostWritten = 2 * kUnitSize;
   static constexpr size_t kAsciiRead = 1;
   static constexpr size_t kAsciiWritten = kUnitSize;

   // `Count` characters of ASCII; false, and nothing moved, when one of them is none.
   template <size_t Count>
   [[nodiscard]] static bool Ascii(Place &at) {
      if ((AnyBits<Count>(at.source) & 0x8080808080808080U) != 0) {
         return false;
      }
      const auto bytes = Load<std::array<uint8_t, Count>>(at.source);
      std::array<uint16_t, Count> units;
      for (size_t i = 0; i < Count; ++i) {
         units[i] = bytes[i];
      }
      Store(at.target, units);
      at.Move(Count, Count * kUnitSize);
      return true;
   }

   static void StoreUnit(uint8_t *target, uint32_t unit) { Store(target, static_cast<uint16_t>(unit)); }

   // One code point; false, and nothing moved, when it is doubtful.
   [[nodiscard]] static bool One(Place &at) {
      const uint32_t first = at.source[0];
      if (first < 0x80) {
         StoreUnit(at.target, first);
         at.Move(1, kUnitSize);
         return true;
      }
      const uint32_t second = at.source[1];
      if (first < 0xE0) {
         StoreUnit(at.target, (first & 0x1F) << 6 | (second & 0x3F));
         if (second >= 0xC0) {
            return false;
         }
         at.Move(2, kUnitSize);
         return true;
      }
      const uint32_t third = at.source[2];
      if (first < 0xF0) {
         StoreUnit(at.target, first << 12 | (second & 0x3F) << 6 | (third & 0x3F));
         if (second >= 0xC0 || third >= 0xC0) {
            return false;
         }
         at.Move(3, kUnitSize);
         return true;
      }
      const uint32_t fourth = at.source[3];
      const uint32_t codePoint = (first & 0x07) << 18 | (second & 0x3F) << 12 | (third & 0x3F) << 6 | (fourth & 0x3F);
      // An overlong form of one unit is rare enough for the other path.
      if (first > 0xF7 || second >= 0xC0 || third >= 0xC0 || fourth >= 0xC0 || codePoint <= 0xFFFF) {
         return false;
      }
      StoreUnit(at.target, 0xD7C0 + (codePoint >> 10));
      StoreUnit(at.target + kUnitSize, 0xDC00 | (codePoint & 0x3FF));
      at.Move(4, 2 * kUnitSize);
      return true;
   }
};

// UTF-16 to UTF-8.
struct Narrow {
   static constexpr size_t kMostRead = 2 * kUnitSize;
   static constexpr size_t kMostWritten = 4;
   static constexpr size_t kAsciiRead = kUnitSize;
   static constexpr size_t kAsciiWritten = 1;

   template <size_t Count>
   [[nodiscard]] static bool Ascii(Place &at) {
      if ((AnyBits<Count * kUnitSize>(at.source) & 0xFF80FF80FF80FF80U) != 0) {
         return false;
      }
      const auto units = Load<std::array<uint16_t, Count>>(at.source);
      std::array<uint8_t, Count> bytes;
      for (size_t i = 0; i < Count; ++i) {
         bytes[i] = static_cast<uint8_t>(units[i]);
      }
      Store(at.target, bytes);
      at.Move(Count * kUnitSize, Count);
      return true;
   }

   static uint8_t Byte(uint32_t value) { return static_cast<uint8_t>(value); }
   static uint8_t Continuation(uint32_t bits) { return Byte(0x80 | (bits & 0x3F)); }

   [[nodiscard]] static bool One(Place &at) {
      const uint32_t unit = Load<uint16_t>(at.source);
      if (unit < 0x80) {
         at.target[0] = Byte(unit);
         at.Move(kUnitSize, 1);
      } else if ((unit & 0xFC00) != 0xD800) {
         // Two bytes or three without a branch, which in mixed text nobody foresees. The first byte is the lowest.
         const uint32_t last = 0x80 | (unit & 0x3F);
         const uint32_t two = 0xC0 | unit >> 6 | last << 8;
         const uint32_t three = 0xE0 | unit >> 12 | (0x80 | (unit >> 6 & 0x3F)) << 8 | last << 16;
         const bool isThree = unit >= 0x800;
         Store(at.target, isThree ? three : two);
         at.Move(kUnitSize, isThree ? 3 : 2);
      } else {
         const uint32_t low = Load<uint16_t>(at.source + kUnitSize);
         if ((low & 0xFC00) != 0xDC00) {
            return false;
         }
         const uint32_t codePoint = 0x10000 + ((unit & 0x3FF) << 10 | (low & 0x3FF));
         // Required: the first byte is as EncodeUtf8 has it.
         Store(at.target, std::array{uint8_t{0xF0}, Continuation(codePoint >> 12), Continuation(codePoint >> 6),
                                     Continuation(codePoint)});
         at.Move(2 * kUnitSize, 4);
      }
      return true;
   }
};

// Blocks of ASCII until one is not; a half block then, which is what many a short string ends in.
template <typename Direction>
void RunOfAscii(Place &at) {
   size_t blocks = at.Steps(kBlock * Direction::kAsciiRead, kBlock * Direction::kAsciiWritten);
   while (blocks > 0 && Direction::template Ascii<kBlock>(at)) {
      --blocks;
   }
   if (at.Steps(kHalfBlock * Direction::kAsciiRead, kHalfBlock * Direction::kAsciiWritten) > 0) {
      static_cast<void>(Direction::template Ascii<kHalfBlock>(at));
   }
}

// One by one; true when a whole batch was ASCII, false at a doubt or near an end. What is called here has this one
// caller, so that compilers keep the place in registers.
template <typename Direction>
[[nodiscard]] bool RunOfAny(Place &at) {
   while (const size_t steps = at.Steps(Direction::kMostRead, Direction::kMostWritten)) {
      const uint8_t *const start = at.source;
      for (size_t left = std::min(steps, kBatch); left > 0; --left) {
         if (!Direction::One(at)) {
            return false;
         }
      }
      if (at.source == start + kBatch * Direction::kAsciiRead && steps >= kBatch) {
         return true;
      }
   }
   return false;
}

template <typename Direction>
[[nodiscard]] RunProgress Run(const uint8_t *source, size_t sourceSize, uint8_t *target, size_t targetSize) {
   Place at{source, source + sourceSize, target, target + targetSize};
   do {
      RunOfAscii<Direction>(at);
   } while (RunOfAny<Direction>(at));
   return {static_cast<size_t>(at.source - source), static_cast<size_t>(at.target - target)};
}

} // namespace

RunProgress RunUtf8ToUtf16(const uint8_t *source, size_t sourceSize, uint8_t *target, size_t targetSize) {
   return Run<Widen>(source, sourceSize, target, targetSize);
}

RunProgress RunUtf16ToUtf8(const uint8_t *source, size_t sourceSize, uint8_t *target, size_t targetSize) {
   return Run<Narrow>(source, sourceSize, target, targetSize);
}

} // namespace CORE
