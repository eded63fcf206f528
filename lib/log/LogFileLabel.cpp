#include "lib/log/LogFileLabel.h"

#include "lib/log/Log.h"
#include "lib/log/LogFileOutput.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <unistd.h>

namespace {

constexpr const char *kUnknown = "unknown";
constexpr char kHostIs[] = "Host is %s\n";
constexpr int64_t kSecondsPerHour = 3600;
constexpr int64_t kSecondsPerMinute = 60;

/// The product as Log_SetProduct has named it. The first to claim it fills it in.
struct Product {
   std::atomic<bool> claimed{false};
   std::atomic<const char *> name{nullptr};
   std::atomic<const char *> version{nullptr};
   std::atomic<const char *> buildNumber{nullptr};
   std::atomic<const char *> compilationOption{nullptr};
};
constinit Product gProduct;

const char *TextOf(const std::atomic<const char *> &text) {
   const char *const value = text.load();
   return value != nullptr ? value : kUnknown;
}

// Made once for the process and kept: asking the system for it is slow, and it does not change.
const char *SystemDescription() {
   static constinit std::atomic<char *> description{nullptr};
   char *kept = description.load();
   if (kept == nullptr) {
      char *const made = Hostinfo_GetOSDetailedData();
      if (made == nullptr) {
         return kUnknown;
      }
      if (description.compare_exchange_strong(kept, made)) {
         return made;
      }
      std::free(made); // another thread was faster
   }
   return kept;
}

/// The lines of one label. Each is tried, whatever became of those before it.
class Label {
public:
   Label(LogFileOutput *file, const LogLineHeader &header)
       : mFile(file)
       , mPrefixLength(Log_FormatLinePrefix(file->prefixFlags, header, mPrefix.size(), mPrefix.data())) {}

   CORVANE_PRINTF(2, 3) void Line(const char *format, ...) {
      std::array<char, kLogOwnLineLimit + 1024> line;
      std::copy_n(mPrefix.data(), mPrefixLength, line.data());
      va_list args;
      va_start(args, format);
      size_t room = line.size() - mPrefixLength;
      const int length = Str_Vsnprintf(line.data() + mPrefixLength, room, format, args);
      va_end(args);
      const size_t written =
         length >= 0 ? static_cast<size_t>(length) : Log_TruncateUtf8Line(room, line.data() + mPrefixLength);
      Write(line.data(), mPrefixLength + written);
   }

   // The same for what may be long, on the heap. Without memory for it the line is cut: a label is no reason to end.
   void HostLine(const char *description) {
      const size_t size = mPrefixLength + std::strlen(kHostIs) + std::strlen(description) + 1;
      const LogText line(static_cast<char *>(std::malloc(size)));
      if (line == nullptr) {
         Line(kHostIs, description);
         return;
      }
      std::copy_n(mPrefix.data(), mPrefixLength, line.get());
      const size_t length = Str_Sprintf(line.get() + mPrefixLength, size - mPrefixLength, kHostIs, description);
      Write(line.get(), mPrefixLength + length);
   }

   bool Complete() const { return mComplete; }

private:
   void Write(const char *bytes, size_t size) { mComplete = LogFile_WriteAll(&mFile->file, bytes, size) && mComplete; }

   LogFileOutput *mFile;
   std::array<char, kLogOwnLineLimit> mPrefix;
   size_t mPrefixLength;
   bool mComplete = true;
};

void WriteLines(LogFileOutput *file, const LogLineHeader &header, Label *label) {
   label->Line("Log for %s pid=%d version=%s build=%s option=%s\n", TextOf(gProduct.name), static_cast<int>(getpid()),
               TextOf(gProduct.version), TextOf(gProduct.buildNumber), TextOf(gProduct.compilationOption));
   std::array<char, 32> architecture;
   LogFile_ArchitectureName(Hostinfo_GetSystemBitness(), architecture.data(), architecture.size());
   label->Line("The host is %s.\n", architecture.data());
   label->Line("Host codepage=%s encoding=%s\n", CodeSet_GetCurrentCodeSet(),
               Unicode_EncodingEnumToName(Unicode_GetCurrentEncoding()));
   if (!file->prefixFlags.timeStamps) {
      label->Line("Log creation time is %s%s%s\n", header.stamp.dateTime, header.stamp.milliseconds, header.stamp.zone);
   }
   label->HostLine(SystemDescription());
   const LogLabelOffset offset = LogLabel_SplitOffset(file->utcOffset);
   label->Line("Host offset from UTC is %+03d:%02d.\n", offset.hours, offset.minutes);
}

} // namespace

void Log_SetProduct(const char *name, const char *version, const char *buildNumber, const char *compilationOption) {
   if (gProduct.claimed.exchange(true)) {
      return;
   }
   gProduct.name.store(name);
   gProduct.version.store(version);
   gProduct.buildNumber.store(buildNumber);
   gProduct.compilationOption.store(compilationOption);
}

LogLabelOffset LogLabel_SplitOffset(int64_t seconds) {
   return {static_cast<int>(seconds / kSecondsPerHour),
           static_cast<int>(std::abs(seconds) % kSecondsPerHour / kSecondsPerMinute)};
}

void LogFile_ArchitectureName(int bitness, char *buffer, size_t size) {
#if defined(__aarch64__)
   Str_Sprintf(buffer, size, "%d-bit Arm", bitness);
#else
   if (bitness != 64 && bitness != 32) {
      Panic("%s: unknown bitness (%d)\n", "LogArchString", bitness);
   }
   Str_Sprintf(buffer, size, "%s", bitness == 64 ? "x86_64" : "x86");
#endif
}

bool LogFile_WriteLabel(LogFileOutput *file, const LogLineHeader &header) {
   Label label(file, header);
   WriteLines(file, header, &label);
   if (!label.Complete()) {
      Log_Warning("Unable to label log file '%s'\n", file->path.get());
   }
   return label.Complete();
}
