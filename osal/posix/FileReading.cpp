#include "osal/posix/FileReading.h"

#include "osal/Interrupted.h"

#include <fcntl.h>

#include <cerrno>
#include <ctime>
#include <system_error>
#include <utility>

namespace osal {
namespace {

constexpr int64_t kNsPerSecond = 1'000'000'000;

int64_t Ns(const timespec &time) {
   return static_cast<int64_t>(time.tv_sec) * kNsPerSecond + time.tv_nsec;
}

std::string Megabytes(size_t bytes) {
   return std::to_string(bytes / (size_t{1} << 20)) + " MiB";
}

Status CheckKind(const struct ::stat &facts, size_t limit) {
   if (S_ISDIR(facts.st_mode)) {
      return Status::Error(EISDIR, "is a folder, not a file");
   }
   if (!S_ISREG(facts.st_mode)) {
      return Status::Error(EINVAL, "is a pipe, socket or device, not a plain file");
   }
   if (static_cast<uint64_t>(facts.st_size) > limit) {
      return Status::Error(EFBIG, "is larger than " + Megabytes(limit));
   }
   return Status::Ok();
}

/// Reads until the end. One byte of room more than the file had, so that a file that grows meanwhile is noticed.
Status ReadToEnd(FileLayer &layer, int fd, size_t expected, size_t limit, std::string *content) {
   std::string text(expected + 1, '\0');
   size_t length = 0;
   for (;;) {
      const ssize_t got = repeatInterrupted([&] { return layer.read(fd, text.data() + length, text.size() - length); });
      if (got < 0) {
         return SystemError(errno, "cannot be read");
      }
      if (got == 0) {
         break;
      }
      length += static_cast<size_t>(got);
      if (length > limit) {
         return Status::Error(EFBIG, "is larger than " + Megabytes(limit));
      }
      if (length == text.size()) {
         text.resize(text.size() * 2);
      }
   }
   text.resize(length);
   *content = std::move(text);
   return Status::Ok();
}

} // namespace

FileStamp StampOf(const struct ::stat &facts) {
#if defined(__APPLE__)
   const timespec &modified = facts.st_mtimespec;
   const timespec &changed = facts.st_ctimespec;
#else
   const timespec &modified = facts.st_mtim;
   const timespec &changed = facts.st_ctim;
#endif
   return {static_cast<uint64_t>(facts.st_dev),
           static_cast<uint64_t>(facts.st_ino),
           static_cast<int64_t>(facts.st_size),
           Ns(modified),
           Ns(changed),
           static_cast<uint32_t>(facts.st_mode),
           static_cast<uint64_t>(facts.st_nlink)};
}

int64_t FileTimeNowNs() {
   timespec now{};
#if defined(CLOCK_REALTIME_COARSE)
   clock_gettime(CLOCK_REALTIME_COARSE, &now);
#else
   clock_gettime(CLOCK_REALTIME, &now);
#endif
   return Ns(now);
}

Status ReadWholeFile(FileLayer &layer, const std::string &path, size_t limit, std::string *content, FileStamp *stamp,
                     std::unique_ptr<OpenFile> *keptOpen) {
   struct ::stat facts {};
   if (layer.stat(path.c_str(), &facts) != 0) {
      return SystemError(errno, "cannot be opened");
   }
   if (Status kind = CheckKind(facts, limit); !kind.ok()) {
      return kind;
   }
   auto file = std::make_unique<OpenFile>(layer);
   if (!file->Open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0)) {
      return SystemError(errno, "cannot be opened");
   }
   // Looked at again: the name may have been given to something else in between.
   if (layer.fstat(file->Fd(), &facts) != 0) {
      return SystemError(errno, "cannot be opened");
   }
   if (Status kind = CheckKind(facts, limit); !kind.ok()) {
      return kind;
   }
   if (Status status = ReadToEnd(layer, file->Fd(), static_cast<size_t>(facts.st_size), limit, content); !status.ok()) {
      return status;
   }
   *stamp = StampOf(facts);
   if (keptOpen != nullptr) {
      *keptOpen = std::move(file);
   }
   return Status::Ok();
}

Status SystemError(int error, const std::string &what) {
   return Status::Error(error, what + ": " + std::generic_category().message(error));
}

} // namespace osal
