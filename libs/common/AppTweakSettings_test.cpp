#include "libs/common/AppTweakSettings.h"

#include "lib/mfw/common/logger.h"
#include "libs/utils/ConfigSettings.h"
#include "tests/kit/FakePreferences.h"
#include "tests/kit/LogCapture.h"

#include <gtest/gtest.h>

namespace {

class AppTweakSettingsTest : public ::testing::Test {
protected:
   AppTweakSettingsTest() { ConfigSettings::Init(); }
   ~AppTweakSettingsTest() override { ConfigSettings::Shutdown(); }

   kit::LogCapture log;
   kit::FakePreferences store;
};

TEST_F(AppTweakSettingsTest, DelaysHaveDefaultsAndAreLogged) {
   EXPECT_EQ(AppTweakSettings::GetMsgProcDelayLow(), 240u);
   EXPECT_EQ(AppTweakSettings::GetMsgProcDelayHigh(), 600u);
   EXPECT_EQ(AppTweakSettings::GetWCamIdleToActiveDelay(), 0u);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Device MsgProc Delay LowVal=%ld (ms)", "GetMsgProcDelayLow", 240L))
      << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Device MsgProc Delay HighVal=%ld (ms)", "GetMsgProcDelayHigh", 600L));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Webcam StopStart Delay=%ld (ms)", "GetWCamIdleToActiveDelay", 0L));
}

TEST_F(AppTweakSettingsTest, MessageDelaysAreAtMost1000AndTheWebcamsIsNot) {
   struct Case {
      int64_t stored;
      uint32_t message;
      uint32_t webcam;
   };
   for (const Case &c : {Case{0, 0, 0}, Case{999, 999, 999}, Case{1000, 1000, 1000}, Case{1001, 1000, 1001},
                         Case{5000, 1000, 5000}, Case{-1, 1000, 0xFFFFFFFFu}}) {
      store.Set("\\miscSettingsmsgProcDelayLow", c.stored);
      store.Set("\\miscSettingsmsgProcDelayHigh", c.stored);
      store.Set("\\miscSettingswcamStopStartDelay", c.stored);
      EXPECT_EQ(AppTweakSettings::GetMsgProcDelayLow(), c.message) << c.stored;
      EXPECT_EQ(AppTweakSettings::GetMsgProcDelayHigh(), c.message) << c.stored;
      EXPECT_EQ(AppTweakSettings::GetWCamIdleToActiveDelay(), c.webcam) << c.stored;
   }
}

TEST_F(AppTweakSettingsTest, DebugFilesNeedTheirSwitchAndAName) {
   struct Case {
      const char *enable;
      const char *name;
      bool (*get)(std::string *);
   };
   const Case cases[] = {
      {"DebugExportVideoEnable", "DebugExportVideoFileName", &AppTweakSettings::GetExportVideoFile},
      {"DebugExportAudioEnable", "DebugExportAudioFileName", &AppTweakSettings::GetExportAudioFile},
      {"DebugImportVideoEnable", "DebugImportVideoFilename", &AppTweakSettings::GetImportVideoFile},
      {"DebugImportAudioEnable", "DebugImportAudioFilename", &AppTweakSettings::GetImportAudioFile},
   };
   for (const Case &c : cases) {
      std::string path = "before";
      store.SetText(c.name, "/some/file");
      EXPECT_FALSE(c.get(&path)) << c.enable;
      EXPECT_EQ(path, "before") << "left alone while switched off";
      store.Set(c.enable, true);
      EXPECT_TRUE(c.get(&path));
      EXPECT_EQ(path, "/some/file");
      store.Remove(c.name);
      EXPECT_FALSE(c.get(&path)) << "a switch without a name";
      EXPECT_EQ(path, "");
      store.SetText(c.enable, "true");
      path = "before";
      EXPECT_FALSE(c.get(&path)) << "a text is no boolean";
      EXPECT_EQ(path, "before");
   }
}

TEST_F(AppTweakSettingsTest, PcmFileHasNoSwitch) {
   std::string path = "before";
   EXPECT_FALSE(AppTweakSettings::GetExportAudioPcmFile(&path));
   EXPECT_EQ(path, "");
   store.SetText("DebugExportAudioPcmFilename", "/some/file");
   EXPECT_TRUE(AppTweakSettings::GetExportAudioPcmFile(&path));
   EXPECT_EQ(path, "/some/file");
}

TEST_F(AppTweakSettingsTest, ExtraLogsAreOneCategoryOrAll) {
   EXPECT_EQ(AppTweakSettings::GetExtraLogs(), 0u);
   EXPECT_TRUE(AppTweakSettings::IsExtraLogEnabled(0)) << "the stored value equals the category";
   EXPECT_FALSE(AppTweakSettings::IsExtraLogEnabled(7));
   struct Case {
      int64_t stored;
      bool enabled;
   };
   for (const Case &c : {Case{6, false}, Case{7, true}, Case{8, true}, Case{9, true}, Case{-1, true}}) {
      store.Set("DebugEnableExtraLogs", c.stored);
      EXPECT_EQ(AppTweakSettings::IsExtraLogEnabled(7), c.enabled) << c.stored;
   }
   EXPECT_EQ(AppTweakSettings::GetMaxLogLevel(), 0u);
   store.Set("DebugMaxLogLevel", int64_t{4});
   EXPECT_EQ(AppTweakSettings::GetMaxLogLevel(), 4u);
}

TEST(AppTweakTools, CodecNamesGiveIdsThatAreNotNormalised) {
   EXPECT_EQ(AppTweakSettings::CodecFromName("CRVH265OPUS"), 12u);
   EXPECT_EQ(AppTweakSettings::CodecFromName("speex"), 1u);
   EXPECT_EQ(AppTweakSettings::CodecFromName("unknown"), 0u);
   EXPECT_EQ(AppTweakSettings::CodecFromName(""), 0u);
}

TEST(AppTweakTools, BitsCountModulo32) {
   EXPECT_TRUE(AppTweakSettings::TestBit(0, 1));
   EXPECT_TRUE(AppTweakSettings::TestBit(32, 1));
   EXPECT_FALSE(AppTweakSettings::TestBit(1, 1));
   EXPECT_TRUE(AppTweakSettings::TestBit(31, 0x80000000u));
   EXPECT_TRUE(AppTweakSettings::TestBit(0xFFFFFFFFu, 0x80000000u));
   EXPECT_EQ(AppTweakSettings::SetBit(3, 1), 9u);
   EXPECT_EQ(AppTweakSettings::SetBit(35, 1), 9u);
   EXPECT_EQ(AppTweakSettings::SetBit(31, 0), 0x80000000u);
}

TEST(AppTweakTools, Clamp) {
   EXPECT_EQ(AppTweakSettings::Clamp(4, 5, 10), 5);
   EXPECT_EQ(AppTweakSettings::Clamp(5, 5, 10), 5);
   EXPECT_EQ(AppTweakSettings::Clamp(9, 5, 10), 9);
   EXPECT_EQ(AppTweakSettings::Clamp(10, 5, 10), 10);
   EXPECT_EQ(AppTweakSettings::Clamp(11, 5, 10), 10);
   EXPECT_EQ(AppTweakSettings::Clamp(7, 10, 5), 10);
   EXPECT_EQ(AppTweakSettings::Clamp(12, 10, 5), 5);
   EXPECT_EQ(AppTweakSettings::Clamp(-3, -5, -1), -3);
}

} // namespace
