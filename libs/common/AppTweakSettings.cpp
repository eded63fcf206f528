#include "libs/common/AppTweakSettings.h"

#include "lib/mfw/common/logger.h"
#include "libs/utils/RegUtils.h"

#include <algorithm>

namespace {

constexpr const char kMisc[] = "\\miscSettings";
constexpr const char kDebug[] = "Debug";
constexpr uint32_t kLongestMsgProcDelay = 1000;
constexpr uint32_t kAllExtraLogs = 8;

uint32_t ReadMsgProcDelay(const char *name, uint32_t defaultValue) {
   return std::min(RegUtils::GetDWORD(kMisc, name, defaultValue), kLongestMsgProcDelay);
}

bool ReadFileName(const char *name, std::string *path) {
   *path = RegUtils::GetString(kDebug, name, "");
   return !path->empty();
}

bool ReadSwitchedFileName(const char *enable, const char *name, std::string *path) {
   return RegUtils::GetBool(kDebug, enable, false) && ReadFileName(name, path);
}

} // namespace

uint32_t AppTweakSettings::GetMsgProcDelayLow() {
   const uint32_t delay = ReadMsgProcDelay("msgProcDelayLow", 240);
   MAVR_LOG_DEBUG("%s - Device MsgProc Delay LowVal=%ld (ms)", "GetMsgProcDelayLow", static_cast<long>(delay));
   return delay;
}

uint32_t AppTweakSettings::GetMsgProcDelayHigh() {
   const uint32_t delay = ReadMsgProcDelay("msgProcDelayHigh", 600);
   MAVR_LOG_DEBUG("%s - Device MsgProc Delay HighVal=%ld (ms)", "GetMsgProcDelayHigh", static_cast<long>(delay));
   return delay;
}

uint32_t AppTweakSettings::GetWCamIdleToActiveDelay() {
   const uint32_t delay = RegUtils::GetDWORD(kMisc, "wcamStopStartDelay", 0);
   MAVR_LOG_DEBUG("%s - Webcam StopStart Delay=%ld (ms)", "GetWCamIdleToActiveDelay", static_cast<long>(delay));
   return delay;
}

bool AppTweakSettings::GetExportVideoFile(std::string *path) {
   return ReadSwitchedFileName("ExportVideoEnable", "ExportVideoFileName", path);
}

bool AppTweakSettings::GetExportAudioFile(std::string *path) {
   return ReadSwitchedFileName("ExportAudioEnable", "ExportAudioFileName", path);
}

bool AppTweakSettings::GetImportVideoFile(std::string *path) {
   return ReadSwitchedFileName("ImportVideoEnable", "ImportVideoFilename", path);
}

bool AppTweakSettings::GetImportAudioFile(std::string *path) {
   return ReadSwitchedFileName("ImportAudioEnable", "ImportAudioFilename", path);
}

bool AppTweakSettings::GetExportAudioPcmFile(std::string *path) {
   return ReadFileName("ExportAudioPcmFilename", path);
}

uint32_t AppTweakSettings::GetExtraLogs() {
   return RegUtils::GetDWORD(kDebug, "EnableExtraLogs", 0);
}

bool AppTweakSettings::IsExtraLogEnabled(uint32_t category) {
   const uint32_t logs = GetExtraLogs();
   return logs == category || logs >= kAllExtraLogs;
}

uint32_t AppTweakSettings::GetMaxLogLevel() {
   return RegUtils::GetDWORD(kDebug, "MaxLogLevel", 0);
}
