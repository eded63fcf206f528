#pragma once

#include "osal/CaptureSession.h"
#include "osal/apple/CoreFoundationText.h"

#include <memory>

/// AVFoundation's side of capturing: its operations one by one, on its objects, which are CFTypeRef here.
///
/// A framework that raises is a status. Threads: any thread, as far as AVFoundation allows it, which is one call at a
/// time for each session. None of these throws what is C++'s but std::bad_alloc.
namespace osal::avfoundation {

using Object = CFOwned<CFTypeRef>;

/// Hears of buffers, on the queue that belongs to its delegate. Owner: shared with the delegate object.
class DeliveryTarget {
public:
   virtual ~DeliveryTarget() = default;
   /// A CMSampleBufferRef, which lives as long as the call unless it is retained. Must not throw.
   virtual void Deliver(CFTypeRef sampleBuffer) = 0;
};

/// Hears why a session ended by itself, on any thread. Owner: shared with the observer object.
class TroubleTarget {
public:
   virtual ~TroubleTarget() = default;
   virtual void Note(Status trouble) = 0;
};

// ---- AVCaptureSession

[[nodiscard]] Object MakeSession();
Status BeginConfiguration(CFTypeRef session);
Status CommitConfiguration(CFTypeRef session);
[[nodiscard]] bool CanAddInput(CFTypeRef session, CFTypeRef input);
Status AddInput(CFTypeRef session, CFTypeRef input);
Status RemoveInput(CFTypeRef session, CFTypeRef input);
[[nodiscard]] bool CanAddOutput(CFTypeRef session, CFTypeRef output);
Status AddOutput(CFTypeRef session, CFTypeRef output);
Status RemoveOutput(CFTypeRef session, CFTypeRef output);
/// Waits until the devices are there. A session that does not run afterwards is a failure.
Status StartRunning(CFTypeRef session);
Status StopRunning(CFTypeRef session);
/// Tells `target` of runtime errors until StopObserving.
[[nodiscard]] Object ObserveTrouble(CFTypeRef session, std::shared_ptr<TroubleTarget> target);
void StopObserving(CFTypeRef observer);

// ---- AVCaptureDeviceInput

Status MakeDeviceInput(CFTypeRef device, Object *input);

// ---- AVCaptureVideoDataOutput, AVCaptureAudioDataOutput

[[nodiscard]] Object MakeVideoDataOutput();
[[nodiscard]] Object MakeAudioDataOutput();
Status SetAlwaysDiscardsLateVideoFrames(CFTypeRef output, bool discards);
Status SetVideoSettings(CFTypeRef output, const VideoSettings &settings);
Status SetAudioSettings(CFTypeRef output, const AudioSettings &settings);
/// A delegate object that hands what it gets to `target`.
[[nodiscard]] Object MakeDelegate(std::shared_ptr<DeliveryTarget> target);
/// `queue` is a dispatch_queue_t. Null for both: nobody. The output does not keep the delegate alive.
Status SetSampleBufferDelegate(CFTypeRef output, MediaType mediaType, CFTypeRef delegate, void *queue);

// ---- AVCaptureConnection

/// Null without one.
[[nodiscard]] Object ConnectionWithMediaType(CFTypeRef output, MediaType mediaType);
[[nodiscard]] bool IsVideoMaxFrameDurationSupported(CFTypeRef connection);
Status SetVideoMaxFrameDuration(CFTypeRef connection, MediaTime duration);
/// A timescale of 0 when none was set.
[[nodiscard]] MediaTime VideoMaxFrameDuration(CFTypeRef connection);

} // namespace osal::avfoundation
