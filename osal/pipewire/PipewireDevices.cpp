#include "osal/pipewire/PipewireDevices.h"

#include "osal/pipewire/PipewireAudioHardware.h"
#include "osal/pipewire/PipewireCaptureDevice.h"
#include "osal/pipewire/PipewireDiagnosis.h"
#include "osal/pipewire/PipewireListing.h"

#include <utility>

namespace osal {
namespace {

class PipewireDevices final : public Devices {
public:
   std::string name() const override { return "pipewire"; }

   Status discoverySession(std::span<const DeviceType>, MediaType mediaType, DevicePosition,
                           CaptureDeviceList *devices) override {
      devices->clear();
      if (mediaType != MediaType::Video) {
         return Status::Ok();
      }
      PipewireListing listing = ListPipewireNodes(PipewireNodeKind::Camera);
      std::vector<std::string> ids = UniqueIds(listing.nodes);
      for (size_t i = 0; i < listing.nodes.size(); ++i) {
         devices->push_back(std::make_shared<PipewireCaptureDevice>(std::move(listing.nodes[i]), std::move(ids[i])));
      }
      return listing.status;
   }

   Status audioHardware(std::unique_ptr<AudioHardware> *hardware) override {
      hardware->reset();
      const PipewireListing listing = ListPipewireNodes(PipewireNodeKind::Microphone);
      if (!listing.status.ok()) {
         return listing.status;
      }
      std::vector<std::string> ids = UniqueIds(listing.nodes);
      std::vector<PipewireMicrophone> microphones;
      for (size_t i = 0; i < listing.nodes.size(); ++i) {
         microphones.push_back({DisplayName(listing.nodes[i]), std::move(ids[i])});
      }
      *hardware = MakePipewireAudioHardware(std::move(microphones));
      return Status::Ok();
   }

   std::vector<Finding> diagnose() override {
      return DiagnosePipewire(ListPipewireNodes(PipewireNodeKind::CameraOrMicrophone));
   }
};

} // namespace

std::unique_ptr<Devices> MakePipewireDevices() {
   return std::make_unique<PipewireDevices>();
}

} // namespace osal
