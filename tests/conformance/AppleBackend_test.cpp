#include "osal/apple/AppleCapture.h"
#include "osal/apple/AppleDevices.h"
#include "osal/apple/ApplePreferences.h"
#include "osal/apple/fakes/Fakes.h"
#include "tests/conformance/CaptureConformance.h"
#include "tests/conformance/DevicesConformance.h"
#include "tests/conformance/PreferencesConformance.h"

// The Mac's backend on the stand-in frameworks.
namespace conformance {
namespace {

void ShowOnStandIns(const Scene &scene) {
   std::vector<fakes::CameraFacts> cameras;
   for (const SceneCamera &camera : scene.cameras) {
      fakes::CameraFacts facts{camera.name, camera.uniqueId, {}};
      for (const osal::VideoDimensions &size : camera.sizes) {
         facts.formats.push_back({osal::FourCC("420v"), size.width, size.height});
      }
      cameras.push_back(facts);
   }
   std::vector<fakes::MicrophoneFacts> microphones;
   for (const SceneMicrophone &microphone : scene.microphones) {
      microphones.push_back({microphone.name, microphone.uniqueId, microphone.isInput});
   }
   fakes::ShowDevices(cameras, microphones);
}

class AppleDeviceBackend final : public DeviceBackend {
public:
   ~AppleDeviceBackend() override { fakes::ShowDevices({}, {}); }
   void Show(const Scene &scene) override { ShowOnStandIns(scene); }
   osal::Devices &Devices() override { return *mDevices; }

private:
   const std::unique_ptr<osal::Devices> mDevices = osal::MakeAppleDevices();
};

class AppleCaptureBackend final : public CaptureBackend {
public:
   ~AppleCaptureBackend() override { fakes::ShowDevices({}, {}); }
   void Show(const Scene &scene) override { ShowOnStandIns(scene); }
   void Settle() override { fakes::AwaitIdleQueues(); }
   osal::Capture &Capture() override { return *mCapture; }
   double ToneHz() const override { return fakes::MicrophoneFacts().toneHz; }
   double ToneLevel() const override { return fakes::MicrophoneFacts().level; }

private:
   const std::unique_ptr<osal::Capture> mCapture = osal::MakeAppleCapture();
};

class ApplePreferenceBackend final : public PreferenceBackend {
public:
   ~ApplePreferenceBackend() override { fakes::ForgetPreferences(); }
   std::unique_ptr<osal::Preferences> Open(std::string_view applicationId) override {
      return osal::MakeApplePreferences(applicationId);
   }
};

INSTANTIATE_TEST_SUITE_P(Backends, DevicesConformance,
                         testing::Values(DeviceCase{"apple",
                                                    [] {
                                                       return std::make_unique<AppleDeviceBackend>();
                                                    }}),
                         [](const auto &test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(Backends, CaptureConformance,
                         testing::Values(CaptureCase{"apple",
                                                     [] {
                                                        return std::make_unique<AppleCaptureBackend>();
                                                     }}),
                         [](const auto &test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(Backends, PreferencesConformance,
                         testing::Values(PreferenceCase{"apple",
                                                        [] {
                                                           return std::make_unique<ApplePreferenceBackend>();
                                                        }}),
                         [](const auto &test) { return test.param.name; });

} // namespace
} // namespace conformance
