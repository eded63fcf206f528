#include "libs/common/UserPrefsUtil.h"

#include "lib/mfw/common/logger.h"
#include "libs/avCap/AVCapability.h"
#include "libs/avManager/devices/AudioInputDevices.h"
#include "libs/avManager/devices/VideoInputDevices.h"
#include "libs/common/PreferredDevice.h"
#include "libs/utils/RegUtils.h"
#include "libs/utils/StringUtils.h"

#include <algorithm>
#include <utility>

namespace {

constexpr const char kWidth[] = "srcWCamFrameWidth";
constexpr const char kHeight[] = "srcWCamFrameHeight";
constexpr const char kFrameRate[] = "srcWCamFrameRate";
constexpr const char kAInOption[] = "srcAudioInOption";

constexpr PreferredDeviceKind kWCam{"MMDev::DeviceInfo UserPrefsUtil::PreferredWCamDeviceInfo()",
                                    "PreferredWCamDeviceInfo", &VideoInputDevices::List};
constexpr PreferredDeviceKind kAIn{"MMDev::DeviceInfo UserPrefsUtil::PreferredAInDeviceInfo()",
                                   "PreferredAInDeviceInfo", &AudioInputDevices::List};

std::string ReadText(const char *name) {
   return RegUtils::GetString("", name, "");
}

uint32_t ReadClientDimension(const char *name) {
   const uint32_t value = RegUtils::GetDWORD("", name, 0);
   // Required: the second read is for the machine's settings, which share the domain with the client's here.
   return value != 0 ? value : RegUtils::GetDWORD("", name, 0);
}

// By value: the record is one of the list's own.
void ReduceTo(MMDev::DeviceList &list, MMDev::DeviceInfo record) {
   list.clear();
   list.push_back(std::move(record));
}

} // namespace

bool UserPrefsUtil::IsEnabled() {
   return !RegUtils::GetBool("", "IsDisabled", false);
}

void UserPrefsUtil::SetEnabled(bool enabled) {
   RegUtils::SetBool("", "IsDisabled", !enabled);
}

// ---- Video ----

void UserPrefsUtil::GetVCamRes(const VCamPolicy &policy, uint32_t *width, uint32_t *height) {
   const uint32_t clientWidth = ReadClientDimension(kWidth);
   const uint32_t clientHeight = ReadClientDimension(kHeight);
   const bool h264 = (AVCapability::GetInstance().Negotiated() & CAP_H264) != 0;
   *width = RoundDimension(SelectDimension(clientWidth, policy.maxWidth, policy.defaultWidth, kBuiltInWidth), h264);
   *height =
      RoundDimension(SelectDimension(clientHeight, policy.maxHeight, policy.defaultHeight, kBuiltInHeight), h264);
   MAVR_LOG_DEBUG("%s - Finding resolution(WxH) to use.  PolicyRes=%ux%u.  PolicyDefRes=%ux%u.  ClientRes=%ux%u.  "
                  "SelectedRes=%ux%u",
                  "GetVCamRes", policy.maxWidth, policy.maxHeight, policy.defaultWidth, policy.defaultHeight,
                  clientWidth, clientHeight, *width, *height);
}

void UserPrefsUtil::GetVCamFps(uint32_t policyRate, uint32_t *frameRate) {
   const uint32_t clientRate = RegUtils::GetDWORD("", kFrameRate, kDefaultFrameRate);
   *frameRate = SelectFrameRate(policyRate, clientRate);
   MAVR_LOG_DEBUG("finding FPS to use.  PolicyFPS=%u.  ClientFPS=%u.  SelectedFPS:%u", policyRate, clientRate,
                  *frameRate);
}

bool UserPrefsUtil::SetVCamRes(uint32_t context, uint32_t width, uint32_t height) {
   const auto widthText = StringUtils::IntToText(width);
   const auto heightText = StringUtils::IntToText(height);
   return widthText && heightText && RegUtils::SetAppSetting(context, kWidth, *widthText) &&
          RegUtils::SetAppSetting(context, kHeight, *heightText);
}

bool UserPrefsUtil::SetVCamFps(uint32_t context, uint32_t frameRate) {
   const auto text = StringUtils::IntToText(frameRate);
   return text && RegUtils::SetClientAppSetting(context, kFrameRate, *text);
}

bool UserPrefsUtil::SetVCamResAndFps(uint32_t context, uint32_t width, uint32_t height, uint32_t frameRate) {
   return SetVCamRes(context, width, height) && SetVCamFps(context, frameRate);
}

bool UserPrefsUtil::IsH265CodecSupportEnabled() {
   return RegUtils::GetBool("", "EnableH265CodecSupport", false);
}

void UserPrefsUtil::GetVideoAdapterSettings(uint32_t *enable, uint64_t *interval, uint64_t *overuse,
                                            uint64_t *underuse) {
   static constexpr const char kFunction[] = "GetVideoAdapterSettings";
   *enable = RegUtils::GetBool("", "DisableVideoAdapterSupport", false) ? 0 : 1;
   const VideoAdapterNumbers defaults;
   VideoAdapterNumbers numbers{
      RegUtils::GetDWORD("", "VideoAdapterProcessIntervalSeconds", defaults.intervalSeconds),
      RegUtils::GetDWORD("", "VideoAdapterThresholdPercentOveruse", defaults.percentOveruse),
      RegUtils::GetDWORD("", "VideoAdapterThresholdPercentUnderuse", defaults.percentUnderuse),
   };
   const VideoAdapterFaults faults = CheckVideoAdapter(numbers);
   if (faults.interval) {
      MAVR_LOG_DEBUG("%s: Detect invalid VideoAdapter settings. processIntervalSeconds: (%d)", kFunction,
                     static_cast<int>(numbers.intervalSeconds));
   }
   if (faults.overuse) {
      MAVR_LOG_DEBUG("%s: Detect invalid VideoAdapter settings. thresholdPercentOveruse: (%d)", kFunction,
                     static_cast<int>(numbers.percentOveruse));
   }
   if (faults.underuse) {
      MAVR_LOG_DEBUG("%s: Detect invalid VideoAdapter settings. thresholdPercentUnderuse: (%d)", kFunction,
                     static_cast<int>(numbers.percentUnderuse));
   }
   if (faults.crossing) {
      MAVR_LOG_DEBUG("%s: Detect invalid VideoAdapter settings. Underuse (%d) > Overuse (%d)", kFunction,
                     static_cast<int>(numbers.percentUnderuse), static_cast<int>(numbers.percentOveruse));
   }
   if (faults.Any()) {
      MAVR_LOG_DEBUG("%s: Detect invalid VideoAdapter settings. Reset the settings to default.", kFunction);
      numbers = defaults;
   }
   *interval = numbers.intervalSeconds;
   *overuse = numbers.percentOveruse;
   *underuse = numbers.percentUnderuse;
   MAVR_LOG_DEBUG("%s: enable = %s, (interval, overuse, underuse) = (%d,%d,%d)", kFunction,
                  *enable != 0 ? "True" : "False", static_cast<int>(numbers.intervalSeconds),
                  static_cast<int>(numbers.percentOveruse), static_cast<int>(numbers.percentUnderuse));
}

// ---- Preferred devices ----

MMDev::DeviceInfo UserPrefsUtil::PreferredWCamDeviceInfo() {
   return ResolvePreferredDevice(kWCam, ReadText("srcWCamId"), ReadText("srcWCamName"));
}

MMDev::DeviceInfo UserPrefsUtil::PreferredAInDeviceInfo() {
   return ResolvePreferredDevice(kAIn, ReadText("srcAudioInId"), ReadText("srcAudioInName"));
}

std::string UserPrefsUtil::PreferredWCamUserId() {
   return PreferredWCamDeviceInfo().mUserId;
}
std::string UserPrefsUtil::PreferredWCamName() {
   return PreferredWCamDeviceInfo().mName;
}
std::string UserPrefsUtil::PreferredAInUserId() {
   return PreferredAInDeviceInfo().mUserId;
}
std::string UserPrefsUtil::PreferredAInName() {
   return PreferredAInDeviceInfo().mName;
}

bool UserPrefsUtil::SetPreferredWCamId(const std::string &id) {
   return RegUtils::SetString("", "srcWCamId", id);
}
bool UserPrefsUtil::SetPreferredWCamName(const std::string &name) {
   return RegUtils::SetString("", "srcWCamName", name);
}
bool UserPrefsUtil::SetPreferredAInId(const std::string &id) {
   return RegUtils::SetString("", "srcAudioInId", id);
}
bool UserPrefsUtil::SetPreferredAInName(const std::string &name) {
   return RegUtils::SetString("", "srcAudioInName", name);
}

// ---- Microphones ----

MAVRAInOption UserPrefsUtil::GetAInOption() {
   return static_cast<MAVRAInOption>(RegUtils::GetDWORD("", kAInOption, AIN_OPTION_ALL));
}

bool UserPrefsUtil::SetAInOption(MAVRAInOption option) {
   return RegUtils::SetDWORD("", kAInOption, option);
}

MAVRAInOption UserPrefsUtil::GetRedirectedMMDevList(MMDev::DeviceList &list, const AudioDevInfoMap &map) {
   static constexpr const char kFunction[] = "GetRedirectedMMDevList";
   AudioInputDevices::List(list);
   if (list.empty()) {
      MAVR_LOG_DEBUG("%s - Empty device list, return directly.", kFunction);
      return AIN_OPTION_ALL;
   }
   const std::string preferred = PreferredAInUserId();
   const MMDev::DeviceInfo *const match = preferred.empty() ? nullptr : FindByUserId(list, preferred);
   if (match != nullptr) {
      MAVR_LOG_DEBUG("%s - Redirect preferred microphone: %s.", kFunction, preferred.c_str());
      ReduceTo(list, *match);
      return AIN_OPTION_PREFERRED;
   }
   // Required: a stored "preferred" that does not resolve means all.
   if (GetAInOption() != AIN_OPTION_DEFAULT) {
      MAVR_LOG_DEBUG("%s - Redirect all microphones.", kFunction);
      return AIN_OPTION_ALL;
   }
   MMDev::DeviceList chosen;
   for (const auto &entry : map) {
      const std::string &guid = entry.second.guid;
      const auto found =
         std::find_if(list.begin(), list.end(), [&](const MMDev::DeviceInfo &record) { return record.mGuid == guid; });
      if (found != list.end()) {
         chosen.push_back(*found);
      }
   }
   list = std::move(chosen);
   MAVR_LOG_DEBUG("%s - Redirect default microphones.", kFunction);
   return AIN_OPTION_DEFAULT;
}

bool UserPrefsUtil::IsPreferredAInDevValid(MMDev::DeviceList &list) {
   static constexpr const char kFunction[] = "bool UserPrefsUtil::IsPreferredAInDevValid(MMDev::DeviceList &)";
   const std::string preferred = PreferredAInUserId();
   if (preferred.empty()) {
      MAVR_LOG_DEBUG("%s - The preferred microphone device is not set.", kFunction);
      return false;
   }
   const MMDev::DeviceInfo *const match = FindByUserId(list, preferred);
   if (match == nullptr) {
      return false;
   }
   MAVR_LOG_DEBUG("%s - The preferred microphone %s is valid.", kFunction, preferred.c_str());
   ReduceTo(list, *match);
   return true;
}

bool UserPrefsUtil::IsPreferredWCamDevValid(MMDev::DeviceList &list) {
   static constexpr const char kFunction[] = "bool UserPrefsUtil::IsPreferredWCamDevValid(MMDev::DeviceList &)";
   const std::string preferred = PreferredWCamUserId();
   if (preferred.empty()) {
      MAVR_LOG_DEBUG("%s - The preferred webcam device is not set.", kFunction);
      return false;
   }
   const MMDev::DeviceInfo *const match = FindByUserId(list, preferred);
   if (match == nullptr) {
      return false;
   }
   MAVR_LOG_DEBUG("%s - The preferred webcam %s is valid.", kFunction, preferred.c_str());
   ReduceTo(list, *match);
   return true;
}

bool UserPrefsUtil::IsPreferredWCamDevValid(CamDevInfoMap &map) {
   static constexpr const char kFunction[] = "bool UserPrefsUtil::IsPreferredWCamDevValid(CamDevInfoMap &)";
   const std::string preferred = PreferredWCamUserId();
   if (preferred.empty()) {
      MAVR_LOG_DEBUG("%s - The preferred webcam device is not set.", kFunction);
      return false;
   }
   const auto match =
      std::find_if(map.begin(), map.end(), [&](const auto &entry) { return entry.second.userId == preferred; });
   if (match == map.end()) {
      return false;
   }
   MAVR_LOG_DEBUG("%s - The preferred webcam %s is valid.", kFunction, preferred.c_str());
   CamDevInfoMap::node_type kept = map.extract(match);
   map.clear();
   map.insert(std::move(kept));
   return true;
}
