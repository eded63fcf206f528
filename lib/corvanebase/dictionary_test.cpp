#include "lib/corvanebase/corvanebase.h"
#include "lib/corvanebase/text.h"

#include <climits>
#include <gtest/gtest.h>
#include <string>

namespace {

class DictionaryTest : public testing::Test {
protected:
   void TearDown() override { Dictionary_Free(mDictionary); }
   std::string Text(const char *defaultValue, const char *key) const {
      const corvanebase::HeapText text(Dict_GetString(mDictionary, defaultValue, key));
      return text != nullptr ? text.get() : "(null)";
   }
   Dictionary *const mDictionary = Dictionary_Create();
};

TEST_F(DictionaryTest, AbsentKeyGivesTheDefault) {
   EXPECT_EQ(Text("default", "key"), "default");
   EXPECT_EQ(Text(nullptr, "key"), "(null)");
   EXPECT_EQ(Dict_GetLong(mDictionary, -5, "key"), -5);
   EXPECT_EQ(Dict_GetBool(mDictionary, 1, "key"), 1);
   EXPECT_EQ(Dict_GetBool(mDictionary, 0, "key"), 0);
}

TEST_F(DictionaryTest, KeepsValuesByCaseSensitiveKey) {
   Dict_SetString(mDictionary, "value", "log.suffix");
   EXPECT_EQ(Text("default", "log.suffix"), "value");
   EXPECT_EQ(Text("default", "LOG.suffix"), "default");
   Dict_SetString(mDictionary, "other", "log.suffix");
   EXPECT_EQ(Text("default", "log.suffix"), "other");
   Dict_SetString(mDictionary, "", "log.suffix");
   EXPECT_EQ(Text("default", "log.suffix"), "");
}

TEST_F(DictionaryTest, NullTakesAKeyOut) {
   Dict_SetString(mDictionary, "value", "key");
   Dict_SetString(mDictionary, nullptr, "key");
   EXPECT_EQ(Text("default", "key"), "default");
   Dict_SetString(mDictionary, nullptr, "key");
}

TEST_F(DictionaryTest, LongAndBooleanReadAsTheirText) {
   Dict_SetLong(mDictionary, INT_MIN, "long");
   Dict_SetBool(mDictionary, 7, "bool");
   EXPECT_EQ(Text(nullptr, "long"), "-2147483648");
   EXPECT_EQ(Text(nullptr, "bool"), "true");
   EXPECT_EQ(Dict_GetLong(mDictionary, 0, "long"), INT_MIN);
   EXPECT_EQ(Dict_GetBool(mDictionary, 0, "bool"), 1);
   Dict_SetBool(mDictionary, 0, "bool");
   EXPECT_EQ(Text(nullptr, "bool"), "false");
}

TEST_F(DictionaryTest, TextCountsAsLongOrBooleanWhenItIsOne) {
   Dict_SetString(mDictionary, "42", "number");
   Dict_SetString(mDictionary, "Yes", "truth");
   Dict_SetString(mDictionary, "4 2", "neither");
   EXPECT_EQ(Dict_GetLong(mDictionary, 1, "number"), 42);
   EXPECT_EQ(Dict_GetBool(mDictionary, 0, "truth"), 1);
   EXPECT_EQ(Dict_GetLong(mDictionary, 1, "neither"), 1);
   EXPECT_EQ(Dict_GetBool(mDictionary, 1, "neither"), 1);
}

TEST_F(DictionaryTest, LongAndBooleanDoNotStandForEachOther) {
   Dict_SetLong(mDictionary, 1, "long");
   Dict_SetBool(mDictionary, 1, "bool");
   EXPECT_EQ(Dict_GetBool(mDictionary, 0, "long"), 0);
   EXPECT_EQ(Dict_GetLong(mDictionary, 9, "bool"), 9);
}

TEST(DictionaryLife, NullIsFreedSilently) {
   Dictionary_Free(nullptr);
}

} // namespace
