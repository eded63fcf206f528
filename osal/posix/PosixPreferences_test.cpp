#include "osal/posix/PosixPreferencesTestKit.h"

#include "osal/Clock.h"
#include "osal/posix/FaultyFileLayerTestKit.h"
#include "tests/kit/ManualClock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <limits>
#include <vector>

namespace osal {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

TEST_F(PosixPreferencesTest, TheFileIsAnXmlPropertyListByteForByte) {
   const auto preferences = Open();
   ASSERT_TRUE(preferences->setAppValue("srcWCamName", Text("R&D <camera>")).ok());
   ASSERT_TRUE(preferences->setAppValue("srcAudioInOption", int64_t{-2}).ok());
   ASSERT_TRUE(preferences->setAppValue("on", true).ok());
   ASSERT_TRUE(preferences->setAppValue("off", false).ok());
   EXPECT_EQ(kit::ReadFile(mFile), "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                                   "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
                                   "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
                                   "<plist version=\"1.0\">\n"
                                   "<dict>\n"
                                   "\t<key>srcWCamName</key>\n"
                                   "\t<string>R&amp;D &lt;camera&gt;</string>\n"
                                   "\t<key>srcAudioInOption</key>\n"
                                   "\t<integer>-2</integer>\n"
                                   "\t<key>on</key>\n"
                                   "\t<true/>\n"
                                   "\t<key>off</key>\n"
                                   "\t<false/>\n"
                                   "</dict>\n"
                                   "</plist>\n");
   EXPECT_EQ(preferences->location(), mFile);
}

TEST_F(PosixPreferencesTest, FileAndFolderArePrivateWhateverTheMask) {
   for (const mode_t mask : {0u, 0077u}) {
      std::filesystem::remove_all(mHome / "corvane");
      const mode_t former = umask(mask);
      ASSERT_TRUE(Open()->setAppValue("key", int64_t{1}).ok());
      umask(former);
      EXPECT_EQ(ModeOf(mFile), 0600u);
      EXPECT_EQ(ModeOf(mHome / "corvane"), 0700u);
   }
   ASSERT_EQ(chmod(mFile.c_str(), 0644), 0);
   ASSERT_TRUE(Open()->setAppValue("key", int64_t{2}).ok());
   EXPECT_EQ(ModeOf(mFile), 0600u);
   EXPECT_THAT(Names(), ElementsAre("d.plist", "d.plist.lock"));
}

TEST_F(PosixPreferencesTest, AReadMakesNothing) {
   EXPECT_EQ(Open()->copyAppValue("key"), std::nullopt);
   EXPECT_FALSE(std::filesystem::exists(mHome / "corvane"));
}

TEST_F(PosixPreferencesTest, KeysOfEveryTypeSurviveAWrite) {
   WriteRaw(Plist("<key>real</key><real>1.25</real><key>date</key><date>2020-01-02T03:04:05Z</date>"
                  "<key>data</key><data>AAEC/w==</data><key>array</key><array><string>x</string><dict/></array>"
                  "<key>dict</key><dict><key>k</key><true/></dict>"
                  "<key>big</key><integer>18446744073709551615</integer><key>text</key><string> t </string>"));
   const auto preferences = Open();
   for (const char *const key : {"real", "date", "data", "array", "dict", "big"}) {
      EXPECT_EQ(preferences->copyAppValue(key), std::nullopt) << key;
   }
   ASSERT_TRUE(preferences->setAppValue("mine", int64_t{1}).ok());
   const std::string file = kit::ReadFile(mFile);
   for (const char *const kept :
        {"<key>real</key>\n\t<real>1.25</real>", "<key>date</key>\n\t<date>2020-01-02T03:04:05Z</date>",
         "<key>data</key>\n\t<data>\n\tAAEC/w==\n\t</data>",
         "<key>array</key>\n\t<array>\n\t\t<string>x</string>\n\t\t<dict/>\n\t</array>",
         "<key>dict</key>\n\t<dict>\n\t\t<key>k</key>\n\t\t<true/>\n\t</dict>",
         "<key>big</key>\n\t<integer>18446744073709551615</integer>", "<key>text</key>\n\t<string> t </string>",
         "<key>mine</key>\n\t<integer>1</integer>"}) {
      EXPECT_THAT(file, HasSubstr(kept));
   }
}

TEST_F(PosixPreferencesTest, NumbersAsOtherProgramsWriteThem) {
   WriteRaw(Plist("<key>a</key><integer>-5</integer><key>b</key><integer> 7 </integer><key>c</key>"
                  "<integer>0x10</integer><key>d</key><integer>9223372036854775807</integer><key>e</key>"
                  "<integer>-9223372036854775808</integer><key>f</key><integer>9223372036854775808</integer>"));
   const auto preferences = Open();
   EXPECT_EQ(preferences->copyAppValue("a"), PreferenceValue(int64_t{-5}));
   EXPECT_EQ(preferences->copyAppValue("b"), PreferenceValue(int64_t{7}));
   EXPECT_EQ(preferences->copyAppValue("c"), PreferenceValue(int64_t{16}));
   EXPECT_EQ(preferences->copyAppValue("d"), PreferenceValue(std::numeric_limits<int64_t>::max()));
   EXPECT_EQ(preferences->copyAppValue("e"), PreferenceValue(std::numeric_limits<int64_t>::min()));
   EXPECT_EQ(preferences->copyAppValue("f"), std::nullopt) << "does not fit";
}

TEST_F(PosixPreferencesTest, TextThatXmlCannotHoldIsRefusedAndNothingHappens) {
   const auto preferences = Open();
   ASSERT_TRUE(preferences->setAppValue("key", Text("kept")).ok());
   const std::string before = kit::ReadFile(mFile);
   const std::string bad[] = {std::string("a\0b", 3),
                              "\x01",
                              "\x1B[0m",
                              "\x0B",
                              "\xFF",
                              "\xC3",
                              "\xC0\xAF",
                              "\xE0\x80\x80",
                              "\xED\xA0\x80",
                              "\xEF\xBF\xBE",
                              "\xF4\x90\x80\x80",
                              "\xF0\x80\x80\x80",
                              "text\xE2\x82",
                              "\x80",
                              "\xF8\x88\x80\x80\x80"};
   for (const std::string &text : bad) {
      EXPECT_EQ(preferences->setAppValue("key", Text(text)).code, EILSEQ) << testing::PrintToString(text);
      EXPECT_EQ(preferences->setAppValue(text, int64_t{1}).code, EILSEQ) << testing::PrintToString(text);
   }
   EXPECT_EQ(kit::ReadFile(mFile), before);
   for (const std::string text :
        {"\t", "\r\n", "\x7F", "\xC2\x80", "\xEF\xBF\xBD", "\xF4\x8F\xBF\xBF", "\xED\x9F\xBF"}) {
      ASSERT_TRUE(preferences->setAppValue("key", Text(text)).ok()) << testing::PrintToString(text);
      EXPECT_EQ(Open()->copyAppValue("key"), Text(text)) << testing::PrintToString(text);
   }
}

TEST_F(PosixPreferencesTest, AChangeOfTheFileIsSeenByTheNextRead) {
   const auto preferences = Open();
   for (int i = 0; i < 50; ++i) {
      const int64_t number = i % 10;
      // In place and of the same size, within one step of the file clock.
      WriteRaw(Plist("<key>key</key><integer>" + std::to_string(number) + "</integer>"));
      ASSERT_EQ(preferences->copyAppValue("key"), PreferenceValue(number));
   }
   LetFileClockPass(); // from here on the reads look at the file's state only
   ASSERT_EQ(preferences->copyAppValue("key"), PreferenceValue(int64_t{9}));
   ASSERT_EQ(preferences->copyAppValue("key"), PreferenceValue(int64_t{9}));
   WriteRaw(Plist("<key>key</key><integer>6</integer>")); // in place, of the same size
   ASSERT_EQ(preferences->copyAppValue("key"), PreferenceValue(int64_t{6}));
   WriteRaw(Plist("<key>key</key><integer>9</integer>"));
   LetFileClockPass();
   kit::WriteFile(mFile + ".new", Plist("<key>key</key><integer>8</integer>"));
   ASSERT_EQ(preferences->copyAppValue("key"), PreferenceValue(int64_t{9}));
   std::filesystem::rename(mFile + ".new", mFile); // replaced
   EXPECT_EQ(preferences->copyAppValue("key"), PreferenceValue(int64_t{8}));
   std::filesystem::remove(mFile);
   EXPECT_EQ(preferences->copyAppValue("key"), std::nullopt);
   WriteRaw(Plist("<key>key</key><integer>7</integer>"));
   EXPECT_EQ(preferences->copyAppValue("key"), PreferenceValue(int64_t{7}));
   std::filesystem::rename(mFile, mFile + ".away");
   EXPECT_EQ(preferences->copyAppValue("key"), std::nullopt);
   EXPECT_TRUE(preferences->takeTrouble().ok());
}

TEST_F(PosixPreferencesTest, ADamagedFileIsKeptToldOnceAndReadAsEmpty) {
   const std::string whole = Plist("<key>key</key><string>text</string>");
   const std::string damaged[] = {"",
                                  "garbage",
                                  std::string("\0\0\0\0", 4),
                                  std::string("bplist00\xD0\x08\0\0", 12),
                                  whole.substr(0, whole.size() / 2),
                                  whole.substr(0, whole.size() - 3),
                                  "<plist version=\"1.0\"><array/></plist>",
                                  "<plist version=\"1.0\"><string>x</string></plist>",
                                  "<plist></plist>",
                                  "<plist version=\"1.0\"/>",
                                  "<dict></dict>",
                                  Plist("<key>key</key><string>text</integer>"),
                                  Plist("<string>no key</string>"),
                                  whole + "more"};
   const kit::ManualClock clock;
   for (const std::string &content : damaged) {
      std::filesystem::remove_all(mHome / "corvane");
      WriteRaw(content);
      const auto preferences = Open();
      EXPECT_EQ(preferences->copyAppValue("key"), std::nullopt);
      const Status trouble = preferences->takeTrouble();
      EXPECT_EQ(trouble.code, EBADMSG) << content;
      EXPECT_THAT(trouble.reason, testing::StartsWith("settings file " + mFile + " is damaged ("));
      EXPECT_THAT(trouble.reason, testing::EndsWith("); it is kept as " + mFile + ".damaged and read as empty"));
      EXPECT_TRUE(preferences->takeTrouble().ok()) << "told once";
      EXPECT_EQ(kit::ReadFile(mFile + ".damaged"), content);
      EXPECT_FALSE(std::filesystem::exists(mFile));
      ASSERT_TRUE(preferences->setAppValue("key", int64_t{1}).ok());
      EXPECT_EQ(preferences->copyAppValue("key"), PreferenceValue(int64_t{1}));
      EXPECT_EQ(kit::ReadFile(mFile + ".damaged"), content);
      EXPECT_TRUE(Open()->takeTrouble().ok());
   }
}

TEST_F(PosixPreferencesTest, AFileDamagedBetweenReadAndWriteIsKeptToo) {
   const kit::ManualClock clock;
   const auto preferences = Open();
   ASSERT_TRUE(preferences->setAppValue("key", int64_t{1}).ok());
   WriteRaw("broken");
   ASSERT_TRUE(preferences->setAppValue("other", int64_t{2}).ok());
   EXPECT_EQ(kit::ReadFile(mFile + ".damaged"), "broken");
   EXPECT_EQ(preferences->takeTrouble().code, EBADMSG);
   EXPECT_EQ(preferences->copyAppValue("other"), PreferenceValue(int64_t{2}));
   EXPECT_EQ(preferences->copyAppValue("key"), std::nullopt);
}

TEST_F(PosixPreferencesTest, EarlierDamagedFilesAreKeptOfTenTheOldestGoes) {
   const kit::ManualClock clock;
   for (int i = 0; i < 12; ++i) {
      WriteRaw("broken " + std::to_string(i));
      EXPECT_FALSE(Open()->takeTrouble().ok());
   }
   EXPECT_EQ(kit::ReadFile(mFile + ".damaged"), "broken 11");
   EXPECT_EQ(kit::ReadFile(mFile + ".damaged.1"), "broken 10");
   EXPECT_EQ(kit::ReadFile(mFile + ".damaged.9"), "broken 2");
   EXPECT_EQ(Names().size(), 11u) << "ten, and the lock";
}

TEST_F(PosixPreferencesTest, AFileThatAnEditorFinishesInAMomentIsNotMoved) {
   /// Writes the rest of the file while the library waits.
   class Editor final : public Clock {
   public:
      explicit Editor(std::string file)
          : mPath(std::move(file))
          , mInForce(*this) {}
      uint64_t monotonicNs() const override { return 1; }
      WallTime wallTime() const override { return {}; }
      void sleepNs(uint64_t) override { kit::WriteFile(mPath, Plist("<key>key</key><true/>")); }

   private:
      const std::string mPath;
      ScopedClock mInForce;
   };
   WriteRaw("<plist><dict><key>ke");
   const Editor editor(mFile);
   const auto preferences = Open();
   EXPECT_EQ(preferences->copyAppValue("key"), PreferenceValue(true));
   WriteRaw("<plist><dict><key>ke");
   EXPECT_EQ(preferences->copyAppValue("key"), PreferenceValue(true)) << "by the read that met the half already";
   EXPECT_TRUE(preferences->takeTrouble().ok());
   EXPECT_FALSE(std::filesystem::exists(mFile + ".damaged"));
}

TEST_F(PosixPreferencesTest, ALinkIsFollowedAndStaysALink) {
   const std::string real = mHome / "dotfiles.plist";
   kit::WriteFile(real, Plist("<key>key</key><integer>1</integer>"));
   MakeFolder();
   ASSERT_EQ(symlink("middle", mFile.c_str()), 0);
   ASSERT_EQ(symlink("../dotfiles.plist", (mHome / "corvane/middle").c_str()), 0);
   const auto preferences = Open();
   EXPECT_EQ(preferences->copyAppValue("key"), PreferenceValue(int64_t{1}));
   ASSERT_TRUE(preferences->setAppValue("key", int64_t{2}).ok());
   EXPECT_TRUE(std::filesystem::is_symlink(mFile));
   EXPECT_TRUE(std::filesystem::is_regular_file(std::filesystem::symlink_status(real)));
   EXPECT_THAT(kit::ReadFile(real), HasSubstr("<integer>2</integer>"));
   EXPECT_THAT(Names(), UnorderedElementsAre("d.plist", "middle"));
   // The link is given another target.
   kit::WriteFile(mHome / "other.plist", Plist("<key>key</key><integer>3</integer>"));
   ASSERT_EQ(symlink("../other.plist", (mHome / "corvane/new").c_str()), 0);
   EXPECT_EQ(preferences->copyAppValue("key"), PreferenceValue(int64_t{2}));
   std::filesystem::rename(mHome / "corvane/new", mFile);
   EXPECT_EQ(preferences->copyAppValue("key"), PreferenceValue(int64_t{3}));
}

TEST_F(PosixPreferencesTest, ADanglingLinkGetsItsTarget) {
   MakeFolder();
   ASSERT_EQ(symlink("../store/real.plist", mFile.c_str()), 0);
   const auto preferences = Open();
   EXPECT_EQ(preferences->copyAppValue("key"), std::nullopt);
   EXPECT_TRUE(preferences->takeTrouble().ok());
   ASSERT_TRUE(preferences->setAppValue("key", int64_t{1}).ok());
   EXPECT_TRUE(std::filesystem::is_symlink(mFile));
   EXPECT_TRUE(std::filesystem::is_regular_file(mHome / "store/real.plist"));
   EXPECT_EQ(preferences->copyAppValue("key"), PreferenceValue(int64_t{1}));
}

TEST_F(PosixPreferencesTest, ALoopOfLinksIsAnError) {
   MakeFolder();
   ASSERT_EQ(symlink("d.plist", mFile.c_str()), 0);
   const auto preferences = Open();
   EXPECT_EQ(preferences->takeTrouble().code, ELOOP);
   EXPECT_EQ(preferences->setAppValue("key", int64_t{1}).code, ELOOP);
   EXPECT_TRUE(std::filesystem::is_symlink(mFile));
}

TEST_F(PosixPreferencesTest, WhatIsNoPlainFileIsToldOnceRefusedAndLeftAlone) {
   MakeFolder();
   const auto check = [this](int code, const char *why) {
      const auto preferences = Open();
      EXPECT_EQ(preferences->copyAppValue("key"), std::nullopt);
      const Status trouble = preferences->takeTrouble();
      EXPECT_EQ(trouble.code, code);
      EXPECT_EQ(trouble.reason, "settings file " + mFile + " " + why);
      EXPECT_EQ(preferences->copyAppValue("key"), std::nullopt);
      EXPECT_TRUE(preferences->takeTrouble().ok()) << "told once";
      EXPECT_EQ(preferences->setAppValue("key", int64_t{1}).code, code);
      EXPECT_FALSE(std::filesystem::exists(mFile + ".damaged"));
      EXPECT_FALSE(std::filesystem::exists(mFile + ".tmp"));
   };
   ASSERT_EQ(mkfifo(mFile.c_str(), 0600), 0);
   check(EINVAL, "is a pipe, socket or device, not a plain file");
   EXPECT_TRUE(std::filesystem::is_fifo(mFile));
   std::filesystem::remove(mFile);
   std::filesystem::create_directory(mFile);
   check(EISDIR, "is a folder, not a file");
   EXPECT_TRUE(std::filesystem::is_directory(mFile));
   std::filesystem::remove(mFile);
   ASSERT_EQ(symlink("/dev/zero", mFile.c_str()), 0);
   {
      const auto preferences = Open();
      EXPECT_EQ(preferences->takeTrouble().code, EINVAL);
   }
   std::filesystem::remove(mFile);
   kit::WriteFile(mFile, "");
   std::filesystem::resize_file(mFile, (16u << 20) + 1);
   check(EFBIG, "is larger than 16 MiB");
   EXPECT_EQ(std::filesystem::file_size(mFile), (16u << 20) + 1);
}

TEST_F(PosixPreferencesTest, AFileOfTenMegabytesWorks) {
   std::string members;
   while (members.size() < (10u << 20)) {
      members += "<key>key" + std::to_string(members.size()) + "</key><string>" + std::string(1000, 'x') + "</string>";
   }
   WriteRaw(Plist(members + "<key>last</key><integer>1</integer>"));
   const auto preferences = Open();
   EXPECT_EQ(preferences->copyAppValue("last"), PreferenceValue(int64_t{1}));
   ASSERT_TRUE(preferences->setAppValue("last", int64_t{2}).ok());
   EXPECT_EQ(preferences->copyAppValue("last"), PreferenceValue(int64_t{2}));
   EXPECT_EQ(preferences->copyAppValue("key0"), Text(std::string(1000, 'x')));
   EXPECT_EQ(preferences->setAppValue("too much", Text(std::string(7u << 20, 'y'))).code, EFBIG);
   EXPECT_EQ(preferences->copyAppValue("last"), PreferenceValue(int64_t{2}));
}

TEST_F(PosixPreferencesTest, AReadOnlyFileRefusesWrites) {
   WriteRaw(Plist("<key>key</key><integer>1</integer>"));
   ASSERT_EQ(chmod(mFile.c_str(), 0444), 0);
   const auto preferences = Open();
   const Status status = preferences->setAppValue("key", int64_t{2});
   EXPECT_EQ(status.code, EACCES);
   EXPECT_EQ(status.reason, "settings file " + mFile + ": " + mFile + " is read-only: Permission denied");
   EXPECT_EQ(preferences->copyAppValue("key"), PreferenceValue(int64_t{1}));
   EXPECT_EQ(ModeOf(mFile), 0444u);
}

TEST_F(PosixPreferencesTest, AnotherProcessThatHoldsTheLockIsWaitedForTwoSeconds) {
   const kit::ManualClock clock;
   const auto preferences = Open();
   ASSERT_TRUE(preferences->setAppValue("key", int64_t{1}).ok());
   const int fd = open((mFile + ".lock").c_str(), O_RDWR | O_CLOEXEC);
   ASSERT_EQ(flock(fd, LOCK_EX), 0);
   const uint64_t before = clock.monotonicNs();
   const Status status = preferences->setAppValue("key", int64_t{2});
   EXPECT_EQ(status.code, EWOULDBLOCK);
   EXPECT_EQ(status.reason, "settings file " + mFile + ": another process has held " + mFile + ".lock for 2 seconds");
   EXPECT_EQ(clock.monotonicNs() - before, 2'000'000'000u);
   EXPECT_EQ(preferences->copyAppValue("key"), PreferenceValue(int64_t{1})) << "reads wait for nobody";
   close(fd);
   EXPECT_TRUE(preferences->setAppValue("key", int64_t{2}).ok());
}

} // namespace
} // namespace osal
