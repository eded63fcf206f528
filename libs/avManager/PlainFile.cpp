#include "libs/avManager/PlainFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace {

constexpr int kSafely = O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY;
constexpr mode_t kOwnerOnly = S_IRUSR | S_IWUSR;

bool IsPlain(int fd, struct stat *status) {
   if (fstat(fd, status) != 0) {
      return false;
   }
   errno = S_ISDIR(status->st_mode) ? EISDIR : EINVAL;
   return S_ISREG(status->st_mode);
}

// Emptied only now that it is known to be ours.
bool MakeOurs(int fd, const struct stat &status) {
   errno = EPERM;
   return status.st_uid == geteuid() && fchmod(fd, kOwnerOnly) == 0 && ftruncate(fd, 0) == 0;
}

PlainFile Stream(int fd, const char *mode) {
   PlainFile file(fdopen(fd, mode));
   if (file != nullptr) {
      (void)std::setvbuf(file.get(), nullptr, _IONBF, 0);
   }
   return file;
}

void CloseKeepingErrno(int fd) {
   const int error = errno;
   (void)close(fd);
   errno = error;
}

} // namespace

PlainFile OpenPlainFileForReading(const std::string &path) {
   const int fd = open(path.c_str(), O_RDONLY | kSafely);
   if (fd < 0) {
      return nullptr;
   }
   struct stat status {};
   PlainFile file = IsPlain(fd, &status) ? Stream(fd, "rb") : nullptr;
   if (file == nullptr) {
      CloseKeepingErrno(fd);
   }
   return file;
}

PlainFile OpenPlainFileForWriting(const std::string &path) {
   const int fd = open(path.c_str(), O_WRONLY | O_CREAT | kSafely, kOwnerOnly);
   if (fd < 0) {
      return nullptr;
   }
   struct stat status {};
   PlainFile file = IsPlain(fd, &status) && MakeOurs(fd, status) ? Stream(fd, "wb") : nullptr;
   if (file == nullptr) {
      CloseKeepingErrno(fd);
   }
   return file;
}
