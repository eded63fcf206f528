#include "tests/kit/SystemFaults.h"
#include "tests/kit/TempDir.h"

#include <array>
#include <cerrno>
#include <ctime>
#include <dirent.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace kit {
namespace {

class SystemFaults : public testing::Test {
protected:
   SystemFaults() {
      WriteFile(path, "content");
      fd = open(path.c_str(), O_RDWR);
   }
   ~SystemFaults() override { close(fd); }

   TempDir folder;
   std::string path = folder / "file";
   int fd = -1;
};

TEST_F(SystemFaults, EachCallFailsOnItsTurn) {
   struct stat facts {};
   char buffer[8] = {};
   const char *const name = path.c_str();
   const std::string other = folder / "other";
   DIR *const entries = opendir(folder.Path().c_str());
   struct Case {
      const char *call;
      bool failed;
      int error;
   };
   std::vector<Case> cases;
   const auto run = [&](const char *call, auto attempt) {
      FailSystemCall fault(1, {.error = EIO}, Repeat::Once);
      errno = 0;
      const bool failed = attempt();
      const int error = errno;
      fault.Disarm();
      EXPECT_STREQ(FailSystemCall::LastStruck(), call);
      cases.push_back({call, failed, error});
   };
   run("open", [&] { return open(name, O_RDONLY) == -1; });
   run("read", [&] { return read(fd, buffer, sizeof buffer) == -1; });
   run("write", [&] { return write(fd, "x", 1) == -1; });
   run("fsync", [&] { return fsync(fd) == -1; });
   run("ftruncate", [&] { return ftruncate(fd, 0) == -1; });
   run("lseek", [&] { return lseek(fd, 0, SEEK_END) == -1; });
   run("fcntl", [&] { return fcntl(fd, F_GETFL) == -1; });
   run("stat", [&] { return stat(name, &facts) == -1; });
   run("lstat", [&] { return lstat(name, &facts) == -1; });
   run("fstat", [&] { return fstat(fd, &facts) == -1; });
   run("fchmod", [&] { return fchmod(fd, 0600) == -1; });
   run("flock", [&] { return flock(fd, LOCK_EX | LOCK_NB) == -1; });
   run("mkdir", [&] { return mkdir(other.c_str(), 0700) == -1; });
   run("rename", [&] { return rename(name, other.c_str()) == -1; });
   run("unlink", [&] { return unlink(name) == -1; });
   run("readlink", [&] { return readlink(name, buffer, sizeof buffer) == -1; });
   run("faccessat", [&] { return faccessat(AT_FDCWD, name, W_OK, AT_EACCESS) == -1; });
   run("opendir", [&] { return opendir(folder.Path().c_str()) == nullptr; });
   run("readdir", [&] { return readdir(entries) == nullptr; });
   closedir(entries);
   for (const Case &each : cases) {
      EXPECT_TRUE(each.failed) << each.call;
      EXPECT_EQ(each.error, EIO) << each.call;
   }
   EXPECT_EQ(ReadFile(path), "content") << "a call that failed has done nothing";
}

TEST_F(SystemFaults, CloseFailsAndHasClosed) {
   FailSystemCall fault(1, {.error = EINTR}, Repeat::Once);
   const int result = close(fd);
   const int error = errno;
   fault.Disarm();
   EXPECT_EQ(result, -1);
   EXPECT_EQ(error, EINTR);
   EXPECT_EQ(fcntl(fd, F_GETFD), -1);
}

TEST_F(SystemFaults, AShortWriteTakesHalfAndLeavesOtherCallsAlone) {
   FailSystemCall fault(2, {.shortWrite = true}, Repeat::FromThenOn);
   const off_t start = lseek(fd, 0, SEEK_SET);
   const ssize_t first = write(fd, "1234", 4);
   const ssize_t second = write(fd, "56789", 5);
   const ssize_t third = write(fd, "ab", 2);
   const ssize_t least = write(fd, "c", 1);
   fault.Disarm();
   EXPECT_EQ(start, 0);
   EXPECT_EQ((std::array{first, second, third, least}), (std::array<ssize_t, 4>{4, 2, 1, 1}));
   EXPECT_EQ(ReadFile(path), "123456ac");
   EXPECT_EQ(fault.Calls(), 3u);
}

TEST(ClockFaults, ClocksAndCalendarsFail) {
   FailNth fault(Fault::Clock, 1, Repeat::FromThenOn);
   timespec now{};
   tm parts{};
   const time_t moment = 0;
   const int read = clock_gettime(CLOCK_MONOTONIC, &now);
   const bool utc = gmtime_r(&moment, &parts) != nullptr;
   const bool local = localtime_r(&moment, &parts) != nullptr;
   fault.Disarm();
   EXPECT_EQ(read, -1);
   EXPECT_FALSE(utc);
   EXPECT_FALSE(local);
}

TEST_F(SystemFaults, AWatchSeesWhatWasWrittenAndRemoved) {
   struct Watch final : SystemCallWatch {
      void Wrote(int, const char *bytes, size_t size, ssize_t taken) override {
         written.assign(bytes, size);
         accepted = taken;
      }
      void Before(const char *call, const char *) override { calls += std::string(call) + " "; }
      void Removed(const char *, uint64_t size) override { removed += size; }
      std::string written;
      std::string calls;
      ssize_t accepted = 0;
      uint64_t removed = 0;
   } watch;
   WriteFile(folder / "older", "12");
   EXPECT_EQ(write(fd, "ab", 2), 2);
   EXPECT_EQ(rename(path.c_str(), (folder / "older").c_str()), 0);
   EXPECT_EQ(unlink((folder / "older").c_str()), 0);
   EXPECT_EQ(watch.written, "ab");
   EXPECT_EQ(watch.accepted, 2);
   EXPECT_EQ(watch.calls, "rename unlink ");
   EXPECT_EQ(watch.removed, 2u + 7u);
}

} // namespace
} // namespace kit
