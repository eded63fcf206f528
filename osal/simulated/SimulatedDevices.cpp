#include "osal/simulated/SimulatedDevices.h"

#include "osal/posix/FileReading.h"
#include "osal/simulated/SimulatedAudioHardware.h"
#include "osal/simulated/SimulatedCaptureDevice.h"
#include "osal/simulated/SimulationFile.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

namespace osal {
namespace {

std::string Absolute(const std::string &file) {
   std::error_code error;
   const std::filesystem::path absolute = std::filesystem::absolute(file, error);
   return error ? file : absolute.string();
}

std::string Counted(size_t count, const char *one, const char *many) {
   return std::to_string(count) + " " + (count == 1 ? one : many);
}

class SimulatedDevices final : public Devices {
public:
   explicit SimulatedDevices(const std::string &file)
       : mFile(file.empty() ? "" : Absolute(file)) {
      if (mFile.empty()) {
         Take(BuiltInSimulation());
      }
   }

   std::string name() const override { return "simulated"; }

   Status discoverySession(std::span<const DeviceType>, MediaType mediaType, DevicePosition,
                           CaptureDeviceList *devices) override {
      devices->clear();
      Refresh();
      if (mTrouble.ok() && mediaType == MediaType::Video) {
         *devices = mCameras;
      }
      return mTrouble;
   }

   Status audioHardware(std::unique_ptr<AudioHardware> *hardware) override {
      hardware->reset();
      Refresh();
      if (mTrouble.ok()) {
         *hardware = MakeSimulatedAudioHardware(mSimulation);
      }
      return mTrouble;
   }

   std::vector<Finding> diagnose() override {
      Refresh();
      if (!mTrouble.ok()) {
         return {{Finding::Verdict::Failure, "simulation file", mTrouble.reason,
                  "Correct the file that MAVR_SIMULATION names, or unset MAVR_SIMULATION to use the built-in set."}};
      }
      std::vector<Finding> findings = {{Finding::Verdict::Ok, "simulated devices", Summary(), ""}};
      for (const std::string &warning : mSimulation->warnings) {
         findings.push_back({Finding::Verdict::Warning, "simulation file", mFile + ":" + warning,
                             "Correct the file at that place: what stands there has no effect."});
      }
      return findings;
   }

private:
   void Take(Simulation simulation) {
      mSimulation = std::make_shared<const Simulation>(std::move(simulation));
      mCameras.clear();
      for (const SimulatedCamera &camera : mSimulation->cameras) {
         mCameras.push_back(std::make_shared<SimulatedCaptureDevice>(camera));
      }
      mTrouble = Status::Ok();
   }

   /// Reads the file again if it is not the one that was read last.
   void Refresh() {
      if (mFile.empty()) {
         return;
      }
      const int64_t now = FileTimeNowNs();
      struct ::stat facts {};
      if (mIsSettled && FileLayer::system().stat(mFile.c_str(), &facts) == 0 && StampOf(facts) == mStamp) {
         return;
      }
      std::string text;
      mIsSettled = false; // until there is a stamp of a state that was read, ask again each time
      Status status = ReadWholeFile(FileLayer::system(), mFile, kSimulationFileLimit, &text, &mStamp);
      if (!status.ok()) {
         mTrouble = Status::Error(status.code, "simulation file " + mFile + " " + status.reason);
         return;
      }
      mIsSettled = IsSettled(mStamp, now);
      Simulation simulation;
      status = ParseSimulation(text, &simulation);
      if (status.ok()) {
         Take(std::move(simulation));
      } else {
         mTrouble = Status::Error(status.code, "simulation file " + mFile + ":" + status.reason);
      }
   }

   std::string Summary() const {
      const std::vector<SimulatedMicrophone> &audio = mSimulation->microphones;
      const auto outputs = static_cast<size_t>(std::count_if(
         audio.begin(), audio.end(), [](const SimulatedMicrophone &device) { return device.inputStreams == 0; }));
      return Counted(mSimulation->cameras.size(), "camera", "cameras") + ", " +
             Counted(audio.size() - outputs, "microphone", "microphones") + " and " +
             Counted(outputs, "output-only device", "output-only devices") +
             (mFile.empty() ? " of the built-in set." : " of " + mFile + ".");
   }

   const std::string mFile;
   FileStamp mStamp;
   bool mIsSettled = false;
   Status mTrouble;
   std::shared_ptr<const Simulation> mSimulation;
   CaptureDeviceList mCameras;
};

} // namespace

std::unique_ptr<Devices> MakeSimulatedDevices(const std::string &file) {
   return std::make_unique<SimulatedDevices>(file);
}

} // namespace osal
