#include "libs/common/DevPrefsInfo.h"

#include "lib/mfw/common/logger.h"

#include <algorithm>
#include <cstring>

namespace {

void StoreText(char (&member)[kPrefsTextSize], const std::string &text) {
   if (text.empty()) {
      std::memset(member, 0, sizeof member);
   } else {
      std::memcpy(member, text.data(), std::min(text.size(), sizeof member));
   }
}

// A member's text, which may fill it without a terminator.
std::string TextOf(const char (&member)[kPrefsTextSize]) {
   return {member, strnlen(member, sizeof member)};
}

template <typename Block>
void ZeroTexts(Block &block) {
   StoreText(block.DeviceId, {});
   StoreText(block.DeviceName, {});
}

} // namespace

void DevPrefsInfo::AddWebcamDev(uint32_t index, const std::string &id, const std::string &name) {
   Entry &entry = mEntries[index];
   entry.hasWebcam = true;
   StoreText(entry.first.Video.DeviceId, id);
   StoreText(entry.first.Video.DeviceName, name);
   DumpAVDevInfo();
}

void DevPrefsInfo::AddAudioDev(uint32_t index, const std::string &id, const std::string &name) {
   Entry &entry = mEntries[index];
   entry.hasAudio = true;
   StoreText(entry.first.Audio.DeviceId, id);
   StoreText(entry.first.Audio.DeviceName, name);
   DumpAVDevInfo();
}

bool DevPrefsInfo::RemoveWebcamDev(uint32_t index) {
   const auto found = mEntries.find(index);
   if (found == mEntries.end() || !found->second.hasWebcam) {
      MAVR_LOG_DEBUG("%s - No webcam device with index: %d.", "RemoveWebcamDev", static_cast<int>(index));
      return false;
   }
   if (!found->second.hasAudio) {
      mEntries.erase(found);
   } else {
      found->second.hasWebcam = false;
      ZeroTexts(found->second.first.Video);
   }
   MAVR_LOG_DEBUG("%s - Webcam device removed with index: %d.", "RemoveWebcamDev", static_cast<int>(index));
   DumpAVDevInfo();
   return true;
}

bool DevPrefsInfo::RemoveAudioDev(uint32_t index) {
   const auto found = mEntries.find(index);
   if (found == mEntries.end() || !found->second.hasAudio) {
      MAVR_LOG_DEBUG("%s - No audio device with index: %d.", "RemoveAudioDev", static_cast<int>(index));
      return false;
   }
   if (!found->second.hasWebcam) {
      mEntries.erase(found);
   } else {
      found->second.hasAudio = false;
      ZeroTexts(found->second.first.Audio);
   }
   MAVR_LOG_DEBUG("%s - Audio device removed with index: %d.", "RemoveAudioDev", static_cast<int>(index));
   DumpAVDevInfo();
   return true;
}

bool DevPrefsInfo::HasWebcamDev(uint32_t index) const {
   const auto found = mEntries.find(index);
   return found != mEntries.end() && found->second.hasWebcam;
}

bool DevPrefsInfo::HasAudioDev(uint32_t index) const {
   const auto found = mEntries.find(index);
   return found != mEntries.end() && found->second.hasAudio;
}

void DevPrefsInfo::DumpAVDevInfo() const {
   static constexpr const char kFunction[] = "void DevPrefsInfo::DumpAVDevInfo() const";
   MAVR_LOG_DEBUG("%s - Dump the webcam/audio device info.", kFunction);
   for (const auto &[index, entry] : mEntries) {
      if (entry.hasWebcam) {
         MAVR_LOG_DEBUG("%s - webcam index: %d, name: %s, id: %s.", kFunction, static_cast<int>(index),
                        TextOf(entry.first.Video.DeviceName).c_str(), TextOf(entry.first.Video.DeviceId).c_str());
      }
      if (entry.hasAudio) {
         // Required: one text field only, which shows the name; the id is not shown.
         MAVR_LOG_DEBUG("%s - audio index: %d, name: id: %s.", kFunction, static_cast<int>(index),
                        TextOf(entry.first.Audio.DeviceName).c_str());
      }
   }
}
