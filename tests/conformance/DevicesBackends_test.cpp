#include "osal/simulated/SimulatedDevices.h"
#include "tests/conformance/DevicesConformance.h"
#include "tests/kit/FakeDevices.h"
#include "tests/kit/TempDir.h"

#include <nlohmann/json.hpp>

namespace conformance {
namespace {

template <typename Backend>
DeviceCase Case(const char *name) {
   return {name, [] {
              return std::make_unique<Backend>();
           }};
}

/// Scenes as simulation files.
class Simulated final : public DeviceBackend {
public:
   void Show(const Scene &scene) override {
      nlohmann::json file = {{"cameras", nlohmann::json::array()}, {"microphones", nlohmann::json::array()}};
      for (const SceneCamera &camera : scene.cameras) {
         nlohmann::json formats = nlohmann::json::array();
         for (const osal::VideoDimensions &size : camera.sizes) {
            formats.push_back({{"width", size.width}, {"height", size.height}});
         }
         file["cameras"].push_back({{"name", camera.name}, {"uniqueId", camera.uniqueId}, {"formats", formats}});
      }
      for (const SceneMicrophone &microphone : scene.microphones) {
         file["microphones"].push_back({{"name", microphone.name},
                                        {"uniqueId", microphone.uniqueId},
                                        {"inputStreams", microphone.isInput ? 1 : 0}});
      }
      kit::WriteFile(mFile, file.dump());
   }
   osal::Devices &Devices() override { return *mDevices; }

private:
   kit::TempDir mFolder;
   const std::string mFile = mFolder / "scene.json";
   const std::unique_ptr<osal::Devices> mDevices = osal::MakeSimulatedDevices(mFile);
};

/// The test kit's own devices, so that tests above the seam stand on what real backends do.
class Fake final : public DeviceBackend {
public:
   void Show(const Scene &scene) override {
      mDevices.cameras.clear();
      mDevices.microphones.clear();
      for (const SceneCamera &camera : scene.cameras) {
         mDevices.cameras.push_back(kit::Camera(camera.name, camera.uniqueId, camera.sizes));
      }
      for (const SceneMicrophone &microphone : scene.microphones) {
         mDevices.microphones.push_back({microphone.name, microphone.uniqueId, microphone.isInput ? 1u : 0u});
      }
   }
   osal::Devices &Devices() override { return mDevices; }

private:
   kit::FakeDevices mDevices;
};

INSTANTIATE_TEST_SUITE_P(Backends, DevicesConformance,
                         testing::Values(Case<Simulated>("simulated"), Case<Fake>("fake")),
                         [](const auto &test) { return test.param.name; });

} // namespace
} // namespace conformance
