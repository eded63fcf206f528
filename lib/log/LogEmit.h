#pragma once

#include "lib/log/LogState.h"

#include <cstdarg>
#include <cstddef>

/// What is to become of a message: where its level lets it go.
struct LogAdmission {
   const LogFilter *filter;
   bool file;
   bool toStderr;
};

/// The decision, as a function of the routing number, the global pair and the modules' pairs. Any thread.
[[nodiscard]] LogAdmission Log_Admit(LogRouting routing, const LogFilter *global);

/// The one way of every message: admit, format, mask, and deliver to standard error, outputs or the early ring. Keeps
/// errno; `args` is left as it was. Any thread, in a signal handler too.
void Log_Emit(LogState *state, LogRouting routing, const char *format, va_list args) CORVANE_PRINTF(3, 0);

/// Fills in a header for a message of now, without an operation's id: level, filter, thread, stamp. Any thread.
void Log_FillHeader(const LogFilter *filter, const LogLevelRow *level, LogContext context, LogLineHeader *out);

/// The context that the calling thread has declared (VThreadBase_SetIsInSignal).
[[nodiscard]] LogContext Log_PresentContext();

/// The same for a message of the log's callers: with the operation's id when there is a provider. Under
/// the lock.
void Log_MakeHeader(LogState *state, const LogFilter *filter, const LogLevelRow *level, LogLineHeader *out);

/// Hands one message to every output that wants it, whole or line by line. Under the lock. Changes the header's
/// continuation flag.
void Log_Dispatch(LogState *state, LogLineHeader *header, size_t length, const char *text);

/// Dispatches what waits in the early ring now, and no more: what the outputs log meanwhile waits for the next time.
/// Under the lock.
void Log_DrainEarlyRing(LogState *state);
