#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

/// The Windows model's calls on text: numbers as text, case, and narrow text as wide text and back.
/// Any thread, all calls. A failed assertion ends the process.

// ---- Numbers as text ------------------------------------------------------------------------------------------------
// Writes `value` in decimal into `buffer`, which has room for `size` characters with the terminating 0, cut where it
// does not fit; a size of 0 writes nothing. Asserts that `radix` is 10. The result is the buffer.

char *_ltoa_s(long value, char *buffer, size_t size, int radix);
char *_ultoa_s(unsigned long value, char *buffer, size_t size, int radix);
char *_itoa_s(int value, char *buffer, size_t size, int radix);
char *_i64toa_s(long long value, char *buffer, size_t size, int radix);
char *_ui64toa_s(unsigned long long value, char *buffer, size_t size, int radix);
wchar_t *_itow_s(int value, wchar_t *buffer, size_t size, int radix);
wchar_t *_ultow_s(unsigned long value, wchar_t *buffer, size_t size, int radix);
wchar_t *_i64tow_s(long long value, wchar_t *buffer, size_t size, int radix);
wchar_t *_ui64tow_s(unsigned long long value, wchar_t *buffer, size_t size, int radix);

// ---- Text as a number -----------------------------------------------------------------------------------------------

/// strtoll in decimal: leading white space and a sign are taken, the rest behind the digits is left; 0 for no number;
/// the nearest number, with errno ERANGE, for one that is too large.
[[nodiscard]] long long _atoi64(const char *text);
/// Not offered: throws platforms::UnsupportedMethodException "Unsupported method: _strtoi64".
[[noreturn]] long long _strtoi64(const char *text, char **end, int radix);

// ---- Case -----------------------------------------------------------------------------------------------------------
// Changes the `length` characters of `text` in place, one by one by the process's locale; a 0 among them is a character
// as any other. The result is the text.

char *_strlwr_s(char *text, size_t length);
char *_strupr_s(char *text, size_t length);
wchar_t *_wcslwr_s(wchar_t *text, size_t length);
wchar_t *_wcsupr_s(wchar_t *text, size_t length);

// ---- Narrow and wide ------------------------------------------------------------------------------------------------
// Narrow text is UTF-8; a wide character holds a code point. What is malformed (a byte that starts nothing, a character
// cut short, an overlong form, a surrogate, a number past U+10FFFF) becomes U+FFFD: one for each longest run of bytes
// that could still have begun a character. Both take any length, zeros inside too.

[[nodiscard]] std::wstring WideFromNarrow(std::string_view narrow);
[[nodiscard]] std::string NarrowFromWide(std::wstring_view wide);
