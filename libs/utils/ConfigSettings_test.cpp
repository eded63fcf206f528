#include "libs/utils/ConfigSettings.h"

#include "lib/mfw/common/logger.h"
#include "tests/kit/FakePreferences.h"
#include "tests/kit/LogCapture.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

constexpr const char kGetString[] = "static std::string ConfigSettings::GetString(std::string, std::string)";
constexpr const char kSetString[] = "static void ConfigSettings::SetString(std::string, std::string)";
constexpr const char kGetDWORD[] = "static DWORD ConfigSettings::GetDWORD(std::string, DWORD)";
constexpr const char kSetDWORD[] = "static void ConfigSettings::SetDWORD(std::string, DWORD)";
constexpr const char kGetBOOL[] = "static BOOL ConfigSettings::GetBOOL(std::string, BOOL)";

class ConfigSettingsTest : public ::testing::Test {
protected:
   ~ConfigSettingsTest() override { ConfigSettings::Shutdown(); }

   kit::LogCapture log;
   kit::FakePreferences store;
};

TEST_F(ConfigSettingsTest, InitOpensTheDomainOnceAndShutdownClosesIt) {
   EXPECT_FALSE(ConfigSettings::IsInitialised());
   EXPECT_EQ(ConfigSettings::BufferSize(), 0);
   EXPECT_EQ(ConfigSettings::Location(), "");
   EXPECT_TRUE(ConfigSettings::Init());
   EXPECT_TRUE(ConfigSettings::Init());
   EXPECT_TRUE(ConfigSettings::IsInitialised());
   EXPECT_EQ(ConfigSettings::BufferSize(), 64);
   EXPECT_EQ(ConfigSettings::Location(), "memory:com.corvane.mavr");
   const std::vector<std::string> calls = store.Calls();
   EXPECT_EQ(std::count(calls.begin(), calls.end(), "open com.corvane.mavr"), 1);
   EXPECT_TRUE(ConfigSettings::Shutdown());
   EXPECT_FALSE(ConfigSettings::Shutdown());
   EXPECT_FALSE(ConfigSettings::IsInitialised());
   EXPECT_EQ(ConfigSettings::BufferSize(), 0);
}

TEST_F(ConfigSettingsTest, ClosedStoreGivesDefaultsDropsWritesAndTraces) {
   store.SetText("text", "stored");
   EXPECT_EQ(ConfigSettings::GetString("text", "default"), "default");
   EXPECT_EQ(ConfigSettings::GetDWORD("number", 7), 7u);
   EXPECT_EQ(ConfigSettings::GetBOOL("flag", 1), 1);
   ConfigSettings::SetString("text", "new");
   ConfigSettings::SetDWORD("number", 8);
   EXPECT_FALSE(ConfigSettings::Synchronize());
   EXPECT_TRUE(store.Calls().empty());
   for (const char *function : {"GetString", "GetDWORD", "GetBOOL", "SetString", "SetDWORD"}) {
      EXPECT_TRUE(log.Saw(logger::TRACE, "%s - not initialised", function)) << log.Dump();
   }
}

TEST_F(ConfigSettingsTest, AfterShutdownTheStoreIsClosedAgain) {
   ConfigSettings::Init();
   ConfigSettings::SetString("text", "stored");
   ConfigSettings::Shutdown();
   EXPECT_EQ(ConfigSettings::GetString("text", "default"), "default");
   ConfigSettings::Init();
   EXPECT_EQ(ConfigSettings::GetString("text", "default"), "stored");
}

TEST_F(ConfigSettingsTest, EveryOperationTracesItsArguments) {
   ConfigSettings::Init();
   EXPECT_EQ(ConfigSettings::GetString("k", "d"), "d");
   ConfigSettings::SetString("k", "v");
   EXPECT_EQ(ConfigSettings::GetDWORD("n", 0xFFFFFFFFu), 0xFFFFFFFFu);
   ConfigSettings::SetDWORD("n", 12);
   EXPECT_EQ(ConfigSettings::GetBOOL("b", 1), 1);
   EXPECT_EQ(ConfigSettings::GetBOOL("c", 0), 0);
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - key='%s' default='%s'", kGetString, "k", "d")) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - key='%s' value='%s'", kSetString, "k", "v"));
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - key='%s' default=%d", kGetDWORD, "n", -1));
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - key='%s' value='%d'", kSetDWORD, "n", 12));
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - key='%s' default=%s", kGetBOOL, "b", "true"));
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - key='%s' default=%s", kGetBOOL, "c", "false"));
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - %s does not exist, or is not an integer", kGetDWORD, "n"));
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - %s does not exist, or is not a boolean", kGetBOOL, "b"));
   EXPECT_EQ(log.CountLevel(logger::TRACE), static_cast<int>(log.Lines().size())) << "nothing above TRACE";
}

TEST_F(ConfigSettingsTest, WhatIsWrittenIsRead) {
   ConfigSettings::Init();
   ConfigSettings::SetString("text", "Kamera \xc3\xa4#1");
   ConfigSettings::SetDWORD("zero", 0);
   ConfigSettings::SetDWORD("most", 0xFFFFFFFFu);
   EXPECT_EQ(ConfigSettings::GetString("text", ""), "Kamera \xc3\xa4#1");
   EXPECT_EQ(ConfigSettings::GetDWORD("zero", 9), 0u);
   EXPECT_EQ(ConfigSettings::GetDWORD("most", 9), 0xFFFFFFFFu);
   EXPECT_EQ(std::get<int64_t>(store.Snapshot().at("most")), -1) << "a signed number of 32 bits";
   store.Set("on", true);
   store.Set("off", false);
   EXPECT_EQ(ConfigSettings::GetBOOL("on", 0), 1);
   EXPECT_EQ(ConfigSettings::GetBOOL("off", 1), 0);
   ConfigSettings::SetString("text", "");
   EXPECT_EQ(ConfigSettings::GetString("text", "default"), "") << "an empty text is a value";
}

TEST_F(ConfigSettingsTest, NumbersOfMoreThan32BitsGiveTheirLowestOnes) {
   ConfigSettings::Init();
   store.Set("big", int64_t{0x1'0000'0005});
   EXPECT_EQ(ConfigSettings::GetDWORD("big", 9), 5u);
}

TEST_F(ConfigSettingsTest, AValueCountsForItsOwnTypeOnly) {
   ConfigSettings::Init();
   store.SetText("text", "1");
   store.Set("number", int64_t{1});
   store.Set("flag", true);
   EXPECT_EQ(ConfigSettings::GetString("number", "default"), "default");
   EXPECT_EQ(ConfigSettings::GetString("flag", "default"), "default");
   EXPECT_EQ(ConfigSettings::GetDWORD("text", 7), 7u);
   EXPECT_EQ(ConfigSettings::GetDWORD("flag", 7), 7u);
   EXPECT_EQ(ConfigSettings::GetBOOL("text", 0), 0);
   EXPECT_EQ(ConfigSettings::GetBOOL("number", 0), 0);
}

TEST_F(ConfigSettingsTest, AnotherProcessesChangeIsSeenByTheNextRead) {
   ConfigSettings::Init();
   store.SetText("text", "one");
   EXPECT_EQ(ConfigSettings::GetString("text", ""), "one");
   store.SetText("text", "two");
   EXPECT_EQ(ConfigSettings::GetString("text", ""), "two");
   store.Remove("text");
   EXPECT_EQ(ConfigSettings::GetString("text", "gone"), "gone");
}

TEST_F(ConfigSettingsTest, TheBufferDoublesOnceWhenTheLargestSizeExceedsIt) {
   ConfigSettings::Init();
   store.SetText("63", std::string(21, 'x')); // 3 bytes for each character at most
   EXPECT_EQ(ConfigSettings::GetString("63", ""), std::string(21, 'x'));
   EXPECT_EQ(ConfigSettings::BufferSize(), 64);
   store.SetText("66", std::string(22, 'x'));
   EXPECT_EQ(ConfigSettings::GetString("66", ""), std::string(22, 'x'));
   EXPECT_EQ(ConfigSettings::BufferSize(), 128);
   store.SetText("short", "x");
   EXPECT_EQ(ConfigSettings::GetString("short", ""), "x");
   EXPECT_EQ(ConfigSettings::BufferSize(), 128) << "never reduced";
}

TEST_F(ConfigSettingsTest, TheBufferGrowsWithoutNeedWhenOnlyTheBoundExceedsIt) {
   ConfigSettings::Init();
   store.SetText("300", std::string(100, 'x')); // 300 bytes at most, 100 in truth
   EXPECT_EQ(ConfigSettings::GetString("300", ""), std::string(100, 'x')) << "101 bytes do fit into 128";
   EXPECT_EQ(ConfigSettings::BufferSize(), 128);
}

TEST_F(ConfigSettingsTest, RequiredATextThatDoesNotFitReadsAsEmptyAndFitsLater) {
   ConfigSettings::Init();
   std::string euros; // 300 bytes, and the bound says so
   for (int i = 0; i < 100; ++i) {
      euros += "\xe2\x82\xac";
   }
   store.SetText("secret", "of another key");
   EXPECT_EQ(ConfigSettings::GetString("secret", ""), "of another key");
   store.SetText("euros", euros);
   EXPECT_EQ(ConfigSettings::GetString("euros", "default"), "") << "neither the default nor what was in the buffer";
   EXPECT_EQ(ConfigSettings::BufferSize(), 128);
   EXPECT_EQ(ConfigSettings::GetString("euros", "default"), "");
   EXPECT_EQ(ConfigSettings::BufferSize(), 256);
   EXPECT_EQ(ConfigSettings::GetString("euros", "default"), euros);
   EXPECT_EQ(ConfigSettings::BufferSize(), 512);
}

TEST_F(ConfigSettingsTest, IllFormedTextThatFoolsTheBoundNeverShowsAnotherValue) {
   ConfigSettings::Init();
   store.SetText("secret", "of another key");
   EXPECT_EQ(ConfigSettings::GetString("secret", ""), "of another key");
   store.SetText("hostile", std::string(1000, '\x80')); // continuation bytes alone: the bound says 0
   EXPECT_EQ(ConfigSettings::GetString("hostile", "default"), "");
   store.SetText("cut", std::string("a\0b", 3));
   EXPECT_EQ(ConfigSettings::GetString("cut", ""), "a") << "a text ends at its first zero byte";
}

TEST_F(ConfigSettingsTest, AFailedWriteIsOneErrorLineThatNamesTheFile) {
   ConfigSettings::Init();
   ConfigSettings::SetString("k", "old");
   store.SetWriteStatus(osal::Status::Error(28, "settings file /x.plist: no space left"));
   ConfigSettings::SetString("k", "new");
   ConfigSettings::SetDWORD("n", 1);
   EXPECT_FALSE(ConfigSettings::Synchronize());
   EXPECT_EQ(log.Count(logger::ERROR, "%s - Failed to store '%s': %s", kSetString, "k",
                       "settings file /x.plist: no space left"),
             1)
      << log.Dump();
   EXPECT_EQ(log.Count(logger::ERROR, "%s - Failed to store '%s': %s", kSetDWORD, "n",
                       "settings file /x.plist: no space left"),
             1);
   EXPECT_EQ(log.Count(logger::ERROR, "%s - Failed to write the settings: %s", "Synchronize",
                       "settings file /x.plist: no space left"),
             1);
   EXPECT_EQ(log.CountLevel(logger::ERROR), 3);
   EXPECT_EQ(ConfigSettings::GetString("k", ""), "old");
   store.SetWriteStatus(osal::Status::Ok());
   EXPECT_TRUE(ConfigSettings::Synchronize());
}

TEST_F(ConfigSettingsTest, TroubleWithTheStoreIsToldOnceByWhicheverCallMeetsIt) {
   struct Case {
      const char *function;
      void (*call)();
   };
   const Case cases[] = {
      {"Init",
       [] {
          ConfigSettings::Init();
       }},
      {kGetString,
       [] {
          static_cast<void>(ConfigSettings::GetString("k", ""));
       }},
      {kGetDWORD,
       [] {
          static_cast<void>(ConfigSettings::GetDWORD("k", 0));
       }},
      {kGetBOOL,
       [] {
          static_cast<void>(ConfigSettings::GetBOOL("k", 0));
       }},
      {kSetString,
       [] {
          ConfigSettings::SetString("k", "v");
       }},
      {kSetDWORD,
       [] {
          ConfigSettings::SetDWORD("k", 1);
       }},
      {"Synchronize",
       [] {
          ConfigSettings::Synchronize();
       }},
   };
   for (const Case &c : cases) {
      log.Clear();
      store.SetTrouble(osal::Status::Error(5, "settings file /x.plist: kept as /x.plist.damaged"));
      c.call();
      c.call();
      EXPECT_EQ(log.Count(logger::ERROR, "%s - Trouble with the settings: %s", c.function,
                          "settings file /x.plist: kept as /x.plist.damaged"),
                1)
         << log.Dump();
      EXPECT_EQ(log.CountLevel(logger::ERROR), 1);
   }
}

TEST_F(ConfigSettingsTest, KeysAndTextsOfAnyBytesPass) {
   ConfigSettings::Init();
   const std::string hostile = "%s%n\\\"<&>\n\xff";
   ConfigSettings::SetString(hostile, hostile);
   EXPECT_EQ(ConfigSettings::GetString(hostile, ""), hostile);
   EXPECT_EQ(ConfigSettings::GetString("", "default"), "default");
   EXPECT_EQ(ConfigSettings::GetString(std::string(100'000, 'k'), "default"), "default");
}

} // namespace
