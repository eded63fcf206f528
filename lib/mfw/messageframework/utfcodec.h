#pragma once

#include <cstddef>
#include <cstdint>

/// One code point at a time between UTF-8, UTF-16 and its number, as the wire has them: looser than the standard, on
/// purpose, since peers send what these rules let through. docs/formats/wire-strings.md has the rules and their
/// reasons.
///
/// UTF-16 units are bytes in host order at any address: [source, end) and [target, end) are byte ranges in all four,
/// and an odd byte at the end is no unit. Each adds to `used` or `written` (bytes for UTF-8, units for UTF-16) only
/// when it succeeds, touches nothing at or beyond `end`, and reports a failure through the core logger, at ERROR unless
/// it says otherwise. Any thread.
namespace CORE {

/// Required: little is checked. A continuation byte is anything below 0xC0; a lead below 0xE0 starts two bytes, a stray
/// continuation too; overlong forms, surrogates and numbers up to 0x1FFFFF come out as they are.
[[nodiscard]] bool DecodeUtf8(const uint8_t *source, const uint8_t *end, uint32_t &codePoint, size_t &used);

/// Required: a low surrogate on its own is a code point like any other. A high one at the end is reported at DEBUG.
[[nodiscard]] bool DecodeUtf16(const uint8_t *source, const uint8_t *end, uint32_t &codePoint, size_t &used);

/// Required: the first of four bytes is always 0xF0, so a code point above U+3FFFF comes out as a smaller one.
[[nodiscard]] bool EncodeUtf8(uint32_t codePoint, uint8_t *target, const uint8_t *end, size_t &written);

/// Required: takes any number. One unit up to 0xFFFF, a surrogate too; a pair above.
[[nodiscard]] bool EncodeUtf16(uint32_t codePoint, uint8_t *target, const uint8_t *end, size_t &written);

} // namespace CORE
