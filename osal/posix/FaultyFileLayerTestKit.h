#pragma once

#include "osal/posix/FileLayer.h"

#include <atomic>
#include <functional>
#include <string>
#include <vector>

namespace osal {

/// For tests: a file layer whose n-th call fails, once or from then on, or in whose n-th call something happens first.
///
/// Calls that only give back what is held (close, flock to unlock) are counted but do their work, and then report the
/// failure: a program can't do anything about theirs. Owner: the test. Threads: any thread once it is set up.
class FaultyFileLayer final : public FileLayer {
public:
   enum class Length { Once, FromThenOn };

   /// Lets call number `n`, from 1, fail with `error`. Counting starts anew.
   void FailAt(int n, int error, Length length);
   /// Runs `action` before call number `n`.
   void At(int n, std::function<void()> action);
   /// Lets everything through and counts from 0.
   void Reset();
   [[nodiscard]] int Calls() const { return mCalls.load(); }
   /// From now on keeps the calls as text, "rename FILE.tmp FILE", without the folder; one thread only.
   void Record(std::vector<std::string> *calls) { mRecord = calls; }

   int stat(const char *path, struct ::stat *out) override;
   int lstat(const char *path, struct ::stat *out) override;
   int fstat(int fd, struct ::stat *out) override;
   int open(const char *path, int flags, mode_t mode) override;
   int close(int fd) override;
   ssize_t read(int fd, void *buffer, size_t size) override;
   ssize_t write(int fd, const void *buffer, size_t size) override;
   int fchmod(int fd, mode_t mode) override;
   int fsync(int fd) override;
   int flock(int fd, int operation) override;
   int mkdir(const char *path, mode_t mode) override;
   int rename(const char *from, const char *to) override;
   int unlink(const char *path) override;
   ssize_t readlink(const char *path, char *buffer, size_t size) override;
   int accessForWriting(const char *path) override;

private:
   bool Fails(const char *name, const char *path = nullptr, const char *otherPath = nullptr);

   std::atomic<int> mCalls{0};
   int mAt = 0;
   int mError = 0;
   Length mLength = Length::Once;
   std::function<void()> mAction;
   std::vector<std::string> *mRecord = nullptr;
};

} // namespace osal
