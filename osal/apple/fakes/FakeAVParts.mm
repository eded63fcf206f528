#include "osal/apple/fakes/FakeAVParts.h"

#include "osal/apple/fakes/FakeAVDevices.h"

NSString *const AVFormatIDKey = @"AVFormatIDKey";
NSString *const AVSampleRateKey = @"AVSampleRateKey";
NSString *const AVNumberOfChannelsKey = @"AVNumberOfChannelsKey";
NSString *const AVLinearPCMBitDepthKey = @"AVLinearPCMBitDepthKey";
NSString *const AVLinearPCMIsFloatKey = @"AVLinearPCMIsFloatKey";
NSString *const AVLinearPCMIsBigEndianKey = @"AVLinearPCMIsBigEndianKey";

namespace {

constexpr OSType kLinearPcm = 0x6C70636D; // lpcm

struct ConnectionState {
   fakes::Counted counted;
   bool isVideo = false;
   CMTime duration{}; // invalid: no limit was set
};

void RefuseArgument(const char *what) {
   [NSException raise:NSInvalidArgumentException format:@"%s", what];
}

NSError *ErrorOf(NSInteger code, NSString *text) {
   return [NSError errorWithDomain:@"AVFoundationErrorDomain"
                              code:code
                          userInfo:[NSDictionary dictionaryWithObject:text forKey:NSLocalizedDescriptionKey]];
}

int IntOf(NSDictionary *settings, id key) {
   return [(NSNumber *)[settings objectForKey:key] intValue];
}

bool IsPictureFormat(OSType format) {
   return format == 0x34323066 || format == 0x34323076 || format == 0x32767579; // 420f, 420v, 2vuy
}

struct Delivery {
   AVCaptureOutput *output;
   AVCaptureConnection *connection;
   FakeSampleBuffer *buffer;
};

// On the queue's thread.
void Arrive(void *context) {
   auto *const delivery = static_cast<Delivery *>(context);
   fakes::OutputState &state = fakes::StateOf(delivery->output);
   id delegate = nil;
   {
      const std::lock_guard<std::mutex> hold(state.mutex);
      delegate = [state.delegate retain];
   }
   [delegate captureOutput:delivery->output
      didOutputSampleBuffer:(CMSampleBufferRef)delivery->buffer
             fromConnection:delivery->connection];
   fakes::Release(delegate);
   fakes::Release(delivery->buffer);
   fakes::Release(delivery->connection);
   --state.pending;
   fakes::Release(delivery->output);
   delete delivery;
}

} // namespace

std::recursive_mutex &fakes::ConfigurationLock() {
   static auto *const lock = new std::recursive_mutex; // never destroyed
   return *lock;
}

bool fakes::Deliver(AVCaptureOutput *output, FakeSampleBuffer *buffer) {
   OutputState &state = StateOf(output);
   const std::lock_guard<std::mutex> hold(state.mutex);
   if (state.queue == nullptr || state.connection == nil || (state.discardsLate && state.pending > 0)) {
      return false;
   }
   ++state.pending;
   dispatch_async_f(state.queue, new Delivery{[output retain], [state.connection retain], [buffer retain]}, Arrive);
   return true;
}

@implementation AVCaptureInput
@end

@interface AVCaptureDeviceInput (Fake)
- (fakes::InputState &)state;
@end
@implementation AVCaptureDeviceInput
+ (instancetype)deviceInputWithDevice:(AVCaptureDevice *)device error:(NSError **)error {
   if (device == nil) {
      RefuseArgument("the device is nil");
   }
   const std::shared_ptr<fakes::Device> facts = fakes::DeviceOf(device);
   NSError *trouble = nil;
   if (!facts->isConnected) {
      trouble = ErrorOf(-11814, @"The device is not connected.");
   } else if (fakes::AccessTo(facts->isCamera) == fakes::Access::Denied) {
      trouble = ErrorOf(-11852, @"The application is not authorized.");
   }
   if (trouble != nil) {
      if (error != nullptr) {
         *error = trouble;
      }
      return nil;
   }
   AVCaptureDeviceInput *input = [[[self alloc] init] autorelease];
   auto *const state = new fakes::InputState;
   state->device = facts;
   input->mState = state;
   return input;
}
- (fakes::InputState &)state {
   return *(fakes::InputState *)mState;
}
- (void)dealloc {
   delete (fakes::InputState *)mState;
   [super dealloc];
}
@end

@interface AVCaptureConnection (Fake)
- (void)takeState:(ConnectionState *)state;
@end
@implementation AVCaptureConnection
- (void)takeState:(ConnectionState *)state {
   mState = state;
}
- (void)dealloc {
   delete (ConnectionState *)mState;
   [super dealloc];
}
- (BOOL)isVideoMaxFrameDurationSupported {
   return ((ConnectionState *)mState)->isVideo;
}
- (CMTime)videoMaxFrameDuration {
   return ((ConnectionState *)mState)->duration;
}
- (void)setVideoMaxFrameDuration:(CMTime)duration {
   if (!((ConnectionState *)mState)->isVideo) {
      RefuseArgument("the connection knows no frame duration");
   }
   if ((duration.flags & kCMTimeFlags_Valid) == 0 || duration.value <= 0 || duration.timescale <= 0) {
      RefuseArgument("the frame duration is invalid");
   }
   ((ConnectionState *)mState)->duration = duration;
}
@end

@interface AVCaptureOutput (Fake)
- (fakes::OutputState &)state;
- (void)takeDelegate:(id)delegate queue:(dispatch_queue_t)queue;
@end
@implementation AVCaptureOutput
- (instancetype)init {
   self = [super init];
   if (self != nil) {
      mState = new fakes::OutputState;
   }
   return self;
}
- (void)dealloc {
   auto *const state = (fakes::OutputState *)mState;
   if (state->queue != nullptr) {
      dispatch_release(state->queue);
   }
   [state->connection release];
   delete state;
   [super dealloc];
}
- (fakes::OutputState &)state {
   return *(fakes::OutputState *)mState;
}
- (AVCaptureConnection *)connectionWithMediaType:(AVMediaType)mediaType {
   fakes::OutputState &state = [self state];
   const std::lock_guard<std::recursive_mutex> hold(fakes::ConfigurationLock());
   const bool fits = [mediaType isEqualToString:state.isVideo ? AVMediaTypeVideo : AVMediaTypeAudio];
   return fits ? [[state.connection retain] autorelease] : nil;
}
- (void)takeDelegate:(id)delegate queue:(dispatch_queue_t)queue {
   if (delegate != nil && queue == nullptr) {
      RefuseArgument("a delegate needs a queue");
   }
   fakes::OutputState &state = [self state];
   const std::lock_guard<std::mutex> hold(state.mutex);
   if (queue != nullptr) {
      dispatch_retain(queue);
   }
   if (state.queue != nullptr) {
      dispatch_release(state.queue);
   }
   state.delegate = delegate;
   state.queue = queue;
}
@end

@implementation AVCaptureVideoDataOutput
- (instancetype)init {
   self = [super init];
   if (self != nil) {
      [self state].isVideo = true;
   }
   return self;
}
- (void)setSampleBufferDelegate:(id<AVCaptureVideoDataOutputSampleBufferDelegate>)delegate
                          queue:(dispatch_queue_t)queue {
   [self takeDelegate:delegate queue:queue];
}
- (void)setAlwaysDiscardsLateVideoFrames:(BOOL)discards {
   const std::lock_guard<std::mutex> hold([self state].mutex);
   [self state].discardsLate = discards;
}
- (void)setVideoSettings:(NSDictionary<NSString *, id> *)settings {
   fakes::VideoFormat format;
   format.pixelFormat = static_cast<OSType>(IntOf(settings, (NSString *)kCVPixelBufferPixelFormatTypeKey));
   if (!IsPictureFormat(format.pixelFormat)) {
      RefuseArgument("the pixel format is not supported");
   }
   if ([settings objectForKey:(NSString *)kCVPixelBufferWidthKey] != nil) {
      format.width = IntOf(settings, (NSString *)kCVPixelBufferWidthKey);
      format.height = IntOf(settings, (NSString *)kCVPixelBufferHeightKey);
      if (format.width <= 0 || format.height <= 0) {
         RefuseArgument("the size is not supported");
      }
   }
   const std::lock_guard<std::mutex> hold([self state].mutex);
   [self state].video = format;
}
@end

@implementation AVCaptureAudioDataOutput
- (instancetype)init {
   self = [super init];
   if (self != nil) {
      [self state].discardsLate = false;
   }
   return self;
}
- (void)setSampleBufferDelegate:(id<AVCaptureAudioDataOutputSampleBufferDelegate>)delegate
                          queue:(dispatch_queue_t)queue {
   [self takeDelegate:delegate queue:queue];
}
- (void)setAudioSettings:(NSDictionary<NSString *, id> *)settings {
   const fakes::SoundFormat format{IntOf(settings, AVSampleRateKey), IntOf(settings, AVNumberOfChannelsKey)};
   if (static_cast<OSType>(IntOf(settings, AVFormatIDKey)) != kLinearPcm || format.rate < 8000 || format.channels < 1) {
      RefuseArgument("the sound format is not supported");
   }
   if (IntOf(settings, AVLinearPCMBitDepthKey) != 16 || IntOf(settings, AVLinearPCMIsFloatKey) != 0 ||
       IntOf(settings, AVLinearPCMIsBigEndianKey) != 0) {
      RefuseArgument("the stand-in has 16-bit integers only");
   }
   const std::lock_guard<std::mutex> hold([self state].mutex);
   [self state].sound = format;
}
@end

fakes::InputState &fakes::StateOf(AVCaptureInput *input) {
   return [(AVCaptureDeviceInput *)input state];
}
fakes::OutputState &fakes::StateOf(AVCaptureOutput *output) {
   return [output state];
}
AVCaptureConnection *fakes::NewConnection(bool isVideo) {
   AVCaptureConnection *connection = [[AVCaptureConnection alloc] init];
   auto *const state = new ConnectionState;
   state->isVideo = isVideo;
   [connection takeState:state];
   return connection;
}
