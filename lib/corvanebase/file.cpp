#include "lib/corvanebase/corvanebase.h"
#include "lib/corvanebase/text.h"

#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <new>
#include <string>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using corvanebase::HeapCopy;
using corvanebase::HeapText;

constexpr int64_t kNsPerSecond = 1'000'000'000;
constexpr int64_t kNoTime = -1;

bool IsFolder(const char *path) {
   struct stat file {};
   return stat(path, &file) == 0 && S_ISDIR(file.st_mode);
}

int64_t Nanoseconds(const timespec &time) {
   return time.tv_sec * kNsPerSecond + time.tv_nsec;
}

// The systems do not agree on the names of the time fields, nor on whether there is a time of creation.
template <class Stat>
int64_t AccessTime(const Stat &file) {
   if constexpr (requires { file.st_atim; }) {
      return Nanoseconds(file.st_atim);
   } else {
      return Nanoseconds(file.st_atimespec);
   }
}

template <class Stat>
int64_t WriteTime(const Stat &file) {
   if constexpr (requires { file.st_mtim; }) {
      return Nanoseconds(file.st_mtim);
   } else {
      return Nanoseconds(file.st_mtimespec);
   }
}

template <class Stat>
int64_t CreateTime(const Stat &file) {
   if constexpr (requires { file.st_birthtimespec; }) {
      return Nanoseconds(file.st_birthtimespec);
   } else {
      return kNoTime;
   }
}

template <class Value>
void Store(Value *target, Value value) {
   if (target != nullptr) {
      *target = value;
   }
}

bool CreateHierarchy(std::string path) {
   for (size_t end = path.find('/', 1); end != std::string::npos; end = path.find('/', end + 1)) {
      path[end] = '\0';
      const bool there = mkdir(path.c_str(), 0700) == 0 || IsFolder(path.c_str());
      path[end] = '/';
      if (!there) {
         return false;
      }
   }
   return mkdir(path.c_str(), 0700) == 0 || IsFolder(path.c_str());
}

} // namespace

void File_GetPathName(const char *path, char **outFolder, char **outName) {
   const std::string_view whole(path);
   const size_t slash = whole.rfind('/');
   const bool bare = slash == std::string_view::npos;
   const size_t folderLength = bare ? 0 : slash == 0 ? 1 : slash;
   HeapText folder(outFolder != nullptr ? HeapCopy(whole.substr(0, folderLength)) : HeapText());
   HeapText name(outName != nullptr ? HeapCopy(bare ? whole : whole.substr(slash + 1)) : HeapText());
   Store(outFolder, folder.release());
   Store(outName, name.release());
}

char *File_PathJoin(const char *folder, const char *name) {
   const size_t length = std::strlen(folder);
   const bool joined = length == 0 || folder[length - 1] == '/';
   return Str_SafeAsprintf(nullptr, "%s%s%s", folder, joined ? "" : "/", name);
}

int File_CreateDirectoryHierarchy(const char *path, int /*reserved*/) {
   try {
      return IsFolder(path) || CreateHierarchy(path) ? 1 : 0;
   } catch (const std::bad_alloc &) {
      errno = ENOMEM;
      return 0;
   }
}

int File_ListDirectory(const char *folder, char ***outNames) {
   *outNames = nullptr;
   DIR *const entries = opendir(folder); // close-on-exec by itself
   if (entries == nullptr) {
      return -1;
   }
   DynBuf names;
   DynBuf_Init(&names);
   int count = 0;
   int error = 0;
   for (;;) {
      errno = 0;
      const dirent *const entry = readdir(entries);
      if (entry == nullptr) {
         error = errno;
         break;
      }
      const std::string_view name(entry->d_name);
      if (name == "." || name == "..") {
         continue;
      }
      char *const copy = strdup(entry->d_name);
      if (copy == nullptr || DynBuf_Append(&names, &copy, sizeof copy) == 0) {
         std::free(copy);
         error = ENOMEM;
         break;
      }
      ++count;
   }
   closedir(entries);
   *outNames = static_cast<char **>(DynBuf_Detach(&names));
   if (error != 0) {
      File_FreeNames(*outNames, count);
      *outNames = nullptr;
      errno = error;
      return -1;
   }
   return count;
}

void File_FreeNames(char **names, int count) {
   for (int at = 0; at < count; ++at) {
      std::free(names[at]);
   }
   std::free(names);
}

int File_GetTimes(const char *path, int64_t *outCreate, int64_t *outAccess, int64_t *outWrite, uint32_t *outAttr) {
   struct stat file {};
   const bool read = lstat(path, &file) == 0;
   Store(outCreate, read ? CreateTime(file) : kNoTime);
   Store(outAccess, read ? AccessTime(file) : kNoTime);
   Store(outWrite, read ? WriteTime(file) : kNoTime);
   Store(outAttr, read ? static_cast<uint32_t>(file.st_mode) : 0U);
   return read ? 1 : 0;
}

int File_Unlink(const char *path) {
   return unlink(path);
}
