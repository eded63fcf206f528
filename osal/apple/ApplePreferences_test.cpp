#include "osal/apple/ApplePreferences.h"

#include "osal/apple/CoreFoundationText.h"
#include "osal/apple/fakes/Fakes.h"

#include <gtest/gtest.h>

namespace osal {
namespace {

constexpr char kDomain[] = "com.corvane.test";

class ApplePreferencesTest : public testing::Test {
protected:
   ~ApplePreferencesTest() override {
      mPreferences.reset();
      fakes::ForgetPreferences();
      fakes::SetPreferencesWritable(true);
   }
   std::unique_ptr<Preferences> mPreferences = MakeApplePreferences(kDomain);
};

TEST_F(ApplePreferencesTest, TheDomainsNameIsItsPlace) {
   EXPECT_EQ(mPreferences->location(), kDomain);
}

TEST_F(ApplePreferencesTest, AValueOfAnotherTypeIsNone) {
   fakes::StorePreferenceReal(kDomain, "real", 1.0);
   EXPECT_EQ(mPreferences->copyAppValue("real"), std::nullopt);
   bool found = true;
   EXPECT_EQ(mPreferences->getAppIntegerValue("real", &found), 0);
   EXPECT_FALSE(found);
   found = true;
   EXPECT_FALSE(mPreferences->getAppBooleanValue("real", &found));
   EXPECT_FALSE(found);
}

TEST_F(ApplePreferencesTest, TextsThatThePlatformWouldConvertStayTexts) {
   ASSERT_TRUE(mPreferences->setAppValue("digits", PreferenceText("5")).ok());
   ASSERT_TRUE(mPreferences->setAppValue("yes", PreferenceText("yes")).ok());
   bool found = true;
   EXPECT_EQ(mPreferences->getAppIntegerValue("digits", &found), 0);
   EXPECT_FALSE(found);
   found = true;
   EXPECT_FALSE(mPreferences->getAppBooleanValue("yes", &found));
   EXPECT_FALSE(found);
}

TEST_F(ApplePreferencesTest, WhatIsNoUtf8IsRefusedAndNothingChanges) {
   ASSERT_TRUE(mPreferences->setAppValue("key", int64_t{1}).ok());
   const char *const malformed[] = {
      "\xFF", "\xC3", "\xED\xA0\x80", "\xC0\x80", "\xE0\x80\x80", "\xF0\x80\x80\x80", "\xF4\x90\x80\x80", "a\x80"};
   for (const char *const text : malformed) {
      const Status status = mPreferences->setAppValue("key", PreferenceText(text));
      EXPECT_FALSE(status.ok());
      EXPECT_FALSE(status.reason.empty());
      EXPECT_FALSE(mPreferences->setAppValue(text, int64_t{2}).ok());
      EXPECT_EQ(mPreferences->copyAppValue(text), std::nullopt);
      bool found = true;
      EXPECT_EQ(mPreferences->getAppIntegerValue(text, &found), 0);
      EXPECT_FALSE(found);
   }
   EXPECT_EQ(mPreferences->copyAppValue("key"), PreferenceValue(int64_t{1}));
}

TEST_F(ApplePreferencesTest, ADomainWhoseNameIsNoUtf8KeepsNothing) {
   const auto nowhere = MakeApplePreferences("\xFF");
   EXPECT_FALSE(nowhere->setAppValue("key", true).ok());
   EXPECT_EQ(nowhere->copyAppValue("key"), std::nullopt);
   EXPECT_FALSE(nowhere->appSynchronize().ok());
}

TEST_F(ApplePreferencesTest, AFailedSynchronisationIsAStatus) {
   EXPECT_TRUE(mPreferences->appSynchronize().ok());
   fakes::SetPreferencesWritable(false);
   EXPECT_EQ(mPreferences->appSynchronize().reason,
             "the platform could not write the preference domain com.corvane.test");
}

// Required: the platform writes the domain out on its own terms.
TEST_F(ApplePreferencesTest, SettingAValueDoesNotSynchronise) {
   fakes::SetPreferencesWritable(false);
   EXPECT_TRUE(mPreferences->setAppValue("key", int64_t{1}).ok());
   EXPECT_EQ(mPreferences->copyAppValue("key"), PreferenceValue(int64_t{1}));
}

TEST(CoreFoundationTextTest, TextsReadBackOfEveryLength) {
   for (const char *const text : {"", "plain", "K\xC3\xA4se \xF0\x9F\x93\xB7 \xED\x9F\xBF\xEE\x80\x80"}) {
      const CFOwned<CFStringRef> string = MakeCFString(text);
      ASSERT_TRUE(string);
      std::string back = "as it was";
      EXPECT_TRUE(CopyUtf8(string.get(), &back));
      EXPECT_EQ(back, text);
   }
   EXPECT_FALSE(MakeCFString("\xFF"));
}

TEST(CoreFoundationTextTest, AReferenceIsCountedOnceForEachOwner) {
   fakes::AwaitIdleQueues();
   {
      const CFOwned<CFStringRef> one = MakeCFString("text");
      CFOwned<CFStringRef> two = one;
      CFOwned<CFStringRef> three;
      three = two;
      two = CFOwned<CFStringRef>();
      EXPECT_EQ(fakes::LiveObjects(), 1u);
      const CFOwned<CFStringRef> four = std::move(three);
      EXPECT_TRUE(four);
   }
   EXPECT_EQ(fakes::LiveObjects(), 0u);
}

} // namespace
} // namespace osal
