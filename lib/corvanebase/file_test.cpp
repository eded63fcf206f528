#include "lib/corvanebase/corvanebase.h"
#include "lib/corvanebase/text.h"
#include "tests/kit/TempDir.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>
#include <sys/time.h>
#include <unistd.h>
#include <utility>
#include <vector>

using corvanebase::HeapText;

namespace {

std::pair<std::string, std::string> Split(const char *path) {
   char *folder = nullptr;
   char *name = nullptr;
   File_GetPathName(path, &folder, &name);
   const HeapText folderOwner(folder);
   const HeapText nameOwner(name);
   return {folder, name};
}

std::string Join(const char *folder, const char *name) {
   const HeapText path(File_PathJoin(folder, name));
   return path.get();
}

using Pair = std::pair<std::string, std::string>;

TEST(FileGetPathName, SplitsAtTheLastSlash) {
   EXPECT_EQ(Split("a/b/c"), Pair("a/b", "c"));
   EXPECT_EQ(Split("c"), Pair("", "c"));
   EXPECT_EQ(Split("/c"), Pair("/", "c"));
   EXPECT_EQ(Split("a/"), Pair("a", ""));
   EXPECT_EQ(Split(""), Pair("", ""));
   EXPECT_EQ(Split("/"), Pair("/", ""));
}

TEST(FileGetPathName, FillsOnlyWhatIsAskedFor) {
   char *name = nullptr;
   File_GetPathName("a/b", nullptr, &name);
   EXPECT_STREQ(name, "b");
   std::free(name);
   char *folder = nullptr;
   File_GetPathName("a/b", &folder, nullptr);
   EXPECT_STREQ(folder, "a");
   std::free(folder);
}

TEST(FilePathJoin, PutsOneSlashBetween) {
   EXPECT_EQ(Join("a", "b"), "a/b");
   EXPECT_EQ(Join("a/", "b"), "a/b");
   EXPECT_EQ(Join("/", "b"), "/b");
   EXPECT_EQ(Join("", "b"), "b");
}

TEST(FileCreateDirectoryHierarchy, MakesEveryParentPrivate) {
   const kit::TempDir dir;
   const std::string path = dir / "a/b/c";
   EXPECT_TRUE(File_CreateDirectoryHierarchy(path.c_str(), 0));
   EXPECT_TRUE(File_CreateDirectoryHierarchy(path.c_str(), 0));
   for (const char *const part : {"a", "a/b", "a/b/c"}) {
      struct stat file {};
      ASSERT_EQ(stat((dir / part).c_str(), &file), 0);
      EXPECT_EQ(file.st_mode & 07777U, 0700U) << part;
   }
}

TEST(FileCreateDirectoryHierarchy, TakesSlashesAtTheEnd) {
   const kit::TempDir dir;
   EXPECT_TRUE(File_CreateDirectoryHierarchy((dir / "a//b//").c_str(), 0));
}

TEST(FileCreateDirectoryHierarchy, RefusesWhereAFileIsInTheWay) {
   const kit::TempDir dir;
   kit::WriteFile(dir / "file", "x");
   EXPECT_FALSE(File_CreateDirectoryHierarchy((dir / "file").c_str(), 0));
   EXPECT_FALSE(File_CreateDirectoryHierarchy((dir / "file/below").c_str(), 0));
   EXPECT_FALSE(File_CreateDirectoryHierarchy("", 0));
   EXPECT_FALSE(File_CreateDirectoryHierarchy("/proc/mavr/none", 0));
   EXPECT_EQ(kit::ReadFile(dir / "file"), "x");
}

TEST(FileListDirectory, GivesTheNamesWithoutTheTwoPoints) {
   const kit::TempDir dir;
   kit::WriteFile(dir / "one", "");
   kit::WriteFile(dir / ".hidden", "");
   char **names = nullptr;
   const int count = File_ListDirectory(dir.Path().c_str(), &names);
   ASSERT_EQ(count, 2);
   std::vector<std::string> sorted(names, names + count);
   std::sort(sorted.begin(), sorted.end());
   EXPECT_EQ(sorted, (std::vector<std::string>{".hidden", "one"}));
   File_FreeNames(names, count);
}

TEST(FileListDirectory, GivesNothingForAnEmptyFolderAndAnErrorForNone) {
   const kit::TempDir dir;
   char **names = nullptr;
   EXPECT_EQ(File_ListDirectory(dir.Path().c_str(), &names), 0);
   File_FreeNames(names, 0);
   errno = 0;
   EXPECT_EQ(File_ListDirectory((dir / "none").c_str(), &names), -1);
   EXPECT_EQ(errno, ENOENT);
   EXPECT_EQ(names, nullptr);
}

TEST(FileGetTimes, GivesNanosecondsOfTheLinkItself) {
   const kit::TempDir dir;
   kit::WriteFile(dir / "file", "");
   const timespec times[2] = {{5, 6}, {7, 8}};
   ASSERT_EQ(utimensat(AT_FDCWD, (dir / "file").c_str(), times, 0), 0);
   int64_t access = 0;
   int64_t written = 0;
   uint32_t mode = 0;
   EXPECT_TRUE(File_GetTimes((dir / "file").c_str(), nullptr, &access, &written, &mode));
   EXPECT_EQ(access, 5'000'000'006);
   EXPECT_EQ(written, 7'000'000'008);
   EXPECT_TRUE(S_ISREG(mode));
   ASSERT_EQ(symlink("nowhere", (dir / "link").c_str()), 0);
   EXPECT_TRUE(File_GetTimes((dir / "link").c_str(), nullptr, nullptr, nullptr, &mode));
   EXPECT_TRUE(S_ISLNK(mode));
}

TEST(FileGetTimes, GivesAllOnesWhenTheFileCannotBeRead) {
   int64_t create = 0;
   int64_t access = 0;
   int64_t written = 0;
   EXPECT_FALSE(File_GetTimes("/nonexistent/file", &create, &access, &written, nullptr));
   EXPECT_EQ(create, -1);
   EXPECT_EQ(access, -1);
   EXPECT_EQ(written, -1);
}

TEST(FileUnlink, RemovesTheLinkAndNotItsTarget) {
   const kit::TempDir dir;
   kit::WriteFile(dir / "file", "x");
   ASSERT_EQ(symlink((dir / "file").c_str(), (dir / "link").c_str()), 0);
   EXPECT_EQ(File_Unlink((dir / "link").c_str()), 0);
   EXPECT_EQ(kit::ReadFile(dir / "file"), "x");
   EXPECT_EQ(File_Unlink((dir / "link").c_str()), -1);
   EXPECT_EQ(errno, ENOENT);
}

} // namespace
