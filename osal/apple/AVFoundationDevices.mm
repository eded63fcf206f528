#include "osal/apple/AVFoundationDevices.h"

#include "osal/apple/AVFoundationGuard.h"

namespace osal {
namespace {

AVMediaType PlatformType(MediaType mediaType) {
   return mediaType == MediaType::Video ? AVMediaTypeVideo : AVMediaTypeAudio;
}

AVCaptureDeviceType PlatformType(DeviceType deviceType) {
   switch (deviceType) {
   case DeviceType::BuiltInWideAngleCamera:
      return AVCaptureDeviceTypeBuiltInWideAngleCamera;
   case DeviceType::ExternalUnknown:
      return AVCaptureDeviceTypeExternalUnknown;
   }
   return nil;
}

// One for each of its frame rate ranges, and one without any.
void AppendFormats(AVCaptureDeviceFormat *format, std::vector<CaptureDeviceFormat> *formats) {
   CMFormatDescriptionRef description = [format formatDescription];
   const CMVideoDimensions size = CMVideoFormatDescriptionGetDimensions(description);
   CaptureDeviceFormat facts;
   facts.mediaSubType = CMFormatDescriptionGetMediaSubType(description);
   facts.dimensions = {size.width, size.height};
   NSArray<AVFrameRateRange *> *ranges = [format videoSupportedFrameRateRanges];
   for (AVFrameRateRange *range in ranges) {
      facts.minFrameRate = [range minFrameRate];
      facts.maxFrameRate = [range maxFrameRate];
      formats->push_back(facts);
   }
   if ([ranges count] == 0) {
      formats->push_back(facts);
   }
}

std::shared_ptr<const CaptureDevice> FactsOf(AVCaptureDevice *device) {
   AppleCaptureDevice::Facts facts;
   facts.name = Utf8([device localizedName]);
   facts.uniqueId = Utf8([device uniqueID]);
   facts.isCamera = [device hasMediaType:AVMediaTypeVideo];
   facts.isMicrophone = [device hasMediaType:AVMediaTypeAudio];
   if (facts.isCamera) {
      for (AVCaptureDeviceFormat *format in [device formats]) {
         AppendFormats(format, &facts.formats);
      }
   }
   return std::make_shared<AppleCaptureDevice>(std::move(facts), CFOwned<CFTypeRef>::Retained((CFTypeRef)device));
}

} // namespace

Status avfoundation::Discover(std::span<const DeviceType> deviceTypes, MediaType mediaType, DevicePosition position,
                              CaptureDeviceList *devices) {
   devices->clear();
   @autoreleasepool {
      Status status = Guarded("the cameras cannot be listed", [&] {
         NSMutableArray<AVCaptureDeviceType> *types = [NSMutableArray array];
         for (const DeviceType type : deviceTypes) {
            [types addObject:PlatformType(type)];
         }
         AVCaptureDeviceDiscoverySession *session = [AVCaptureDeviceDiscoverySession
            discoverySessionWithDeviceTypes:types
                                  mediaType:PlatformType(mediaType)
                                   position:static_cast<AVCaptureDevicePosition>(position)];
         for (AVCaptureDevice *device in [session devices]) {
            devices->push_back(FactsOf(device));
         }
      });
      if (!status.ok()) {
         devices->clear();
      }
      return status;
   }
}

Status avfoundation::DeviceWithUniqueID(const std::string &uniqueID, MediaType mediaType,
                                        std::shared_ptr<const CaptureDevice> *device) {
   @autoreleasepool {
      return Guarded("the device cannot be looked up", [&] {
         NSString *id_ = [NSString stringWithUTF8String:uniqueID.c_str()];
         AVCaptureDevice *found = id_ != nil ? [AVCaptureDevice deviceWithUniqueID:id_] : nil;
         if (found != nil && [found hasMediaType:PlatformType(mediaType)]) {
            *device = FactsOf(found);
         }
      });
   }
}

Status avfoundation::DefaultDevice(MediaType mediaType, std::shared_ptr<const CaptureDevice> *device) {
   @autoreleasepool {
      return Guarded("the default device cannot be looked up", [&] {
         AVCaptureDevice *found = [AVCaptureDevice defaultDeviceWithMediaType:PlatformType(mediaType)];
         if (found != nil) {
            *device = FactsOf(found);
         }
      });
   }
}

avfoundation::Access avfoundation::AccessTo(MediaType mediaType) {
   AVAuthorizationStatus status = AVAuthorizationStatusNotDetermined;
   @autoreleasepool {
      (void)Guarded("", [&] { status = [AVCaptureDevice authorizationStatusForMediaType:PlatformType(mediaType)]; });
   }
   switch (status) {
   case AVAuthorizationStatusNotDetermined:
      return Access::NotAsked;
   case AVAuthorizationStatusRestricted:
      return Access::Restricted;
   case AVAuthorizationStatusDenied:
      return Access::Denied;
   case AVAuthorizationStatusAuthorized:
      return Access::Allowed;
   }
   return Access::Denied; // a status of a later system
}

bool avfoundation::IsConnected(CFTypeRef device) {
   bool isConnected = false;
   @autoreleasepool {
      (void)Guarded("", [&] { isConnected = [(AVCaptureDevice *)device isConnected]; });
   }
   return isConnected;
}

} // namespace osal
