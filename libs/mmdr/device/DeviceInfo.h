#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace MMDev {

/// What kind of device a record describes. Not the device type of the exported functions, whose numbers are the
/// reverse.
enum DeviceKind : uint32_t { kAudioInput = 1, kVideoInput = 2 };

/// One capture device, camera or microphone. A plain value; all texts are UTF-8 of any length.
///
/// A default record, all zero and empty, stands for "no device": test the texts.
struct DeviceInfo {
   uint32_t mReserved = 0;
   uint32_t mKind = 0;    ///< DeviceKind
   std::string mName;     ///< display name; in a finished list with " 2", " 3" behind doubles
   std::string mGuid;     ///< MakeDeviceGuid of mSystemId; empty in the plain list of cameras
   uint32_t mIndex = 0;   ///< zero from enumeration
   std::string mSystemId; ///< the platform's persistent id
   std::string mUserId;   ///< raw name, "#", mSystemId; never carries the number of a double
};

/// Devices in the order in which the user sees them.
using DeviceList = std::vector<DeviceInfo>;

} // namespace MMDev

/// A camera with its sizes.
struct WebcamDeviceInfo {
   std::string name;                                       ///< display name, with the number of a double
   std::string guid;                                       ///< MakeDeviceGuid of the unique id
   std::string userId;                                     ///< raw name, "#", unique id
   std::vector<std::pair<uint32_t, uint32_t>> resolutions; ///< (width, height), each once, ascending by width, height
};

/// Cameras by guid, in byte-wise order of the guid.
using CamDevInfoMap = std::map<std::string, WebcamDeviceInfo>;

/// A microphone that the caller wants redirected by default.
struct AudioDevInfo {
   std::string guid; ///< compared with DeviceInfo::mGuid
};

/// Such microphones by a key of the caller's choice.
using AudioDevInfoMap = std::map<std::string, AudioDevInfo>;
