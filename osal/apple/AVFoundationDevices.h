#pragma once

#include "osal/CaptureDevice.h"
#include "osal/Status.h"
#include "osal/apple/CoreFoundationText.h"

#include <memory>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace osal {

/// One AVCaptureDevice, with its facts as they were when it was asked for. Owner, threads, life cycle: as
/// CaptureDevice.
class AppleCaptureDevice final : public CaptureDevice {
public:
   struct Facts {
      std::string name;
      std::string uniqueId;
      std::vector<CaptureDeviceFormat> formats;
      bool isCamera = false;
      bool isMicrophone = false;
   };

   AppleCaptureDevice(Facts facts, CFOwned<CFTypeRef> device)
       : mFacts(std::move(facts))
       , mDevice(std::move(device)) {}

   std::string localizedName() const override { return mFacts.name; }
   std::string uniqueID() const override { return mFacts.uniqueId; }
   std::vector<CaptureDeviceFormat> formats() const override { return mFacts.formats; }
   [[nodiscard]] bool Has(MediaType mediaType) const {
      return mediaType == MediaType::Video ? mFacts.isCamera : mFacts.isMicrophone;
   }
   /// The AVCaptureDevice.
   [[nodiscard]] CFTypeRef Platform() const { return mDevice.get(); }

private:
   const Facts mFacts;
   const CFOwned<CFTypeRef> mDevice;
};

/// AVFoundation's side of listing and finding devices. Any thread. A framework that raises is a status.
namespace avfoundation {

/// Through AVCaptureDeviceDiscoverySession; `*devices` is replaced.
Status Discover(std::span<const DeviceType> deviceTypes, MediaType mediaType, DevicePosition position,
                CaptureDeviceList *devices);

/// `*device` stays null when there is none, which is a success.
Status DeviceWithUniqueID(const std::string &uniqueID, MediaType mediaType,
                          std::shared_ptr<const CaptureDevice> *device);
Status DefaultDevice(MediaType mediaType, std::shared_ptr<const CaptureDevice> *device);

/// Whether the user has allowed this process to use devices of a kind; nobody is asked.
enum class Access { NotAsked, Restricted, Denied, Allowed };
[[nodiscard]] Access AccessTo(MediaType mediaType);

/// Whether the device is still plugged in.
[[nodiscard]] bool IsConnected(CFTypeRef device);

} // namespace avfoundation
} // namespace osal
