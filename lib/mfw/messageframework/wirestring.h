#pragma once

#include "lib/mfw/common/corestring.h"
#include "lib/mfw/messageframework/bytecursor.h"

#include <cstdint>

/// Strings on the wire: code units alone, without length, terminator or byte-order mark, as UTF-8 or as UTF-16 in host
/// byte order. In memory they are UTF-8 of any content, zeros included. docs/formats/wire-strings.md has the form, byte
/// by byte.
///
/// A peer's bytes and numbers are not trusted: whatever they are, nothing beyond the cursor's buffer is touched,
/// nothing is thrown, and a failure is a line in the core log (ERROR, but for a high surrogate at the end, DEBUG) and
/// false. Owner: none. Threads: the one that holds the cursor and the string. Locks: none.
namespace CORE {

/// Bit values: a peer's offer may hold several.
enum Encoding : uint32_t { Utf8 = 1, Utf16 = 2 };

/// "Utf8", "Utf16", "Utf8,Utf16" by the bits set; "Undefined" for 0; "Unrecognized" when only other bits are set.
[[nodiscard]] const char *EncodingName(uint32_t flags);

/// Writes the string at the cursor in the one encoding named. `inoutChars` and the cursor's count grow by the units
/// written: bytes, or 16-bit units. An empty string writes nothing and succeeds, in any encoding.
/// On failure neither the cursor nor inoutChars has moved; bytes behind the cursor may have been overwritten.
/// As Utf16 the string's bytes and the buffer must not overlap; if they do, what is written is unspecified.
[[nodiscard]] bool WriteString(const corestring &string, uint32_t encoding, bytecursor &cursor, uint32_t &inoutChars);

/// Reads `chars` units at the cursor, bytes for Utf8, which are taken as they are, or 16-bit units at any address for
/// Utf16. No characters are a success without any change, in any encoding.
/// On failure neither the cursor nor `outString` has changed. A secure `outString` stays secure.
[[nodiscard]] bool ReadString(corestring &outString, bytecursor &cursor, uint32_t chars, uint32_t encoding);

} // namespace CORE
