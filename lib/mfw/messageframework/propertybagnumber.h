#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// How a bag reads the texts that it holds as numbers and truth values. Pure functions: nothing is allocated, no
/// locale and no errno has a part in it. A text ends at its end or at its first zero byte.
namespace CORE::bagnumber {

/// The text without blanks, tabs, carriage returns and line feeds at both ends.
[[nodiscard]] std::string_view Trimmed(std::string_view text);

/// The character at `index`, and a zero right behind the last. Further out: coreException("Array bounds").
[[nodiscard]] char CharAt(std::string_view text, size_t index);

/// As strtoll with base 0: white space, a sign, then a decimal, octal (0) or hexadecimal (0x) number as far as it goes;
/// 0 without one; the nearest end of the range when there are too many digits.
[[nodiscard]] int64_t ToInt64(std::string_view text);
/// As strtoull with base 0: a minus negates modulo 2^64; all ones when there are too many digits.
[[nodiscard]] uint64_t ToUint64(std::string_view text);

/// The same of the normalised text: trimmed, and without the zeros that stand before another decimal digit at the
/// start or behind the sign there. So 007 and -010 are decimal, and 0x1F stays hexadecimal.
[[nodiscard]] int64_t NormalizedInt64(std::string_view text);
[[nodiscard]] uint64_t NormalizedUint64(std::string_view text);

/// True for "true", "yes" and "on" in any case, and for a number (ToInt64, not normalised) whose low 32 bits are not 0.
[[nodiscard]] bool ToBool(std::string_view text);

/// The byte with an ASCII capital made small, and any other as it is, whatever the locale says.
[[nodiscard]] constexpr char Folded(char byte) {
   return byte >= 'A' && byte <= 'Z' ? static_cast<char>(byte + ('a' - 'A')) : byte;
}
/// Byte by byte, but for the case of ASCII letters.
[[nodiscard]] bool EqualFolded(std::string_view left, std::string_view right);

} // namespace CORE::bagnumber
