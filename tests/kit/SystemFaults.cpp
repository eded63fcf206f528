#include "tests/kit/SystemFaults.h"

#include <atomic>
#include <cerrno>
#include <cstdarg>
#include <cstring>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>

// The linker sends the calls of every object of the program here (--wrap), and the real functions are __real_... Files
// of any size have the names of the 64-bit interface.
extern "C" {
int __real_open64(const char *path, int flags, ...);
int __real_close(int fd);
ssize_t __real_read(int fd, void *buffer, size_t size);
ssize_t __real_write(int fd, const void *buffer, size_t size);
int __real_fsync(int fd);
int __real_ftruncate64(int fd, off_t size);
off_t __real_lseek64(int fd, off_t offset, int whence);
int __real_fcntl64(int fd, int command, ...);
int __real_stat64(const char *path, struct stat *out);
int __real_lstat64(const char *path, struct stat *out);
int __real_fstat64(int fd, struct stat *out);
int __real_fchmod(int fd, mode_t mode);
int __real_flock(int fd, int operation);
int __real_mkdir(const char *path, mode_t mode);
int __real_rename(const char *from, const char *to);
int __real_unlink(const char *path);
ssize_t __real_readlink(const char *path, char *buffer, size_t size);
int __real_faccessat(int folder, const char *path, int mode, int flags);
DIR *__real_opendir(const char *path);
dirent *__real_readdir64(DIR *folder);
int __real_clock_gettime(clockid_t clock, timespec *out);
tm *__real_gmtime_r(const time_t *time, tm *out);
tm *__real_localtime_r(const time_t *time, tm *out);
}

namespace {

constinit std::atomic<int> gError{0};
constinit std::atomic<bool> gShortWrite{false};
constinit std::atomic<const char *> gLastStruck{""};
constinit std::atomic<kit::SystemCallWatch *> gWatch{nullptr};

bool Strikes(const char *call) {
   if (!kit::Strikes(kit::Fault::SystemCall)) {
      return false;
   }
   gLastStruck.store(call);
   errno = gError.load();
   return true;
}

// Whether the call fails with an error; a fault that shortens writes leaves all other calls alone.
bool Fails(const char *call) {
   return !gShortWrite.load() && Strikes(call);
}

void Announce(const char *call, const char *path) {
   if (kit::SystemCallWatch *const watch = gWatch.load()) {
      const int error = errno;
      watch->Before(call, path);
      errno = error;
   }
}

// The size of the file that a name is about to lose, or -1.
off_t SizeOf(const char *path) {
   struct stat file {};
   return gWatch.load() != nullptr && __real_lstat64(path, &file) == 0 && S_ISREG(file.st_mode) ? file.st_size : -1;
}

void TellRemoved(const char *path, off_t size) {
   if (kit::SystemCallWatch *const watch = gWatch.load(); watch != nullptr && size >= 0) {
      const int error = errno;
      watch->Removed(path, static_cast<uint64_t>(size));
      errno = error;
   }
}

} // namespace

extern "C" {
int __wrap_open64(const char *path, int flags, ...) {
   va_list args;
   va_start(args, flags);
   const mode_t mode = (flags & O_CREAT) != 0 ? va_arg(args, mode_t) : 0;
   va_end(args);
   if (Fails("open")) {
      return -1;
   }
   Announce("open", path);
   return __real_open64(path, flags, mode);
}
int __wrap_close(int fd) {
   const bool fails = Fails("close");
   const int error = errno;
   const int result = __real_close(fd);
   if (fails) {
      errno = error;
   }
   return fails ? -1 : result;
}
ssize_t __wrap_read(int fd, void *buffer, size_t size) {
   return Fails("read") ? -1 : __real_read(fd, buffer, size);
}
ssize_t __wrap_write(int fd, const void *buffer, size_t size) {
   const bool isShort = gShortWrite.load() && size >= 2 && Strikes("short write");
   const ssize_t taken = !isShort && Fails("write") ? -1 : __real_write(fd, buffer, isShort ? size / 2 : size);
   if (kit::SystemCallWatch *const watch = gWatch.load()) {
      const int error = errno;
      watch->Wrote(fd, static_cast<const char *>(buffer), size, taken);
      errno = error;
   }
   return taken;
}
int __wrap_fsync(int fd) {
   return Fails("fsync") ? -1 : __real_fsync(fd);
}
int __wrap_ftruncate64(int fd, off_t size) {
   return Fails("ftruncate") ? -1 : __real_ftruncate64(fd, size);
}
off_t __wrap_lseek64(int fd, off_t offset, int whence) {
   return Fails("lseek") ? -1 : __real_lseek64(fd, offset, whence);
}
int __wrap_fcntl64(int fd, int command, ...) {
   va_list args;
   va_start(args, command);
   const long argument = va_arg(args, long); // what the commands in use take, or nothing that is looked at
   va_end(args);
   return Fails("fcntl") ? -1 : __real_fcntl64(fd, command, argument);
}
int __wrap_stat64(const char *path, struct stat *out) {
   if (Fails("stat")) {
      return -1;
   }
   Announce("stat", path);
   return __real_stat64(path, out);
}
int __wrap_lstat64(const char *path, struct stat *out) {
   if (Fails("lstat")) {
      return -1;
   }
   Announce("lstat", path);
   return __real_lstat64(path, out);
}
int __wrap_fstat64(int fd, struct stat *out) {
   return Fails("fstat") ? -1 : __real_fstat64(fd, out);
}
int __wrap_fchmod(int fd, mode_t mode) {
   return Fails("fchmod") ? -1 : __real_fchmod(fd, mode);
}
int __wrap_flock(int fd, int operation) {
   const bool fails = Fails("flock");
   const int error = errno;
   if (fails && operation != LOCK_UN) {
      return -1;
   }
   const int result = __real_flock(fd, operation);
   if (fails) {
      errno = error;
   }
   return fails ? -1 : result;
}
int __wrap_mkdir(const char *path, mode_t mode) {
   return Fails("mkdir") ? -1 : __real_mkdir(path, mode);
}
int __wrap_rename(const char *from, const char *to) {
   if (Fails("rename")) {
      return -1;
   }
   Announce("rename", from);
   const off_t overwritten = SizeOf(to);
   const int result = __real_rename(from, to);
   if (result == 0) {
      TellRemoved(to, overwritten);
   }
   return result;
}
int __wrap_unlink(const char *path) {
   if (Fails("unlink")) {
      return -1;
   }
   Announce("unlink", path);
   const off_t size = SizeOf(path);
   const int result = __real_unlink(path);
   if (result == 0) {
      TellRemoved(path, size);
   }
   return result;
}
ssize_t __wrap_readlink(const char *path, char *buffer, size_t size) {
   return Fails("readlink") ? -1 : __real_readlink(path, buffer, size);
}
int __wrap_faccessat(int folder, const char *path, int mode, int flags) {
   return Fails("faccessat") ? -1 : __real_faccessat(folder, path, mode, flags);
}
DIR *__wrap_opendir(const char *path) {
   return Fails("opendir") ? nullptr : __real_opendir(path);
}
dirent *__wrap_readdir64(DIR *folder) {
   return Fails("readdir") ? nullptr : __real_readdir64(folder);
}
int __wrap_clock_gettime(clockid_t clock, timespec *out) {
   if (kit::Strikes(kit::Fault::Clock)) {
      errno = EINVAL;
      return -1;
   }
   return __real_clock_gettime(clock, out);
}
tm *__wrap_gmtime_r(const time_t *time, tm *out) {
   if (kit::Strikes(kit::Fault::Clock)) {
      errno = EOVERFLOW;
      return nullptr;
   }
   return __real_gmtime_r(time, out);
}
tm *__wrap_localtime_r(const time_t *time, tm *out) {
   if (kit::Strikes(kit::Fault::Clock)) {
      errno = EOVERFLOW;
      return nullptr;
   }
   return __real_localtime_r(time, out);
}
}

namespace kit {

FailSystemCall::FailSystemCall(uint64_t nth, SystemFault fault, Repeat repeat)
    : mFault((gError.store(fault.error), gShortWrite.store(fault.shortWrite), Fault::SystemCall), nth, repeat) {}

FailSystemCall::~FailSystemCall() {
   mFault.Disarm();
   gShortWrite.store(false);
}

const char *FailSystemCall::LastStruck() {
   return gLastStruck.load();
}

SystemCallWatch::SystemCallWatch()
    : mFormer(gWatch.exchange(this)) {}

SystemCallWatch::~SystemCallWatch() {
   gWatch.store(mFormer);
}

} // namespace kit
