#pragma once

#include "tests/conformance/DevicesConformance.h"
#include "tests/kit/PrivatePipewire.h"

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace conformance {

/// Scenes as virtual devices in a private daemon. Devices that a later scene has no use for are unplugged, not ended.
/// Owner: the test case. Threads: one.
class PipewireScene {
public:
   static constexpr int kToneHz = 997;
   static constexpr int kToneLevel = 8000; ///< amplitude of the microphones' tone, 32767 is full scale

   void Show(const Scene &scene);
   [[nodiscard]] kit::PrivatePipewire &Daemon() { return mDaemon; }

private:
   template <class Device>
   using Map = std::map<std::string, std::unique_ptr<Device>>;

   template <class Device>
   void Plug(Map<Device> *devices, const std::string &id, const std::vector<std::string> &options);
   template <class Device>
   void UnplugOthers(Map<Device> &devices);

   kit::PrivatePipewire mDaemon;
   Map<kit::VirtualCamera> mCameras;
   Map<kit::VirtualMicrophone> mMicrophones;
   std::set<std::string> mPlugged;
};

} // namespace conformance
