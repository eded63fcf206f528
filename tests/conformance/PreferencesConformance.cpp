#include "tests/conformance/PreferencesConformance.h"

#include <limits>
#include <thread>
#include <vector>

namespace conformance {
namespace {

using osal::PreferenceText;
using osal::PreferenceValue;

PreferenceValue Text(std::string text) {
   return PreferenceText(std::move(text));
}

TEST_P(PreferencesConformance, AFreshDomainIsEmptyAndWithoutTrouble) {
   const auto preferences = Open();
   ASSERT_NE(preferences, nullptr);
   bool found = true;
   EXPECT_EQ(preferences->copyAppValue("key"), std::nullopt);
   EXPECT_EQ(preferences->getAppIntegerValue("key", &found), 0);
   EXPECT_FALSE(found);
   found = true;
   EXPECT_FALSE(preferences->getAppBooleanValue("key", &found));
   EXPECT_FALSE(found);
   EXPECT_TRUE(preferences->takeTrouble().ok());
   EXPECT_FALSE(preferences->location().empty());
}

TEST_P(PreferencesConformance, EveryTypeReadsBack) {
   const auto preferences = Open();
   const std::vector<PreferenceValue> values = {
      Text("plain"),
      Text(""),
      Text(" leading, trailing \n"),
      Text("<tag attribute=\"1\">&amp; ]]> 'quoted'"),
      Text("\xD1\x83\xD0\xB4\xD0\xB0\xD1\x80 \xF0\x9F\x8E\xA4"),
      Text(std::string(100'000, 'x')),
      int64_t{0},
      int64_t{-1},
      int64_t{std::numeric_limits<int32_t>::min()},
      int64_t{std::numeric_limits<uint32_t>::max()},
      std::numeric_limits<int64_t>::min(),
      std::numeric_limits<int64_t>::max(),
      true,
      false,
   };
   for (size_t i = 0; i < values.size(); ++i) {
      ASSERT_TRUE(preferences->setAppValue("key" + std::to_string(i), values[i]).ok()) << i;
   }
   const auto reopened = Open();
   for (size_t i = 0; i < values.size(); ++i) {
      EXPECT_EQ(preferences->copyAppValue("key" + std::to_string(i)), values[i]) << i;
      EXPECT_EQ(reopened->copyAppValue("key" + std::to_string(i)), values[i]) << i << " after opening again";
   }
}

TEST_P(PreferencesConformance, AValueCountsOnlyForAReadOfItsOwnType) {
   const auto preferences = Open();
   ASSERT_TRUE(preferences->setAppValue("text", Text("1")).ok());
   ASSERT_TRUE(preferences->setAppValue("integer", int64_t{1}).ok());
   ASSERT_TRUE(preferences->setAppValue("boolean", true).ok());
   for (const char *const key : {"text", "integer", "boolean"}) {
      bool found = false;
      const int64_t number = preferences->getAppIntegerValue(key, &found);
      EXPECT_EQ(found, std::string(key) == "integer") << key;
      EXPECT_EQ(number, found ? 1 : 0) << key;
      const bool flag = preferences->getAppBooleanValue(key, &found);
      EXPECT_EQ(found, std::string(key) == "boolean") << key;
      EXPECT_EQ(flag, found) << key;
   }
}

TEST_P(PreferencesConformance, ALaterValueReplacesAnEarlierOneOfAnyType) {
   const auto preferences = Open();
   for (const PreferenceValue &value :
        {Text("one"), PreferenceValue(int64_t{2}), PreferenceValue(true), Text("four")}) {
      ASSERT_TRUE(preferences->setAppValue("key", value).ok());
      EXPECT_EQ(preferences->copyAppValue("key"), value);
   }
}

TEST_P(PreferencesConformance, KeysAreFlatCaseSensitiveAndMayHoldAnything) {
   const auto preferences = Open();
   const std::vector<std::string> keys = {"srcWCamId",
                                          "srcwcamid",
                                          "\\miscSettingsmsgProcDelayLow",
                                          "Software\\Policies\\Corvane\\Zenthar\\Agent\\MAVRsrc",
                                          "a.b",
                                          "a/b",
                                          "",
                                          "<key>&",
                                          " ",
                                          std::string(2000, 'k')};
   for (size_t i = 0; i < keys.size(); ++i) {
      ASSERT_TRUE(preferences->setAppValue(keys[i], static_cast<int64_t>(i)).ok()) << keys[i];
   }
   const auto reopened = Open();
   for (size_t i = 0; i < keys.size(); ++i) {
      EXPECT_EQ(reopened->copyAppValue(keys[i]), PreferenceValue(static_cast<int64_t>(i))) << keys[i];
   }
}

TEST_P(PreferencesConformance, TwoOpenersSeeEachOthersWritesAtTheNextRead) {
   const auto one = Open();
   const auto two = Open();
   for (int64_t i = 0; i < 20; ++i) {
      ASSERT_TRUE(one->setAppValue("one", i).ok());
      EXPECT_EQ(two->copyAppValue("one"), PreferenceValue(i));
      ASSERT_TRUE(two->setAppValue("two", i).ok());
      EXPECT_EQ(one->copyAppValue("two"), PreferenceValue(i));
      EXPECT_EQ(one->copyAppValue("one"), PreferenceValue(i));
   }
}

TEST_P(PreferencesConformance, DomainsAreApart) {
   const auto one = Open("com.corvane.one");
   const auto two = Open("com.corvane.two");
   ASSERT_TRUE(one->setAppValue("key", int64_t{1}).ok());
   EXPECT_EQ(two->copyAppValue("key"), std::nullopt);
   EXPECT_NE(one->location(), two->location());
}

TEST_P(PreferencesConformance, ThreadsShareOneObject) {
   const auto preferences = Open();
   std::vector<std::thread> threads;
   for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&preferences, t] {
         const std::string key = "key" + std::to_string(t);
         for (int64_t i = 0; i < 25; ++i) {
            EXPECT_TRUE(preferences->setAppValue(key, i).ok());
            EXPECT_EQ(preferences->copyAppValue(key), PreferenceValue(i));
         }
      });
   }
   for (std::thread &thread : threads) {
      thread.join();
   }
   for (int t = 0; t < 4; ++t) {
      EXPECT_EQ(preferences->copyAppValue("key" + std::to_string(t)), PreferenceValue(int64_t{24}));
   }
}

TEST_P(PreferencesConformance, SynchronisingHasNothingLeftToDo) {
   const auto preferences = Open();
   ASSERT_TRUE(preferences->setAppValue("key", int64_t{1}).ok());
   EXPECT_TRUE(preferences->appSynchronize().ok());
   EXPECT_EQ(Open()->copyAppValue("key"), PreferenceValue(int64_t{1}));
}

} // namespace
} // namespace conformance
