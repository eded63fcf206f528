#include "libs/utils/RegUtils.h"

#include "lib/mfw/common/logger.h"
#include "libs/utils/ConfigSettings.h"
#include "tests/kit/FakePreferences.h"
#include "tests/kit/LogCapture.h"

#include <gtest/gtest.h>

namespace {

class RegUtilsTest : public ::testing::Test {
protected:
   RegUtilsTest() { ConfigSettings::Init(); }
   ~RegUtilsTest() override { ConfigSettings::Shutdown(); }

   kit::LogCapture log;
   kit::FakePreferences store;
};

TEST_F(RegUtilsTest, SubKeyAndNameJoinWithNothingBetween) {
   store.Set("\\miscSettingsmsgProcDelayLow", int64_t{5});
   store.Set("DebugExportVideoEnable", true);
   store.SetText("Software\\Policies\\Corvane\\Zenthar\\Agent\\MAVRDisableMAVR", "true");
   store.SetText("srcWCamId", "id");
   EXPECT_EQ(RegUtils::GetDWORD("\\miscSettings", "msgProcDelayLow", 1), 5u);
   EXPECT_TRUE(RegUtils::GetBool("Debug", "ExportVideoEnable", false));
   EXPECT_EQ(RegUtils::GetString("Software\\Policies\\Corvane\\Zenthar\\Agent\\MAVR", "DisableMAVR", ""), "true");
   EXPECT_EQ(RegUtils::GetString("", "srcWCamId", ""), "id") << "an empty sub-key leaves the name";
   EXPECT_EQ(RegUtils::GetDWORD("\\miscsettings", "msgProcDelayLow", 1), 1u) << "case counts";
}

TEST_F(RegUtilsTest, MissingValuesGiveTheDefaults) {
   EXPECT_EQ(RegUtils::GetDWORD("", "none", 42), 42u);
   EXPECT_TRUE(RegUtils::GetBool("", "none", true));
   EXPECT_FALSE(RegUtils::GetBool("", "none", false));
   EXPECT_EQ(RegUtils::GetString("", "none", "default"), "default");
}

TEST_F(RegUtilsTest, WritesUseTheSameKeysAndAlwaysReportTrue) {
   EXPECT_TRUE(RegUtils::SetString("sub", "text", "value"));
   EXPECT_TRUE(RegUtils::SetDWORD("sub", "number", 3));
   EXPECT_EQ(RegUtils::GetString("sub", "text", ""), "value");
   EXPECT_EQ(RegUtils::GetDWORD("su", "bnumber", 0), 3u) << "one flat key";
   store.SetWriteStatus(osal::Status::Error(28, "full"));
   EXPECT_TRUE(RegUtils::SetString("sub", "text", "other"));
   EXPECT_TRUE(RegUtils::SetDWORD("sub", "number", 4));
   EXPECT_EQ(RegUtils::GetDWORD("sub", "number", 0), 3u);
}

TEST_F(RegUtilsTest, RequiredSetBoolDoesNothing) {
   store.ClearCalls();
   log.Clear();
   RegUtils::SetBool("", "IsDisabled", true);
   EXPECT_TRUE(store.Calls().empty());
   EXPECT_TRUE(log.Lines().empty());
   EXPECT_FALSE(RegUtils::GetBool("", "IsDisabled", false));
}

TEST_F(RegUtilsTest, SettingsOfOtherPlatformsAreOnlyLogged) {
   store.SetText("key", "old");
   store.ClearCalls();
   EXPECT_TRUE(RegUtils::SetClientAppSetting(1, "key", "new"));
   EXPECT_TRUE(RegUtils::SetAppSetting(2, "key", "new"));
   EXPECT_TRUE(RegUtils::DeleteRegistryValue("", "key"));
   EXPECT_TRUE(store.Calls().empty());
   EXPECT_TRUE(log.Saw(logger::DEBUG, "RegUtils::SetClientAppSetting(subkey=\"%s\", value=\"%s\"): TODO", "key", "new"))
      << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "RegUtils::SetAppSetting(subkey=\"%s\", value=\"%s\"): TODO", "key", "new"));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Not implemented on this platform.", "DeleteRegistryValue"));
   EXPECT_EQ(RegUtils::GetString("", "key", ""), "old");
}

} // namespace
