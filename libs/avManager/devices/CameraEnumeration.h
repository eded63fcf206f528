#pragma once

#include "libs/mmdr/device/DeviceInfo.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

/// All that the lists take from a camera. A plain value.
struct CameraFacts {
   std::string name;
   std::string uniqueId;
   std::vector<std::pair<uint32_t, uint32_t>> sizes; ///< of each format: (width, height), any order, doubles included
};

/// The record of a camera before its list is finished: the guid empty, the name raw.
[[nodiscard]] MMDev::DeviceInfo MakeVideoRecord(const CameraFacts &facts);

/// The record of a camera with its sizes, each once, ascending by width and then by height; the name raw.
[[nodiscard]] WebcamDeviceInfo MakeWebcamRecord(const CameraFacts &facts);

/// Replaces `list` by the cameras that are there now, sorted by unique id, with unique names and empty guids. Always 0:
/// the list itself tells. When the platform as a whole does not answer, the list is empty and one ERROR line says why.
/// Host-serialised.
int AVCaptureEnumerateVideoDevices(MMDev::DeviceList &list);

/// Replaces `map` by the cameras that are there now, with their sizes. Returns the number of entries. Names are
/// numbered as in the list. Of two devices with one unique id the later one stays. Failure and threads as above.
int AVCaptureEnumerateVideoDevicesWithRes(CamDevInfoMap &map);
