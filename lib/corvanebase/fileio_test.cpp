#include "lib/corvanebase/corvanebase.h"
#include "tests/kit/ManualClock.h"
#include "tests/kit/TempDir.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <functional>
#include <gtest/gtest.h>
#include <string>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int kReadWrite = FILEIO_ACCESS_READ | FILEIO_ACCESS_WRITE;

class FileIO : public testing::Test {
protected:
   void SetUp() override { FileIO_Invalidate(&mFile); }
   void TearDown() override {
      if (FileIO_IsValid(&mFile)) {
         FileIO_Close(&mFile);
      }
   }
   int Open(const std::string &name, int access, int action) {
      return FileIO_Open(&mFile, (mDir / name).c_str(), access, action);
   }
   kit::TempDir mDir;
   FileIODescriptor mFile;
};

TEST_F(FileIO, InvalidDescriptorHoldsNoFile) {
   EXPECT_FALSE(FileIO_IsValid(&mFile));
   EXPECT_NE(FileIO_Close(&mFile), 0);
   EXPECT_EQ(FileIO_Write(&mFile, "a", 1, nullptr), FILEIO_ERROR);
   EXPECT_EQ(errno, EBADF);
   EXPECT_NE(FileIO_CloseAndUnlink(&mFile), 0);
}

TEST_F(FileIO, OpenWantsAFileThatExists) {
   EXPECT_EQ(Open("none", FILEIO_ACCESS_READ, FILEIO_OPEN), FILEIO_NOT_FOUND);
   EXPECT_FALSE(FileIO_IsValid(&mFile));
   EXPECT_EQ(errno, ENOENT);
   EXPECT_EQ(Open("none", kReadWrite, FILEIO_OPEN_EMPTY), FILEIO_NOT_FOUND);
   EXPECT_EQ(Open("none/below", kReadWrite, FILEIO_OPEN_CREATE), FILEIO_NOT_FOUND);
}

TEST_F(FileIO, OpenCreateKeepsTheContent) {
   kit::WriteFile(mDir / "a", "content");
   EXPECT_EQ(Open("a", kReadWrite, FILEIO_OPEN_CREATE), FILEIO_SUCCESS);
   EXPECT_TRUE(FileIO_IsValid(&mFile));
   EXPECT_EQ(FileIO_Seek(&mFile, 0, FILEIO_SEEK_END), 7);
}

TEST_F(FileIO, OpenEmptyAndCreateEmptyEmptyTheFile) {
   kit::WriteFile(mDir / "a", "content");
   EXPECT_EQ(Open("a", FILEIO_ACCESS_WRITE, FILEIO_OPEN_EMPTY), FILEIO_SUCCESS);
   FileIO_Close(&mFile);
   EXPECT_EQ(kit::ReadFile(mDir / "a"), "");
   kit::WriteFile(mDir / "a", "content");
   EXPECT_EQ(Open("a", FILEIO_ACCESS_WRITE, FILEIO_CREATE_EMPTY), FILEIO_SUCCESS);
   EXPECT_EQ(kit::ReadFile(mDir / "a"), "");
}

TEST_F(FileIO, CreateSafeWantsNoFile) {
   EXPECT_EQ(Open("a", FILEIO_ACCESS_WRITE, FILEIO_CREATE_SAFE), FILEIO_SUCCESS);
   FileIO_Close(&mFile);
   EXPECT_EQ(Open("a", FILEIO_ACCESS_WRITE, FILEIO_CREATE_SAFE), FILEIO_EXISTS);
}

TEST_F(FileIO, RefusesWhatMakesNoSense) {
   kit::WriteFile(mDir / "a", "content");
   EXPECT_EQ(Open("a", 0, FILEIO_OPEN), FILEIO_ERROR);
   EXPECT_EQ(errno, EINVAL);
   EXPECT_EQ(Open("a", FILEIO_ACCESS_READ, FILEIO_OPEN_EMPTY), FILEIO_ERROR);
   EXPECT_EQ(Open("a", FILEIO_ACCESS_READ, 5), FILEIO_ERROR);
   EXPECT_EQ(FileIO_Open(&mFile, nullptr, FILEIO_ACCESS_READ, FILEIO_OPEN), FILEIO_ERROR);
   EXPECT_EQ(kit::ReadFile(mDir / "a"), "content");
}

TEST_F(FileIO, NewFileIsPrivateOrHasTheGivenMode) {
   umask(0);
   struct stat file {};
   ASSERT_EQ(Open("a", kReadWrite, FILEIO_OPEN_CREATE), FILEIO_SUCCESS);
   ASSERT_EQ(fstat(mFile.posix, &file), 0);
   EXPECT_EQ(file.st_mode & 07777U, 0600U);
   FileIO_Close(&mFile);
   ASSERT_EQ(FileIO_CreateRetry(&mFile, (mDir / "b").c_str(), kReadWrite, FILEIO_OPEN_CREATE, 0640, 0), FILEIO_SUCCESS);
   ASSERT_EQ(fstat(mFile.posix, &file), 0);
   EXPECT_EQ(file.st_mode & 07777U, 0640U);
   FileIO_Close(&mFile);
   ASSERT_EQ(FileIO_CreateRetry(&mFile, (mDir / "c").c_str(), kReadWrite, FILEIO_OPEN_CREATE, 07777, 0),
             FILEIO_SUCCESS);
   ASSERT_EQ(fstat(mFile.posix, &file), 0);
   EXPECT_EQ(file.st_mode & 07777U, 0777U);
}

TEST_F(FileIO, IsClosedOnExecAndBlocksAsUsual) {
   ASSERT_EQ(Open("a", kReadWrite, FILEIO_OPEN_CREATE), FILEIO_SUCCESS);
   EXPECT_NE(fcntl(mFile.posix, F_GETFD) & FD_CLOEXEC, 0);
   EXPECT_EQ(fcntl(mFile.posix, F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(FileIO, NoFollowRefusesALinkAndNeverCreatesItsTarget) {
   ASSERT_EQ(symlink((mDir / "target").c_str(), (mDir / "link").c_str()), 0);
   EXPECT_EQ(Open("link", kReadWrite | FILEIO_ACCESS_NOFOLLOW, FILEIO_OPEN_CREATE), FILEIO_ERROR);
   EXPECT_EQ(errno, ELOOP);
   EXPECT_NE(access((mDir / "target").c_str(), F_OK), 0);
   EXPECT_EQ(Open("link", kReadWrite, FILEIO_OPEN_CREATE), FILEIO_SUCCESS);
   EXPECT_EQ(access((mDir / "target").c_str(), F_OK), 0);
}

TEST_F(FileIO, OpenDoesNotHangOnAFifo) {
   ASSERT_EQ(mkfifo((mDir / "fifo").c_str(), 0600), 0);
   EXPECT_EQ(Open("fifo", FILEIO_ACCESS_READ, FILEIO_OPEN), FILEIO_SUCCESS);
   FileIO_Close(&mFile);
   EXPECT_EQ(Open("fifo", FILEIO_ACCESS_WRITE, FILEIO_OPEN), FILEIO_ERROR);
   EXPECT_EQ(errno, ENXIO);
}

TEST_F(FileIO, SaysWhenTheDescriptorTableIsFullAndDoesNotTryAgain) {
   const kit::ManualClock clock;
   // While there is room; a sanitizer, too, then has what it needs descriptors for.
   ASSERT_EQ(FileIO_CreateRetry(&mFile, (mDir / "a").c_str(), kReadWrite, FILEIO_OPEN_CREATE, 0600, 2000),
             FILEIO_SUCCESS);
   FileIO_Close(&mFile);
   const uint64_t before = clock.monotonicNs();
   rlimit limit{};
   getrlimit(RLIMIT_NOFILE, &limit);
   const rlimit small{3, limit.rlim_max};
   setrlimit(RLIMIT_NOFILE, &small);
   const int result = FileIO_CreateRetry(&mFile, (mDir / "a").c_str(), kReadWrite, FILEIO_OPEN_CREATE, 0600, 2000);
   const int error = errno;
   setrlimit(RLIMIT_NOFILE, &limit);
   EXPECT_EQ(result, FILEIO_TOO_MANY_OPEN);
   EXPECT_EQ(error, EMFILE);
   EXPECT_EQ(clock.monotonicNs(), before);
}

// While a program runs its file is busy for writers, which passes by itself.
class BusyFile : public FileIO {
protected:
   void SetUp() override {
      FileIO::SetUp();
      std::string program = kit::ReadFile("/bin/sleep");
      ASSERT_FALSE(program.empty());
      kit::WriteFile(mPath, program);
      ASSERT_EQ(chmod(mPath.c_str(), 0700), 0);
      std::array<int, 2> pipe{};
      ASSERT_EQ(pipe2(pipe.data(), O_CLOEXEC), 0);
      mChild = fork();
      if (mChild == 0) {
         execl(mPath.c_str(), "sleep", "60", nullptr);
         _exit(1);
      }
      // The child's copy of the pipe is closed at the moment when the program runs.
      close(pipe[1]);
      char byte = 0;
      ASSERT_EQ(read(pipe[0], &byte, 1), 0);
      close(pipe[0]);
   }
   void TearDown() override {
      EndProgram();
      FileIO::TearDown();
   }
   void EndProgram() {
      if (mChild > 0) {
         kill(mChild, SIGKILL);
         waitpid(mChild, nullptr, 0);
         mChild = -1;
      }
   }
   const std::string mPath = mDir / "program";
   pid_t mChild = -1;
};

TEST_F(BusyFile, IsTriedAgainUntilTheTimeIsOver) {
   const kit::ManualClock clock;
   const uint64_t before = clock.monotonicNs();
   EXPECT_EQ(FileIO_CreateRetry(&mFile, mPath.c_str(), FILEIO_ACCESS_WRITE, FILEIO_OPEN, 0600, 2000), FILEIO_ERROR);
   EXPECT_EQ(errno, ETXTBSY);
   EXPECT_FALSE(FileIO_IsValid(&mFile));
   EXPECT_EQ(clock.monotonicNs() - before, 2'000'000'000U);
}

TEST_F(BusyFile, IsNotTriedAgainByAPlainOpen) {
   const kit::ManualClock clock;
   const uint64_t before = clock.monotonicNs();
   EXPECT_EQ(FileIO_Open(&mFile, mPath.c_str(), FILEIO_ACCESS_WRITE, FILEIO_OPEN), FILEIO_ERROR);
   EXPECT_EQ(clock.monotonicNs(), before);
}

// A clock whose third sleep sees the program end.
class EndingClock final : public osal::Clock {
public:
   explicit EndingClock(std::function<void()> onThirdSleep)
       : mOnThirdSleep(std::move(onThirdSleep)) {}
   uint64_t monotonicNs() const override { return mNow; }
   osal::WallTime wallTime() const override { return {}; }
   void sleepNs(uint64_t ns) override {
      mNow += ns;
      if (++mSleeps == 3) {
         mOnThirdSleep();
      }
   }
   int mSleeps = 0;

private:
   std::function<void()> mOnThirdSleep;
   uint64_t mNow = 0;
};

TEST_F(BusyFile, IsOpenedAsSoonAsItIsFree) {
   EndingClock clock([this] { EndProgram(); });
   const osal::ScopedClock inForce(clock);
   EXPECT_EQ(FileIO_CreateRetry(&mFile, mPath.c_str(), FILEIO_ACCESS_WRITE, FILEIO_OPEN, 0600, 2000), FILEIO_SUCCESS);
   EXPECT_EQ(clock.mSleeps, 3);
}

TEST_F(FileIO, ReadsUntilAllIsThereOrTheFileEnds) {
   kit::WriteFile(mDir / "a", "abcdef");
   ASSERT_EQ(Open("a", FILEIO_ACCESS_READ, FILEIO_OPEN), FILEIO_SUCCESS);
   std::array<char, 8> buffer{};
   size_t actual = 99;
   EXPECT_EQ(FileIO_Read(&mFile, buffer.data(), 4, &actual), FILEIO_SUCCESS);
   EXPECT_EQ(actual, 4U);
   EXPECT_EQ(FileIO_Read(&mFile, buffer.data(), 4, &actual), FILEIO_READ_EOF);
   EXPECT_EQ(actual, 2U);
   EXPECT_EQ(FileIO_Read(&mFile, buffer.data(), 4, &actual), FILEIO_READ_EOF);
   EXPECT_EQ(actual, 0U);
   EXPECT_EQ(FileIO_Read(&mFile, buffer.data(), 0, &actual), FILEIO_SUCCESS);
}

TEST_F(FileIO, ReportsAReadThatFails) {
   ASSERT_EQ(FileIO_Open(&mFile, mDir.Path().c_str(), FILEIO_ACCESS_READ, FILEIO_OPEN), FILEIO_SUCCESS);
   char byte = 0;
   size_t actual = 99;
   EXPECT_EQ(FileIO_Read(&mFile, &byte, 1, &actual), FILEIO_ERROR);
   EXPECT_EQ(errno, EISDIR);
   EXPECT_EQ(actual, 0U);
}

TEST_F(FileIO, WritesSeeksTruncatesAndSyncs) {
   ASSERT_EQ(Open("a", kReadWrite, FILEIO_OPEN_CREATE), FILEIO_SUCCESS);
   size_t actual = 0;
   EXPECT_EQ(FileIO_Write(&mFile, "abcdef", 6, &actual), FILEIO_SUCCESS);
   EXPECT_EQ(actual, 6U);
   EXPECT_TRUE(FileIO_Truncate(&mFile, 3));
   EXPECT_EQ(FileIO_Seek(&mFile, -1, FILEIO_SEEK_END), 2);
   EXPECT_EQ(FileIO_Seek(&mFile, 1, FILEIO_SEEK_CURRENT), 3);
   EXPECT_EQ(FileIO_Seek(&mFile, 1, FILEIO_SEEK_BEGIN), 1);
   EXPECT_EQ(FileIO_Seek(&mFile, -5, FILEIO_SEEK_BEGIN), -1);
   EXPECT_EQ(FileIO_Seek(&mFile, 0, 3), -1);
   EXPECT_EQ(FileIO_Sync(&mFile), 0);
   EXPECT_EQ(kit::ReadFile(mDir / "a"), "abc");
}

TEST_F(FileIO, ReportsAFullDisk) {
   ASSERT_EQ(FileIO_Open(&mFile, "/dev/full", FILEIO_ACCESS_WRITE, FILEIO_OPEN), FILEIO_SUCCESS);
   size_t actual = 99;
   EXPECT_EQ(FileIO_Write(&mFile, "abc", 3, &actual), FILEIO_NO_SPACE);
   EXPECT_EQ(actual, 0U);
   EXPECT_EQ(errno, ENOSPC);
   EXPECT_FALSE(FileIO_Truncate(&mFile, 0));
   EXPECT_NE(FileIO_Sync(&mFile), 0);
}

TEST_F(FileIO, ShortWriteIsASuccessWithItsCount) {
   std::signal(SIGXFSZ, SIG_IGN);
   ASSERT_EQ(Open("a", kReadWrite, FILEIO_OPEN_CREATE), FILEIO_SUCCESS);
   rlimit limit{};
   getrlimit(RLIMIT_FSIZE, &limit);
   const rlimit small{4, limit.rlim_max};
   setrlimit(RLIMIT_FSIZE, &small);
   size_t actual = 0;
   EXPECT_EQ(FileIO_Write(&mFile, "abcdef", 6, &actual), FILEIO_SUCCESS);
   EXPECT_EQ(actual, 4U);
   EXPECT_EQ(FileIO_Write(&mFile, "abcdef", 6, &actual), FILEIO_ERROR);
   EXPECT_EQ(errno, EFBIG);
   EXPECT_EQ(actual, 0U);
   setrlimit(RLIMIT_FSIZE, &limit);
}

TEST_F(FileIO, CloseAndUnlinkRemovesItsOwnFile) {
   ASSERT_EQ(Open("a", kReadWrite, FILEIO_OPEN_CREATE), FILEIO_SUCCESS);
   EXPECT_EQ(FileIO_CloseAndUnlink(&mFile), 0);
   EXPECT_FALSE(FileIO_IsValid(&mFile));
   EXPECT_NE(access((mDir / "a").c_str(), F_OK), 0);
}

TEST_F(FileIO, CloseAndUnlinkLeavesAnotherFileOfTheName) {
   ASSERT_EQ(Open("a", kReadWrite, FILEIO_OPEN_CREATE), FILEIO_SUCCESS);
   ASSERT_EQ(rename((mDir / "a").c_str(), (mDir / "b").c_str()), 0);
   kit::WriteFile(mDir / "a", "another");
   EXPECT_EQ(FileIO_CloseAndUnlink(&mFile), 0);
   EXPECT_EQ(kit::ReadFile(mDir / "a"), "another");
   EXPECT_EQ(access((mDir / "b").c_str(), F_OK), 0);
}

TEST(FileIOErrorEnglish, HasATextForEveryStatus) {
   EXPECT_STREQ(FileIO_ErrorEnglish(FILEIO_SUCCESS), "Success");
   EXPECT_STREQ(FileIO_ErrorEnglish(FILEIO_ERROR), "Input/output error");
   EXPECT_STREQ(FileIO_ErrorEnglish(FILEIO_NOT_FOUND), "File not found");
   EXPECT_STREQ(FileIO_ErrorEnglish(FILEIO_NO_PERMISSION), "Permission denied");
   EXPECT_STREQ(FileIO_ErrorEnglish(FILEIO_READ_EOF), "End of file");
   EXPECT_STREQ(FileIO_ErrorEnglish(FILEIO_EXISTS), "File already exists");
   EXPECT_STREQ(FileIO_ErrorEnglish(FILEIO_NO_SPACE), "No space left");
   EXPECT_STREQ(FileIO_ErrorEnglish(FILEIO_TOO_MANY_OPEN), "Too many open files");
   EXPECT_STREQ(FileIO_ErrorEnglish(1), "Unknown error");
   EXPECT_STREQ(FileIO_ErrorEnglish(-1), "Unknown error");
}

} // namespace
