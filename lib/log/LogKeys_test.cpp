#include "lib/log/LogTestKit.h"

#include "lib/log/LogConfigSource.h"
#include "lib/log/LogKeys.h"

#include <map>
#include <sys/stat.h>
#include <unistd.h>

using logtest::CaptureOutput;
using logtest::CountOf;
using logtest::LogFixture;

namespace {

std::map<std::string, std::string> gConfig;

const LogConfigSource &Source() {
   static const LogConfigSource source = [] {
      LogConfigSource made{};
      made.getString = [](const char *defaultValue, const char *key) {
         const auto found = gConfig.find(key);
         return UtilSafeStrdup0(found != gConfig.end() ? found->second.c_str() : defaultValue);
      };
      made.getLong = [](long defaultValue, const char *key) {
         const auto found = gConfig.find(key);
         return found != gConfig.end() ? std::stol(found->second) : defaultValue;
      };
      made.getBool = [](bool defaultValue, const char *key) {
         const auto found = gConfig.find(key);
         return found != gConfig.end() ? found->second == "true" : defaultValue;
      };
      return made;
   }();
   return source;
}

class LogKeysTest : public LogFixture {
protected:
   LogKeysTest() { Log_AddOutput(&capture); }
   ~LogKeysTest() override {
      Dictionary_Free(dictionary);
      gConfig.clear();
   }
   // An output that is created from the keys and destroyed with the test.
   LogFileOutput *Create(const char *name = "file", const char *prefix = "MAVR") {
      Log_ReleaseOutput(mOutput);
      mOutput = Log_CreateFileOutput(prefix, name, dictionary, &Source());
      return AsFile(mOutput);
   }
   void TearDown() override { Log_ReleaseOutput(mOutput); }
   void Put(const char *key, const char *value) { Dict_SetString(dictionary, value, key); }

   Dictionary *dictionary = Dictionary_Create();

private:
   LogOutput *mOutput = nullptr;
};

} // namespace

TEST_F(LogKeysTest, PrefersPrefixedThenPlainThenDictionaryThenDefault) {
   const LogKeys keys("MAVR", nullptr, dictionary, &Source());
   EXPECT_EQ(keys.Long("k", 3), 3);
   Put("k", "7");
   EXPECT_EQ(keys.Long("k", 3), 7);
   gConfig["k"] = "8";
   EXPECT_EQ(keys.Long("k", 3), 8);
   gConfig["MAVR.k"] = "9";
   EXPECT_EQ(keys.Long("k", 3), 9);
   EXPECT_EQ(LogKeys(nullptr, nullptr, dictionary, &Source()).Long("k", 3), 8);
   EXPECT_EQ(LogKeys("MAVR", nullptr, dictionary, nullptr).Long("k", 3), 7);
   EXPECT_EQ(LogKeys("MAVR", nullptr, nullptr, nullptr).Long("k", 3), 3);
}

TEST_F(LogKeysTest, AsksNoSourceForNoKeyAndNoneForWhatItCannotTell) {
   static std::vector<std::string> asked;
   LogConfigSource source{};
   source.getString = [](const char *, const char *key) -> char * {
      asked.emplace_back(key != nullptr ? key : "(null)");
      return nullptr;
   };
   EXPECT_EQ(LogKeys(nullptr, nullptr, nullptr, &source).Level("k", 3), 3);
   EXPECT_EQ(asked, std::vector<std::string>{"k"});
   EXPECT_EQ(LogKeys("MAVR", nullptr, nullptr, &source).Level("k", 3), 3);
   EXPECT_EQ(asked, (std::vector<std::string>{"k", "k", "MAVR.k"}));
   EXPECT_EQ(LogKeys("MAVR", nullptr, nullptr, &source).Long("k", 3), 3) << "a source without numbers";
   EXPECT_TRUE(LogKeys("MAVR", nullptr, nullptr, &source).Bool("k", true));
   const LogConfigSource nothing{};
   EXPECT_EQ(LogKeys("MAVR", nullptr, nullptr, &nothing).Level("k", 3), 3);
}

TEST_F(LogKeysTest, TakesAValueThatEqualsTheDefaultForNotSet) {
   const LogKeys keys("MAVR", nullptr, dictionary, &Source());
   Put("long", "7");
   gConfig["MAVR.long"] = "3";
   EXPECT_EQ(keys.Long("long", 3), 7);
   Put("bool", "true");
   gConfig["MAVR.bool"] = "false";
   EXPECT_TRUE(keys.Bool("bool", false));
   Put("text", "dictionary");
   gConfig["text"] = "default";
   EXPECT_STREQ(keys.String("text", "default").get(), "dictionary");
   EXPECT_STREQ(keys.String("text", nullptr).get(), "default");
}

TEST_F(LogKeysTest, PutsTheSuffixBehindTheKey) {
   const LogKeys keys("MAVR", "audio", dictionary, &Source());
   gConfig["k"] = "1";
   EXPECT_EQ(keys.Long("k", 3), 3);
   gConfig["k.audio"] = "2";
   EXPECT_EQ(keys.Long("k", 3), 2);
   gConfig["MAVR.k.audio"] = "4";
   EXPECT_EQ(keys.Long("k", 3), 4);
   gConfig["k.audio"] = "true";
   EXPECT_TRUE(LogKeys(nullptr, "audio", nullptr, &Source()).Bool("k", false));
}

TEST_F(LogKeysTest, ReadsLevelWords) {
   const LogKeys keys(nullptr, nullptr, dictionary, nullptr);
   EXPECT_EQ(keys.Level("log.fileLevel", 5), 5);
   const struct {
      const char *word;
      int32_t level;
   } cases[] = {{"NONE", -1}, {"none", -1}, {"chatty", 5}, {"", 5}, {"Debug15", 23}, {"audit", 0}};
   for (const auto &each : cases) {
      Put("log.fileLevel", each.word);
      EXPECT_EQ(keys.Level("log.fileLevel", 5), each.level) << each.word;
   }
}

TEST_F(LogKeysTest, HasItsSlotsInTheirPlaces) {
   const LogConfigSource *const source = Log_GetConfigSource();
   const auto *const slots = reinterpret_cast<void *const *>(source);
   for (const size_t slot : {2U, 9U, 13U, 22U}) {
      EXPECT_NE(slots[slot], nullptr) << slot;
   }
   EXPECT_EQ(slots[0], nullptr);
   EXPECT_EQ(slots[1], nullptr);
   EXPECT_EQ(source->getLong(12, "no.such.key"), 12);
   EXPECT_TRUE(source->getBool(true, "no.such.key"));
   EXPECT_EQ(source->getString(nullptr, "no.such.key"), nullptr);
   EXPECT_TRUE(source->notSet("no.such.key"));
}

TEST_F(LogKeysTest, GivesAFileOutputItsDefaults) {
   const LogFileOutput *const file = Create();
   ASSERT_NE(file, nullptr);
   EXPECT_EQ(file->keepCount, 3);
   EXPECT_EQ(file->rotateSize, 0U);
   EXPECT_EQ(file->mode, 0640);
   EXPECT_EQ(file->throttle.threshold, 1000000U);
   EXPECT_EQ(file->throttle.rateLimit, 1000U);
   EXPECT_EQ(file->fileLevel, 5);
   EXPECT_EQ(file->stderrLevel, -1);
   EXPECT_FALSE(file->multiLine || file->append || file->sync || file->fastRotation || file->stopAtThreshold);
   EXPECT_TRUE(capture.lines.empty()) << capture.Dump();
}

TEST_F(LogKeysTest, BoundsTheRotateSize) {
   const struct {
      const char *value;
      uint64_t size;
   } cases[] = {{"0", 0}, {"1", 100000}, {"99999", 100000}, {"100000", 100000}, {"100001", 100001}, {"-1", 0}};
   for (const auto &each : cases) {
      gConfig["log.rotateSize"] = each.value;
      EXPECT_EQ(Create()->rotateSize, each.size) << each.value;
   }
   EXPECT_TRUE(capture.Saw(3, "%s: log.rotateSize (%d) is too small. Set to %d.\n", "LogFileVariables", 99999, 100000));
   EXPECT_TRUE(capture.Saw(3, "%s: %s (%d) is invalid. Set to %d.\n", "LogFileInt32", "log.rotateSize", -1, 0));
   EXPECT_EQ(capture.lines.size(), 3U) << capture.Dump();
}

TEST_F(LogKeysTest, ReplacesInvalidIntegersByTheirDefaults) {
   gConfig = {{"log.keepOld", "-1"},
              {"log.permissions", "0"},
              {"log.throttleThreshold", "-5"},
              {"MAVR.log.throttleBytesPerSec", "-2"}};
   const LogFileOutput *const file = Create();
   EXPECT_EQ(file->keepCount, 3);
   EXPECT_EQ(file->mode, 416);
   EXPECT_EQ(file->throttle.threshold, 1000000U);
   EXPECT_EQ(file->throttle.rateLimit, 1000U);
   EXPECT_TRUE(capture.Saw(3, "%s: %s (%d) is invalid. Set to %d.\n", "LogFileInt32", "log.keepOld", -1, 3));
   EXPECT_TRUE(capture.Saw(3, "%s: %s (%d) is invalid. Set to %d.\n", "LogFileInt32", "log.permissions", 0, 416));
   EXPECT_TRUE(
      capture.Saw(3, "%s: %s (%d) is invalid. Set to %d.\n", "LogFileInt32", "log.throttleThreshold", -5, 1000000));
   EXPECT_TRUE(
      capture.Saw(3, "%s: %s (%d) is invalid. Set to %d.\n", "LogFileInt32", "log.throttleBytesPerSec", -2, 1000));
}

TEST_F(LogKeysTest, HasTwoWordsForNoThrottlingAndOneForTheStop) {
   for (const char *const rate : {"0", "-1"}) {
      gConfig["log.throttleBytesPerSec"] = rate;
      EXPECT_EQ(Create()->throttle.rateLimit, UINT32_MAX) << rate;
   }
   gConfig["log.noLogAfterThreshold"] = "true";
   EXPECT_EQ(Create()->throttle.rateLimit, 0U);
}

TEST_F(LogKeysTest, ReadsTheLevelOfStandardErrorWithNeitherDictionaryNorSuffix) {
   Put("log.stderrLevel", "debug");
   gConfig["log.stderrLevel.audio"] = "debug";
   EXPECT_EQ(Create("audio")->stderrLevel, -1);
   gConfig["log.stderrLevel"] = "warning";
   EXPECT_EQ(Create("audio")->stderrLevel, 3);
   gConfig["MAVR.log.stderrLevel"] = "error";
   EXPECT_EQ(Create("audio")->stderrLevel, 2);
}

TEST_F(LogKeysTest, TakesThePlainKeyWhereThePrefixedOneEqualsTheDefault) {
   gConfig["MAVR.log.keepOld"] = "3";
   gConfig["log.keepOld"] = "7";
   EXPECT_EQ(Create()->keepCount, 7);
}

TEST_F(LogKeysTest, PutsTheNameOfAnOutputBehindItsKeysUnlessItIsTheUsualOne) {
   gConfig["log.keepOld.audio"] = "7";
   gConfig["log.keepOld.file"] = "9";
   gConfig["log.fileLevel.audio"] = "debug";
   EXPECT_EQ(Create("audio")->keepCount, 7);
   EXPECT_EQ(Create("audio")->fileLevel, 8);
   EXPECT_EQ(Create("file")->keepCount, 3);
}

TEST_F(LogKeysTest, LeavesWhatTheHostDecidesOutOfTheConfigurationFiles) {
   for (const char *const key : {"log.suffix", "MAVR.log.suffix", "log.fileName", "MAVR.log.fileName", "log.config"}) {
      gConfig[key] = "other";
   }
   gConfig["log.systemAreaTemp"] = gConfig["MAVR.log.systemAreaTemp"] = "true";
   const LogFileOutput *const file = Create();
   ASSERT_NE(file, nullptr);
   EXPECT_EQ(std::string(file->path.get()), folder / ("Logs/Corvane/zenthar-" + std::to_string(getpid()) + ".log"));
}

TEST_F(LogKeysTest, RefusesAnEmptyNameAndAnEmptyPrefix) {
   EXPECT_EQ(Log_CreateFileOutput(nullptr, nullptr, nullptr, nullptr), nullptr);
   EXPECT_EQ(Log_CreateFileOutput(nullptr, "", nullptr, nullptr), nullptr);
   EXPECT_EQ(Log_CreateFileOutput("", "file", nullptr, nullptr), nullptr);
}

TEST_F(LogKeysTest, NamesTheFileAfterFamilySuffixAndProcess) {
   const std::string area = folder / "Logs/Corvane";
   EXPECT_EQ(std::string(Create()->path.get()), area + "/zenthar-" + std::to_string(getpid()) + ".log");
   Put("log.suffix", "MAVR");
   const LogFileOutput *const file = Create();
   EXPECT_EQ(std::string(file->path.get()), area + "/zenthar-MAVR-" + std::to_string(getpid()) + ".log");
   EXPECT_TRUE(file->automaticName);
   struct stat made {};
   EXPECT_EQ(stat(area.c_str(), &made), 0);
   EXPECT_TRUE(S_ISDIR(made.st_mode));
}

TEST_F(LogKeysTest, FindsTheFileNameInTheKeyThatTheDictionaryNames) {
   Put("log.config", "MAVR.log.fileName");
   Put("log.fileName", "/of/dictionary.log");
   EXPECT_STREQ(Create()->path.get(), "/of/dictionary.log");
   gConfig["MAVR.log.fileName"] = "";
   EXPECT_STREQ(Create()->path.get(), "/of/dictionary.log") << "an empty one is none";
   gConfig["MAVR.log.fileName"] = "/of/config-$PID.log";
   EXPECT_EQ(std::string(Create()->path.get()), "/of/config-" + std::to_string(getpid()) + ".log");
   EXPECT_FALSE(Create()->automaticName);
}

TEST_F(LogKeysTest, LeavesABareFileNameRelative) {
   Put("log.fileName", "bare.log");
   EXPECT_STREQ(Create()->path.get(), "bare.log");
   Put("log.fileName", "");
   EXPECT_TRUE(Create()->automaticName);
}

TEST_F(LogKeysTest, SaysThatTheFolderCannotBeMade) {
   kit::WriteFile(folder / "Logs", "no folder");
   EXPECT_EQ(Create(), nullptr);
   EXPECT_TRUE(capture.Saw(3, "Safe logging area '%s' validation failed!\n", (folder / "Logs/Corvane").c_str()))
      << capture.Dump();
}

TEST_F(LogKeysTest, LoadsTheFiltersOfModules) {
   const std::string third = Log_ModuleNameById(3);
   const std::string fourth = Log_ModuleNameById(4);
   Log_SetFileLevel(5, 9);
   gConfig["log.filter.minLogLevel." + third] = "debug";
   gConfig["MAVR.log.filter.minStderrLevel." + third] = "error";
   gConfig["log.filter.minLogLevel." + fourth] = "none";
   Log_SetFileLevel(4, 9);
   Log_LoadModuleFilters("MAVR", &Source());
   EXPECT_EQ(Log_GetFileLevel(3), 8);
   EXPECT_EQ(Log_GetStderrLevel(3), 2);
   EXPECT_EQ(Log_GetFileLevel(4), -1);
   EXPECT_EQ(Log_GetFileLevel(5), 9) << "no key, no change";
}

TEST_F(LogKeysTest, StartsWithTheConfigurationOfTheSource) {
   gConfig["MAVR.log.fileName"] = folder / "from-config.log";
   Put("log.config", "MAVR.log.fileName");
   LogOutput *const output = Log_Start("MAVR", dictionary, &Source(), false);
   ASSERT_NE(output, nullptr);
   EXPECT_STREQ(Log_GetFilePath(), (folder / "from-config.log").c_str());
   EXPECT_EQ(LogLevel_ConfiguredBy(), &Source());
   EXPECT_EQ(Log_Start("MAVR", dictionary, &Source(), false), nullptr) << "a second one of the same name";
}

TEST_F(LogKeysTest, StartsOnAGivenPath) {
   ASSERT_NE(Log_StartWithPath(nullptr, nullptr, (folder / "given.log").c_str()), nullptr);
   Log_Info("a line");
   EXPECT_EQ(CountOf(kit::ReadFile(folder / "given.log"), " a line\n"), 1U);
}

TEST_F(LogKeysTest, KeepsTheLastWordsOfAPanic) {
   const std::string file = folder / "panic.log";
   EXPECT_DEATH(
      {
         Log_StartWithPath(nullptr, nullptr, file.c_str());
         Panic("the last words %d\n", 7);
      },
      "the last words 7");
   EXPECT_EQ(CountOf(kit::ReadFile(file), "Cr(01) "), 1U);
   EXPECT_EQ(CountOf(kit::ReadFile(file), " the last words 7\n"), 1U);
}

TEST_F(LogKeysTest, HandsThePanicTextToEveryOutput) {
   EXPECT_EXIT(
      {
         static CaptureOutput &output = capture;
         Log_StartWithPath(nullptr, nullptr, (folder / "panic.log").c_str());
         output.onWrite = [] {
            _exit(output.Saw(1, "%s", "the last words 7\n") ? 0 : 1);
         };
         Panic("the last words %d\n", 7);
      },
      testing::ExitedWithCode(0), "");
}
