#include "osal/simulated/SimulatedCapture.h"
#include "tests/conformance/CaptureConformance.h"
#include "tests/kit/TempDir.h"

#include <filesystem>
#include <nlohmann/json.hpp>

namespace conformance {
namespace {

/// Scenes as simulation files, with cameras that are quick so that the suite is.
class Simulated final : public CaptureBackend {
public:
   void Show(const Scene &scene) override {
      nlohmann::json file = {{"cameras", nlohmann::json::array()}, {"microphones", nlohmann::json::array()}};
      for (const SceneCamera &camera : scene.cameras) {
         nlohmann::json formats = nlohmann::json::array();
         for (const osal::VideoDimensions &size : camera.sizes) {
            formats.push_back({{"width", size.width}, {"height", size.height}, {"maxFrameRate", 200}});
         }
         file["cameras"].push_back({{"name", camera.name}, {"uniqueId", camera.uniqueId}, {"formats", formats}});
      }
      for (const SceneMicrophone &microphone : scene.microphones) {
         file["microphones"].push_back({{"name", microphone.name},
                                        {"uniqueId", microphone.uniqueId},
                                        {"inputStreams", microphone.isInput ? 1 : 0},
                                        {"toneHz", ToneHz()},
                                        {"level", ToneLevel()}});
      }
      kit::WriteFile(mFile + ".new", file.dump()); // a stream that runs may look at any moment
      std::filesystem::rename(mFile + ".new", mFile);
   }
   osal::Capture &Capture() override { return *mCapture; }
   double ToneHz() const override { return 997; }
   double ToneLevel() const override { return 0.4; }

private:
   kit::TempDir mFolder;
   const std::string mFile = mFolder / "scene.json";
   const std::unique_ptr<osal::Capture> mCapture = osal::MakeSimulatedCapture(mFile);
};

INSTANTIATE_TEST_SUITE_P(Backends, CaptureConformance,
                         testing::Values(CaptureCase{"simulated",
                                                     [] {
                                                        return std::make_unique<Simulated>();
                                                     }}),
                         [](const auto &test) { return test.param.name; });

} // namespace
} // namespace conformance
