#include "lib/log/LogFileOutput.h"

#include "lib/log/LogEmit.h"
#include "lib/log/LogFileSystem.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

namespace {

constexpr uint64_t kNsPerUs = 1000;

LogFileOutput *AsFile(LogOutput *output) {
   return static_cast<LogFileOutput *>(output);
}

// The file output behind a head, or null when it is another kind.
const LogFileOutput *FileOrNull(const LogOutput *output) {
   return output != nullptr && output->tag == kLogOutputFile ? static_cast<const LogFileOutput *>(output) : nullptr;
}

// Says how much is missing in the file, as soon as it can be said. Required: it goes out with every line until it has
// been written whole, and counts neither in the size nor, when it fails, as missing.
void ReportDiscarded(LogFileOutput *file) {
   LogLineHeader header;
   LogFile_MakeOwnHeader(LogFile_VerifyRow(LogLevel_RowByNumber(kLogLevelAudit), kLogVerifyWrite), &header);
   std::array<char, kLogOwnLineLimit + 96> report;
   size_t length = Log_FormatLinePrefix(file->prefixFlags, header, kLogOwnLineLimit, report.data());
   length += Str_Sprintf(report.data() + length, report.size() - length,
                         ">>> Error writing log, %llu bytes discarded. Disk full?\n",
                         static_cast<unsigned long long>(file->discarded));
   if (LogFile_WriteAll(&file->file, report.data(), length)) {
      file->discarded = 0;
   }
}

void WriteLine(LogFileOutput *file, const LogLineHeader &header, size_t length, const char *text) {
   char *const line = file->line.data();
   const size_t prefix = Log_FormatLinePrefix(file->prefixFlags, header, kLogPrefixLimit, line);
   length = std::min(length, static_cast<size_t>(kLogBigLimit) + 1);
   std::memcpy(line + prefix, text, length);
   size_t remaining = prefix + length;
   file->account.offered += remaining;
   if (FileIO_IsValid(&file->file) != 0) {
      if (file->discarded != 0) {
         ReportDiscarded(file);
      }
      size_t written = 0;
      if (FileIO_Write(&file->file, line, remaining, &written) == FILEIO_SUCCESS) {
         file->fileSize += written;
         file->account.written += written;
         remaining -= written;
         if (file->sync) {
            gLogFileSystem.sync(&file->file);
         }
      }
   }
   file->discarded += static_cast<uint32_t>(remaining);
   file->account.discarded += remaining;
}

// Bytes that the line would have in the file.
size_t SizeInFile(LogFileOutput *file, const LogLineHeader &header, size_t length) {
   return Log_FormatLinePrefix(file->prefixFlags, header, kLogPrefixLimit, file->line.data()) + length;
}

void Suppress(LogFileOutput *file, const LogLineHeader &header, size_t length, const char *text) {
   const size_t size = SizeInFile(file, header, length);
   file->account.offered += size;
   file->account.suppressed += size;
   LogRing_Push(file->ring.get(), header, length, text);
}

void BeginThrottling(LogFileOutput *file) {
   LogLineHeader header;
   LogFile_MakeOwnHeader(LogFile_VerifyRow(LogLevel_RowByNumber(kLogLevelAudit), kLogVerifyWrite), &header);
   std::array<char, 96> mark;
   size_t length = Str_Sprintf(mark.data(), mark.size(), "<<< %s Throttled >>>\n", file->name);
   if (mark[length - 1] != '\n') {
      length = Log_TruncateUtf8Line(mark.size(), mark.data()); // a name that leaves no room is cut, not the line's end
   }
   WriteLine(file, header, length, mark.data());
   LogRing_Reset(file->ring.get()); // what is in the file is not written twice
}

void EndThrottling(LogFileOutput *file) {
   LogLineHeader header;
   size_t length = 0;
   while (LogRing_Pop(file->ring.get(), file->drainText.size(), &header, &length, file->drainText.data())) {
      const size_t size = SizeInFile(file, header, length);
      file->account.offered -= size; // it is offered to the file again
      file->account.suppressed -= size;
      WriteLine(file, header, length, file->drainText.data());
   }
}

// Required: a continuation line never changes the state, so that the marks do not part a message.
void Throttle(LogFileOutput *file, const LogLineHeader &header, size_t length) {
   LogThrottle &throttle = file->throttle;
   const bool throttled = throttle.Decide(length, [] { return Hostinfo_SystemTimerNS() / kNsPerUs; });
   if (throttled == (throttle.throttled != 0) || header.continuation) {
      return;
   }
   if (throttled) {
      BeginThrottling(file);
   } else {
      EndThrottling(file);
   }
   throttle.throttled = throttled ? 1 : 0;
}

} // namespace

void LogFile_Write(LogOutput *output, const LogLineHeader *header, size_t length, const char *text) {
   LogFileOutput *const file = AsFile(output);
   LogFile_RotateWhenDue(file, header);
   Throttle(file, *header, length);
   // What the ring holds while nothing is throttled nobody ever sees: it is emptied when throttling begins.
   if (file->throttle.throttled != 0) {
      Suppress(file, *header, length, text);
   } else {
      WriteLine(file, *header, length, text);
   }
}

void LogFile_Destroy(LogOutput *output) {
   LogFileOutput *const file = AsFile(output);
   std::fill(std::begin(file->head), std::end(file->head), uint8_t{0});
   file->tag = 0;
   if (FileIO_IsValid(&file->file) != 0) {
      FileIO_Close(&file->file);
   }
   std::free(file->name);
   delete file;
}

void LogFile_StopThrottling(LogOutput *output) {
   LogThrottle &throttle = AsFile(output)->throttle;
   throttle.rateLimit = LogThrottle::kNever;
   throttle.throttled = 0;
}

bool LogFile_GetDescriptor(const LogOutput *output, int *outFd) {
   const LogFileOutput *const file = FileOrNull(output);
   if (file == nullptr || FileIO_IsValid(&file->file) == 0) {
      return false;
   }
   *outFd = file->file.posix;
   return true;
}

const char *LogFile_GetPath(const LogOutput *output) {
   const LogFileOutput *const file = FileOrNull(output);
   return file != nullptr ? file->path.get() : nullptr;
}

bool LogFile_GetSettings(const LogOutput *output, LogFileSettings *outSettings) {
   const LogFileOutput *const file = FileOrNull(output);
   if (file == nullptr) {
      return false;
   }
   *outSettings = {
      .keepCount = file->keepCount,
      .rotateSize = file->rotateSize,
      .threshold = file->throttle.threshold,
      .rateLimit = file->throttle.rateLimit,
      .timeStamps = file->prefixFlags.timeStamps,
      .milliseconds = file->prefixFlags.milliseconds,
      .threadName = file->prefixFlags.threadName,
      .levelDesignator = file->prefixFlags.levelDesignator,
      .opId = file->prefixFlags.opId,
      .append = file->append,
      .sync = file->sync,
      .fastRotation = file->fastRotation,
   };
   return true;
}

bool LogFile_GetAccount(const LogOutput *output, LogFileAccount *outAccount) {
   const LogFileOutput *const file = FileOrNull(output);
   if (file == nullptr) {
      return false;
   }
   *outAccount = file->account;
   return true;
}

void LogFile_MakeOwnHeader(const LogLevelRow *level, LogLineHeader *out) {
   Log_FillHeader(nullptr, level, Log_PresentContext(), out);
}

const LogLevelRow *LogFile_VerifyRow(const LogLevelRow *row, int line) {
   if (row == nullptr) {
      Panic("VERIFY %s:%d\n", "lib/log/fileOutput", line);
   }
   return row;
}

bool LogFile_WriteAll(FileIODescriptor *descriptor, const char *bytes, size_t size) {
   size_t written = 0;
   return FileIO_Write(descriptor, bytes, size, &written) == FILEIO_SUCCESS && written == size;
}
