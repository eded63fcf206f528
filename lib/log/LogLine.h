#pragma once

#include "lib/log/LogLevelTable.h"
#include "lib/log/LogModuleTable.h"
#include "lib/log/LogTimeStamp.h"

#include <cstddef>
#include <cstdint>

/// Limits of a message, in bytes.
enum LogLimit : size_t {
   kLogStackLimit = 319, ///< text and terminator that the caller's stack holds
   kLogBigLimit = 32767, ///< the same for the shared big buffer
   kLogThreadNameSize = 32,
   kLogOpIdSize = 33,
   kLogPrefixLimit = 160, ///< prefix of an ordinary line, with its terminator
   kLogOwnLineLimit = 289 ///< prefix of a line that the file output writes about itself
};

/// What travels with a message: what its line begins with. Copied into rings byte by byte.
/// Its alignment rounds it up to the size that the longest message of the log (Log_MaxMessageLength) leaves for it.
struct alignas(16) LogLineHeader {
   const LogFilter *filter; ///< the pair that has let it pass
   const LogLevelRow *level;
   bool continuation; ///< second or later line of a message
   char threadName[kLogThreadNameSize];
   char opId[kLogOpIdSize]; ///< empty: none
   LogTimeStamp stamp;
};
static_assert(sizeof(LogLineHeader) == 144);

/// Which fields a line begins with.
struct LogPrefixFlags {
   bool timeStamps = true;
   bool milliseconds = true;
   bool levelDesignator = true;
   bool threadName = true;
   bool opId = false;
};

/// Builds the text that a line begins with, each field followed by one blank, cut to `limit` - 1 bytes and terminated.
/// Returns its length. Any thread; allocates nothing.
size_t Log_FormatLinePrefix(const LogPrefixFlags &flags, const LogLineHeader &header, size_t limit, char *buffer);

/// Cuts the text in `text` to at most `limit` - 2 bytes that end on a whole UTF-8 sequence, and puts a newline and a
/// terminator behind them. Returns the new length, newline included. `text` has room for `limit` bytes, and for 2.
size_t Log_TruncateUtf8Line(size_t limit, char *text);

/// How many of the first `end` bytes remain when the text is cut there: the last sequence goes unless it is whole. At
/// most six bytes that continue a sequence are looked at.
[[nodiscard]] size_t Log_Utf8CutLength(const char *text, size_t end);

/// Replaces the three letters "tlv", in any case, by asterisks, wherever they are in the first `length` bytes.
void Log_MaskText(char *text, size_t length);
