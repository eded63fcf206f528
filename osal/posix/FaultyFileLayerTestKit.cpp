#include "osal/posix/FaultyFileLayerTestKit.h"

#include <sys/file.h>

#include <algorithm>
#include <cerrno>
#include <utility>

namespace osal {

void FaultyFileLayer::FailAt(int n, int error, Length length) {
   Reset();
   mAt = n;
   mError = error;
   mLength = length;
}

void FaultyFileLayer::At(int n, std::function<void()> action) {
   Reset();
   mAt = n;
   mAction = std::move(action);
}

void FaultyFileLayer::Reset() {
   mCalls = 0;
   mAt = 0;
   mError = 0;
   mAction = nullptr;
}

bool FaultyFileLayer::Fails(const char *name, const char *path, const char *otherPath) {
   if (mRecord != nullptr) {
      const auto nameOf = [](const char *whole) {
         return whole != nullptr ? " " + std::string(whole).substr(std::string(whole).rfind('/') + 1) : std::string();
      };
      mRecord->push_back(name + nameOf(path) + nameOf(otherPath));
   }
   const int call = ++mCalls;
   if (mAt == 0 || call < mAt || (call > mAt && mLength == Length::Once)) {
      return false;
   }
   if (mAction && call == mAt) {
      mAction();
   }
   errno = mError;
   return mError != 0;
}

int FaultyFileLayer::stat(const char *path, struct ::stat *out) {
   return Fails("stat", path) ? -1 : FileLayer::stat(path, out);
}
int FaultyFileLayer::lstat(const char *path, struct ::stat *out) {
   return Fails("lstat", path) ? -1 : FileLayer::lstat(path, out);
}
int FaultyFileLayer::fstat(int fd, struct ::stat *out) {
   return Fails("fstat") ? -1 : FileLayer::fstat(fd, out);
}
int FaultyFileLayer::open(const char *path, int flags, mode_t mode) {
   return Fails("open", path) ? -1 : FileLayer::open(path, flags, mode);
}

int FaultyFileLayer::close(int fd) {
   const bool fails = Fails("close");
   const int error = errno;
   const int result = FileLayer::close(fd);
   errno = error;
   return fails ? -1 : result;
}

ssize_t FaultyFileLayer::read(int fd, void *buffer, size_t size) {
   return Fails("read") ? -1 : FileLayer::read(fd, buffer, size);
}

ssize_t FaultyFileLayer::write(int fd, const void *buffer, size_t size) {
   // In small pieces, as a disk that is nearly full takes them.
   return Fails("write") ? -1 : FileLayer::write(fd, buffer, std::min<size_t>(size, 200));
}

int FaultyFileLayer::fchmod(int fd, mode_t mode) {
   return Fails("fchmod") ? -1 : FileLayer::fchmod(fd, mode);
}
int FaultyFileLayer::fsync(int fd) {
   return Fails("fsync") ? -1 : FileLayer::fsync(fd);
}

int FaultyFileLayer::flock(int fd, int operation) {
   const bool fails = Fails(operation == LOCK_UN ? "unlock" : "lock");
   const int error = errno;
   if (fails && operation != LOCK_UN) {
      return -1;
   }
   const int result = FileLayer::flock(fd, operation);
   if (fails) {
      errno = error;
   }
   return fails ? -1 : result;
}

int FaultyFileLayer::mkdir(const char *path, mode_t mode) {
   return Fails("mkdir", path) ? -1 : FileLayer::mkdir(path, mode);
}
int FaultyFileLayer::rename(const char *from, const char *to) {
   return Fails("rename", from, to) ? -1 : FileLayer::rename(from, to);
}
int FaultyFileLayer::unlink(const char *path) {
   return Fails("unlink", path) ? -1 : FileLayer::unlink(path);
}
ssize_t FaultyFileLayer::readlink(const char *path, char *buffer, size_t size) {
   return Fails("readlink", path) ? -1 : FileLayer::readlink(path, buffer, size);
}
int FaultyFileLayer::accessForWriting(const char *path) {
   return Fails("access", path) ? -1 : FileLayer::accessForWriting(path);
}

} // namespace osal
