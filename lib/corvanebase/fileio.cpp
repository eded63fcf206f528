#include "lib/corvanebase/corvanebase.h"

#include "osal/Clock.h"
#include "osal/Interrupted.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

constexpr int kPrivateMode = 0600;
constexpr uint64_t kNsPerMs = 1'000'000;
constexpr uint64_t kFirstPauseNs = kNsPerMs;
constexpr uint64_t kLongestPauseNs = 100 * kNsPerMs;

int StatusOf(int error) {
   switch (error) {
   case ENOENT:
   case ENOTDIR:
      return FILEIO_NOT_FOUND;
   case EACCES:
   case EPERM:
   case EROFS:
      return FILEIO_NO_PERMISSION;
   case EEXIST:
      return FILEIO_EXISTS;
   case ENOSPC:
   case EDQUOT:
      return FILEIO_NO_SPACE;
   case EMFILE:
   case ENFILE:
      return FILEIO_TOO_MANY_OPEN;
   default:
      return FILEIO_ERROR;
   }
}

int Fail(int error) {
   errno = error;
   return StatusOf(error);
}

bool PassesByItself(int error) {
   return error == EINTR || error == EBUSY || error == ETXTBSY || error == ESTALE || error == EAGAIN;
}

// The flags of open(2), or -1 for a combination that makes no sense.
int OpenFlags(int access, int action) {
   int flags = O_CLOEXEC | O_NOCTTY;
   switch (access & (FILEIO_ACCESS_READ | FILEIO_ACCESS_WRITE)) {
   case FILEIO_ACCESS_READ:
      flags |= O_RDONLY;
      break;
   case FILEIO_ACCESS_WRITE:
      flags |= O_WRONLY;
      break;
   case FILEIO_ACCESS_READ | FILEIO_ACCESS_WRITE:
      flags |= O_RDWR;
      break;
   default:
      return -1;
   }
   if ((access & FILEIO_ACCESS_NOFOLLOW) != 0) {
      flags |= O_NOFOLLOW;
   }
   const bool empties = action == FILEIO_OPEN_EMPTY || action == FILEIO_CREATE_EMPTY;
   if (empties && (access & FILEIO_ACCESS_WRITE) == 0) {
      return -1;
   }
   switch (action) {
   case FILEIO_OPEN:
      return flags;
   case FILEIO_OPEN_EMPTY:
      return flags | O_TRUNC;
   case FILEIO_OPEN_CREATE:
      return flags | O_CREAT;
   case FILEIO_CREATE_SAFE:
      return flags | O_CREAT | O_EXCL;
   case FILEIO_CREATE_EMPTY:
      return flags | O_CREAT | O_TRUNC;
   default:
      return -1;
   }
}

// One try. The open itself never waits, not even for the other end of a FIFO; a plain file then blocks as usual.
int OpenOnce(FileIODescriptor *descriptor, const char *path, int flags, int mode) {
   const int opened = open(path, flags | O_NONBLOCK, static_cast<mode_t>(mode & 0777));
   if (opened < 0) {
      return StatusOf(errno);
   }
   struct stat file {};
   const int status = fcntl(opened, F_GETFL);
   if (fstat(opened, &file) == 0 && S_ISREG(file.st_mode) && status != -1) {
      fcntl(opened, F_SETFL, status & ~O_NONBLOCK);
   }
   descriptor->path = strdup(path);
   if (descriptor->path == nullptr) {
      close(opened);
      return Fail(ENOMEM);
   }
   descriptor->posix = opened;
   return FILEIO_SUCCESS;
}

void Store(size_t *outActual, size_t actual) {
   if (outActual != nullptr) {
      *outActual = actual;
   }
}

bool SameFile(const struct stat &left, const struct stat &right) {
   return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

} // namespace

void FileIO_Invalidate(FileIODescriptor *descriptor) {
   *descriptor = {-1, nullptr};
}

int FileIO_IsValid(const FileIODescriptor *descriptor) {
   return descriptor->posix >= 0 ? 1 : 0;
}

int FileIO_Open(FileIODescriptor *descriptor, const char *path, int access, int action) {
   return FileIO_CreateRetry(descriptor, path, access, action, kPrivateMode, 0);
}

int FileIO_CreateRetry(FileIODescriptor *descriptor, const char *path, int access, int action, int mode,
                       uint32_t retryMs) {
   FileIO_Invalidate(descriptor);
   const int flags = OpenFlags(access, action);
   if (path == nullptr || flags == -1) {
      return Fail(EINVAL);
   }
   osal::Clock &clock = osal::Clock::current();
   const uint64_t start = clock.monotonicNs();
   const uint64_t retryNs = retryMs * kNsPerMs;
   for (uint64_t pauseNs = kFirstPauseNs;; pauseNs = std::min(pauseNs * 2, kLongestPauseNs)) {
      const int result = OpenOnce(descriptor, path, flags, mode);
      if (result == FILEIO_SUCCESS || !PassesByItself(errno)) {
         return result;
      }
      const int error = errno;
      const uint64_t passedNs = clock.monotonicNs() - start;
      if (passedNs >= retryNs) {
         return Fail(error);
      }
      clock.sleepNs(std::min(pauseNs, retryNs - passedNs));
   }
}

int FileIO_Read(FileIODescriptor *descriptor, void *buffer, size_t size, size_t *outActual) {
   size_t got = 0;
   int result = FILEIO_SUCCESS;
   while (got < size) {
      const ssize_t count = osal::repeatInterrupted(
         [&] { return read(descriptor->posix, static_cast<char *>(buffer) + got, size - got); });
      if (count <= 0) {
         result = count == 0 ? static_cast<int>(FILEIO_READ_EOF) : StatusOf(errno);
         break;
      }
      got += static_cast<size_t>(count);
   }
   Store(outActual, got);
   return result;
}

int FileIO_Write(FileIODescriptor *descriptor, const void *buffer, size_t size, size_t *outActual) {
   const ssize_t count = osal::repeatInterrupted([&] { return write(descriptor->posix, buffer, size); });
   Store(outActual, count > 0 ? static_cast<size_t>(count) : 0);
   return count >= 0 ? static_cast<int>(FILEIO_SUCCESS) : StatusOf(errno);
}

int64_t FileIO_Seek(FileIODescriptor *descriptor, int64_t offset, int whence) {
   switch (whence) {
   case FILEIO_SEEK_BEGIN:
      return lseek(descriptor->posix, offset, SEEK_SET);
   case FILEIO_SEEK_CURRENT:
      return lseek(descriptor->posix, offset, SEEK_CUR);
   case FILEIO_SEEK_END:
      return lseek(descriptor->posix, offset, SEEK_END);
   default:
      errno = EINVAL;
      return -1;
   }
}

int FileIO_Truncate(FileIODescriptor *descriptor, int64_t size) {
   return osal::repeatInterrupted([&] { return ftruncate(descriptor->posix, size); }) == 0 ? 1 : 0;
}

int FileIO_Sync(FileIODescriptor *descriptor) {
   return osal::repeatInterrupted([&] { return fsync(descriptor->posix); });
}

int FileIO_Close(FileIODescriptor *descriptor) {
   // Never repeated: an interrupted close has released the number, and another thread may have it by now.
   const int result = close(descriptor->posix);
   const int error = errno;
   std::free(descriptor->path);
   FileIO_Invalidate(descriptor);
   errno = error;
   return result == 0 || error == EINTR ? 0 : -1;
}

int FileIO_CloseAndUnlink(FileIODescriptor *descriptor) {
   struct stat opened {};
   struct stat named {};
   int error = 0;
   // While the file is open its number cannot be given to another one, so that the comparison means something.
   if (FileIO_IsValid(descriptor) != 0 && fstat(descriptor->posix, &opened) == 0 &&
       lstat(descriptor->path, &named) == 0 && SameFile(opened, named) && unlink(descriptor->path) != 0) {
      error = errno;
   }
   const int closed = FileIO_Close(descriptor);
   if (error != 0) {
      errno = error;
      return -1;
   }
   return closed;
}

const char *FileIO_ErrorEnglish(int status) {
   switch (status) {
   case FILEIO_SUCCESS:
      return "Success";
   case FILEIO_ERROR:
      return "Input/output error";
   case FILEIO_NOT_FOUND:
      return "File not found";
   case FILEIO_NO_PERMISSION:
      return "Permission denied";
   case FILEIO_READ_EOF:
      return "End of file";
   case FILEIO_EXISTS:
      return "File already exists";
   case FILEIO_NO_SPACE:
      return "No space left";
   case FILEIO_TOO_MANY_OPEN:
      return "Too many open files";
   default:
      return "Unknown error";
   }
}
