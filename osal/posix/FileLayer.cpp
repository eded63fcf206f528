#include "osal/posix/FileLayer.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cstdio>
#include <utility>

namespace osal {

int FileLayer::stat(const char *path, struct ::stat *out) {
   return ::stat(path, out);
}
int FileLayer::lstat(const char *path, struct ::stat *out) {
   return ::lstat(path, out);
}
int FileLayer::fstat(int fd, struct ::stat *out) {
   return ::fstat(fd, out);
}
int FileLayer::open(const char *path, int flags, mode_t mode) {
   return ::open(path, flags, mode);
}
int FileLayer::close(int fd) {
   return ::close(fd);
}
ssize_t FileLayer::read(int fd, void *buffer, size_t size) {
   return ::read(fd, buffer, size);
}
ssize_t FileLayer::write(int fd, const void *buffer, size_t size) {
   return ::write(fd, buffer, size);
}
int FileLayer::fchmod(int fd, mode_t mode) {
   return ::fchmod(fd, mode);
}
int FileLayer::fsync(int fd) {
   return ::fsync(fd);
}
int FileLayer::flock(int fd, int operation) {
   return ::flock(fd, operation);
}
int FileLayer::mkdir(const char *path, mode_t mode) {
   return ::mkdir(path, mode);
}
int FileLayer::rename(const char *from, const char *to) {
   return std::rename(from, to);
}
int FileLayer::unlink(const char *path) {
   return ::unlink(path);
}
ssize_t FileLayer::readlink(const char *path, char *buffer, size_t size) {
   return ::readlink(path, buffer, size);
}
int FileLayer::accessForWriting(const char *path) {
   return ::faccessat(AT_FDCWD, path, W_OK, AT_EACCESS);
}

FileLayer &FileLayer::system() {
   static FileLayer *const layer = new FileLayer;
   return *layer;
}

int OpenFile::Close() {
   const int fd = std::exchange(mFd, -1);
   return fd >= 0 ? mLayer.close(fd) : 0;
}

} // namespace osal
