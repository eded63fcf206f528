/* The process-wide log: what the rest of the library calls.
 *
 * One log serves the whole process. It works from the first instruction on: messages logged before Log_Start wait in a
 * ring of 65536 bytes and reach the first output that is attached, with the time stamp of their own moment. A message
 * is formatted and masked on the caller's thread, then written to every output before the call returns.
 *
 * Owner: nobody; it is static and never destroyed. Threads: any thread, every function. Inside a signal handler the
 * functions that log may be called too; a handler says so with VThreadBase_SetIsInSignal, so that the time stamp needs
 * nothing that a handler may not use. Locks: one recursive lock, "logLock", which no caller needs to know. Life cycle:
 * early (no output) -> Log_Start -> running -> Log_Stop -> early. A fork leaves a working log in the child.
 *
 * No function here throws, and each keeps the caller's errno. What a log call cannot do it leaves out; it never fails.
 */
#pragma once

#include "lib/corvanebase/corvanebase.h"

#include <cstdarg>
#include <cstddef>
#include <cstdint>

struct LogConfigSource;
struct LogOutput;

/// A routing number says where a message goes: the low five bits are the level (LogLevelTable.h, 0 is the most severe),
/// the bits above them the module id. 0 to 31 and everything above 10079 go by the global filter; 32 to 10079 by the
/// filter of a module, which lets nothing but level 0 through until it has been configured.
using LogRouting = uint32_t;

/* ---- Messages: printf formats; a newline at the end is added when missing. At most 32766 bytes, then cut. ---------
 */

void Log_Info(const char *format, ...) CORVANE_PRINTF(1, 2);    ///< level 5
void Log_Warning(const char *format, ...) CORVANE_PRINTF(1, 2); ///< level 3
void Log_Level(LogRouting routing, const char *format, ...) CORVANE_PRINTF(2, 3);
/// The same with an argument list, which is left as it was.
void Log_LevelV(LogRouting routing, const char *format, va_list args) CORVANE_PRINTF(2, 0);
/// Counts the event in `*counter` and logs only those that Util_Throttle picks. Threads may share the counter.
void Log_InfoThrottled(uint32_t *counter, const char *format, ...) CORVANE_PRINTF(2, 3);
void Log_WarningThrottled(uint32_t *counter, const char *format, ...) CORVANE_PRINTF(2, 3);

/// Writes the present time, "2026-11-12T18:30:00.123Z" or without the milliseconds. Returns the length written.
size_t Log_FormatTimeStampText(bool withMilliseconds, char *buffer, size_t size);

/// Bytes of text that fit into any record of the log: 32623.
[[nodiscard]] size_t Log_MaxMessageLength();

/* ---- Set-up ------------------------------------------------------------------------------------------------------ */

/// Names the product in the label of every log file. The first call counts, later ones change nothing; the texts must
/// live on, and any may be null.
void Log_SetProduct(const char *name, const char *version, const char *buildNumber, const char *compilationOption);

/// The configuration files of this library as the log's source of keys.
[[nodiscard]] const LogConfigSource *Log_GetConfigSource();

/// Creates the file output "file", attaches it and loads the module filters. With `purgeOld`, LogFile_PurgeDead removes
/// the oldest log files of ended processes. `prefix` goes before configuration keys ("MAVR" -> "MAVR.log.keepOld");
/// null for none, but not empty. `dictionary` and `source` may be null. Returns the output, which belongs to the log,
/// or null (logged; the log goes on holding early messages).
LogOutput *Log_Start(const char *prefix, const Dictionary *dictionary, const LogConfigSource *source, bool purgeOld);

/// The same with a fixed file, and nothing removed.
LogOutput *Log_StartWithPath(const char *prefix, const LogConfigSource *source, const char *path);

/// Creates a file output from its configuration keys and does not attach it. `name` is "file" for the usual one; any
/// other name is the suffix of its keys. Returns the caller's output or null (logged).
LogOutput *Log_CreateFileOutput(const char *prefix, const char *name, const Dictionary *dictionary,
                                const LogConfigSource *source);

/// Starts the output and attaches it. The first one receives the early messages. False when it cannot start, when 10
/// are attached, when one of the same kind and name is, or when its kind does not go together with a present one's; it
/// then stays the caller's.
bool Log_AddOutput(LogOutput *output);

/// Destroys an output that is not attached; null is allowed. False when it is attached.
bool Log_ReleaseOutput(LogOutput *output);

/// Puts `replacement`, of the same kind and name, in the place of `old` and destroys `old`; null only removes `old`.
/// With `merge` (file outputs) the content of old's file moves into the new one first. False, and nothing has changed
/// but that `replacement` may be started, when the two do not fit, `replacement` cannot start, or memory lacks for a
/// merge (the last two are logged).
bool Log_ReplaceOutput(LogOutput *old, LogOutput *replacement, bool merge);

/// Detaches and destroys all outputs. Filters stay; messages wait for the next Log_AddOutput.
void Log_Stop();

/// Reads the filters of all modules: "log.filter.minLogLevel.NAME", "log.filter.minStderrLevel.NAME". Out of memory
/// the rest stay as they are (logged).
void Log_LoadModuleFilters(const char *prefix, const LogConfigSource *source);

/* ---- Filters ----------------------------------------------------------------------------------------------------- */

/// Levels of a filter pair: id 0 is the global one, 1 to 314 are modules. Any other id gives -1 and changes nothing. A
/// message passes when its level is not above the pair's; -1 lets nothing through. A setter returns what it set.
int32_t Log_GetFileLevel(uint32_t id);
int32_t Log_SetFileLevel(uint32_t id, int32_t level);
int32_t Log_GetStderrLevel(uint32_t id);
int32_t Log_SetStderrLevel(uint32_t id, int32_t level);
/// Sets an output's own level and recomputes the global pair. Returns the former level.
int32_t Log_SetOutputLevel(LogOutput *output, int32_t level);

/// Whether a message with this routing number would reach an output's filter now. Cheap.
[[nodiscard]] bool Log_IsEnabled(LogRouting routing);
[[nodiscard]] bool Log_HasOutputs();
/// Path of the first attached file output, or null; valid while it is attached.
[[nodiscard]] const char *Log_GetFilePath();

/// Ends the throttling of all attached outputs, for good.
void Log_DisableThrottling();

/// Writes the id of the operation that the calling thread works on: at most `capacity` bytes with the terminator. False
/// when there is none. Called under the log's lock.
using LogOpIdProvider = bool (*)(size_t capacity, char *buffer);
void Log_SetOpIdProvider(LogOpIdProvider provider);

/// With true the log takes no lock: for a process, or a moment, with one thread.
void Log_SetNoLock(bool noLock);
