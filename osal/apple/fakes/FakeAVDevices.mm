#import <AVFoundation/AVFoundation.h>

#include "osal/apple/fakes/FakeAVDevices.h"
#include "osal/apple/fakes/FakeCoreMedia.h"

#include <algorithm>

AVMediaType const AVMediaTypeVideo = @"vide";
AVMediaType const AVMediaTypeAudio = @"soun";
AVCaptureDeviceType const AVCaptureDeviceTypeBuiltInWideAngleCamera = @"AVCaptureDeviceTypeBuiltInWideAngleCamera";
AVCaptureDeviceType const AVCaptureDeviceTypeExternalUnknown = @"AVCaptureDeviceTypeExternalUnknown";

namespace {

struct RangeState {
   fakes::Counted counted;
   double least = 0;
   double most = 0;
};

struct FormatState {
   fakes::Counted counted;
   FakeFormatDescription *description = nil;
   NSMutableArray<AVFrameRateRange *> *ranges = nil;
};

struct DeviceState {
   fakes::Counted counted;
   std::shared_ptr<fakes::Device> device;
};

struct DiscoveryState {
   fakes::Counted counted;
   NSMutableArray<AVCaptureDevice *> *devices = nil;
};

void RaiseIfAsked() {
   if (fakes::DevicesRaise()) {
      [NSException raise:NSInternalInconsistencyException format:@"the camera service has died"];
   }
}

void RefuseNil(id argument, const char *what) {
   if (argument == nil) {
      [NSException raise:NSInvalidArgumentException format:@"%s is nil", what];
   }
}

bool IsOfType(const fakes::Device &device, AVMediaType mediaType) {
   return device.IsCaptureDevice() && [mediaType isEqualToString:device.isCamera ? AVMediaTypeVideo : AVMediaTypeAudio];
}

NSString *Text(const std::string &utf8) {
   return [NSString stringWithUTF8String:utf8.c_str()];
}

} // namespace

@interface AVFrameRateRange (Fake)
- (void)takeState:(RangeState *)state;
@end
@implementation AVFrameRateRange
- (void)takeState:(RangeState *)state {
   mState = state;
}
- (void)dealloc {
   delete (RangeState *)mState;
   [super dealloc];
}
- (Float64)minFrameRate {
   return ((RangeState *)mState)->least;
}
- (Float64)maxFrameRate {
   return ((RangeState *)mState)->most;
}
@end

@interface AVCaptureDeviceFormat (Fake)
- (void)takeFacts:(const fakes::FormatFacts &)facts;
@end
@implementation AVCaptureDeviceFormat
- (void)takeFacts:(const fakes::FormatFacts &)facts {
   auto *const state = new FormatState;
   mState = state;
   state->description = [[FakeFormatDescription alloc] init];
   state->description->mDimensions = {facts.width, facts.height};
   state->description->mMediaSubType = facts.mediaSubType;
   state->ranges = [[NSMutableArray alloc] init];
   for (const auto &[least, most] : facts.rates) {
      auto *const rates = new RangeState;
      rates->least = least;
      rates->most = most;
      AVFrameRateRange *range = [[AVFrameRateRange alloc] init];
      [range takeState:rates];
      [state->ranges addObject:range];
      [range release];
   }
}
- (void)dealloc {
   auto *const state = (FormatState *)mState;
   [state->description release];
   [state->ranges release];
   delete state;
   [super dealloc];
}
- (CMFormatDescriptionRef)formatDescription {
   return (CMFormatDescriptionRef)((FormatState *)mState)->description;
}
- (NSArray<AVFrameRateRange *> *)videoSupportedFrameRateRanges {
   return ((FormatState *)mState)->ranges;
}
@end

@interface AVCaptureDevice (Fake)
+ (AVCaptureDevice *)deviceFor:(const std::shared_ptr<fakes::Device> &)device;
- (const std::shared_ptr<fakes::Device> &)device;
@end
@implementation AVCaptureDevice
+ (AVCaptureDevice *)deviceFor:(const std::shared_ptr<fakes::Device> &)device {
   AVCaptureDevice *object = [[[AVCaptureDevice alloc] init] autorelease];
   auto *const state = new DeviceState;
   state->device = device;
   object->mState = state;
   return object;
}
- (const std::shared_ptr<fakes::Device> &)device {
   return ((DeviceState *)mState)->device;
}
- (void)dealloc {
   delete (DeviceState *)mState;
   [super dealloc];
}
+ (AVCaptureDevice *)deviceWithUniqueID:(NSString *)uniqueID {
   RaiseIfAsked();
   RefuseNil(uniqueID, "the device's unique id");
   for (const std::shared_ptr<fakes::Device> &device : fakes::PluggedDevices()) {
      if (device->IsCaptureDevice() && [Text(device->Id()) isEqualToString:uniqueID]) {
         return [self deviceFor:device];
      }
   }
   return nil;
}
+ (AVCaptureDevice *)defaultDeviceWithMediaType:(AVMediaType)mediaType {
   RaiseIfAsked();
   RefuseNil(mediaType, "the media type");
   for (const std::shared_ptr<fakes::Device> &device : fakes::PluggedDevices()) {
      if (IsOfType(*device, mediaType)) {
         return [self deviceFor:device];
      }
   }
   return nil;
}
+ (AVAuthorizationStatus)authorizationStatusForMediaType:(AVMediaType)mediaType {
   RaiseIfAsked();
   return static_cast<AVAuthorizationStatus>(fakes::AccessTo([mediaType isEqualToString:AVMediaTypeVideo]));
}
- (NSString *)localizedName {
   return Text([self device]->Name());
}
- (NSString *)uniqueID {
   return Text([self device]->Id());
}
- (BOOL)hasMediaType:(AVMediaType)mediaType {
   return IsOfType(*[self device], mediaType);
}
- (BOOL)isConnected {
   return [self device]->isConnected;
}
- (NSArray<AVCaptureDeviceFormat *> *)formats {
   NSMutableArray<AVCaptureDeviceFormat *> *formats = [NSMutableArray array];
   for (const fakes::FormatFacts &facts : [self device]->camera.formats) {
      if ([self device]->isCamera) {
         AVCaptureDeviceFormat *format = [[AVCaptureDeviceFormat alloc] init];
         [format takeFacts:facts];
         [formats addObject:format];
         [format release];
      }
   }
   return formats;
}
@end

@implementation AVCaptureDeviceDiscoverySession
+ (instancetype)discoverySessionWithDeviceTypes:(NSArray<AVCaptureDeviceType> *)deviceTypes
                                      mediaType:(AVMediaType)mediaType
                                       position:(AVCaptureDevicePosition)position {
   RaiseIfAsked();
   RefuseNil(deviceTypes, "the list of device types");
   AVCaptureDeviceDiscoverySession *session = [[[self alloc] init] autorelease];
   auto *const state = new DiscoveryState;
   session->mState = state;
   state->devices = [[NSMutableArray alloc] init];
   for (const std::shared_ptr<fakes::Device> &device : fakes::PluggedDevices()) {
      AVCaptureDeviceType type =
         device->camera.isExternal ? AVCaptureDeviceTypeExternalUnknown : AVCaptureDeviceTypeBuiltInWideAngleCamera;
      const bool isAtPosition = position == AVCaptureDevicePositionUnspecified;
      if (device->isCamera && isAtPosition && IsOfType(*device, mediaType) && [deviceTypes containsObject:type]) {
         [state->devices addObject:[AVCaptureDevice deviceFor:device]];
      }
   }
   return session;
}
- (NSArray<AVCaptureDevice *> *)devices {
   return ((DiscoveryState *)mState)->devices;
}
- (void)dealloc {
   auto *const state = (DiscoveryState *)mState;
   [state->devices release];
   delete state;
   [super dealloc];
}
@end

std::shared_ptr<fakes::Device> fakes::DeviceOf(AVCaptureDevice *device) {
   return [device device];
}
