#include "osal/apple/AVFoundationSession.h"

#include "osal/apple/AVFoundationGuard.h"

#include <CoreAudio/CoreAudio.h>

#include <utility>

using osal::avfoundation::DeliveryTarget;
using osal::avfoundation::TroubleTarget;

@interface MavrSampleBufferDelegate
    : NSObject <AVCaptureVideoDataOutputSampleBufferDelegate, AVCaptureAudioDataOutputSampleBufferDelegate> {
   std::shared_ptr<DeliveryTarget> mTarget;
}
- (void)setTarget:(std::shared_ptr<DeliveryTarget>)target;
@end

@implementation MavrSampleBufferDelegate
- (void)setTarget:(std::shared_ptr<DeliveryTarget>)target {
   mTarget = std::move(target);
}
- (void)captureOutput:(AVCaptureOutput *)output
   didOutputSampleBuffer:(CMSampleBufferRef)sampleBuffer
          fromConnection:(AVCaptureConnection *)connection {
   @autoreleasepool {
      mTarget->Deliver(sampleBuffer);
   }
}
@end

@interface MavrTroubleObserver : NSObject {
   std::shared_ptr<TroubleTarget> mTarget;
}
- (void)setTarget:(std::shared_ptr<TroubleTarget>)target;
- (void)sessionHasFailed:(NSNotification *)notification;
@end

@implementation MavrTroubleObserver
- (void)setTarget:(std::shared_ptr<TroubleTarget>)target {
   mTarget = std::move(target);
}
- (void)sessionHasFailed:(NSNotification *)notification {
   @autoreleasepool {
      NSError *error = [[notification userInfo] objectForKey:AVCaptureSessionErrorKey];
      mTarget->Note(osal::StatusOf(error, "the capture session has ended"));
   }
}
@end

namespace osal::avfoundation {
namespace {

AVCaptureSession *Session(CFTypeRef session) {
   return (AVCaptureSession *)const_cast<void *>(session);
}
AVCaptureInput *Input(CFTypeRef input) {
   return (AVCaptureInput *)const_cast<void *>(input);
}
AVCaptureOutput *Output(CFTypeRef output) {
   return (AVCaptureOutput *)const_cast<void *>(output);
}
AVCaptureConnection *Connection(CFTypeRef connection) {
   return (AVCaptureConnection *)const_cast<void *>(connection);
}

/// Runs `body` with a pool of its own, and turns what it raises into a status.
template <typename Body>
Status Call(const char *what, Body body) {
   @autoreleasepool {
      return Guarded(what, body);
   }
}

/// An object that `make` gives with a reference; none when it raises.
template <typename Make>
Object Made(Make make) {
   CFTypeRef made = nullptr;
   const Status status = Call("", [&] { made = (CFTypeRef)make(); });
   return Object(status.ok() ? made : nullptr);
}

} // namespace

// ---- AVCaptureSession

Object MakeSession() {
   return Made([] { return [[AVCaptureSession alloc] init]; });
}

Status BeginConfiguration(CFTypeRef session) {
   return Call("a capture session cannot be configured", [&] { [Session(session) beginConfiguration]; });
}

Status CommitConfiguration(CFTypeRef session) {
   return Call("the capture session's configuration fails", [&] { [Session(session) commitConfiguration]; });
}

bool CanAddInput(CFTypeRef session, CFTypeRef input) {
   bool can = false;
   const Status status = Call("", [&] { can = [Session(session) canAddInput:Input(input)]; });
   return status.ok() && can;
}

Status AddInput(CFTypeRef session, CFTypeRef input) {
   return Call("the capture session takes no input", [&] { [Session(session) addInput:Input(input)]; });
}

Status RemoveInput(CFTypeRef session, CFTypeRef input) {
   return Call("the capture session keeps its input", [&] { [Session(session) removeInput:Input(input)]; });
}

bool CanAddOutput(CFTypeRef session, CFTypeRef output) {
   bool can = false;
   const Status status = Call("", [&] { can = [Session(session) canAddOutput:Output(output)]; });
   return status.ok() && can;
}

Status AddOutput(CFTypeRef session, CFTypeRef output) {
   return Call("the capture session takes no output", [&] { [Session(session) addOutput:Output(output)]; });
}

Status RemoveOutput(CFTypeRef session, CFTypeRef output) {
   return Call("the capture session keeps its output", [&] { [Session(session) removeOutput:Output(output)]; });
}

Status StartRunning(CFTypeRef session) {
   bool isRunning = false;
   Status status = Call("the capture session does not start", [&] {
      [Session(session) startRunning];
      isRunning = [Session(session) isRunning];
   });
   return status.ok() && !isRunning ? Status::Error(kRaised, "the capture session does not start") : status;
}

Status StopRunning(CFTypeRef session) {
   return Call("the capture session does not stop", [&] { [Session(session) stopRunning]; });
}

Object ObserveTrouble(CFTypeRef session, std::shared_ptr<TroubleTarget> target) {
   return Made([&] {
      MavrTroubleObserver *observer = [[MavrTroubleObserver alloc] init];
      [observer setTarget:std::move(target)];
      [[NSNotificationCenter defaultCenter] addObserver:observer
                                               selector:@selector(sessionHasFailed:)
                                                   name:AVCaptureSessionRuntimeErrorNotification
                                                 object:Session(session)];
      return observer;
   });
}

void StopObserving(CFTypeRef observer) {
   (void)Call("", [&] { [[NSNotificationCenter defaultCenter] removeObserver:(id) const_cast<void *>(observer)]; });
}

// ---- AVCaptureDeviceInput

Status MakeDeviceInput(CFTypeRef device, Object *input) {
   *input = Object();
   Status refused;
   Status status = Call("the device cannot be opened", [&] {
      NSError *error = nil;
      AVCaptureDeviceInput *made =
         [AVCaptureDeviceInput deviceInputWithDevice:(AVCaptureDevice *)const_cast<void *>(device) error:&error];
      if (made != nil) {
         *input = Object::Retained((CFTypeRef)made);
      } else {
         refused = StatusOf(error, "the device cannot be opened");
      }
   });
   return status.ok() ? refused : status;
}

// ---- Outputs

Object MakeVideoDataOutput() {
   return Made([] { return [[AVCaptureVideoDataOutput alloc] init]; });
}

Object MakeAudioDataOutput() {
   return Made([] { return [[AVCaptureAudioDataOutput alloc] init]; });
}

Status SetAlwaysDiscardsLateVideoFrames(CFTypeRef output, bool discards) {
   return Call("late frames cannot be discarded",
               [&] { [(AVCaptureVideoDataOutput *)Output(output) setAlwaysDiscardsLateVideoFrames:discards]; });
}

Status SetVideoSettings(CFTypeRef output, const VideoSettings &settings) {
   return Call("no such pictures can be had", [&] {
      NSMutableDictionary<NSString *, id> *entries = [NSMutableDictionary dictionary];
      [entries setObject:[NSNumber numberWithUnsignedInt:settings.pixelFormatType]
                  forKey:(NSString *)kCVPixelBufferPixelFormatTypeKey];
      if (settings.size) {
         [entries setObject:[NSNumber numberWithInt:settings.size->width] forKey:(NSString *)kCVPixelBufferWidthKey];
         [entries setObject:[NSNumber numberWithInt:settings.size->height] forKey:(NSString *)kCVPixelBufferHeightKey];
      }
      [(AVCaptureVideoDataOutput *)Output(output) setVideoSettings:entries];
   });
}

Status SetAudioSettings(CFTypeRef output, const AudioSettings &settings) {
   return Call("no such sound can be had", [&] {
      NSMutableDictionary<NSString *, id> *entries = [NSMutableDictionary dictionary];
      [entries setObject:[NSNumber numberWithUnsignedInt:settings.formatID] forKey:AVFormatIDKey];
      [entries setObject:[NSNumber numberWithInt:settings.sampleRate] forKey:AVSampleRateKey];
      [entries setObject:[NSNumber numberWithInt:settings.channels] forKey:AVNumberOfChannelsKey];
      [entries setObject:[NSNumber numberWithInt:settings.bitDepth] forKey:AVLinearPCMBitDepthKey];
      [entries setObject:[NSNumber numberWithBool:settings.isFloat] forKey:AVLinearPCMIsFloatKey];
      [entries setObject:[NSNumber numberWithBool:settings.isBigEndian] forKey:AVLinearPCMIsBigEndianKey];
      [(AVCaptureAudioDataOutput *)Output(output) setAudioSettings:entries];
   });
}

Object MakeDelegate(std::shared_ptr<DeliveryTarget> target) {
   return Made([&] {
      MavrSampleBufferDelegate *delegate = [[MavrSampleBufferDelegate alloc] init];
      [delegate setTarget:std::move(target)];
      return delegate;
   });
}

Status SetSampleBufferDelegate(CFTypeRef output, MediaType mediaType, CFTypeRef delegate, void *queue) {
   return Call("the output takes no delegate", [&] {
      auto *const own = (MavrSampleBufferDelegate *)const_cast<void *>(delegate);
      const auto platformQueue = (dispatch_queue_t)queue;
      if (mediaType == MediaType::Video) {
         [(AVCaptureVideoDataOutput *)Output(output) setSampleBufferDelegate:own queue:platformQueue];
      } else {
         [(AVCaptureAudioDataOutput *)Output(output) setSampleBufferDelegate:own queue:platformQueue];
      }
   });
}

// ---- AVCaptureConnection

Object ConnectionWithMediaType(CFTypeRef output, MediaType mediaType) {
   return Made([&] {
      AVMediaType type = mediaType == MediaType::Video ? AVMediaTypeVideo : AVMediaTypeAudio;
      return [[Output(output) connectionWithMediaType:type] retain];
   });
}

bool IsVideoMaxFrameDurationSupported(CFTypeRef connection) {
   bool isSupported = false;
   const Status status = Call("", [&] { isSupported = [Connection(connection) isVideoMaxFrameDurationSupported]; });
   return status.ok() && isSupported;
}

Status SetVideoMaxFrameDuration(CFTypeRef connection, MediaTime duration) {
   return Call("the frame duration cannot be set", [&] {
      [Connection(connection) setVideoMaxFrameDuration:CMTimeMake(duration.value, duration.timescale)];
   });
}

MediaTime VideoMaxFrameDuration(CFTypeRef connection) {
   CMTime duration{};
   const Status status = Call("", [&] { duration = [Connection(connection) videoMaxFrameDuration]; });
   const bool isSet = status.ok() && (duration.flags & kCMTimeFlags_Valid) != 0;
   return isSet ? MediaTime{duration.value, duration.timescale} : MediaTime{};
}

} // namespace osal::avfoundation
