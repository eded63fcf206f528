#include "lib/log/LogFilePurge.h"

#include "lib/corvanebase/owners.h"
#include "lib/log/LogFileOutput.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <new>
#include <span>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/// A log file whose process is gone.
struct DeadFile {
   char *path; ///< owned by the list
   int64_t writeTime;
};

class DeadFiles {
public:
   DeadFiles() { DynBuf_Init(&mBytes); }
   ~DeadFiles() {
      for (const DeadFile &file : Files()) {
         std::free(file.path);
      }
      DynBuf_Destroy(&mBytes);
   }
   DeadFiles(const DeadFiles &) = delete;
   DeadFiles &operator=(const DeadFiles &) = delete;

   void Add(LogText path, int64_t writeTime) {
      const DeadFile file{path.get(), writeTime};
      if (DynBuf_Append(&mBytes, &file, sizeof file) != 0) {
         static_cast<void>(path.release()); // the list's now
      }
   }
   std::span<DeadFile> Files() { return {reinterpret_cast<DeadFile *>(mBytes.data), mBytes.size / sizeof(DeadFile)}; }

private:
   DynBuf mBytes;
};

/// Taken once, when the first file asks for it.
class Processes {
public:
   ~Processes() {
      if (mSnapshot != nullptr) {
         Hostinfo_ReleaseProcessSnapshot(mSnapshot);
      }
   }
   bool IsGone(uint32_t pid) {
      if (mSnapshot == nullptr) {
         mSnapshot = Hostinfo_AcquireProcessSnapshot();
      }
      return mSnapshot != nullptr && Hostinfo_QueryProcessSnapshot(mSnapshot, pid) == 0;
   }

private:
   HostinfoProcessSnapshot *mSnapshot = nullptr;
};

bool MatchesFamily(const char *name, void *argument, uint32_t *outPid) {
   return LogPurge_PidInName(name, static_cast<const char *>(argument), outPid);
}

// Another user's file, a link or a folder of a fitting name is none of our business.
bool IsOwnPlainFile(const char *path) {
   struct stat file {};
   return lstat(path, &file) == 0 && S_ISREG(file.st_mode) && file.st_uid == geteuid();
}

void Collect(const char *folder, LogFileMatcher matcher, void *argument, DeadFiles *dead) {
   char **listed = nullptr;
   const int count = File_ListDirectory(folder, &listed);
   const corvanebase::HeapNames owned(listed, {std::max(count, 0)});
   Processes processes;
   for (int at = 0; at < count; ++at) {
      uint32_t pid = 0;
      if (!matcher(listed[at], argument, &pid) || !processes.IsGone(pid)) {
         continue;
      }
      LogText path(File_PathJoin(folder, listed[at]));
      int64_t writeTime = -1;
      if (IsOwnPlainFile(path.get()) && File_GetTimes(path.get(), nullptr, nullptr, &writeTime, nullptr) != 0 &&
          writeTime != -1) {
         dead->Add(std::move(path), writeTime);
      }
   }
}

bool RemoveOldest(std::span<DeadFile> files, size_t keepCount) {
   if (files.size() <= keepCount) {
      return false;
   }
   std::sort(files.begin(), files.end(),
             [](const DeadFile &left, const DeadFile &right) { return left.writeTime < right.writeTime; });
   bool removed = false;
   for (const DeadFile &file : files.first(files.size() - keepCount)) {
      removed = File_Unlink(file.path) == 0 || removed;
   }
   return removed;
}

} // namespace

bool LogPurge_PidInName(const char *name, const char *family, uint32_t *outPid) {
   const std::string_view whole(name);
   const std::string_view start(family);
   if (whole.size() <= start.size() || whole.substr(0, start.size()) != start || whole[start.size()] != '-') {
      return false;
   }
   const std::string_view digits = whole.substr(start.size() + 1);
   return std::from_chars(digits.data(), digits.data() + digits.size(), *outPid).ec == std::errc{};
}

bool LogFile_PurgeDead(const LogOutput *output, LogFileMatcher matcher, void *argument) {
   if (output == nullptr || output->tag != kLogOutputFile) {
      return false;
   }
   const auto *const file = static_cast<const LogFileOutput *>(output);
   if (file->keepCount == 0 || !file->automaticName) {
      return false;
   }
   std::array<char, 96> family{};
   if (matcher == nullptr) {
      const bool suffixed = file->suffix != nullptr;
      Str_Sprintf(family.data(), family.size(), "%s%s%s", "zenthar", suffixed ? "-" : "",
                  suffixed ? file->suffix.get() : "");
      matcher = &MatchesFamily;
      argument = family.data();
   }
   try {
      char *folder = nullptr;
      File_GetPathName(file->path.get(), &folder, nullptr);
      const LogText ownedFolder(folder);
      DeadFiles dead;
      Collect(folder, matcher, argument, &dead);
      return RemoveOldest(dead.Files(), static_cast<size_t>(file->keepCount));
   } catch (const std::bad_alloc &) { // the next process will do it
      return false;
   }
}
