#include "osal/apple/fakes/World.h"

#include <algorithm>
#include <mutex>

namespace fakes {
namespace {

constinit std::mutex gMutex;
// Guarded by gMutex. Never destroyed: a program may still look while it ends.
DeviceList &Plugged() {
   static auto *const devices = new DeviceList;
   return *devices;
}
uint32_t gNextAudioObject = 100;

std::atomic<Access> gVideoAccess{Access::Authorized};
std::atomic<Access> gAudioAccess{Access::Authorized};
std::atomic<bool> gDevicesRaise{false};

std::shared_ptr<Device> Find(const DeviceList &devices, bool isCamera, const std::string &id) {
   const auto found = std::find_if(devices.begin(), devices.end(), [&](const std::shared_ptr<Device> &device) {
      return device->isCamera == isCamera && device->Id() == id;
   });
   return found != devices.end() ? *found : nullptr;
}

} // namespace

void ShowDevices(const std::vector<CameraFacts> &cameras, const std::vector<MicrophoneFacts> &microphones) {
   const std::lock_guard<std::mutex> hold(gMutex);
   DeviceList shown;
   for (const CameraFacts &facts : cameras) {
      std::shared_ptr<Device> device = Find(Plugged(), true, facts.uniqueId);
      if (device == nullptr) {
         device = std::make_shared<Device>();
         device->isCamera = true;
         device->camera = facts;
      }
      shown.push_back(std::move(device));
   }
   for (const MicrophoneFacts &facts : microphones) {
      std::shared_ptr<Device> device = Find(Plugged(), false, facts.uniqueId);
      if (device == nullptr) {
         device = std::make_shared<Device>();
         device->microphone = facts;
         device->audioObject = gNextAudioObject++;
      }
      shown.push_back(std::move(device));
   }
   for (const std::shared_ptr<Device> &device : Plugged()) {
      if (std::find(shown.begin(), shown.end(), device) == shown.end()) {
         device->isConnected = false;
      }
   }
   Plugged() = std::move(shown);
}

DeviceList PluggedDevices() {
   const std::lock_guard<std::mutex> hold(gMutex);
   return Plugged();
}

void SetAccess(bool isVideo, Access access) {
   (isVideo ? gVideoAccess : gAudioAccess) = access;
}
Access AccessTo(bool isVideo) {
   return isVideo ? gVideoAccess : gAudioAccess;
}

void RaiseAtDevices(bool raises) {
   gDevicesRaise = raises;
}
bool DevicesRaise() {
   return gDevicesRaise;
}

} // namespace fakes
