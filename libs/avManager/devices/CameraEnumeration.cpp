#include "libs/avManager/devices/CameraEnumeration.h"

#include "lib/mfw/common/logger.h"
#include "libs/mmdr/device/DeviceGuid.h"
#include "libs/mmdr/device/DeviceNaming.h"
#include "libs/mmdr/device/DeviceOrder.h"
#include "osal/Platform.h"

#include <set>

namespace {

constexpr const char kEnumerate[] = "+[AVCapture enumerateVideoDevices:]";
constexpr const char kEnumerateWithRes[] = "+[AVCapture enumerateVideoDevicesWithRes:]";

// The cameras in the platform's order; empty after a failure.
osal::CaptureDeviceList DiscoverCameras(const char *function) {
   static constexpr osal::DeviceType kTypes[] = {osal::DeviceType::BuiltInWideAngleCamera,
                                                 osal::DeviceType::ExternalUnknown};
   osal::CaptureDeviceList devices;
   const osal::Status status = osal::Platform::devices().discoverySession(kTypes, osal::MediaType::Video,
                                                                          osal::DevicePosition::Unspecified, &devices);
   if (!status.ok()) {
      MAVR_LOG_ERROR("%s - Failed to list the cameras: %s", function, status.reason.c_str());
      devices.clear();
   }
   return devices;
}

CameraFacts FactsOf(const osal::CaptureDevice &device) {
   CameraFacts facts{device.localizedName(), device.uniqueID(), {}};
   for (const osal::CaptureDeviceFormat &format : device.formats()) {
      facts.sizes.emplace_back(static_cast<uint32_t>(format.dimensions.width),
                               static_cast<uint32_t>(format.dimensions.height));
   }
   return facts;
}

void LogWebcam(const WebcamDeviceInfo &camera, const CameraFacts &facts) {
   MAVR_LOG_TRACE("%s - WebcamDeviceInfo name: %s, userId: %s, guid: %s", kEnumerateWithRes, camera.name.c_str(),
                  camera.userId.c_str(), camera.guid.c_str());
   for (const auto &[width, height] : facts.sizes) {
      MAVR_LOG_TRACE("%s - Supported resolution: %dx%d", kEnumerateWithRes, static_cast<int>(width),
                     static_cast<int>(height));
   }
}

// Numbers the names in the order of the unique ids, as in the plain list.
void MakeWebcamNamesUnique(std::map<std::string, WebcamDeviceInfo> &byUniqueId) {
   std::vector<std::string *> names;
   names.reserve(byUniqueId.size());
   for (auto &[uniqueId, camera] : byUniqueId) {
      names.push_back(&camera.name);
   }
   MMDev::MakeNamesUnique(names);
}

} // namespace

MMDev::DeviceInfo MakeVideoRecord(const CameraFacts &facts) {
   MMDev::DeviceInfo record;
   record.mKind = MMDev::kVideoInput;
   record.mName = facts.name;
   record.mSystemId = facts.uniqueId;
   record.mUserId = MMDev::BuildUserId(facts.name, facts.uniqueId);
   return record;
}

WebcamDeviceInfo MakeWebcamRecord(const CameraFacts &facts) {
   const std::set<std::pair<uint32_t, uint32_t>> sizes(facts.sizes.begin(), facts.sizes.end());
   return {facts.name,
           MMDev::MakeDeviceGuid(facts.uniqueId),
           MMDev::BuildUserId(facts.name, facts.uniqueId),
           {sizes.begin(), sizes.end()}};
}

int AVCaptureEnumerateVideoDevices(MMDev::DeviceList &list) {
   const osal::CaptureDeviceList devices = DiscoverCameras(kEnumerate);
   list.clear();
   for (const auto &device : devices) {
      list.push_back(MakeVideoRecord({device->localizedName(), device->uniqueID(), {}}));
   }
   MMDev::SortBySystemId(list);
   MMDev::MakeNamesUnique(list);
   for (const MMDev::DeviceInfo &record : list) {
      MAVR_LOG_TRACE("%s: Sorted video device - device name: %s, user id: %s.", kEnumerate, record.mName.c_str(),
                     record.mUserId.c_str());
   }
   return 0;
}

int AVCaptureEnumerateVideoDevicesWithRes(CamDevInfoMap &map) {
   const osal::CaptureDeviceList devices = DiscoverCameras(kEnumerateWithRes);
   map.clear();
   std::map<std::string, WebcamDeviceInfo> byUniqueId;
   for (const auto &device : devices) {
      const CameraFacts facts = FactsOf(*device);
      WebcamDeviceInfo camera = MakeWebcamRecord(facts);
      LogWebcam(camera, facts);
      byUniqueId[facts.uniqueId] = std::move(camera);
   }
   MakeWebcamNamesUnique(byUniqueId);
   for (auto &[uniqueId, camera] : byUniqueId) {
      // Required: the text ends in a comma and a blank, and what it calls unique id is the guid.
      MAVR_LOG_TRACE("%s: Sorted video device - device name: %s, unique id: %s, ", kEnumerateWithRes,
                     camera.name.c_str(), camera.guid.c_str());
      map.insert_or_assign(camera.guid, std::move(camera));
   }
   return static_cast<int>(map.size());
}
