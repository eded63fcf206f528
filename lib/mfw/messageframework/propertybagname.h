#pragma once

#include "lib/mfw/messageframework/propertybagnumber.h"

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace CORE {

/// A name made ready for comparing with many others: its first eight bytes in one word, the case of ASCII letters gone,
/// zeros behind a shorter name. Names that differ nearly always differ there already.
///
/// A plain value; the text must live as long as it does. Any thread.
class PropertyBagName {
public:
   /// Null is the empty name.
   explicit PropertyBagName(const char *name)
       : PropertyBagName(name != nullptr ? std::string_view(name) : std::string_view()) {}
   explicit PropertyBagName(std::string_view name)
       : PropertyBagName(name, Folded(FirstBytes(name.data(), name.size()))) {}
   /// With the head that this class made of the same name before.
   PropertyBagName(std::string_view name, uint64_t head)
       : mText(name)
       , mHead(head) {}

   [[nodiscard]] std::string_view Text() const { return mText; } ///< as it was given
   [[nodiscard]] uint64_t Head() const { return mHead; }

   /// Whether they are the same name, when their heads are.
   [[nodiscard]] bool SameBehindHead(std::string_view other) const {
      return other.size() == mText.size() &&
             (mText.size() <= sizeof mHead ||
              bagnumber::EqualFolded(mText.substr(sizeof mHead), other.substr(sizeof mHead)));
   }
   [[nodiscard]] bool operator==(const PropertyBagName &other) const {
      return mHead == other.mHead && SameBehindHead(other.mText);
   }

private:
   template <class Word>
   static uint64_t Load(const char *bytes) {
      Word word;
      std::memcpy(&word, bytes, sizeof word);
      return word;
   }

   // Fewer than eight bytes are put together from two loads, which may overlap.
   static uint64_t FirstBytes(const char *text, size_t size) {
      if (size >= 8) {
         return Load<uint64_t>(text);
      }
      if (size >= 4) {
         return Load<uint32_t>(text) | Load<uint32_t>(text + size - 4) << (8 * (size - 4));
      }
      if (size >= 2) {
         return Load<uint16_t>(text) | Load<uint16_t>(text + size - 2) << (8 * (size - 2));
      }
      return size == 1 ? Load<uint8_t>(text) : 0;
   }

   // bagnumber::Folded of each byte: of a byte's low seven bits plus a number, the top bit tells whether they are at
   // least 'A', or more than 'Z'.
   static uint64_t Folded(uint64_t word) {
      constexpr uint64_t kEach = 0x0101010101010101;
      constexpr uint64_t kTopBits = 0x80 * kEach;
      const uint64_t low = word & ~kTopBits;
      const uint64_t fromA = low + (0x80 - 'A') * kEach;
      const uint64_t beyondZ = low + (0x7F - 'Z') * kEach;
      const uint64_t capitals = fromA & ~beyondZ & ~word & kTopBits;
      return word | capitals >> 2;
   }
   static_assert('a' - 'A' == 0x80 >> 2);
   static_assert(std::endian::native == std::endian::little, "two loads are put together the other way round");

   std::string_view mText;
   uint64_t mHead;
};

} // namespace CORE
