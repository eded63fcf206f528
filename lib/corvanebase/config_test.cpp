#include "lib/corvanebase/corvanebase.h"
#include "lib/corvanebase/text.h"
#include "tests/kit/TempDir.h"

#include <cstdlib>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/stat.h>

namespace {

class Config : public testing::Test {
protected:
   void SetUp() override {
      setenv("XDG_CONFIG_HOME", mDir.Path().c_str(), 1);
      std::filesystem::create_directory(mDir / "corvane");
   }
   void Load(const std::string &content) {
      kit::WriteFile(mPath, content);
      Preference_Init();
   }
   static std::string Text(const char *defaultValue, const char *key) {
      const corvanebase::HeapText text(Config_GetString(defaultValue, "%s", key));
      return text != nullptr ? text.get() : "(null)";
   }
   static std::string Trouble() {
      const char *const trouble = Preference_Trouble();
      return trouble != nullptr ? trouble : "(null)";
   }
   kit::TempDir mDir;
   const std::string mPath = mDir / "corvane/config.toml";
};

TEST_F(Config, EveryKeyIsAbsentBeforeTheFilesAreRead) {
   kit::WriteFile(mPath, "\"log.fileLevel\" = \"debug\"\n");
   EXPECT_EQ(Text(nullptr, "log.fileLevel"), "(null)");
   EXPECT_TRUE(Config_NotSet("%s", "log.fileLevel"));
   EXPECT_EQ(Preference_Trouble(), nullptr);
}

TEST_F(Config, MissingFileIsNoTrouble) {
   Preference_Init();
   EXPECT_EQ(Trouble(), "(null)");
   EXPECT_EQ(Config_GetLong(3, "%s", "log.keepOld"), 3);
}

TEST_F(Config, ReadsQuotedKeysAndDottedPaths) {
   Load("\"log.fileLevel\" = \"debug\"\n"
        "[log]\nkeepOld = 7\nappend = true\n[MAVR.log]\nkeepOld = 8\n");
   EXPECT_EQ(Trouble(), "(null)");
   EXPECT_EQ(Text(nullptr, "log.fileLevel"), "debug");
   EXPECT_EQ(Config_GetLong(3, "%s.%s", "log", "keepOld"), 7);
   EXPECT_EQ(Config_GetLong(3, "%s", "MAVR.log.keepOld"), 8);
   EXPECT_EQ(Config_GetBool(0, "%s", "log.append"), 1);
}

TEST_F(Config, TruthIsReadAsTextBothWays) {
   Load("yes = true\nno = false\n");
   EXPECT_EQ(Text(nullptr, "yes"), "true");
   EXPECT_EQ(Text(nullptr, "no"), "false");
   EXPECT_EQ(Config_GetBool(0, "%s", "yes"), 1);
   EXPECT_EQ(Config_GetBool(1, "%s", "no"), 0);
}

TEST_F(Config, TroubleStaysOneLineWhateverTheFoldersName) {
   const std::string folder = mDir / "a\nb\x7F"
                                     "c";
   std::filesystem::create_directories(folder + "/corvane");
   setenv("XDG_CONFIG_HOME", folder.c_str(), 1);
   kit::WriteFile(folder + "/corvane/config.toml", "broken");
   Preference_Init();
   EXPECT_NE(Trouble().find("/a b c/corvane/config.toml:1:"), std::string::npos) << Trouble();
   EXPECT_EQ(Trouble().find('\n'), std::string::npos);
}

TEST_F(Config, QuotedKeyComesBeforeTheDottedPath) {
   Load("\"log.keepOld\" = 1\n[log]\nkeepOld = 2\n");
   EXPECT_EQ(Config_GetLong(3, "%s", "log.keepOld"), 1);
}

TEST_F(Config, ValueOfAWrongTypeCountsAsAbsentThere) {
   Load("\"log.keepOld\" = [1]\n[log]\nkeepOld = 2\nappend = 1\nrotateSize = 1.5\n");
   EXPECT_EQ(Config_GetLong(3, "%s", "log.keepOld"), 2);
   EXPECT_EQ(Config_GetBool(0, "%s", "log.append"), 0);
   EXPECT_EQ(Config_GetLong(9, "%s", "log.rotateSize"), 9);
   EXPECT_EQ(Text("default", "log.rotateSize"), "default");
   EXPECT_EQ(Text("default", "log"), "default");
   EXPECT_FALSE(Config_NotSet("%s", "log.rotateSize"));
   EXPECT_FALSE(Config_NotSet("%s", "log"));
}

TEST_F(Config, TextStandsForTheOtherTypesAndTheyForText) {
   Load("a = \"12\"\nb = \"OFF\"\nc = -5\nd = false\n");
   EXPECT_EQ(Config_GetLong(3, "%s", "a"), 12);
   EXPECT_EQ(Config_GetBool(1, "%s", "b"), 0);
   EXPECT_EQ(Text(nullptr, "c"), "-5");
   EXPECT_EQ(Text(nullptr, "d"), "false");
}

TEST_F(Config, NumberOutsideThirtyTwoBitsCountsAsAbsent) {
   Load("a = 2147483648\nb = 2147483647\nc = -2147483649\n");
   EXPECT_EQ(Config_GetLong(3, "%s", "a"), 3);
   EXPECT_EQ(Config_GetLong(3, "%s", "b"), 2147483647);
   EXPECT_EQ(Config_GetLong(3, "%s", "c"), 3);
   EXPECT_EQ(Text(nullptr, "a"), "2147483648");
}

TEST_F(Config, TextWithAZeroInsideCountsAsAbsent) {
   Load("a = \"x\\u0000y\"\n");
   EXPECT_EQ(Text("default", "a"), "default");
}

TEST_F(Config, OddKeysFindNothing) {
   Load("[log]\nkeepOld = 2\n");
   for (const char *const key : {"", ".", "log.", ".log", "log..keepOld", "log.keepOld.x", "LOG.keepOld"}) {
      EXPECT_TRUE(Config_NotSet("%s", key)) << key;
   }
}

TEST_F(Config, DamagedFileIsReportedInOneLineWithItsPlaceAndCountsAsEmpty) {
   Load("a = 1\nb = = 2\n");
   EXPECT_EQ(Trouble().rfind(mPath + ":2:", 0), 0U) << Trouble();
   EXPECT_EQ(Trouble().find('\n'), std::string::npos);
   EXPECT_GT(Trouble().size(), mPath.size() + 8);
   EXPECT_EQ(Config_GetLong(3, "%s", "a"), 3);
   Load("a = 1\n");
   EXPECT_EQ(Trouble(), "(null)");
   EXPECT_EQ(Config_GetLong(3, "%s", "a"), 1);
}

TEST_F(Config, HostileContentIsReportedAndNothingElse) {
   for (const std::string &content :
        {std::string(200'000, '['), "a = " + std::string(200'000, '['), std::string("a = \"\xFF\xFE\""),
         std::string("a = \"x\ny\""), std::string("a = 1\0b", 7), std::string("a = 1\na = 2"),
         "a" + std::string(500'000, '.') + "b = 1"}) {
      Load(content);
      EXPECT_NE(Preference_Trouble(), nullptr) << content.substr(0, 40);
      EXPECT_EQ(Trouble().find('\n'), std::string::npos);
   }
}

TEST_F(Config, LargestFileIsOneMebibyte) {
   const std::string content = "a = 1\n#";
   Load(content + std::string((1 << 20) - content.size(), 'x'));
   EXPECT_EQ(Trouble(), "(null)");
   EXPECT_EQ(Config_GetLong(3, "%s", "a"), 1);
   Load(content + std::string((1 << 20) - content.size() + 1, 'x'));
   EXPECT_EQ(Trouble(), mPath + ": larger than 1 MiB");
   EXPECT_EQ(Config_GetLong(3, "%s", "a"), 3);
}

TEST_F(Config, OnlyAPlainFileIsRead) {
   std::filesystem::create_directory(mPath);
   Preference_Init();
   EXPECT_EQ(Trouble(), mPath + ": not a plain file");
   std::filesystem::remove(mPath);
   ASSERT_EQ(mkfifo(mPath.c_str(), 0600), 0);
   Preference_Init();
   EXPECT_EQ(Trouble(), mPath + ": not a plain file");
}

TEST_F(Config, FileThatCannotBeOpenedIsReported) {
   std::filesystem::create_symlink(mPath, mPath);
   Preference_Init();
   EXPECT_EQ(Trouble(), mPath + ": Too many levels of symbolic links");
}

} // namespace
