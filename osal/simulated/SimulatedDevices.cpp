#include "osal/simulated/SimulatedDevices.h"

#include "osal/simulated/SimulatedAudioHardware.h"
#include "osal/simulated/SimulatedCaptureDevice.h"
#include "osal/simulated/SimulationSource.h"

#include <algorithm>
#include <utility>

namespace osal {
namespace {

std::string Counted(size_t count, const char *one, const char *many) {
   return std::to_string(count) + " " + (count == 1 ? one : many);
}

class SimulatedDevices final : public Devices {
public:
   explicit SimulatedDevices(const std::string &file)
       : mSource(file) {}

   std::string name() const override { return "simulated"; }

   Status discoverySession(std::span<const DeviceType>, MediaType mediaType, DevicePosition,
                           CaptureDeviceList *devices) override {
      devices->clear();
      Status status = Refresh();
      if (status.ok() && mediaType == MediaType::Video) {
         *devices = mCameras;
      }
      return status;
   }

   Status audioHardware(std::unique_ptr<AudioHardware> *hardware) override {
      hardware->reset();
      Status status = Refresh();
      if (status.ok()) {
         *hardware = MakeSimulatedAudioHardware(mSimulation);
      }
      return status;
   }

   std::vector<Finding> diagnose() override {
      if (const Status status = Refresh(); !status.ok()) {
         return {{Finding::Verdict::Failure, "simulation file", status.reason,
                  "Correct the file that MAVR_SIMULATION names, or unset MAVR_SIMULATION to use the built-in set."}};
      }
      std::vector<Finding> findings = {{Finding::Verdict::Ok, "simulated devices", Summary(), ""}};
      for (const std::string &warning : mSimulation->warnings) {
         findings.push_back({Finding::Verdict::Warning, "simulation file", mSource.File() + ":" + warning,
                             "Correct the file at that place: what stands there has no effect."});
      }
      return findings;
   }

private:
   Status Refresh() {
      std::shared_ptr<const Simulation> now;
      Status status = mSource.Read(&now);
      if (status.ok() && now != mSimulation) {
         // Both or neither: a list that found no memory is made again by the next call.
         CaptureDeviceList cameras;
         for (const SimulatedCamera &camera : now->cameras) {
            cameras.push_back(std::make_shared<SimulatedCaptureDevice>(camera, now->clock));
         }
         mCameras = std::move(cameras);
         mSimulation = std::move(now);
      }
      return status;
   }

   std::string Summary() const {
      const std::vector<SimulatedMicrophone> &audio = mSimulation->microphones;
      const auto outputs = static_cast<size_t>(std::count_if(
         audio.begin(), audio.end(), [](const SimulatedMicrophone &device) { return device.inputStreams == 0; }));
      return Counted(mSimulation->cameras.size(), "camera", "cameras") + ", " +
             Counted(audio.size() - outputs, "microphone", "microphones") + " and " +
             Counted(outputs, "output-only device", "output-only devices") +
             (mSource.File().empty() ? " of the built-in set." : " of " + mSource.File() + ".");
   }

   SimulationSource mSource;
   std::shared_ptr<const Simulation> mSimulation;
   CaptureDeviceList mCameras;
};

} // namespace

std::unique_ptr<Devices> MakeSimulatedDevices(const std::string &file) {
   return std::make_unique<SimulatedDevices>(file);
}

} // namespace osal
