#pragma once

#include <cstdint>

/// Set-up of log and settings, once per process, and the bridge from the component log into the process-wide log.
///
/// Owner: the process. Threads: MfwLog_Init and MfwLog_TearDown host-serialised; MfwLog_Redirect and MfwLog_Level any
/// thread. Locks: none of its own. Life cycle: before a successful MfwLog_Init messages wait in the log's early ring;
/// after it the log stays up until the process ends, whatever is torn down.

/// Starts the log under the prefix "MAVR", sends the component log and the text of a panic there, opens the settings
/// and reads the words that rule the log: "LogLevel" and "ciEnabled". Does nothing once the log has started; a log that
/// could not start (the log has the reason, in its early ring) is tried again, with everything else, at the next call.
/// Out of memory: std::bad_alloc, or a log that could not start; the next call goes on from there.
void MfwLog_Init();

/// Closes the settings and nothing else: the log stays up, and a later MfwLog_Init does nothing.
// Required: the settings then stay on their defaults for the rest of the process.
void MfwLog_TearDown();

/// The callback of the component log: TRACE, DEBUG and INFO go to the log when MfwLog_Level lets them, WARN and ERROR
/// always and as warnings, each with "MAVR: " before it. FATAL, and a level that does not exist, end the process.
void MfwLog_Redirect(const char *message, int level);

/// The least of the levels TRACE, DEBUG and INFO (logger::Level) that MfwLog_Redirect lets through; initially DEBUG.
[[nodiscard]] int32_t MfwLog_Level();
