#pragma once

#include "lib/corvanebase/corvanebase.h"

#include <cstdarg>
#include <cstddef>

/// Formats a message as Str_Vsnprintf does, to the same bytes and the same result: the length, or -1 when text and
/// terminator do not fit into `size` bytes, and then as much as fits.
///
/// Most messages are text around bare "%s", "%d" and "%u" fields, the bridge's all; those are put together here, which
/// takes a third of the time. Any other field leaves the whole message to Str_Vsnprintf. `args` is left as it was. Any
/// thread; in a signal handler too; allocates nothing where Str_Vsnprintf does not.
int Log_FormatText(char *buffer, size_t size, const char *format, va_list args) CORVANE_PRINTF(3, 0);
