#include "libs/avManager/devices/MicrophoneEnumeration.h"

#include "lib/mfw/common/logger.h"
#include "libs/mmdr/device/DeviceGuid.h"
#include "libs/mmdr/device/DeviceNaming.h"
#include "libs/mmdr/device/DeviceOrder.h"
#include "osal/Platform.h"

#include <algorithm>
#include <memory>
#include <new>
#include <optional>

namespace {

constexpr const char kEnumerate[] = "+[AVCapture enumerateAudioDevices:]";

// The ids of all audio devices, outputs included; empty after a failure, which is logged.
struct DeviceIds {
   std::unique_ptr<osal::AudioObjectID[]> ids;
   size_t count = 0;
};

DeviceIds ReadDeviceIds(osal::AudioHardware &hardware) {
   static constexpr osal::AudioObjectPropertyAddress kDevices{osal::kAudioHardwarePropertyDevices,
                                                              osal::kAudioObjectPropertyScopeGlobal, 0};
   uint32_t size = 0;
   int32_t status = hardware.getPropertyDataSize(osal::kAudioObjectSystemObject, kDevices, &size);
   if (status != 0) {
      MAVR_LOG_ERROR("%s: Failed to get number of audio devices, errorCode: %d.", kEnumerate, status);
      return {};
   }
   const size_t words = size / sizeof(osal::AudioObjectID) + 1; // a size that is no multiple of 4 fits as well
   std::unique_ptr<osal::AudioObjectID[]> ids(new (std::nothrow) osal::AudioObjectID[words]());
   if (ids == nullptr) {
      MAVR_LOG_ERROR("%s: Failed to malloc AudioDeviceID array, errorCode: %d.", kEnumerate, 0);
      return {};
   }
   uint32_t copied = size;
   status = hardware.getPropertyData(osal::kAudioObjectSystemObject, kDevices, &copied, ids.get());
   if (status != 0) {
      MAVR_LOG_ERROR("%s: Failed to get audio device ids, errorCode: %d.", kEnumerate, status);
      return {};
   }
   // A device that went between the two calls leaves the array shorter than its size said.
   return {std::move(ids), std::min(copied, size) / sizeof(osal::AudioObjectID)};
}

osal::AudioObjectPropertyAddress InputAddress(uint32_t selector) {
   return {selector, osal::kAudioObjectPropertyScopeInput, 0};
}

// Whether the device records; one whose streams cannot be asked for counts as one that does not, and is logged.
bool HasInputStreams(osal::AudioHardware &hardware, osal::AudioObjectID device) {
   uint32_t size = 0;
   const int32_t status = hardware.getPropertyDataSize(device, InputAddress(osal::kAudioDevicePropertyStreams), &size);
   if (status != 0) {
      // Required: this text has a line end of its own.
      MAVR_LOG_ERROR("%s: Failed get the count of the input channel. errorCode: %d.\n", kEnumerate, status);
      return false;
   }
   return size != 0;
}

std::optional<MMDev::DeviceInfo> ReadDevice(osal::AudioHardware &hardware, osal::AudioObjectID device) {
   std::string name;
   bool hasString = false;
   int32_t status =
      hardware.copyPropertyString(device, InputAddress(osal::kAudioObjectPropertyName), &name, &hasString);
   if (status != 0 || !hasString) {
      MAVR_LOG_ERROR("%s: Failed to get device name, errorCode: %d.", kEnumerate, status);
      return std::nullopt;
   }
   std::string uniqueId;
   hasString = false;
   status =
      hardware.copyPropertyString(device, InputAddress(osal::kAudioDevicePropertyDeviceUID), &uniqueId, &hasString);
   if (status != 0 || !hasString) {
      MAVR_LOG_ERROR("%s: Failed to get deviceUID, errorCode %d.", kEnumerate, status);
      return std::nullopt;
   }
   return MakeAudioRecord(name, uniqueId);
}

void ReadInputs(osal::AudioHardware &hardware, MMDev::DeviceList &list) {
   const DeviceIds devices = ReadDeviceIds(hardware);
   for (size_t i = 0; i < devices.count; ++i) {
      if (!HasInputStreams(hardware, devices.ids[i])) {
         continue;
      }
      if (std::optional<MMDev::DeviceInfo> record = ReadDevice(hardware, devices.ids[i])) {
         MAVR_LOG_TRACE("%s - MMDev::DeviceInfo name: %s, mUserId: %s, mGuid: %s", kEnumerate, record->mName.c_str(),
                        record->mUserId.c_str(), record->mGuid.c_str());
         list.push_back(std::move(*record));
      }
   }
}

} // namespace

MMDev::DeviceInfo MakeAudioRecord(const std::string &name, const std::string &uniqueId) {
   MMDev::DeviceInfo record;
   record.mKind = MMDev::kAudioInput;
   record.mName = name;
   record.mSystemId = uniqueId;
   record.mUserId = MMDev::BuildUserId(name, uniqueId);
   record.mGuid = MMDev::MakeDeviceGuid(uniqueId);
   return record;
}

int AVCaptureEnumerateAudioDevices(MMDev::DeviceList &list) {
   MAVR_LOG_DEBUG("%s - ", "int AVCaptureEnumerateAudioDevices(MMDev::DeviceList &)");
   list.clear();
   std::unique_ptr<osal::AudioHardware> hardware;
   const osal::Status status = osal::Platform::devices().audioHardware(&hardware);
   if (!status.ok() || hardware == nullptr) {
      MAVR_LOG_ERROR("%s - Failed to list the microphones: %s", kEnumerate, status.reason.c_str());
      return 0;
   }
   ReadInputs(*hardware, list);
   MMDev::SortBySystemId(list);
   MMDev::MakeNamesUnique(list);
   for (const MMDev::DeviceInfo &record : list) {
      // Required: what the text calls unique id is the guid.
      MAVR_LOG_TRACE("%s: Sorted audio input device - device name: %s, unique id: %s, user id: %s.", kEnumerate,
                     record.mName.c_str(), record.mGuid.c_str(), record.mUserId.c_str());
   }
   return static_cast<int>(list.size());
}
