#include "libs/avManager/devices/VideoInputDevices.h"

#include "lib/mfw/common/logger.h"
#include "libs/avManager/devices/CameraEnumeration.h"

bool VideoInputDevices::List(MMDev::DeviceList &list) {
   MMDev::DeviceList &cached = CachedList();
   AVCaptureEnumerateVideoDevices(cached);
   if (&list != &cached) {
      list = cached;
   }
   return true;
}

bool VideoInputDevices::Map(CamDevInfoMap &map) {
   map.clear();
   CamDevInfoMap &cached = CachedMap();
   AVCaptureEnumerateVideoDevicesWithRes(cached);
   if (&map != &cached) {
      map = cached;
   }
   return true;
}

size_t VideoInputDevices::Count() {
   return CachedList().size();
}

MMDev::DeviceList &VideoInputDevices::CachedList() {
   static MMDev::DeviceList list;
   return list;
}

CamDevInfoMap &VideoInputDevices::CachedMap() {
   static CamDevInfoMap map;
   return map;
}

void VideoInputDevices::LogDevEnum() {
   MMDev::DeviceList list;
   List(list);
   MAVR_LOG_DEBUG("%s - %i Device(s) found", "LogDevEnum", static_cast<int>(list.size()));
   for (const MMDev::DeviceInfo &record : list) {
      MAVR_LOG_DEBUG("%s - Name=%s   UserId=%s   SystemId=%s", "static void VideoInputBase::LogDevEnum()",
                     record.mName.c_str(), record.mUserId.c_str(), record.mSystemId.c_str());
   }
}
