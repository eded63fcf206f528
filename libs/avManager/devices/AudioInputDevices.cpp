#include "libs/avManager/devices/AudioInputDevices.h"

#include "lib/mfw/common/logger.h"
#include "libs/avManager/devices/MicrophoneEnumeration.h"

bool AudioInputDevices::List(MMDev::DeviceList &list) {
   MMDev::DeviceList &cached = CachedList();
   AVCaptureEnumerateAudioDevices(cached);
   if (&list != &cached) {
      list = cached;
   }
   return true;
}

size_t AudioInputDevices::Count() {
   return CachedList().size();
}

MMDev::DeviceList &AudioInputDevices::CachedList() {
   static MMDev::DeviceList list;
   return list;
}

void AudioInputDevices::LogDevEnum() {
   MMDev::DeviceList list;
   List(list);
   MAVR_LOG_DEBUG("%s - %u Device(s) found", "LogDevEnum", static_cast<unsigned>(list.size()));
   for (const MMDev::DeviceInfo &record : list) {
      MAVR_LOG_DEBUG("%s - Index=%u   Name=%s   UserId=%s   SystemId=%s", "static void AudioCaptureBase::LogDevEnum()",
                     record.mIndex, record.mName.c_str(), record.mUserId.c_str(), record.mSystemId.c_str());
   }
}
