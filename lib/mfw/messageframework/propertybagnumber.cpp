#include "lib/mfw/messageframework/propertybagnumber.h"

#include "lib/mfw/common/coreException.h"

#include <algorithm>
#include <limits>

namespace CORE::bagnumber {
namespace {

constexpr unsigned kNoDigit = 99;

constexpr unsigned DigitOf(char byte) {
   const char letter = Folded(byte);
   return byte >= '0' && byte <= '9'       ? static_cast<unsigned>(byte - '0')
          : letter >= 'a' && letter <= 'f' ? static_cast<unsigned>(letter - 'a') + 10
                                           : kNoDigit;
}

constexpr bool IsDecimal(char byte) {
   return byte >= '0' && byte <= '9';
}

constexpr bool IsBlank(char byte) {
   return byte == ' ' || byte == '\t' || byte == '\r' || byte == '\n';
}

// What the C library's number readers skip.
constexpr bool IsSpace(char byte) {
   return IsBlank(byte) || byte == '\v' || byte == '\f';
}

template <class Skipped>
std::string_view Without(Skipped skipped, std::string_view text) {
   size_t at = 0;
   while (at < text.size() && skipped(text[at])) {
      ++at;
   }
   return text.substr(at);
}

// A number as it is written: a sign, and as many digits as there are.
struct Number {
   bool negative = false;
   bool tooLarge = false; // for 64 bits
   uint64_t magnitude = 0;
};

struct Signed {
   char sign; // zero without one
   std::string_view rest;
};

Signed TakeSign(std::string_view text) {
   const char first = text.empty() ? '\0' : text[0];
   return first == '+' || first == '-' ? Signed{first, text.substr(1)} : Signed{'\0', text};
}

std::string_view WithoutLeadingZeros(std::string_view text) {
   size_t at = 0;
   while (CharAt(text, at) == '0' && IsDecimal(CharAt(text, at + 1))) {
      ++at;
   }
   return text.substr(at);
}

// The base that the prefix asks for; a hexadecimal prefix is taken off. A "0x" without a digit behind it is a zero.
unsigned TakeBase(std::string_view &digits) {
   if (digits.empty() || digits[0] != '0') {
      return 10;
   }
   if (digits.size() > 2 && Folded(digits[1]) == 'x' && DigitOf(digits[2]) < 16) {
      digits.remove_prefix(2);
      return 16;
   }
   return 8;
}

Number ReadDigits(char sign, std::string_view digits) {
   Number number{.negative = sign == '-'};
   const unsigned base = TakeBase(digits);
   const uint64_t last = std::numeric_limits<uint64_t>::max() / base;
   for (const char byte : digits) {
      const unsigned digit = DigitOf(byte);
      if (digit >= base) {
         break;
      }
      const uint64_t next = number.magnitude * base + digit;
      number.tooLarge = number.tooLarge || number.magnitude > last || next < digit;
      number.magnitude = next;
   }
   return number;
}

Number Read(std::string_view text) {
   const auto [sign, digits] = TakeSign(Without(IsSpace, text));
   return ReadDigits(sign, digits);
}

Number ReadNormalized(std::string_view text) {
   const auto [sign, rest] = TakeSign(Without(IsBlank, text)); // a number does not reach blanks at the end
   const std::string_view digits = WithoutLeadingZeros(rest);
   // Without a sign in front the rest may still begin with white space that is no blank, and with a sign behind it.
   return sign != '\0' ? ReadDigits(sign, digits) : Read(digits);
}

int64_t SignedValue(const Number &number) {
   constexpr auto kMax = static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
   if (!number.negative) {
      return static_cast<int64_t>(number.tooLarge ? kMax : std::min(number.magnitude, kMax));
   }
   if (number.tooLarge || number.magnitude > kMax) {
      return std::numeric_limits<int64_t>::min();
   }
   return -static_cast<int64_t>(number.magnitude);
}

uint64_t UnsignedValue(const Number &number) {
   if (number.tooLarge) {
      return std::numeric_limits<uint64_t>::max();
   }
   return number.negative ? 0 - number.magnitude : number.magnitude;
}

} // namespace

std::string_view Trimmed(std::string_view text) {
   text = Without(IsBlank, text);
   while (!text.empty() && IsBlank(text.back())) {
      text.remove_suffix(1);
   }
   return text;
}

char CharAt(std::string_view text, size_t index) {
   if (index > text.size()) {
      throw coreException("Array bounds");
   }
   return index < text.size() ? text[index] : '\0';
}

int64_t ToInt64(std::string_view text) {
   return SignedValue(Read(text));
}

uint64_t ToUint64(std::string_view text) {
   return UnsignedValue(Read(text));
}

int64_t NormalizedInt64(std::string_view text) {
   return SignedValue(ReadNormalized(text));
}

uint64_t NormalizedUint64(std::string_view text) {
   return UnsignedValue(ReadNormalized(text));
}

bool ToBool(std::string_view text) {
   const std::string_view word = text.substr(0, text.find('\0'));
   return EqualFolded(word, "true") || EqualFolded(word, "yes") || EqualFolded(word, "on") ||
          static_cast<uint32_t>(ToInt64(text)) != 0;
}

bool EqualFolded(std::string_view left, std::string_view right) {
   return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                     [](char one, char other) { return Folded(one) == Folded(other); });
}

} // namespace CORE::bagnumber
