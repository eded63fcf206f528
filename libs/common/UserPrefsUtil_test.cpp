#include "libs/common/UserPrefsUtil.h"

#include "lib/mfw/common/logger.h"
#include "libs/avCap/AVCapability.h"
#include "libs/avManager/devices/AudioInputDevices.h"
#include "libs/avManager/devices/VideoInputDevices.h"
#include "libs/mmdr/device/DeviceGuid.h"
#include "libs/utils/ConfigSettings.h"
#include "osal/Platform.h"
#include "tests/kit/FakeDevices.h"
#include "tests/kit/FakePreferences.h"
#include "tests/kit/LogCapture.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

class UserPrefsUtilTest : public ::testing::Test {
protected:
   UserPrefsUtilTest() {
      ConfigSettings::Init();
      fake.cameras = {kit::Camera("Cam", "a"), kit::Camera("Cam", "b")};
      fake.microphones = {{"Mic", "m1"}, {"Mic", "m2"}, {"Speaker", "s", 0}};
   }
   ~UserPrefsUtilTest() override { ConfigSettings::Shutdown(); }

   void SetNumber(const char *key, int64_t value) { store.Set(key, value); }

   std::pair<uint32_t, uint32_t> Resolution(const VCamPolicy &policy) {
      uint32_t width = 0;
      uint32_t height = 0;
      UserPrefsUtil::GetVCamRes(policy, &width, &height);
      return {width, height};
   }

   kit::LogCapture log;
   kit::FakePreferences store;
   kit::FakeDevices fake;
   osal::ScopedDevices inForce{fake};
};

using Size = std::pair<uint32_t, uint32_t>;

// ---- The switch ----

TEST_F(UserPrefsUtilTest, EnabledUnlessTheUserSwitchedItOff) {
   EXPECT_TRUE(UserPrefsUtil::IsEnabled());
   store.Set("IsDisabled", true);
   EXPECT_FALSE(UserPrefsUtil::IsEnabled());
   UserPrefsUtil::SetEnabled(true);
   EXPECT_FALSE(UserPrefsUtil::IsEnabled()) << "setting has no effect on this platform";
   store.SetText("Software\\Policies\\Corvane\\Zenthar\\Agent\\MAVRDisableMAVR", "disableVideo");
   EXPECT_EQ(UserPrefsUtil::IsDisabled(), PolicySettings::Disabled::Video);
}

// ---- Video ----

TEST_F(UserPrefsUtilTest, ResolutionTakesTheClientsWishUnderThePolicy) {
   EXPECT_EQ(Resolution({}), (Size{320, 240})) << "nothing set";
   SetNumber("srcWCamFrameWidth", 640);
   SetNumber("srcWCamFrameHeight", 480);
   EXPECT_EQ(Resolution({}), (Size{640, 480}));
   SetNumber("srcWCamFrameWidth", 1000);
   VCamPolicy policy;
   policy.maxWidth = 640;
   policy.maxHeight = 400;
   EXPECT_EQ(Resolution(policy), (Size{640, 400}));
   SetNumber("srcWCamFrameWidth", 31);
   SetNumber("srcWCamFrameHeight", 0);
   policy = {0, 480, 800, 480, 800};
   EXPECT_EQ(Resolution(policy), (Size{800, 480})) << "defaults that are not below the ceiling";
   policy = {0, 0, 0, 16, 16};
   EXPECT_EQ(Resolution(policy), (Size{0xFFFFFFF0u, 0xFFFFFFF0u})) << "no ceiling and no usable default";
}

TEST_F(UserPrefsUtilTest, ResolutionIsRoundedTo8OnceH264IsNegotiated) {
   SetNumber("srcWCamFrameWidth", 1000);
   SetNumber("srcWCamFrameHeight", 568);
   EXPECT_EQ(Resolution({}), (Size{992, 560})) << "no peer yet";
   AVCapability::GetInstance().AddLocalCap(CAP_H264);
   EXPECT_EQ(Resolution({}), (Size{992, 560}));
   AVCapability::GetInstance().SetCap(CAP_H264);
   EXPECT_EQ(Resolution({}), (Size{1000, 568}));
   EXPECT_EQ(Resolution({0, 0, 0, 16, 16}).first, 1000u);
   store.Remove("srcWCamFrameWidth");
   EXPECT_EQ(Resolution({0, 0, 0, 16, 16}).first, 0xFFFFFFF8u);
}

TEST_F(UserPrefsUtilTest, ResolutionReadsAMissingWishTwiceAndLogsTheChoice) {
   SetNumber("srcWCamFrameHeight", 480);
   store.ClearCalls();
   EXPECT_EQ(Resolution({25, 600, 800, 300, 400}), (Size{400, 480}));
   const std::vector<std::string> calls = store.Calls();
   EXPECT_EQ(std::count(calls.begin(), calls.end(), "getAppIntegerValue srcWCamFrameWidth"), 2);
   EXPECT_EQ(std::count(calls.begin(), calls.end(), "getAppIntegerValue srcWCamFrameHeight"), 1);
   EXPECT_TRUE(log.Saw(logger::DEBUG,
                       "%s - Finding resolution(WxH) to use.  PolicyRes=%ux%u.  PolicyDefRes=%ux%u.  ClientRes=%ux%u.  "
                       "SelectedRes=%ux%u",
                       "GetVCamRes", 800u, 600u, 400u, 300u, 0u, 480u, 400u, 480u))
      << log.Dump();
}

TEST_F(UserPrefsUtilTest, FrameRateOfTheClientUnderThePolicy) {
   uint32_t rate = 0;
   UserPrefsUtil::GetVCamFps(0, &rate);
   EXPECT_EQ(rate, 15u) << "the client's default";
   EXPECT_TRUE(
      log.Saw(logger::DEBUG, "finding FPS to use.  PolicyFPS=%u.  ClientFPS=%u.  SelectedFPS:%u", 0u, 15u, 15u))
      << log.Dump();
   SetNumber("srcWCamFrameRate", 60);
   UserPrefsUtil::GetVCamFps(0, &rate);
   EXPECT_EQ(rate, 30u);
   SetNumber("srcWCamFrameRate", 0);
   UserPrefsUtil::GetVCamFps(10, &rate);
   EXPECT_EQ(rate, 1u);
}

TEST_F(UserPrefsUtilTest, RequiredSizesAndRatesAreOnlyLoggedNeverStored) {
   EXPECT_TRUE(UserPrefsUtil::SetVCamRes(1, 640, 480));
   EXPECT_TRUE(
      log.Saw(logger::DEBUG, "RegUtils::SetAppSetting(subkey=\"%s\", value=\"%s\"): TODO", "srcWCamFrameWidth", "640"))
      << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "RegUtils::SetAppSetting(subkey=\"%s\", value=\"%s\"): TODO",
                       "srcWCamFrameHeight", "480"));
   EXPECT_TRUE(UserPrefsUtil::SetVCamFps(1, 25));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "RegUtils::SetClientAppSetting(subkey=\"%s\", value=\"%s\"): TODO",
                       "srcWCamFrameRate", "25"));
   log.Clear();
   EXPECT_TRUE(UserPrefsUtil::SetVCamResAndFps(1, 0, 0xFFFFFFFFu, 30));
   EXPECT_EQ(log.CountLevel(logger::DEBUG), 3);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "RegUtils::SetAppSetting(subkey=\"%s\", value=\"%s\"): TODO",
                       "srcWCamFrameHeight", "4294967295"));
   EXPECT_TRUE(store.Snapshot().empty());
}

TEST_F(UserPrefsUtilTest, CodecAndH265SwitchAreRead) {
   CodecId codec = 0;
   UserPrefsUtil::GetCodec(&codec);
   EXPECT_EQ(codec, 12u);
   store.SetText("codec", "CRVH264OPUS");
   UserPrefsUtil::GetCodec(&codec);
   EXPECT_EQ(codec, 10u);
   EXPECT_FALSE(UserPrefsUtil::IsH265CodecSupportEnabled());
   store.Set("EnableH265CodecSupport", true);
   EXPECT_TRUE(UserPrefsUtil::IsH265CodecSupportEnabled());
}

struct Adapter {
   uint32_t enable = 9;
   uint64_t interval = 0;
   uint64_t overuse = 0;
   uint64_t underuse = 0;
   Adapter() { UserPrefsUtil::GetVideoAdapterSettings(&enable, &interval, &overuse, &underuse); }
   bool Is(uint32_t e, uint64_t i, uint64_t o, uint64_t u) const {
      return enable == e && interval == i && overuse == o && underuse == u;
   }
};

TEST_F(UserPrefsUtilTest, VideoAdapterHasDefaultsAndTakesValidNumbers) {
   EXPECT_TRUE(Adapter().Is(1, 2, 98, 95));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s: enable = %s, (interval, overuse, underuse) = (%d,%d,%d)",
                       "GetVideoAdapterSettings", "True", 2, 98, 95))
      << log.Dump();
   SetNumber("VideoAdapterProcessIntervalSeconds", 7);
   SetNumber("VideoAdapterThresholdPercentOveruse", 95);
   SetNumber("VideoAdapterThresholdPercentUnderuse", 95);
   store.Set("DisableVideoAdapterSupport", true);
   EXPECT_TRUE(Adapter().Is(0, 7, 95, 95));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s: enable = %s, (interval, overuse, underuse) = (%d,%d,%d)",
                       "GetVideoAdapterSettings", "False", 7, 95, 95));
}

TEST_F(UserPrefsUtilTest, OneBadVideoAdapterNumberResetsAllThreeAndNotTheSwitch) {
   SetNumber("VideoAdapterProcessIntervalSeconds", 0);
   SetNumber("VideoAdapterThresholdPercentOveruse", 50);
   SetNumber("VideoAdapterThresholdPercentUnderuse", 40);
   store.Set("DisableVideoAdapterSupport", true);
   EXPECT_TRUE(Adapter().Is(0, 2, 98, 95));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s: Detect invalid VideoAdapter settings. processIntervalSeconds: (%d)",
                       "GetVideoAdapterSettings", 0))
      << log.Dump();
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s: Detect invalid VideoAdapter settings. Reset the settings to default.",
                       "GetVideoAdapterSettings"));

   SetNumber("VideoAdapterProcessIntervalSeconds", 3);
   SetNumber("VideoAdapterThresholdPercentOveruse", 101);
   EXPECT_TRUE(Adapter().Is(0, 2, 98, 95));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s: Detect invalid VideoAdapter settings. thresholdPercentOveruse: (%d)",
                       "GetVideoAdapterSettings", 101));

   SetNumber("VideoAdapterThresholdPercentOveruse", 50);
   SetNumber("VideoAdapterThresholdPercentUnderuse", 0);
   EXPECT_TRUE(Adapter().Is(0, 2, 98, 95));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s: Detect invalid VideoAdapter settings. thresholdPercentUnderuse: (%d)",
                       "GetVideoAdapterSettings", 0));

   SetNumber("VideoAdapterThresholdPercentUnderuse", 60);
   EXPECT_TRUE(Adapter().Is(0, 2, 98, 95));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s: Detect invalid VideoAdapter settings. Underuse (%d) > Overuse (%d)",
                       "GetVideoAdapterSettings", 60, 50));
}

// ---- Preferred devices ----

TEST_F(UserPrefsUtilTest, EachKindHasItsOwnKeysAndItsOwnList) {
   EXPECT_TRUE(UserPrefsUtil::SetPreferredWCamId("Cam#b"));
   EXPECT_TRUE(UserPrefsUtil::SetPreferredWCamName("camera name"));
   EXPECT_TRUE(UserPrefsUtil::SetPreferredAInId("Mic#m1"));
   EXPECT_TRUE(UserPrefsUtil::SetPreferredAInName("microphone name"));
   EXPECT_EQ(ConfigSettings::GetString("srcWCamId", ""), "Cam#b");
   EXPECT_EQ(ConfigSettings::GetString("srcWCamName", ""), "camera name");
   EXPECT_EQ(ConfigSettings::GetString("srcAudioInId", ""), "Mic#m1");
   EXPECT_EQ(ConfigSettings::GetString("srcAudioInName", ""), "microphone name");
   EXPECT_EQ(UserPrefsUtil::PreferredWCamUserId(), "Cam#b");
   EXPECT_EQ(UserPrefsUtil::PreferredWCamName(), "Cam 2");
   EXPECT_EQ(UserPrefsUtil::PreferredAInUserId(), "Mic#m1");
   EXPECT_EQ(UserPrefsUtil::PreferredAInName(), "Mic");
   EXPECT_EQ(UserPrefsUtil::PreferredAInDeviceInfo().mKind, 1u);
   EXPECT_EQ(UserPrefsUtil::PreferredWCamDeviceInfo().mKind, 2u);
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - Find matched preferred id: '%s' in device list.",
                       "MMDev::DeviceInfo UserPrefsUtil::PreferredWCamDeviceInfo()", "Cam#b"))
      << log.Dump();
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - Find matched preferred id: '%s' in device list.",
                       "MMDev::DeviceInfo UserPrefsUtil::PreferredAInDeviceInfo()", "Mic#m1"));
}

TEST_F(UserPrefsUtilTest, NothingStoredOrNothingPresentIsADefaultRecord) {
   EXPECT_EQ(UserPrefsUtil::PreferredWCamDeviceInfo().mKind, 0u);
   EXPECT_EQ(UserPrefsUtil::PreferredAInDeviceInfo().mKind, 0u);
   EXPECT_EQ(fake.discoveries + fake.audioHardwareOpened, 0) << "nothing to look for";
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - Config preferred device is NULL.", "PreferredWCamDeviceInfo"))
      << log.Dump();
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - Config preferred device is NULL.", "PreferredAInDeviceInfo"));
   fake.cameras.clear();
   fake.microphones.clear();
   UserPrefsUtil::SetPreferredWCamName("Cam");
   UserPrefsUtil::SetPreferredAInName("Mic");
   EXPECT_EQ(UserPrefsUtil::PreferredWCamDeviceInfo().mKind, 0u);
   EXPECT_EQ(UserPrefsUtil::PreferredAInDeviceInfo().mKind, 0u);
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - List size is 0.", "PreferredWCamDeviceInfo"));
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - List size is 0.", "PreferredAInDeviceInfo"));
}

// ---- Microphones ----

TEST_F(UserPrefsUtilTest, OptionIsStoredAndReadWithoutARangeTest) {
   EXPECT_EQ(UserPrefsUtil::GetAInOption(), AIN_OPTION_ALL);
   EXPECT_TRUE(UserPrefsUtil::SetAInOption(AIN_OPTION_PREFERRED));
   EXPECT_EQ(UserPrefsUtil::GetAInOption(), AIN_OPTION_PREFERRED);
   EXPECT_TRUE(UserPrefsUtil::SetAInOption(static_cast<MAVRAInOption>(5)));
   EXPECT_EQ(static_cast<uint32_t>(UserPrefsUtil::GetAInOption()), 5u);
}

class RedirectedList : public UserPrefsUtilTest {
protected:
   std::vector<std::string> Ids() const {
      std::vector<std::string> ids;
      for (const MMDev::DeviceInfo &record : list) {
         ids.push_back(record.mUserId);
      }
      return ids;
   }

   using Texts = std::vector<std::string>;
   MMDev::DeviceList list{MMDev::DeviceInfo{}};
   AudioDevInfoMap map;
};

TEST_F(RedirectedList, NoMicrophonesMeansAll) {
   fake.microphones.clear();
   UserPrefsUtil::SetAInOption(AIN_OPTION_DEFAULT);
   EXPECT_EQ(UserPrefsUtil::GetRedirectedMMDevList(list, map), AIN_OPTION_ALL);
   EXPECT_TRUE(list.empty());
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Empty device list, return directly.", "GetRedirectedMMDevList"))
      << log.Dump();
}

TEST_F(RedirectedList, ThePreferredOneDecidesWhateverTheOption) {
   UserPrefsUtil::SetPreferredAInId("m2");
   for (const MAVRAInOption option : {AIN_OPTION_ALL, AIN_OPTION_DEFAULT, AIN_OPTION_PREFERRED}) {
      UserPrefsUtil::SetAInOption(option);
      EXPECT_EQ(UserPrefsUtil::GetRedirectedMMDevList(list, map), AIN_OPTION_PREFERRED);
      EXPECT_EQ(Ids(), Texts{"Mic#m2"});
   }
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Redirect preferred microphone: %s.", "GetRedirectedMMDevList", "Mic#m2"))
      << log.Dump();
}

TEST_F(RedirectedList, RequiredOption2WithoutAPresentPreferredMeansAll) {
   UserPrefsUtil::SetPreferredAInId("absent");
   for (const uint32_t option : {0u, 2u, 3u, 0xFFFFFFFFu}) {
      UserPrefsUtil::SetAInOption(static_cast<MAVRAInOption>(option));
      EXPECT_EQ(UserPrefsUtil::GetRedirectedMMDevList(list, map), AIN_OPTION_ALL);
      EXPECT_EQ(Ids(), (Texts{"Mic#m1", "Mic#m2"})) << "the list stays whole";
   }
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Redirect all microphones.", "GetRedirectedMMDevList")) << log.Dump();
}

TEST_F(RedirectedList, Option1TakesTheMapInKeyOrder) {
   UserPrefsUtil::SetAInOption(AIN_OPTION_DEFAULT);
   map = {{"1", {MMDev::MakeDeviceGuid("m2")}},
          {"2", {"{none}"}},
          {"3", {MMDev::MakeDeviceGuid("m1")}},
          {"4", {MMDev::MakeDeviceGuid("m2")}}};
   EXPECT_EQ(UserPrefsUtil::GetRedirectedMMDevList(list, map), AIN_OPTION_DEFAULT);
   EXPECT_EQ(Ids(), (Texts{"Mic#m2", "Mic#m1", "Mic#m2"}));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - Redirect default microphones.", "GetRedirectedMMDevList")) << log.Dump();
}

TEST_F(RedirectedList, Option1WithAnEmptyMapLeavesNoMicrophone) {
   UserPrefsUtil::SetAInOption(AIN_OPTION_DEFAULT);
   EXPECT_EQ(UserPrefsUtil::GetRedirectedMMDevList(list, map), AIN_OPTION_DEFAULT);
   EXPECT_TRUE(list.empty());
}

TEST_F(RedirectedList, WorksOnTheCachedListItself) {
   UserPrefsUtil::SetPreferredAInId("m1");
   MMDev::DeviceList &cached = AudioInputDevices::CachedList();
   EXPECT_EQ(UserPrefsUtil::GetRedirectedMMDevList(cached, map), AIN_OPTION_PREFERRED);
   ASSERT_EQ(cached.size(), 1u);
   EXPECT_EQ(cached[0].mUserId, "Mic#m1");
}

// ---- Is the preferred one valid? ----

TEST_F(RedirectedList, ValidMicrophoneReducesTheListToIt) {
   static constexpr const char kFunction[] = "bool UserPrefsUtil::IsPreferredAInDevValid(MMDev::DeviceList &)";
   AudioInputDevices::List(list);
   EXPECT_FALSE(UserPrefsUtil::IsPreferredAInDevValid(list));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - The preferred microphone device is not set.", kFunction)) << log.Dump();
   UserPrefsUtil::SetPreferredAInId("m2");
   EXPECT_TRUE(UserPrefsUtil::IsPreferredAInDevValid(list));
   EXPECT_EQ(Ids(), Texts{"Mic#m2"});
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - The preferred microphone %s is valid.", kFunction, "Mic#m2"));
   UserPrefsUtil::SetPreferredAInId("m1");
   log.Clear();
   EXPECT_FALSE(UserPrefsUtil::IsPreferredAInDevValid(list)) << "present, but not in the argument";
   EXPECT_EQ(Ids(), Texts{"Mic#m2"}) << "left alone";
   list.clear();
   EXPECT_FALSE(UserPrefsUtil::IsPreferredAInDevValid(list));
   for (const kit::LogCapture::Line &line : log.Lines()) {
      EXPECT_EQ(line.text.find(kFunction), std::string::npos) << "without a line of its own";
   }
}

TEST_F(RedirectedList, ValidCameraReducesTheListToIt) {
   static constexpr const char kFunction[] = "bool UserPrefsUtil::IsPreferredWCamDevValid(MMDev::DeviceList &)";
   VideoInputDevices::List(list);
   EXPECT_FALSE(UserPrefsUtil::IsPreferredWCamDevValid(list));
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - The preferred webcam device is not set.", kFunction)) << log.Dump();
   UserPrefsUtil::SetPreferredWCamName("Cam 2");
   EXPECT_TRUE(UserPrefsUtil::IsPreferredWCamDevValid(list));
   EXPECT_EQ(Ids(), Texts{"Cam#b"});
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - The preferred webcam %s is valid.", kFunction, "Cam#b"));
   list.clear();
   EXPECT_FALSE(UserPrefsUtil::IsPreferredWCamDevValid(list));
}

TEST_F(RedirectedList, ValidCameraReducesTheMapToIt) {
   static constexpr const char kFunction[] = "bool UserPrefsUtil::IsPreferredWCamDevValid(CamDevInfoMap &)";
   fake.cameras[1].formats = kit::Camera("", "", {{640, 480}}).formats;
   CamDevInfoMap cameras;
   VideoInputDevices::Map(cameras);
   EXPECT_FALSE(UserPrefsUtil::IsPreferredWCamDevValid(cameras));
   EXPECT_EQ(cameras.size(), 2u);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - The preferred webcam device is not set.", kFunction)) << log.Dump();
   UserPrefsUtil::SetPreferredWCamId("Cam#b");
   EXPECT_TRUE(UserPrefsUtil::IsPreferredWCamDevValid(cameras));
   ASSERT_EQ(cameras.size(), 1u);
   EXPECT_EQ(cameras.begin()->first, MMDev::MakeDeviceGuid("b"));
   EXPECT_EQ(cameras.begin()->second.userId, "Cam#b");
   EXPECT_EQ(cameras.begin()->second.resolutions.size(), 1u);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - The preferred webcam %s is valid.", kFunction, "Cam#b"));
   cameras.clear();
   EXPECT_FALSE(UserPrefsUtil::IsPreferredWCamDevValid(cameras));
}

} // namespace
