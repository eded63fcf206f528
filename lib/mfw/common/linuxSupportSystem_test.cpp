#include "lib/mfw/common/linuxSupportSystem.h"

#include "tests/kit/TempDir.h"

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <set>
#include <string>
#include <sys/utsname.h>
#include <unistd.h>

using platforms::CopyHostName;
using platforms::CopyUserName;
using platforms::ModuleFileNameOfLink;

namespace {

// ---- Files ----------------------------------------------------------------------------------------------------------

TEST(FileLength, LeavesThePositionWhereItIs) {
   char name[] = "/tmp/mavr-length-XXXXXX";
   const int file = mkstemp(name);
   ASSERT_GE(file, 0);
   unlink(name);
   EXPECT_EQ(_filelength(file), 0);
   ASSERT_EQ(write(file, "12345", 5), 5);
   ASSERT_EQ(lseek(file, 2, SEEK_SET), 2);
   EXPECT_EQ(_filelength(file), 5);
   EXPECT_EQ(lseek(file, 0, SEEK_CUR), 2);
   ASSERT_EQ(ftruncate(file, (off_t{1} << 33) + 1), 0);
   EXPECT_EQ(_filelength(file), (int64_t{1} << 33) + 1);
   close(file);
}

TEST(FileLength, IsMinusOneWhereThereIsNone) {
   int ends[2];
   ASSERT_EQ(pipe(ends), 0);
   EXPECT_EQ(_filelength(ends[0]), -1);
   close(ends[0]);
   close(ends[1]);
   EXPECT_EQ(_filelength(-1), -1);
}

// ---- The program ----------------------------------------------------------------------------------------------------

class ModuleName : public testing::Test {
protected:
   std::string Link(const std::string &target) {
      const std::string link = mFolder / ("link" + std::to_string(mLinks++));
      EXPECT_EQ(symlink(target.c_str(), link.c_str()), 0);
      return link;
   }

private:
   kit::TempDir mFolder;
   int mLinks = 0;
};

TEST_F(ModuleName, RequiredItIsTheLastPartOfThePathWithTheSlash) {
   char buffer[16];
   EXPECT_EQ(ModuleFileNameOfLink(Link("/usr/bin/app").c_str(), buffer, sizeof buffer), 4U);
   EXPECT_STREQ(buffer, "/app");
   EXPECT_EQ(ModuleFileNameOfLink(Link("/app").c_str(), buffer, sizeof buffer), 4U);
   EXPECT_STREQ(buffer, "/app");
}

TEST_F(ModuleName, IsCutToTheBuffer) {
   const std::string link = Link("/usr/bin/app");
   char buffer[] = "########";
   EXPECT_EQ(ModuleFileNameOfLink(link.c_str(), buffer, 5), 4U);
   EXPECT_STREQ(buffer, "/app");
   EXPECT_EQ(ModuleFileNameOfLink(link.c_str(), buffer, 4), 3U);
   EXPECT_STREQ(buffer, "/ap");
   EXPECT_EQ(ModuleFileNameOfLink(link.c_str(), buffer, 1), 0U);
   EXPECT_STREQ(buffer, "");
   EXPECT_EQ(buffer[5], '#');
}

TEST_F(ModuleName, IsNothingForNoRoom) {
   char buffer[] = "#";
   EXPECT_EQ(ModuleFileNameOfLink(Link("/usr/bin/app").c_str(), buffer, 0), 0U);
   EXPECT_STREQ(buffer, "#");
   EXPECT_EQ(GetModuleFileName(nullptr, nullptr, 0), 0U);
}

TEST_F(ModuleName, IsEmptyWhereTheLinkCannotBeRead) {
   char buffer[] = "#";
   EXPECT_EQ(ModuleFileNameOfLink("/nowhere/exe", buffer, 1), 0U);
   EXPECT_STREQ(buffer, "");
}

TEST_F(ModuleName, TakesThePathUpTo1024Bytes) {
   char buffer[2048];
   const std::string folder = "/" + std::string(1000, 'd');
   EXPECT_EQ(ModuleFileNameOfLink(Link(folder + "/" + std::string(100, 'n')).c_str(), buffer, sizeof buffer), 23U);
   EXPECT_EQ(buffer, "/" + std::string(22, 'n'));
}

TEST_F(ModuleName, IsThisProgramsName) {
   char path[1024] = {};
   ASSERT_GT(readlink("/proc/self/exe", path, sizeof path - 1), 0);
   char buffer[1024];
   EXPECT_EQ(GetModuleFileName(nullptr, buffer, sizeof buffer), std::strlen(std::strrchr(path, '/')));
   EXPECT_STREQ(buffer, std::strrchr(path, '/'));
}

using ModuleNameDeathTest = ModuleName;
TEST_F(ModuleNameDeathTest, APathWithoutASlashEndsTheProcess) {
   const std::string link = Link("app");
   char buffer[16];
   EXPECT_DEATH(ModuleFileNameOfLink(link.c_str(), buffer, sizeof buffer), "t != std::string::npos");
}

// ---- Machine and user -----------------------------------------------------------------------------------------------

TEST(HostName, IsCopiedWhereItFitsElseItsSizeIsTold) {
   char buffer[8] = "#";
   uint32_t size = 4;
   EXPECT_FALSE(CopyHostName("host", buffer, &size));
   EXPECT_EQ(size, 5U);
   EXPECT_STREQ(buffer, "#");
   EXPECT_TRUE(CopyHostName("host", buffer, &size));
   EXPECT_STREQ(buffer, "host");
   EXPECT_EQ(size, 5U);
   size = 0;
   EXPECT_FALSE(CopyHostName("", buffer, &size));
   EXPECT_EQ(size, 1U);
}

TEST(HostName, IsCountedInCharactersWhenWide) {
   wchar_t buffer[8] = L"#";
   uint32_t size = 2;
   EXPECT_FALSE(CopyHostName("h\xC3\xB6st", buffer, &size));
   EXPECT_EQ(size, 5U);
   EXPECT_TRUE(CopyHostName("h\xC3\xB6st", buffer, &size));
   EXPECT_STREQ(buffer, L"h\u00F6st");
}

TEST(HostName, IsTheSystems) {
   utsname system{};
   ASSERT_EQ(uname(&system), 0);
   char narrow[256];
   wchar_t wide[256];
   uint32_t size = 256;
   EXPECT_TRUE(GetComputerNameA(narrow, &size));
   EXPECT_STREQ(narrow, system.nodename);
   EXPECT_TRUE(GetComputerNameW(wide, &size));
   EXPECT_EQ(std::wstring(wide), std::wstring(narrow, narrow + std::strlen(narrow)));
}

TEST(UserName, SetsTheSizeInAnyCase) {
   char buffer[8] = "#";
   uint32_t size = 4;
   EXPECT_FALSE(CopyUserName("user", buffer, &size));
   EXPECT_EQ(size, 5U);
   EXPECT_STREQ(buffer, "#");
   size = 8;
   EXPECT_TRUE(CopyUserName("user", buffer, &size));
   EXPECT_STREQ(buffer, "user");
   EXPECT_EQ(size, 5U);
   wchar_t wide[8];
   size = 8;
   EXPECT_TRUE(CopyUserName("\xC3\xB6", wide, &size));
   EXPECT_STREQ(wide, L"\u00F6");
   EXPECT_EQ(size, 2U);
}

TEST(UserName, IsWhoIsLoggedInIfAnybody) {
   char expected[64] = {};
   const bool loggedIn = getlogin_r(expected, sizeof expected) == 0;
   char narrow[64] = "#";
   wchar_t wide[64] = L"#";
   uint32_t size = 64;
   uint32_t wideSize = 64;
   EXPECT_EQ(GetUserNameA(narrow, &size), loggedIn);
   EXPECT_EQ(GetUserNameW(wide, &wideSize), loggedIn);
   EXPECT_STREQ(narrow, loggedIn ? expected : "#");
   EXPECT_EQ(size, loggedIn ? std::strlen(expected) + 1 : 64U);
   EXPECT_EQ(wideSize, size);
}

// ---- Ids ------------------------------------------------------------------------------------------------------------

TEST(Uuid, IsRandomAndOf36Characters) {
   std::set<std::string> texts;
   for (int i = 0; i < 100; ++i) {
      UUID id{};
      EXPECT_EQ(UuidCreate(&id), RPC_S_OK);
      char *text = nullptr;
      ASSERT_EQ(UuidToString(&id, &text), RPC_S_OK);
      EXPECT_EQ(std::strlen(text), 36U);
      EXPECT_EQ(text[14], '4') << text; // the version: random
      texts.insert(text);
      std::free(text);
   }
   EXPECT_EQ(texts.size(), 100U);
}

TEST(Uuid, IsWrittenByteByByte) {
   UUID id{};
   for (unsigned char i = 0; i < 16; ++i) {
      id.bytes[i] = static_cast<unsigned char>(0x10 * i + i);
   }
   char *text = nullptr;
   ASSERT_EQ(UuidToString(&id, &text), RPC_S_OK);
   EXPECT_STRCASEEQ(text, "00112233-4455-6677-8899-aabbccddeeff");
   std::free(text);
}

} // namespace
