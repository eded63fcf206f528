#include "tests/conformance/PipewireScene.h"

namespace conformance {
namespace {

std::string SizesText(const std::vector<osal::VideoDimensions> &sizes) {
   std::string text;
   for (const osal::VideoDimensions &size : sizes) {
      text += (text.empty() ? "" : ",") + std::to_string(size.width) + "x" + std::to_string(size.height);
   }
   return text;
}

} // namespace

template <class Device>
void PipewireScene::Plug(Map<Device> *devices, const std::string &id, const std::vector<std::string> &options) {
   std::unique_ptr<Device> &device = (*devices)[id];
   if (device == nullptr) {
      device = std::make_unique<Device>(mDaemon, id, options);
   } else {
      device->Plug();
   }
   mPlugged.insert(id);
}

template <class Device>
void PipewireScene::UnplugOthers(Map<Device> &devices) {
   for (const auto &[id, device] : devices) {
      if (mPlugged.count(id) == 0) {
         device->Unplug();
      }
   }
}

void PipewireScene::Show(const Scene &scene) {
   mPlugged.clear();
   for (const SceneCamera &camera : scene.cameras) {
      Plug<kit::VirtualCamera>(&mCameras, camera.uniqueId,
                               {"--description", camera.name, "--sizes", SizesText(camera.sizes)});
   }
   for (const SceneMicrophone &microphone : scene.microphones) {
      Plug<kit::VirtualMicrophone>(&mMicrophones, microphone.uniqueId,
                                   {"--description", microphone.name, "--tones", std::to_string(kToneHz), "--level",
                                    std::to_string(kToneLevel), "--property",
                                    microphone.isInput ? "media.class=Audio/Source" : "media.class=Audio/Sink"});
   }
   UnplugOthers(mCameras);
   UnplugOthers(mMicrophones);
}

} // namespace conformance
