#include "lib/log/Log.h"
#include "lib/log/LogFileOutput.h"
#include "lib/log/LogFileSystem.h"

#include "osal/Clock.h"
#include "osal/Places.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <new>
#include <string>
#include <utility>

namespace {

constexpr int32_t kDefaultKeepOld = 3;
constexpr int32_t kSmallestRotateSize = 100000;
constexpr int32_t kDefaultPermissions = 0640;
constexpr int32_t kDefaultThrottleThreshold = 1000000;
constexpr int32_t kDefaultThrottleRate = 1000;

LogText NonEmpty(LogText text) {
   return text != nullptr && text.get()[0] != '\0' ? std::move(text) : LogText();
}

// What only the set-up dictionary says, with neither prefix nor configuration files.
LogText DictionaryText(const Dictionary *dictionary, const char *key) {
   return LogText(dictionary != nullptr ? Dict_GetString(dictionary, nullptr, key) : nullptr);
}

// The name that the user or the host has asked for, or null. "log.config" names the key that holds it.
LogText AskedFileName(const Dictionary *dictionary, const LogConfigSource *source) {
   const LogText key = NonEmpty(DictionaryText(dictionary, "log.config"));
   LogText name;
   if (key != nullptr && source != nullptr && source->getString != nullptr) {
      name = NonEmpty(LogText(source->getString(nullptr, key.get())));
   }
   return name != nullptr ? std::move(name) : NonEmpty(DictionaryText(dictionary, "log.fileName"));
}

int32_t ReadInteger(const LogKeys &keys, const char *key, int32_t defaultValue, int32_t lowest) {
   const int32_t value = keys.Long(key, defaultValue);
   if (value >= lowest) {
      return value;
   }
   Log_Warning("%s: %s (%d) is invalid. Set to %d.\n", "LogFileInt32", key, value, defaultValue);
   return defaultValue;
}

uint64_t ReadRotateSize(const LogKeys &keys) {
   const int32_t size = ReadInteger(keys, "log.rotateSize", 0, 0);
   if (size > 0 && size < kSmallestRotateSize) {
      Log_Warning("%s: log.rotateSize (%d) is too small. Set to %d.\n", "LogFileVariables", size, kSmallestRotateSize);
      return kSmallestRotateSize;
   }
   return static_cast<uint64_t>(size);
}

void ReadThrottle(const LogKeys &keys, LogFileOutput *file) {
   file->throttle.threshold =
      static_cast<uint64_t>(ReadInteger(keys, "log.throttleThreshold", kDefaultThrottleThreshold, 0));
   const int32_t rate = ReadInteger(keys, "log.throttleBytesPerSec", kDefaultThrottleRate, -1);
   file->throttle.rateLimit = rate <= 0 ? LogThrottle::kNever : static_cast<uint32_t>(rate);
   file->stopAtThreshold = keys.Bool("log.noLogAfterThreshold", false);
   if (file->stopAtThreshold) {
      file->throttle.rateLimit = LogThrottle::kStop;
   }
}

void ReadKeys(const LogKeys &keys, LogFileOutput *file) {
   file->prefixFlags.timeStamps = keys.Bool("log.useTimeStamps", true);
   file->prefixFlags.milliseconds = keys.Bool("log.useMilliseconds", true);
   file->prefixFlags.threadName = keys.Bool("log.useThreadName", true);
   file->prefixFlags.levelDesignator = keys.Bool("log.useLevelDesignator", true);
   file->prefixFlags.opId = keys.Bool("log.useOpID", false);
   file->append = keys.Bool("log.append", false);
   file->sync = keys.Bool("log.syncAfterWrite", false);
   file->fastRotation = keys.Bool("log.fastRotation", false);
   file->keepCount = ReadInteger(keys, "log.keepOld", kDefaultKeepOld, 0);
   file->rotateSize = ReadRotateSize(keys);
   file->mode = ReadInteger(keys, "log.permissions", kDefaultPermissions, 1);
   ReadThrottle(keys, file);
   file->fileLevel = keys.Level("log.fileLevel", kLogLevelInfo);
}

LogText FindArea(bool systemArea) {
   if (systemArea) {
      return LogText(UtilSafeStrdup0(osal::places::systemLogFolder().c_str()));
   }
   const std::string library = gLogFileSystem.userLibraryFolder();
   if (library.empty()) {
      return nullptr;
   }
   const LogText pattern(Str_SafeAsprintf(nullptr, "%s/Logs/Corvane", library.c_str()));
   return LogText(Util_ExpandString(pattern.get()));
}

bool EstablishArea(LogFileOutput *file) {
   errno = 0;
   file->area = FindArea(file->systemArea);
   if (file->area == nullptr) {
      Log_Warning("Failed to establish the safe logging directory area: %s\n", Err_ErrString());
      return false;
   }
   if (File_CreateDirectoryHierarchy(file->area.get(), 0) == 0) {
      Log_Warning("Safe logging area '%s' validation failed!\n", file->area.get());
      return false;
   }
   return true;
}

LogText ExpandAskedPath(const char *asked) {
   char *folder = nullptr;
   char *name = nullptr;
   File_GetPathName(asked, &folder, &name);
   const LogText ownedFolder(folder);
   const LogText ownedName(name);
   LogText expanded(Util_ExpandString(name));
   if (expanded == nullptr || folder[0] == '\0') {
      return expanded; // without a folder it is relative to the working directory, not to the area
   }
   return LogText(File_PathJoin(folder, expanded.get()));
}

LogText DefaultPath(const LogFileOutput &file) {
   const bool suffixed = file.suffix != nullptr;
   const LogText pattern(
      Str_SafeAsprintf(nullptr, "%s%s%s-$PID.log", "zenthar", suffixed ? "-" : "", suffixed ? file.suffix.get() : ""));
   const LogText name(Util_ExpandString(pattern.get()));
   return LogText(name != nullptr ? File_PathJoin(file.area.get(), name.get()) : nullptr);
}

// Seconds that the local time is ahead of UTC at this moment.
int64_t PresentUtcOffset() {
   const auto now = static_cast<time_t>(osal::Clock::current().wallTime().seconds);
   tm local{};
   return localtime_r(&now, &local) != nullptr ? local.tm_gmtoff : 0;
}

LogFileOwner NewOutput(const char *name) {
   LogFileOwner file(new LogFileOutput);
   FileIO_Invalidate(&file->file);
   file->tag = kLogOutputFile;
   file->name = UtilSafeStrdup0(name);
   file->write = &LogFile_Write;
   file->start = &LogFile_Start;
   file->destroy = &LogFile_Destroy;
   file->stopThrottling = &LogFile_StopThrottling;
   file->utcOffset = PresentUtcOffset();
   return file;
}

// Null when there is no place for the file. Out of memory: std::bad_alloc.
LogFileOwner Create(const char *prefix, const char *name, const Dictionary *dictionary, const LogConfigSource *source) {
   LogFileOwner file = NewOutput(name);
   const LogText asked = AskedFileName(dictionary, source);
   file->suffix = DictionaryText(dictionary, "log.suffix");
   file->systemArea = dictionary != nullptr && Dict_GetBool(dictionary, 0, "log.systemAreaTemp") != 0;
   const char *const keySuffix = std::strcmp(name, "file") != 0 ? name : nullptr;
   ReadKeys(LogKeys(prefix, keySuffix, dictionary, source), file.get());
   file->stderrLevel = LogKeys(prefix, nullptr, nullptr, source).Level("log.stderrLevel", -1);
   if (EstablishArea(file.get())) {
      file->automaticName = asked == nullptr;
      file->path = file->automaticName ? DefaultPath(*file) : ExpandAskedPath(asked.get());
   }
   return file->path != nullptr ? std::move(file) : nullptr;
}

} // namespace

LogOutput *Log_CreateFileOutput(const char *prefix, const char *name, const Dictionary *dictionary,
                                const LogConfigSource *source) {
   if (name == nullptr || name[0] == '\0' || (prefix != nullptr && prefix[0] == '\0')) {
      return nullptr;
   }
   try {
      return Create(prefix, name, dictionary, source).release();
   } catch (const std::bad_alloc &) {
      Log_Warning("%s: out of memory\n", "Log_CreateFileOutput");
      return nullptr;
   }
}
