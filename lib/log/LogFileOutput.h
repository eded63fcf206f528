#pragma once

#include "lib/corvanebase/corvanebase.h"
#include "lib/log/LogKeys.h"
#include "lib/log/LogOutput.h"
#include "lib/log/LogRetry.h"
#include "lib/log/LogRing.h"
#include "lib/log/LogThrottle.h"

#include <array>
#include <cstddef>
#include <cstdint>

/// What became of all bytes that came to a file output, prefixes and the marks of a throttling included:
/// offered = written + discarded + suppressed. Labels and reports of lost bytes are no part of it. A rotation starts
/// the count that reports tell of anew; this one goes on.
struct LogFileAccount {
   uint64_t offered = 0;
   uint64_t written = 0;
   uint64_t discarded = 0;  ///< could not be written
   uint64_t suppressed = 0; ///< by throttling: they wait in the ring, or have made room there for later ones
};

/// The file output: writes lines to a file of its own.
///
/// It opens nothing but a plain file that stays the file its path names, labels each new file, moves a file aside that
/// has grown past a size, counts what it could not write and reports that once it can write again, and throttles a
/// process that floods the log, of which it then keeps the last 65536 bytes of suppressed lines. Owner: as every
/// LogOutput. Threads and locks: as every LogOutput. Life cycle: Log_CreateFileOutput -> start -> write*
/// -> destroy. Allocates nothing per line.
struct LogFileOutput : LogOutput {
   LogText path;
   LogText suffix; ///< or null
   LogText area;   ///< the folder of files that have no name of their own
   bool started = false;
   bool append = false;
   bool fastRotation = false;
   bool sync = false;
   bool automaticName = false; ///< made from the default pattern, with the process id in it
   bool systemArea = false;
   bool stopAtThreshold = false;
   int32_t keepCount = 0;
   int32_t mode = 0;
   int64_t utcOffset = 0; ///< seconds
   uint64_t fileSize = 0; ///< what this output knows to be in the file; a label after a rotation does not count
   uint64_t rotateSize = 0;
   uint64_t discarded = 0; ///< bytes that could not be written since the last report
   FileIODescriptor file{};
   LogPrefixFlags prefixFlags;
   LogFileAccount account;
   LogThrottle throttle;
   LogRetry retry; ///< of rotations
   LogRingOwner ring;
   std::array<char, kLogBigLimit + 2> drainText{};
   std::array<char, kLogPrefixLimit + kLogBigLimit + 1> line{};
};

/* ---- The operations of the output -------------------------------------------------------------------------------- */

void LogFile_Write(LogOutput *output, const LogLineHeader *header, size_t length, const char *text);
/// True when the file is open and labelled; every failure is logged at "warning".
bool LogFile_Start(LogOutput *output);
void LogFile_Destroy(LogOutput *output);
void LogFile_StopThrottling(LogOutput *output);

/// Destroys in place of deleting.
struct LogFileDestroyed {
   void operator()(LogFileOutput *file) const { LogFile_Destroy(file); }
};
using LogFileOwner = std::unique_ptr<LogFileOutput, LogFileDestroyed>;

/* ---- Queries. Any other output gives false or null. -------------------------------------------------------------- */

/// The settings of a file output, as its keys have set them.
struct LogFileSettings {
   int32_t keepCount;
   uint64_t rotateSize;
   uint64_t threshold;
   uint32_t rateLimit;
   bool timeStamps;
   bool milliseconds;
   bool threadName;
   bool levelDesignator;
   bool opId;
   bool append;
   bool sync;
   bool fastRotation;
};
bool LogFile_GetDescriptor(const LogOutput *output, int *outFd); ///< false while no file is open
const char *LogFile_GetPath(const LogOutput *output);
bool LogFile_GetSettings(const LogOutput *output, LogFileSettings *outSettings);
bool LogFile_GetAccount(const LogOutput *output, LogFileAccount *outAccount); ///< under the log's lock, or alone

/* ---- Housekeeping ------------------------------------------------------------------------------------------------ */

/// Whether a file name belongs to a family of log files, and the process that wrote it.
using LogFileMatcher = bool (*)(const char *name, void *argument, uint32_t *outPid);

/// Removes the oldest log files of processes that are gone, until as many are left as are to be kept; only for an
/// output with an automatic name, and only plain files of this user. Null: files of the same family as the output's
/// own. True when at least one was removed.
bool LogFile_PurgeDead(const LogOutput *output, LogFileMatcher matcher, void *argument);

/// Moves the content of the file `path` into the output's file and removes it; behind what is there with "append", else
/// in its place. A failure is logged at "warning". Under the log's lock.
void LogFile_Merge(const char *path, LogOutput *output);

/* ---- Parts of it, for the files of this folder ------------------------------------------------------------------- */

/// Opens the output's path into `descriptor` and proves that what was opened is what the path names. 0, or a status.
int LogFile_Open(const LogFileOutput *file, FileIODescriptor *descriptor);

/// Moves the file aside, with its line at "info". False when it is still there, a symbolic link among them.
bool LogFile_RotateAside(LogFileOutput *file);

/// Starts a new file when this one has grown past the limit. Whatever fails leaves the present one in use.
void LogFile_RotateWhenDue(LogFileOutput *file, const LogLineHeader *header);

/// Writes the label to the output's descriptor, each line with the prefix of `header`. False when not all was written
/// (logged at "warning").
bool LogFile_WriteLabel(LogFileOutput *file, const LogLineHeader &header);

/// Name of an architecture by its word size; Panic for a size that it cannot have.
void LogFile_ArchitectureName(int bitness, char *buffer, size_t size);

/// A header of now for a line that the output writes about itself.
void LogFile_MakeOwnHeader(const LogLevelRow *level, LogLineHeader *out);

/// `row`, which must exist: Panic with the line otherwise.
const LogLevelRow *LogFile_VerifyRow(const LogLevelRow *row, int line);
inline constexpr int kLogVerifyWrite = 1307;
inline constexpr int kLogVerifyStart = 2165;

/// Whether `size` bytes were written, all of them.
[[nodiscard]] bool LogFile_WriteAll(FileIODescriptor *descriptor, const char *bytes, size_t size);
