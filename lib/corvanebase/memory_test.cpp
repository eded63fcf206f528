// The base library without memory: what makes something throws std::bad_alloc and changes nothing; what can say no says
// no. Nothing is left behind.

#include "lib/corvanebase/corvanebase.h"
#include "lib/corvanebase/owners.h"
#include "tests/kit/Faults.h"
#include "tests/kit/TempDir.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <new>
#include <string>

using kit::FailNth;
using kit::Fault;
using kit::Repeat;

namespace {

using Text = corvanebase::HeapText;
using corvanebase::OwnedDictionary;

struct Destroyed {
   void operator()(MXUserRecLock *lock) const { MXUser_DestroyRecLock(lock); }
};

// Fails each allocation of a call in turn, which must throw each time; `unchanged` follows. How many there were.
uint64_t FailEach(
   const std::function<void()> &call, const std::function<void()> &unchanged = [] {}) {
   for (uint64_t nth = 1;; ++nth) {
      FailNth fault(Fault::Allocation, nth);
      bool threw = false;
      try {
         call();
      } catch (const std::bad_alloc &) {
         threw = true;
      }
      fault.Disarm();
      EXPECT_EQ(threw, fault.Struck()) << "allocation " << nth;
      if (!threw || testing::Test::HasFailure()) {
         return nth - 1;
      }
      unchanged();
   }
}

TEST(Memory, ATextThatCannotBeMadeIsAnException) {
   size_t length = 77;
   EXPECT_EQ(FailEach([&] { Text(Str_SafeAsprintf(&length, "%s-%d", "ab", 7)); }, [&] { EXPECT_EQ(length, 77U); }), 1U);
   EXPECT_EQ(length, 4U);
   EXPECT_EQ(FailEach([] { Text(UtilSafeStrdup0("abc")); }), 1U);
   EXPECT_EQ(FailEach([] { Text(File_PathJoin("folder", "name")); }), 1U);
   EXPECT_GE(FailEach([] { Text(Util_ExpandString("a name that is too long for any small string-$PID")); }), 2U);
}

TEST(Memory, APathIsSplitWholeOrNotAtAll) {
   char untouched = '\0';
   char *folder = &untouched;
   char *name = &untouched;
   const auto expectUntouched = [&] {
      EXPECT_EQ(folder, &untouched);
      EXPECT_EQ(name, &untouched);
   };
   EXPECT_EQ(FailEach([&] { File_GetPathName("folder/name", &folder, &name); }, expectUntouched), 2U);
   EXPECT_EQ(std::string(Text(folder).get()) + ":" + Text(name).get(), "folder:name");
}

TEST(Memory, ADictionaryKeepsWhatItHas) {
   EXPECT_EQ(FailEach([] { OwnedDictionary{Dictionary_Create()}; }), 1U);
   const OwnedDictionary dictionary(Dictionary_Create());
   const char *const longText = "a text that is too long for any small string";
   Dict_SetString(dictionary.get(), "former", longText);
   const auto value = [&] {
      return std::string(Text(Dict_GetString(dictionary.get(), "none", longText)).get());
   };
   EXPECT_GE(
      FailEach([&] { Dict_SetString(dictionary.get(), longText, longText); }, [&] { EXPECT_EQ(value(), "former"); }),
      1U);
   EXPECT_EQ(value(), longText);
   EXPECT_GE(FailEach([&] { Text(Dict_GetString(dictionary.get(), nullptr, longText)); }), 1U);
   EXPECT_EQ(value(), longText);
}

TEST(Memory, AConfigurationThatCannotBeReadLeavesTheFormerOne) {
   const kit::TempDir folder;
   setenv("XDG_CONFIG_HOME", folder.Path().c_str(), 1);
   const auto write = [&](const std::string &value) {
      kit::WriteFile(folder / "corvane/config.toml", "\"a.key\" = " + value + "\n");
   };
   std::filesystem::create_directory(folder / "corvane");
   write("1");
   Preference_Init();
   EXPECT_EQ(Config_GetLong(0, "%s", "a.key"), 1);
   write("2");
   EXPECT_GE(FailEach([] { Preference_Init(); }, [] { EXPECT_EQ(Config_GetLong(0, "%s", "a.key"), 1); }), 5U);
   EXPECT_EQ(Config_GetLong(0, "%s", "a.key"), 2);
   EXPECT_EQ(Preference_Trouble(), nullptr);

   EXPECT_EQ(FailEach([] { Text(Config_GetString("none", "%s", "a.key")); }), 2U);
   EXPECT_EQ(FailEach([] { Config_GetLong(0, "%s", "a.key"); }), 1U);
   EXPECT_EQ(FailEach([] { Config_GetBool(0, "%s", "a.key"); }), 1U);
   EXPECT_EQ(FailEach([] { Config_NotSet("%s", "a.key"); }), 1U);
   unsetenv("XDG_CONFIG_HOME");
   Preference_Init();
}

TEST(Memory, ALockIsWholeOrNone) {
   for (const uint64_t nth : {1U, 2U}) {
      const FailNth fault(Fault::Allocation, nth);
      EXPECT_EQ(MXUser_CreateRecLock("a lock", 1), nullptr) << nth;
   }
   const std::unique_ptr<MXUserRecLock, Destroyed> lock(MXUser_CreateRecLock("a lock", 1));
   EXPECT_NE(lock, nullptr);
}

TEST(Memory, ARotationThatFindsNoMemoryLosesNothing) {
   const kit::TempDir folder;
   const std::string path = folder / "my.log";
   for (uint64_t nth = 1;; ++nth) {
      std::filesystem::remove(folder / "my-1.log");
      std::filesystem::remove(folder / "my-2.log");
      kit::WriteFile(path, "new");
      kit::WriteFile(folder / "my-0.log", "kept");
      FailNth fault(Fault::Allocation, nth);
      const int result = File_Rotate(path.c_str(), 3, 0, 0);
      const int error = errno;
      fault.Disarm();
      const std::string contents =
         kit::ReadFile(path) + kit::ReadFile(folder / "my-0.log") + kit::ReadFile(folder / "my-1.log");
      EXPECT_EQ(contents, "newkept") << nth;
      EXPECT_EQ(kit::ReadFile(path), result != 0 ? "new" : "") << nth;
      if (!fault.Struck()) {
         EXPECT_EQ(result, 0);
         break;
      }
      EXPECT_TRUE(result == 0 || error == ENOMEM) << nth << ": " << result << ", errno " << error;
   }
}

TEST(Memory, ABufferThatCannotGrowKeepsWhatItHas) {
   DynBuf buffer;
   DynBuf_Init(&buffer);
   const std::string more(1000, 'x');
   ASSERT_EQ(DynBuf_Append(&buffer, "abc", 3), 1);
   {
      const FailNth fault(Fault::Allocation, 1);
      EXPECT_EQ(DynBuf_Append(&buffer, more.data(), more.size()), 0);
   }
   EXPECT_EQ(std::string(buffer.data, buffer.size), "abc");
   EXPECT_EQ(DynBuf_Append(&buffer, "", 0), 1) << "nothing needs no memory";
   EXPECT_EQ(DynBuf_Append(&buffer, "d", 1), 1);
   EXPECT_EQ(std::string(buffer.data, buffer.size), "abcd");
   DynBuf_Destroy(&buffer);
}

} // namespace
