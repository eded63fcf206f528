#include "osal/simulated/SimulatedCapture.h"

#include "osal/common/BasicCapture.h"
#include "osal/common/BasicParts.h"
#include "osal/common/OutOfMemory.h"
#include "osal/simulated/SimulatedCaptureDevice.h"
#include "osal/simulated/SimulatedStream.h"
#include "osal/simulated/SimulationSource.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace osal {
namespace {

constexpr std::string_view kBackend = "simulated";

class SimulatedOpener final : public StreamOpener {
public:
   explicit SimulatedOpener(std::shared_ptr<SimulationSource> world)
       : mWorld(std::move(world)) {}

   std::string_view Backend() const override { return kBackend; }

   Status Open(const StreamRequest &request, std::unique_ptr<CaptureStream> *stream) override {
      stream->reset();
      return UnlessOutOfMemory([&] { return OpenDevice(request, stream); }, NoMemory());
   }

private:
   Status OpenDevice(const StreamRequest &request, std::unique_ptr<CaptureStream> *stream) {
      std::unique_ptr<SimulatedSource> source;
      if (Status status = MakeSimulatedSource(request, &source); !status.ok()) {
         return status;
      }
      auto pool = std::make_shared<SampleBufferPool>();
      if (!source->FillPool(pool.get())) {
         return Status::Error(ENOMEM,
                              source->Who() + " needs more memory for its " + source->What() + " than there is");
      }
      const auto *const camera = dynamic_cast<const SimulatedCaptureDevice *>(request.device.get());
      const auto *const microphone = dynamic_cast<const SimulatedMicrophoneDevice *>(request.device.get());
      SimulatedStream::Device device{request.mediaType, request.device->uniqueID(),
                                     camera != nullptr ? camera->Clock() : microphone->Clock()};
      auto opened =
         std::make_unique<SimulatedStream>(std::move(device), std::move(source), std::move(pool), request.gate, mWorld);
      if (Status status = opened->Start(); !status.ok()) {
         return status;
      }
      *stream = std::move(opened);
      return Status::Ok();
   }

   const std::shared_ptr<SimulationSource> mWorld;
};

class SimulatedCapture final : public BasicCapture {
public:
   explicit SimulatedCapture(std::shared_ptr<SimulationSource> world)
       : BasicCapture(std::make_shared<SimulatedOpener>(world))
       , mWorld(std::move(world)) {}

protected:
   Status FindDevice(std::string_view uniqueID, MediaType mediaType,
                     std::shared_ptr<const CaptureDevice> *device) override {
      std::shared_ptr<const Simulation> simulation;
      if (Status status = mWorld->Read(&simulation); !status.ok()) {
         return status;
      }
      const auto hasId = [&](const auto &facts) {
         return facts.uniqueId == uniqueID;
      };
      *device = Find(*simulation, mediaType, hasId);
      return *device != nullptr ? Status::Ok()
                                : Status::Error(ENODEV, std::string("there is no ") + Noun(mediaType) +
                                                           " with the id \"" + std::string(uniqueID) + "\"");
   }

   Status FindDefault(MediaType mediaType, std::shared_ptr<const CaptureDevice> *device) override {
      std::shared_ptr<const Simulation> simulation;
      if (Status status = mWorld->Read(&simulation); !status.ok()) {
         return status;
      }
      *device = Find(*simulation, mediaType, [](const auto &facts) { return facts.isDefault; });
      if (*device == nullptr) {
         *device = Find(*simulation, mediaType, [](const auto &) { return true; });
      }
      return *device != nullptr ? Status::Ok() : Status::Error(ENODEV, std::string("there is no ") + Noun(mediaType));
   }

   Status CheckAccess(const CaptureDevice &device, MediaType mediaType) override {
      const auto *const camera = dynamic_cast<const SimulatedCaptureDevice *>(&device);
      const auto *const microphone = dynamic_cast<const SimulatedMicrophoneDevice *>(&device);
      if (camera == nullptr && microphone == nullptr) {
         return Status::Error(EINVAL, "the device was made by another backend");
      }
      if ((mediaType == MediaType::Video) != (camera != nullptr)) {
         return Status::Error(EINVAL, "\"" + device.localizedName() + "\" is no " + Noun(mediaType));
      }
      if (camera != nullptr && camera->Facts().fail.input != 0) {
         const int32_t code = camera->Facts().fail.input;
         return Status::Error(code, "the camera \"" + device.localizedName() + "\" refuses to be opened with status " +
                                       std::to_string(code) + ", as its simulation says");
      }
      return Status::Ok();
   }

private:
   static const char *Noun(MediaType mediaType) { return mediaType == MediaType::Video ? "camera" : "microphone"; }

   template <typename Fits>
   static std::shared_ptr<const CaptureDevice> Find(const Simulation &simulation, MediaType mediaType, Fits fits) {
      if (mediaType == MediaType::Video) {
         const auto found = std::find_if(simulation.cameras.begin(), simulation.cameras.end(), fits);
         return found == simulation.cameras.end() ? nullptr
                                                  : std::make_shared<SimulatedCaptureDevice>(*found, simulation.clock);
      }
      const auto found =
         std::find_if(simulation.microphones.begin(), simulation.microphones.end(),
                      [&](const SimulatedMicrophone &facts) { return facts.inputStreams > 0 && fits(facts); });
      return found == simulation.microphones.end()
                ? nullptr
                : std::make_shared<SimulatedMicrophoneDevice>(*found, simulation.clock);
   }

   const std::shared_ptr<SimulationSource> mWorld;
};

} // namespace

std::unique_ptr<Capture> MakeSimulatedCapture(const std::string &file) {
   return std::make_unique<SimulatedCapture>(std::make_shared<SimulationSource>(file));
}

} // namespace osal
