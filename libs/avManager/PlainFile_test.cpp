#include "libs/avManager/PlainFile.h"

#include "tests/kit/TempDir.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>

namespace {

mode_t ModeOf(const std::string &path) {
   struct stat status {};
   EXPECT_EQ(stat(path.c_str(), &status), 0);
   return status.st_mode & 07777;
}

TEST(PlainFile, IsMadeForTheOwnerAloneWhateverTheUmask) {
   const kit::TempDir dir;
   for (const mode_t mask : {mode_t{0}, mode_t{0777}}) {
      const mode_t before = umask(mask);
      const std::string path = dir / ("masked" + std::to_string(mask));
      EXPECT_NE(OpenPlainFileForWriting(path), nullptr);
      umask(before);
      EXPECT_EQ(ModeOf(path), mode_t{0600});
   }
}

TEST(PlainFile, TakesReadingFromOthersWhenItEmptiesAFile) {
   const kit::TempDir dir;
   kit::WriteFile(dir / "open", "old content");
   ASSERT_EQ(chmod((dir / "open").c_str(), 0666), 0);
   EXPECT_NE(OpenPlainFileForWriting(dir / "open"), nullptr);
   EXPECT_EQ(ModeOf(dir / "open"), mode_t{0600});
   EXPECT_EQ(kit::ReadFile(dir / "open"), "");
}

TEST(PlainFile, FollowsNoLink) {
   const kit::TempDir dir;
   kit::WriteFile(dir / "target", "precious");
   ASSERT_EQ(symlink((dir / "target").c_str(), (dir / "link").c_str()), 0);
   ASSERT_EQ(symlink((dir / "nowhere").c_str(), (dir / "dangling").c_str()), 0);
   EXPECT_EQ(OpenPlainFileForReading(dir / "link"), nullptr);
   EXPECT_EQ(OpenPlainFileForWriting(dir / "link"), nullptr);
   EXPECT_EQ(OpenPlainFileForWriting(dir / "dangling"), nullptr);
   EXPECT_EQ(kit::ReadFile(dir / "target"), "precious");
   EXPECT_NE(access((dir / "nowhere").c_str(), F_OK), 0);
}

TEST(PlainFile, RefusesFifosDirectoriesAndDevicesWithoutWaiting) {
   const kit::TempDir dir;
   ASSERT_EQ(mkfifo((dir / "fifo").c_str(), 0600), 0);
   EXPECT_EQ(OpenPlainFileForReading(dir / "fifo"), nullptr);
   EXPECT_EQ(OpenPlainFileForWriting(dir / "fifo"), nullptr);
   EXPECT_EQ(OpenPlainFileForReading(dir.Path()), nullptr);
   EXPECT_EQ(errno, EISDIR);
   EXPECT_EQ(OpenPlainFileForWriting(dir.Path()), nullptr);
   EXPECT_EQ(OpenPlainFileForReading("/dev/zero"), nullptr);
   EXPECT_EQ(OpenPlainFileForWriting("/dev/null"), nullptr);
}

TEST(PlainFile, RefusesAndLeavesAloneWhatBelongsToAnotherUser) {
   const kit::TempDir dir;
   kit::WriteFile(dir / "theirs", "theirs");
   ASSERT_EQ(chmod((dir / "theirs").c_str(), 0666), 0);
   if (chown((dir / "theirs").c_str(), 12345, 12345) != 0) {
      GTEST_SKIP() << "only root can give a file away";
   }
   EXPECT_EQ(OpenPlainFileForWriting(dir / "theirs"), nullptr);
   EXPECT_EQ(errno, EPERM);
   EXPECT_EQ(kit::ReadFile(dir / "theirs"), "theirs");
   EXPECT_EQ(ModeOf(dir / "theirs"), mode_t{0666});
   EXPECT_NE(OpenPlainFileForReading(dir / "theirs"), nullptr);
}

TEST(PlainFile, IsClosedForProgramsThatTheProcessStarts) {
   const kit::TempDir dir;
   const PlainFile out = OpenPlainFileForWriting(dir / "file");
   const PlainFile in = OpenPlainFileForReading(dir / "file");
   ASSERT_NE(out, nullptr);
   ASSERT_NE(in, nullptr);
   EXPECT_NE(fcntl(fileno(out.get()), F_GETFD) & FD_CLOEXEC, 0);
   EXPECT_NE(fcntl(fileno(in.get()), F_GETFD) & FD_CLOEXEC, 0);
}

TEST(PlainFile, HasNoBufferSoThatEachWriteIsInTheFile) {
   const kit::TempDir dir;
   const PlainFile out = OpenPlainFileForWriting(dir / "file");
   ASSERT_NE(out, nullptr);
   ASSERT_EQ(std::fwrite("abc", 1, 3, out.get()), 3U);
   EXPECT_EQ(kit::ReadFile(dir / "file"), "abc");
}

TEST(PlainFile, LeavesNoDescriptorOpenWhenItRefuses) {
   const kit::TempDir dir;
   const int before = dup(0);
   close(before);
   EXPECT_EQ(OpenPlainFileForReading(dir.Path()), nullptr);
   EXPECT_EQ(OpenPlainFileForReading(dir / "missing"), nullptr);
   EXPECT_EQ(OpenPlainFileForWriting(dir / "no such folder/file"), nullptr);
   const int after = dup(0);
   close(after);
   EXPECT_EQ(before, after);
}

} // namespace
