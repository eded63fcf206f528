#include "lib/mfw/messageframework/utfruns.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace CORE {
namespace {

constexpr size_t kUnitSize = sizeof(uint16_t);
constexpr size_t kBlock = 16; // characters of an ASCII step; compilers make vector instructions of the plain loops
constexpr size_t kHalfBlock = 8;
constexpr size_t kEnoughAscii = 32; // characters in a row, before whole blocks are worth a look again

// The leading ASCII characters of a word are found by its lowest bits.
static_assert(std::endian::native == std::endian::little);

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

   [[nodiscard]] bool Has(size_t sourceSize, size_t targetSize) const {
      return static_cast<size_t>(sourceEnd - source) >= sourceSize &&
             static_cast<size_t>(targetEnd - target) >= targetSize;
   }
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
   static constexpr size_t kAsciiRead = 1;
   static constexpr size_t kAsciiWritten = kUnitSize;
   static constexpr size_t kWord = sizeof(uint64_t); // characters that LeadingAscii looks at

   // `Count` characters of ASCII; false, and nothing moved, when one of them is none.
   template <size_t Count>
   [[nodiscard]] static bool Ascii(Place &at) {
      if ((AnyBits<Count>(at.source) & kBeyondAscii) != 0) {
         return false;
      }
      StoreWidened<Count>(at);
      at.Move(Count, Count * kUnitSize);
      return true;
   }

   // The ASCII characters at the front of a word, however many, without a branch on their number, which in mixed text
   // nobody foresees; whether it was all of them. Writes a whole word's units.
   [[nodiscard]] static bool LeadingAscii(Place &at) {
      const uint64_t beyond = Load<uint64_t>(at.source) & kBeyondAscii;
      StoreWidened<kWord>(at);
      if (beyond == 0) {
         at.Move(kWord, kWord * kUnitSize);
         return true;
      }
      const auto count = static_cast<size_t>(std::countr_zero(beyond)) / 8;
      at.Move(count, count * kUnitSize);
      return false;
   }

   [[nodiscard]] static bool IsAscii(const uint8_t *source) { return *source < 0x80; }
   static void CopyAscii(Place &at) {
      StoreUnit(at.target, *at.source);
      at.Move(1, kUnitSize);
   }

   // The next code point, which is none of ASCII; false, and nothing moved, when it is doubtful or, kChecked, when a
   // side may be too short.
   template <bool kChecked>
   [[nodiscard]] static bool Other(Place &at) {
      const auto has = [&at](size_t sourceSize, size_t targetSize) {
         return !kChecked || at.Has(sourceSize, targetSize);
      };
      const uint32_t first = at.source[0];
      if (first < 0xE0) {
         if (!has(2, kUnitSize) || at.source[1] >= 0xC0) {
            return false;
         }
         StoreUnit(at.target, (first & 0x1F) << 6 | (at.source[1] & 0x3FU));
         at.Move(2, kUnitSize);
         return true;
      }
      if (first < 0xF0) {
         if (!has(3, kUnitSize) || at.source[1] >= 0xC0 || at.source[2] >= 0xC0) {
            return false;
         }
         StoreUnit(at.target, first << 12 | (at.source[1] & 0x3FU) << 6 | (at.source[2] & 0x3FU));
         at.Move(3, kUnitSize);
         return true;
      }
      if (first > 0xF7 || !has(4, 2 * kUnitSize) || at.source[1] >= 0xC0 || at.source[2] >= 0xC0 ||
          at.source[3] >= 0xC0) {
         return false;
      }
      const uint32_t codePoint =
         (first & 0x07) << 18 | (at.source[1] & 0x3FU) << 12 | (at.source[2] & 0x3FU) << 6 | (at.source[3] & 0x3FU);
      if (codePoint <= 0xFFFF) { // An overlong form is rare enough for the other path.
         return false;
      }
      StoreUnit(at.target, 0xD7C0 + (codePoint >> 10));
      StoreUnit(at.target + kUnitSize, 0xDC00 | (codePoint & 0x3FF));
      at.Move(4, 2 * kUnitSize);
      return true;
   }

private:
   static constexpr uint64_t kBeyondAscii = 0x8080808080808080;

   template <size_t Count>
   static void StoreWidened(const Place &at) {
#ifdef __SSE2__
      // What the loop below means; g++ 12 would write each block twice, to the stack as well.
      if constexpr (Count == sizeof(__m128i)) {
         const auto bytes = _mm_loadu_si128(reinterpret_cast<const __m128i *>(at.source));
         auto *const target = reinterpret_cast<__m128i *>(at.target);
         _mm_storeu_si128(target, _mm_unpacklo_epi8(bytes, _mm_setzero_si128()));
         _mm_storeu_si128(target + 1, _mm_unpackhi_epi8(bytes, _mm_setzero_si128()));
         return;
      }
#endif
      std::array<uint16_t, Count> units;
      for (size_t i = 0; i < Count; ++i) {
         units[i] = at.source[i];
      }
      Store(at.target, units);
   }
   static void StoreUnit(uint8_t *target, uint32_t unit) {
      Store(target, static_cast<uint16_t>(unit));
   }
};

// UTF-16 to UTF-8.
struct Narrow {
   static constexpr size_t kAsciiRead = kUnitSize;
   static constexpr size_t kAsciiWritten = 1;
   static constexpr size_t kWord = sizeof(uint64_t) / kUnitSize;

   template <size_t Count>
   [[nodiscard]] static bool Ascii(Place &at) {
      if ((AnyBits<Count * kUnitSize>(at.source) & kBeyondAscii) != 0) {
         return false;
      }
      std::array<uint8_t, Count> bytes;
      for (size_t i = 0; i < Count; ++i) {
         bytes[i] = Byte(Load<uint16_t>(at.source + i * kUnitSize));
      }
      Store(at.target, bytes);
      at.Move(Count * kUnitSize, Count);
      return true;
   }

   [[nodiscard]] static bool LeadingAscii(Place &at) {
      const uint64_t beyond = Load<uint64_t>(at.source) & kBeyondAscii;
      std::array<uint8_t, kWord> bytes;
      for (size_t i = 0; i < kWord; ++i) {
         bytes[i] = Byte(Load<uint16_t>(at.source + i * kUnitSize));
      }
      Store(at.target, bytes);
      if (beyond == 0) {
         at.Move(kWord * kUnitSize, kWord);
         return true;
      }
      const auto count = static_cast<size_t>(std::countr_zero(beyond)) / 16;
      at.Move(count * kUnitSize, count);
      return false;
   }

   [[nodiscard]] static bool IsAscii(const uint8_t *source) { return Load<uint16_t>(source) < 0x80; }
   static void CopyAscii(Place &at) {
      at.target[0] = Byte(Load<uint16_t>(at.source));
      at.Move(kUnitSize, 1);
   }

   template <bool kChecked>
   [[nodiscard]] static bool Other(Place &at) {
      const auto has = [&at](size_t sourceSize, size_t targetSize) {
         return !kChecked || at.Has(sourceSize, targetSize);
      };
      const uint32_t unit = Load<uint16_t>(at.source);
      if (unit < 0x800) {
         if (!has(kUnitSize, 2)) {
            return false;
         }
         at.target[0] = Byte(0xC0 | unit >> 6);
         at.target[1] = Continuation(unit);
         at.Move(kUnitSize, 2);
         return true;
      }
      if ((unit & 0xFC00) != 0xD800) {
         if (!has(kUnitSize, 3)) {
            return false;
         }
         at.target[0] = Byte(0xE0 | unit >> 12);
         at.target[1] = Continuation(unit >> 6);
         at.target[2] = Continuation(unit);
         at.Move(kUnitSize, 3);
         return true;
      }
      if (!has(2 * kUnitSize, 4)) {
         return false;
      }
      const uint32_t low = Load<uint16_t>(at.source + kUnitSize);
      if ((low & 0xFC00) != 0xDC00) {
         return false;
      }
      const uint32_t codePoint = 0x10000 + ((unit & 0x3FF) << 10 | (low & 0x3FF));
      at.target[0] = 0xF0; // Required: as EncodeUtf8 has it.
      at.target[1] = Continuation(codePoint >> 12);
      at.target[2] = Continuation(codePoint >> 6);
      at.target[3] = Continuation(codePoint);
      at.Move(2 * kUnitSize, 4);
      return true;
   }

private:
   static constexpr uint64_t kBeyondAscii = 0xFF80FF80FF80FF80;

   static uint8_t Byte(uint32_t value) { return static_cast<uint8_t>(value); }
   static uint8_t Continuation(uint32_t bits) { return Byte(0x80 | (bits & 0x3F)); }
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

// Mixed text while both sides have room for any code point; true when ASCII alone came so often that whole blocks are
// worth a look. What is called here has this one caller, so that compilers keep the place in registers.
template <typename Direction>
[[nodiscard]] bool RunOfAny(Place &at) {
   constexpr size_t kMargin = 4; // the most that a code point takes on either side
   if (!at.Has(kMargin, kMargin)) {
      return false;
   }
   const uint8_t *const sourceLimit = at.sourceEnd - kMargin;
   const uint8_t *const targetLimit = at.targetEnd - kMargin;
   size_t words = 0;
   while (at.source <= sourceLimit && at.target <= targetLimit) {
      if (Direction::IsAscii(at.source)) {
         if (!at.Has(Direction::kWord * Direction::kAsciiRead + kMargin,
                     Direction::kWord * Direction::kAsciiWritten + kMargin)) {
            Direction::CopyAscii(at);
            continue;
         }
         if (Direction::LeadingAscii(at)) {
            if (++words == kEnoughAscii / Direction::kWord) {
               return true;
            }
            continue;
         }
         words = 0;
      }
      if (!Direction::template Other<false>(at)) {
         return false;
      }
   }
   return false;
}

// One by one up to the end of either side, or a doubt.
template <typename Direction>
void RunToEnd(Place &at) {
   while (at.Has(Direction::kAsciiRead, Direction::kAsciiWritten)) {
      if (Direction::IsAscii(at.source)) {
         Direction::CopyAscii(at);
      } else if (!Direction::template Other<true>(at)) {
         return;
      }
   }
}

template <typename Direction>
[[nodiscard]] RunProgress Run(const uint8_t *source, size_t sourceSize, uint8_t *target, size_t targetSize) {
   Place at{source, source + sourceSize, target, target + targetSize};
   do {
      RunOfAscii<Direction>(at);
   } while (RunOfAny<Direction>(at));
   RunToEnd<Direction>(at);
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
