#include "libs/common/PolicySettings.h"

#include "libs/utils/RegUtils.h"

#include <string>

namespace {

constexpr const char kPolicy[] = "Software\\Policies\\Corvane\\Zenthar\\Agent\\MAVR";

} // namespace

PolicySettings::Disabled PolicySettings::IsDisabled() {
   const std::string value = RegUtils::GetString(kPolicy, "DisableMAVR", "");
   if (value == "true") {
      return Disabled::AudioAndVideo;
   }
   if (value == "disableVideo") {
      return Disabled::Video;
   }
   return value == "disableAudio" ? Disabled::Audio : Disabled::Nothing;
}

uint32_t PolicySettings::WebcamMaxFrameRate(uint32_t defaultValue) {
   return RegUtils::GetDWORD(kPolicy, "WebcamMaxFrameRate", defaultValue);
}

uint32_t PolicySettings::WebcamMaxResHeight(uint32_t defaultValue) {
   return RegUtils::GetDWORD(kPolicy, "WebcamMaxResHeight", defaultValue);
}

uint32_t PolicySettings::WebcamMaxResWidth(uint32_t defaultValue) {
   return RegUtils::GetDWORD(kPolicy, "WebcamMaxResWidth", defaultValue);
}

uint32_t PolicySettings::WebcamDefaultResHeight(uint32_t defaultValue) {
   return RegUtils::GetDWORD(kPolicy, "WebcamDefaultResHeight", defaultValue);
}

uint32_t PolicySettings::WebcamDefaultResWidth(uint32_t defaultValue) {
   return RegUtils::GetDWORD(kPolicy, "WebcamDefaultResWidth", defaultValue);
}

uint32_t PolicySettings::MicrophoneSampleRate(uint32_t defaultValue) {
   static const uint32_t rate = RegUtils::GetDWORD(kPolicy, "MicrophoneSampleRate", defaultValue);
   return rate;
}

bool PolicySettings::ForceNV(bool defaultValue) {
   return RegUtils::GetBool(kPolicy, "forceNV", defaultValue);
}

bool PolicySettings::ForceQSV(bool defaultValue) {
   return RegUtils::GetBool(kPolicy, "forceQSV", defaultValue);
}
