#pragma once

#include "lib/corvanebase/corvanebase.h"
#include "lib/corvanebase/owners.h"

#include <optional>
#include <string_view>

/// What the files of the base library share and its users do not see. Any thread; no locks; no state.
namespace corvanebase {

/// The length, `length` or up to 3 bytes less, at which a text cut at `length` ends on a whole UTF-8 sequence. Bytes
/// that are no UTF-8 at all are left alone.
[[nodiscard]] size_t Utf8CutLength(const char *text, size_t length);

/// `args` formatted into a heap string, the empty one when they cannot be formatted; null when out of memory. It throws
/// nothing, so that the caller can end its `va_list` first: NotNull() comes behind that.
[[nodiscard]] HeapText FormatHeap(size_t *outLength, const char *format, va_list args) CORVANE_PRINTF(2, 0);

/// The text, which must not be null: std::bad_alloc otherwise.
[[nodiscard]] HeapText NotNull(HeapText text);

/// A heap copy of a text of known length. Out of memory: std::bad_alloc.
[[nodiscard]] HeapText HeapCopy(std::string_view text);

/// The number of a text that is a whole decimal number in the 32-bit range, with or without a sign; else nothing.
[[nodiscard]] std::optional<int32_t> LongOfText(std::string_view text);

/// The boolean of "true"/"false", "yes"/"no", "on"/"off", "1"/"0" in any case; else nothing.
[[nodiscard]] std::optional<bool> BoolOfText(std::string_view text);

} // namespace corvanebase
