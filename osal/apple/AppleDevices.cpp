#include "osal/apple/AppleDevices.h"

#include "osal/apple/AVFoundationDevices.h"
#include "osal/apple/AppleAudioHardware.h"
#include "osal/common/OutOfMemory.h"

#include <string>

namespace osal {
namespace {

using avfoundation::Access;

constexpr DeviceType kListedTypes[] = {DeviceType::BuiltInWideAngleCamera, DeviceType::ExternalUnknown};

Finding AccessFinding(MediaType mediaType) {
   const bool isVideo = mediaType == MediaType::Video;
   const std::string check = isVideo ? "camera access" : "microphone access";
   const std::string setting =
      std::string("System Settings, Privacy & Security, ") + (isVideo ? "Camera" : "Microphone");
   switch (avfoundation::AccessTo(mediaType)) {
   case Access::Allowed:
      return {Finding::Verdict::Ok, check, "The user has allowed it.", ""};
   case Access::NotAsked:
      return {Finding::Verdict::Warning, check, "The user has not been asked yet.",
              "Start a capture and answer the system's question; until then pictures are black and sound is silent."};
   case Access::Restricted:
      return {Finding::Verdict::Failure, check, "A policy of this Mac forbids it.",
              "Ask who administers this Mac to allow it."};
   case Access::Denied:
      break;
   }
   return {Finding::Verdict::Failure, check, "The user has denied it to this application.",
           "Allow it in " + setting + ", then start the application again."};
}

class AppleDevices final : public Devices {
public:
   std::string name() const override { return "avfoundation"; }

   Status discoverySession(std::span<const DeviceType> deviceTypes, MediaType mediaType, DevicePosition position,
                           CaptureDeviceList *devices) override {
      Status status = UnlessOutOfMemory(
         [&] { return avfoundation::Discover(deviceTypes, mediaType, position, devices); }, NoMemory());
      if (!status.ok()) {
         devices->clear();
      }
      return status;
   }

   Status audioHardware(std::unique_ptr<AudioHardware> *hardware) override {
      hardware->reset();
      return UnlessOutOfMemory(
         [&] {
            *hardware = MakeAppleAudioHardware();
            return Status::Ok();
         },
         NoMemory());
   }

   std::vector<Finding> diagnose() override {
      return {AccessFinding(MediaType::Video), AccessFinding(MediaType::Audio), CameraFinding()};
   }

private:
   Finding CameraFinding() {
      CaptureDeviceList cameras;
      const Status status = discoverySession(kListedTypes, MediaType::Video, DevicePosition::Unspecified, &cameras);
      if (!status.ok()) {
         return {Finding::Verdict::Failure, "camera discovery", "AVFoundation fails: " + status.reason + ".",
                 "Restart this Mac; its camera service does not work."};
      }
      return {Finding::Verdict::Ok, "camera discovery",
              "AVFoundation lists " + std::to_string(cameras.size()) + (cameras.size() == 1 ? " camera." : " cameras."),
              ""};
   }
};

} // namespace

std::unique_ptr<Devices> MakeAppleDevices() {
   return std::make_unique<AppleDevices>();
}

} // namespace osal
