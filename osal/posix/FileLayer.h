#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>

namespace osal {

/// The system calls on files that this folder's classes make, one method each, with the system's own meaning: -1 and
/// errno on failure.
///
/// A layer of its own so that tests can let the n-th call fail, or end the process there. Owner: `system()` lives for
/// the whole process; a test owns its own. Threads: any thread. Locks: none. Life cycle: no state.
class FileLayer {
public:
   virtual ~FileLayer() = default;

   virtual int stat(const char *path, struct ::stat *out);
   virtual int lstat(const char *path, struct ::stat *out);
   virtual int fstat(int fd, struct ::stat *out);
   virtual int open(const char *path, int flags, mode_t mode);
   virtual int close(int fd);
   virtual ssize_t read(int fd, void *buffer, size_t size);
   virtual ssize_t write(int fd, const void *buffer, size_t size);
   virtual int fchmod(int fd, mode_t mode);
   virtual int fsync(int fd);
   virtual int flock(int fd, int operation);
   virtual int mkdir(const char *path, mode_t mode);
   virtual int rename(const char *from, const char *to);
   virtual int unlink(const char *path);
   virtual ssize_t readlink(const char *path, char *buffer, size_t size);
   /// Whether the process may write to the file, by its effective user.
   virtual int accessForWriting(const char *path);

   [[nodiscard]] static FileLayer &system();
};

/// An open file, closed at the end of its life. Owner: the function that opened it.
///
/// On the heap it is made before the file is opened: memory that lacks for it then leaves no descriptor behind.
class OpenFile {
public:
   explicit OpenFile(FileLayer &layer, int fd = -1)
       : mLayer(layer)
       , mFd(fd) {}
   ~OpenFile() { Close(); }
   OpenFile(const OpenFile &) = delete;
   OpenFile &operator=(const OpenFile &) = delete;

   /// Opens a file in one that is not open; false with errno set when it cannot.
   [[nodiscard]] bool Open(const char *path, int flags, mode_t mode) {
      mFd = mLayer.open(path, flags, mode);
      return IsOpen();
   }
   [[nodiscard]] int Fd() const { return mFd; }
   [[nodiscard]] bool IsOpen() const { return mFd >= 0; }
   /// Closes now; the result is close's own, 0 when it was not open.
   int Close();

private:
   FileLayer &mLayer;
   int mFd;
};

} // namespace osal
