#include "osal/pipewire/PipewireCapture.h"

#include "osal/common/BasicCapture.h"
#include "osal/common/OutOfMemory.h"
#include "osal/pipewire/PipewireAudioStream.h"
#include "osal/pipewire/PipewireCaptureDevice.h"
#include "osal/pipewire/PipewireListing.h"
#include "osal/pipewire/PipewireVideoStream.h"

#include <algorithm>
#include <cerrno>
#include <utility>

namespace osal {
namespace {

constexpr std::string_view kBackend = "pipewire";

const char *Noun(MediaType mediaType) {
   return mediaType == MediaType::Video ? "camera" : "microphone";
}

PipewireNodeKind KindOf(MediaType mediaType) {
   return mediaType == MediaType::Video ? PipewireNodeKind::Camera : PipewireNodeKind::Microphone;
}

class PipewireOpener final : public StreamOpener {
public:
   std::string_view Backend() const override { return kBackend; }

   Status Open(const StreamRequest &request, std::unique_ptr<CaptureStream> *stream) override {
      stream->reset();
      const auto *const device = dynamic_cast<const PipewireCaptureDevice *>(request.device.get());
      if (device == nullptr) {
         return Status::Error(EINVAL, "the device was made by another backend");
      }
      const auto open = request.mediaType == MediaType::Video ? OpenPipewireVideo : OpenPipewireAudio;
      return UnlessOutOfMemory([&] { return open(request, device->Node().serial, stream); }, NoMemory());
   }
};

class PipewireCapture final : public BasicCapture {
public:
   PipewireCapture()
       : BasicCapture(std::make_shared<PipewireOpener>()) {}

protected:
   Status FindDevice(std::string_view uniqueID, MediaType mediaType,
                     std::shared_ptr<const CaptureDevice> *device) override {
      PipewireListing listing = ListPipewireNodes(KindOf(mediaType));
      const std::vector<std::string> ids = UniqueIds(listing.nodes);
      const auto found = std::find(ids.begin(), ids.end(), uniqueID);
      if (found != ids.end()) {
         *device = Take(&listing, ids, static_cast<size_t>(found - ids.begin()));
         return Status::Ok();
      }
      return listing.status.ok() ? Status::Error(ENODEV, std::string("there is no ") + Noun(mediaType) +
                                                            " with the id \"" + std::string(uniqueID) + "\"")
                                 : listing.status;
   }

   // The session manager's default; without one, or when that is no device for us, the first.
   Status FindDefault(MediaType mediaType, std::shared_ptr<const CaptureDevice> *device) override {
      PipewireListing listing = ListPipewireNodes(KindOf(mediaType));
      if (listing.nodes.empty()) {
         return listing.status.ok() ? Status::Error(ENODEV, std::string("there is no ") + Noun(mediaType))
                                    : listing.status;
      }
      const std::string &name = mediaType == MediaType::Video ? listing.defaultCamera : listing.defaultMicrophone;
      const auto chosen = std::find_if(listing.nodes.begin(), listing.nodes.end(),
                                       [&](const PipewireNode &node) { return !name.empty() && node.name == name; });
      const auto index = chosen != listing.nodes.end() ? static_cast<size_t>(chosen - listing.nodes.begin()) : 0;
      *device = Take(&listing, UniqueIds(listing.nodes), index);
      return Status::Ok();
   }

   Status CheckAccess(const CaptureDevice &device, MediaType mediaType) override {
      const auto *const own = dynamic_cast<const PipewireCaptureDevice *>(&device);
      if (own == nullptr) {
         return Status::Error(EINVAL, "the device was made by another backend");
      }
      if (!IsOfKind(own->Node().mediaClass, KindOf(mediaType))) {
         return Status::Error(EINVAL, "\"" + device.localizedName() + "\" is no " + Noun(mediaType));
      }
      return Status::Ok();
   }

private:
   static std::shared_ptr<const CaptureDevice> Take(PipewireListing *listing, const std::vector<std::string> &ids,
                                                    size_t index) {
      return std::make_shared<PipewireCaptureDevice>(std::move(listing->nodes[index]), ids[index]);
   }
};

} // namespace

std::unique_ptr<Capture> MakePipewireCapture() {
   return std::make_unique<PipewireCapture>();
}

} // namespace osal
