#include "osal/pipewire/PipewireDevices.h"
#include "tests/conformance/DevicesConformance.h"
#include "tests/kit/PrivatePipewire.h"

#include <map>
#include <set>

namespace conformance {
namespace {

/// Scenes as virtual devices in a private daemon. Devices that a later scene has no use for are unplugged, not ended.
class Pipewire final : public DeviceBackend {
public:
   void Show(const Scene &scene) override {
      mPlugged.clear();
      for (const SceneCamera &camera : scene.cameras) {
         Plug<kit::VirtualCamera>(&mCameras, camera.uniqueId,
                                  {"--description", camera.name, "--sizes", SizesText(camera.sizes)});
      }
      for (const SceneMicrophone &microphone : scene.microphones) {
         Plug<kit::VirtualMicrophone>(&mMicrophones, microphone.uniqueId,
                                      {"--description", microphone.name, "--property",
                                       microphone.isInput ? "media.class=Audio/Source" : "media.class=Audio/Sink"});
      }
      UnplugOthers(mCameras);
      UnplugOthers(mMicrophones);
   }
   osal::Devices &Devices() override { return *mDevices; }
   bool KeepsOrder() const override { return false; } // the order of appearance, and some stay from scene to scene

private:
   template <class Device>
   using Map = std::map<std::string, std::unique_ptr<Device>>;

   static std::string SizesText(const std::vector<osal::VideoDimensions> &sizes) {
      std::string text;
      for (const osal::VideoDimensions &size : sizes) {
         text += (text.empty() ? "" : ",") + std::to_string(size.width) + "x" + std::to_string(size.height);
      }
      return text;
   }

   template <class Device>
   void Plug(Map<Device> *devices, const std::string &id, const std::vector<std::string> &options) {
      std::unique_ptr<Device> &device = (*devices)[id];
      if (device == nullptr) {
         device = std::make_unique<Device>(mDaemon, id, options);
      } else {
         device->Plug();
      }
      mPlugged.insert(id);
   }

   template <class Device>
   void UnplugOthers(Map<Device> &devices) {
      for (const auto &[id, device] : devices) {
         if (mPlugged.count(id) == 0) {
            device->Unplug();
         }
      }
   }

   const kit::PrivatePipewire mDaemon;
   const std::unique_ptr<osal::Devices> mDevices = osal::MakePipewireDevices();
   Map<kit::VirtualCamera> mCameras;
   Map<kit::VirtualMicrophone> mMicrophones;
   std::set<std::string> mPlugged;
};

std::unique_ptr<DeviceBackend> MakePipewire() {
   return kit::PrivatePipewire::Missing().empty() ? std::make_unique<Pipewire>() : nullptr;
}

INSTANTIATE_TEST_SUITE_P(Backends, DevicesConformance,
                         testing::Values(DeviceCase{"pipewire", MakePipewire, kit::PrivatePipewire::Missing()}),
                         [](const auto &test) { return test.param.name; });

} // namespace
} // namespace conformance
