#include "libs/common/PolicySettings.h"

#include "libs/utils/ConfigSettings.h"
#include "tests/kit/FakePreferences.h"
#include "tests/kit/LogCapture.h"

#include <gtest/gtest.h>

namespace {

std::string Key(const std::string &name) {
   return "Software\\Policies\\Corvane\\Zenthar\\Agent\\MAVR" + name;
}

class PolicySettingsTest : public ::testing::Test {
protected:
   PolicySettingsTest() { ConfigSettings::Init(); }
   ~PolicySettingsTest() override { ConfigSettings::Shutdown(); }

   kit::LogCapture log;
   kit::FakePreferences store;
};

TEST_F(PolicySettingsTest, DisabledIsComparedExactly) {
   EXPECT_EQ(PolicySettings::IsDisabled(), PolicySettings::Disabled::Nothing);
   struct Case {
      const char *text;
      uint32_t disabled;
   };
   for (const Case &c : {Case{"true", 3}, Case{"disableVideo", 2}, Case{"disableAudio", 1}, Case{"True", 0},
                         Case{"TRUE", 0}, Case{"disablevideo", 0}, Case{"", 0}, Case{"1", 0}, Case{"true ", 0}}) {
      store.SetText(Key("DisableMAVR"), c.text);
      EXPECT_EQ(static_cast<uint32_t>(PolicySettings::IsDisabled()), c.disabled) << c.text;
   }
   store.Set(Key("DisableMAVR"), true);
   EXPECT_EQ(PolicySettings::IsDisabled(), PolicySettings::Disabled::Nothing) << "a boolean is no text";
}

TEST_F(PolicySettingsTest, NumbersComeFromThePolicyOrTheCaller) {
   struct Case {
      const char *name;
      uint32_t (*read)(uint32_t);
   };
   for (const Case &c : {Case{"WebcamMaxFrameRate", &PolicySettings::WebcamMaxFrameRate},
                         Case{"WebcamMaxResHeight", &PolicySettings::WebcamMaxResHeight},
                         Case{"WebcamMaxResWidth", &PolicySettings::WebcamMaxResWidth},
                         Case{"WebcamDefaultResHeight", &PolicySettings::WebcamDefaultResHeight},
                         Case{"WebcamDefaultResWidth", &PolicySettings::WebcamDefaultResWidth}}) {
      EXPECT_EQ(c.read(7), 7u);
      store.Set(Key(c.name), int64_t{720});
      EXPECT_EQ(c.read(7), 720u) << c.name;
   }
}

TEST_F(PolicySettingsTest, MicrophoneRateIsFixedAtItsFirstRead) {
   EXPECT_EQ(PolicySettings::MicrophoneSampleRate(16000), 16000u);
   store.Set(Key("MicrophoneSampleRate"), int64_t{44100});
   EXPECT_EQ(PolicySettings::MicrophoneSampleRate(8000), 16000u);
}

TEST_F(PolicySettingsTest, MicrophoneRateOfThePolicyWinsAtTheFirstRead) {
   store.Set(Key("MicrophoneSampleRate"), int64_t{44100});
   EXPECT_EQ(PolicySettings::MicrophoneSampleRate(16000), 44100u);
   store.Remove(Key("MicrophoneSampleRate"));
   EXPECT_EQ(PolicySettings::MicrophoneSampleRate(16000), 44100u);
}

TEST_F(PolicySettingsTest, EncodersAreForcedByBooleans) {
   EXPECT_TRUE(PolicySettings::ForceNV(true));
   EXPECT_FALSE(PolicySettings::ForceQSV(false));
   store.Set(Key("forceNV"), false);
   store.Set(Key("forceQSV"), true);
   EXPECT_FALSE(PolicySettings::ForceNV(true));
   EXPECT_TRUE(PolicySettings::ForceQSV(false));
}

} // namespace
