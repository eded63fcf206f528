#pragma once

#include <cstdarg>
#include <cstdio>
#include <string>

namespace mavr {

/// What printf would write, as a text; at most 511 bytes, then cut.
[[nodiscard]] __attribute__((format(printf, 1, 2))) inline std::string FormatText(const char *format, ...) {
   char text[512];
   va_list args;
   va_start(args, format);
   std::vsnprintf(text, sizeof text, format, args);
   va_end(args);
   return text;
}

} // namespace mavr
