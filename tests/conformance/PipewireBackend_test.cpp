#include "osal/pipewire/PipewireCapture.h"
#include "osal/pipewire/PipewireDevices.h"
#include "tests/conformance/CaptureConformance.h"
#include "tests/conformance/DevicesConformance.h"
#include "tests/conformance/PipewireScene.h"

namespace conformance {
namespace {

class PipewireDeviceBackend final : public DeviceBackend {
public:
   void Show(const Scene &scene) override { mScene.Show(scene); }
   osal::Devices &Devices() override { return *mDevices; }
   bool KeepsOrder() const override { return false; } // the order of appearance, and some stay from scene to scene

private:
   PipewireScene mScene;
   const std::unique_ptr<osal::Devices> mDevices = osal::MakePipewireDevices();
};

/// Without the outputs: the virtual ones are no sinks that the session manager could use, and while one is there it
/// links nothing at all.
class PipewireCaptureBackend final : public CaptureBackend {
public:
   void Show(const Scene &scene) override {
      Scene inputs = scene;
      std::erase_if(inputs.microphones, [](const SceneMicrophone &microphone) { return !microphone.isInput; });
      mScene.Show(inputs);
   }
   osal::Capture &Capture() override { return *mCapture; }
   double ToneHz() const override { return PipewireScene::kToneHz; }
   double ToneLevel() const override { return PipewireScene::kToneLevel / 32767.0; }

private:
   PipewireScene mScene;
   const std::unique_ptr<osal::Capture> mCapture = osal::MakePipewireCapture();
};

template <class Interface, class Backend>
std::unique_ptr<Interface> UnlessMissing() {
   return kit::PrivatePipewire::Missing().empty() ? std::make_unique<Backend>() : nullptr;
}

INSTANTIATE_TEST_SUITE_P(Backends, DevicesConformance,
                         testing::Values(DeviceCase{"pipewire", UnlessMissing<DeviceBackend, PipewireDeviceBackend>,
                                                    kit::PrivatePipewire::Missing()}),
                         [](const auto &test) { return test.param.name; });

INSTANTIATE_TEST_SUITE_P(Backends, CaptureConformance,
                         testing::Values(CaptureCase{"pipewire", UnlessMissing<CaptureBackend, PipewireCaptureBackend>,
                                                     kit::PrivatePipewire::Missing()}),
                         [](const auto &test) { return test.param.name; });

} // namespace
} // namespace conformance
