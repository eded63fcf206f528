#pragma once

#include <cstdarg>
#include <cstddef>

/// The formatted print of the component log and of the portability layer.
///
/// As the platform's vsnprintf, with the same result (the length of the whole text, without its terminator, whether or
/// not it fitted; negative for a failure), except that
/// - a wide string (%ls, %S) or wide character (%lc, %C) comes out as UTF-8 in every locale, width and precision
///   counted in bytes and no character cut in two; what is no character comes out as U+FFFD;
/// - a null string prints "(null)", as much of it as the precision allows;
/// - infinity and not-a-number print "inf" and "nan", or "INF" and "NAN", by the case of the conversion, the latter
///   without a sign;
/// - a text that does not fit ends on a UTF-8 code point boundary, at most 4 bytes before the end of the room.
///
/// Number grouping (') follows localeconv. Formats with numbered arguments (%1$s), %n or a conversion unknown here go
/// to the platform's function as they are. Any thread; no lock; no heap of its own.
int bsd_vsnprintf(char *buffer, size_t size, const char *format, va_list args) __attribute__((format(printf, 3, 0)));
