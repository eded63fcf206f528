#pragma once

#include "osal/apple/fakes/Fakes.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace fakes {

/// One device as the stand-in frameworks see it. Owner: the world, and every framework object that stands for it.
struct Device {
   bool isCamera = false;
   CameraFacts camera;
   MicrophoneFacts microphone;
   uint32_t audioObject = 0;
   std::atomic<bool> isConnected{true};

   [[nodiscard]] const std::string &Name() const { return isCamera ? camera.name : microphone.name; }
   [[nodiscard]] const std::string &Id() const { return isCamera ? camera.uniqueId : microphone.uniqueId; }
   /// Whether AVFoundation knows it: an output is none of its devices.
   [[nodiscard]] bool IsCaptureDevice() const { return isCamera || microphone.isInput; }
};

using DeviceList = std::vector<std::shared_ptr<Device>>;

/// All devices that are plugged in, cameras first.
[[nodiscard]] DeviceList PluggedDevices();

[[nodiscard]] Access AccessTo(bool isVideo);
[[nodiscard]] bool DevicesRaise();

} // namespace fakes
