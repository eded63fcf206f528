#include "osal/posix/SettingsFile.h"

#include "osal/Clock.h"
#include "osal/Interrupted.h"
#include "osal/posix/FileReading.h"

#include <fcntl.h>
#include <limits.h>
#include <sys/file.h>

#include <cerrno>
#include <string_view>
#include <utility>

namespace osal {
namespace {

constexpr int kMaximumLinks = 40;
constexpr int kOlderDamaged = 9;
constexpr uint64_t kLockPollNs = 1'000'000;
constexpr mode_t kFileMode = 0600;
constexpr mode_t kFolderMode = 0700;

std::string FolderOf(const std::string &path) {
   const size_t slash = path.rfind('/');
   return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

std::string OlderDamaged(const std::string &target, int n) {
   return target + (n == 0 ? ".damaged" : ".damaged." + std::to_string(n));
}

} // namespace

SettingsLock::~SettingsLock() {
   // Closing alone would leave the lock with a child that was forked while it was held.
   static_cast<void>(mLayer.flock(mFile->Fd(), LOCK_UN));
}

Status SettingsFile::Resolve(std::string *target) const {
   std::string path = mPath;
   for (int i = 0; i < kMaximumLinks; ++i) {
      char link[PATH_MAX];
      const ssize_t length = mLayer.readlink(path.c_str(), link, sizeof(link));
      if (length < 0 && (errno == EINVAL || errno == ENOENT)) {
         *target = std::move(path);
         return Status::Ok();
      }
      if (length < 0) {
         return SystemError(errno, path + " cannot be looked at");
      }
      const std::string_view to(link, static_cast<size_t>(length));
      path = to.front() == '/' ? "" : FolderOf(path) + "/";
      path += to;
   }
   return SystemError(ELOOP, mPath + " cannot be followed");
}

bool SettingsFile::Exists(const std::string &path) const {
   struct ::stat facts {};
   return mLayer.lstat(path.c_str(), &facts) == 0;
}

Status SettingsFile::MakeFolders(const std::string &folder) const {
   struct ::stat facts {};
   if (mLayer.stat(folder.c_str(), &facts) == 0) {
      return S_ISDIR(facts.st_mode) ? Status::Ok() : SystemError(ENOTDIR, folder + " is no folder");
   }
   if (errno != ENOENT) {
      return SystemError(errno, "folder " + folder + " cannot be looked at");
   }
   if (const std::string parent = FolderOf(folder); parent != folder) {
      if (Status status = MakeFolders(parent); !status.ok()) {
         return status;
      }
   }
   if (mLayer.mkdir(folder.c_str(), kFolderMode) != 0 && errno != EEXIST) {
      return SystemError(errno, "folder " + folder + " cannot be made");
   }
   return Status::Ok();
}

Status SettingsFile::Lock(const std::string &target, uint64_t deadlineNs, std::unique_ptr<SettingsLock> *lock) const {
   if (Status status = MakeFolders(FolderOf(target)); !status.ok()) {
      return status;
   }
   const std::string path = target + ".lock";
   auto file = std::make_unique<OpenFile>(mLayer);
   if (!file->Open(path.c_str(), O_RDWR | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC, kFileMode)) {
      return SystemError(errno, path + " cannot be opened");
   }
   while (repeatInterrupted([&] { return mLayer.flock(file->Fd(), LOCK_EX | LOCK_NB); }) != 0) {
      const int error = errno;
      if (error != EWOULDBLOCK) {
         return SystemError(error, path + " cannot be locked");
      }
      if (Clock::current().monotonicNs() >= deadlineNs) {
         return Status::Error(EWOULDBLOCK, "another process has held " + path + " for 2 seconds");
      }
      Clock::current().sleepNs(kLockPollNs);
   }
   *lock = std::make_unique<SettingsLock>(mLayer, std::move(file));
   return Status::Ok();
}

Status SettingsFile::CheckWritable(const std::string &target) const {
   struct ::stat facts {};
   if (mLayer.stat(target.c_str(), &facts) != 0) {
      return errno == ENOENT ? Status::Ok() : SystemError(errno, target + " cannot be looked at");
   }
   // Asked of the mode too: a superuser may write everything, but who takes the permission away means it.
   if ((facts.st_mode & (S_IWUSR | S_IWGRP | S_IWOTH)) == 0 || mLayer.accessForWriting(target.c_str()) != 0) {
      return SystemError(EACCES, target + " is read-only");
   }
   return Status::Ok();
}

Status SettingsFile::WriteTemporary(const std::string &temporary, const std::string &content) const {
   OpenFile file(mLayer,
                 mLayer.open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, kFileMode));
   if (!file.IsOpen()) {
      return SystemError(errno, temporary + " cannot be made");
   }
   if (mLayer.fchmod(file.Fd(), kFileMode) != 0) {
      return SystemError(errno, temporary + " cannot be protected");
   }
   for (size_t done = 0; done < content.size();) {
      const ssize_t written =
         repeatInterrupted([&] { return mLayer.write(file.Fd(), content.data() + done, content.size() - done); });
      if (written <= 0) {
         return SystemError(written == 0 ? ENOSPC : errno, temporary + " cannot be written");
      }
      done += static_cast<size_t>(written);
   }
   if (mLayer.fsync(file.Fd()) != 0 || file.Close() != 0) {
      return SystemError(errno, temporary + " cannot be written");
   }
   return Status::Ok();
}

Status SettingsFile::Replace(const std::string &target, const std::string &content, Status *uncertain) const {
   const std::string temporary = target + ".tmp";
   if (mLayer.unlink(temporary.c_str()) != 0 && errno != ENOENT) {
      return SystemError(errno, temporary + " is in the way and cannot be removed");
   }
   // Opened first: once the new name is there, nothing may fail that could have been known before.
   const std::string folder = FolderOf(target);
   const OpenFile folderFile(mLayer, mLayer.open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC, 0));
   if (!folderFile.IsOpen()) {
      return SystemError(errno, "folder " + folder + " cannot be opened");
   }
   Status status = WriteTemporary(temporary, content);
   if (status.ok() && mLayer.rename(temporary.c_str(), target.c_str()) != 0) {
      status = SystemError(errno, target + " cannot be replaced");
   }
   if (!status.ok()) {
      static_cast<void>(mLayer.unlink(temporary.c_str()));
      return status;
   }
   *uncertain = Status::Ok();
   // Some file systems know no fsync of a folder.
   if (mLayer.fsync(folderFile.Fd()) != 0 && errno != EINVAL && errno != EROFS && errno != ENOTSUP) {
      *uncertain = SystemError(errno, target + " is written, but the disk did not confirm it");
   }
   return Status::Ok();
}

Status SettingsFile::MoveAside(const std::string &target) const {
   int gap = 0;
   while (gap < kOlderDamaged && Exists(OlderDamaged(target, gap))) {
      ++gap;
   }
   for (int n = gap; n > 0; --n) {
      if (mLayer.rename(OlderDamaged(target, n - 1).c_str(), OlderDamaged(target, n).c_str()) != 0) {
         return SystemError(errno, OlderDamaged(target, n - 1) + " cannot be renamed");
      }
   }
   if (mLayer.rename(target.c_str(), OlderDamaged(target, 0).c_str()) != 0) {
      return SystemError(errno, target + " cannot be renamed");
   }
   return Status::Ok();
}

} // namespace osal
