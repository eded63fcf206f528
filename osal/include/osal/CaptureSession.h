#pragma once

#include "osal/CaptureDevice.h"
#include "osal/SampleBuffer.h"
#include "osal/Status.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

namespace osal {

/// A moment or duration: value / timescale seconds.
struct MediaTime {
   int64_t value = 0;
   int32_t timescale = 0;
   friend bool operator==(const MediaTime &, const MediaTime &) = default;
};

/// Where delegate calls happen: one after the other, never two at a time, on a thread that carries the queue's label
/// (as much of it as the system keeps).
///
/// Owner: shared by its maker and the outputs that use it; outputs that share one queue take turns, also between
/// sessions. Threads: any thread. Life cycle: it has no thread of its own; those of the running sessions serve it.
class SerialQueue {
public:
   virtual ~SerialQueue() = default;
   [[nodiscard]] virtual const std::string &label() const = 0;
};

/// A camera or microphone as the source of a session. Made by Capture::deviceInputWithDevice.
///
/// Owner: shared by its maker and the session that it was added to. Threads: any thread. Life cycle: the device itself
/// is in use only while a session runs with it; afterwards the input can be added again, to another session too.
class CaptureDeviceInput {
public:
   virtual ~CaptureDeviceInput() = default;
   [[nodiscard]] virtual const CaptureDevice &device() const = 0;
};

/// The path from an input to an output within a session; identifies the output's buffers in the delegate call: the same
/// object as CaptureOutput::connectionWithMediaType gives, to be compared by its address.
///
/// Owner: shared; stays valid after its output has left the session. Threads: any thread.
class CaptureConnection {
public:
   virtual ~CaptureConnection() = default;
   [[nodiscard]] virtual bool isVideoMaxFrameDurationSupported() const = 0;
   /// The longest time between two frames: a floor on the rate, as far as the camera can do it. Only where supported;
   /// a value or timescale of 0 or less is ignored. Counts from the next start of the device on, at the latest.
   virtual void setVideoMaxFrameDuration(MediaTime duration) = 0;
   /// What was set last; a timescale of 0 when nothing was.
   [[nodiscard]] virtual MediaTime videoMaxFrameDuration() const = 0;
};

/// Takes the buffers of an output. Delivery thread.
class SampleBufferDelegate {
public:
   virtual ~SampleBufferDelegate() = default;
   /// One buffer. Keep a Ref to have it longer than the call. Must not throw. May call removeOutput and stopRunning of
   /// its own session and setSampleBufferDelegate of its own output; must not destroy the session.
   virtual void captureOutput(const Ref<SampleBuffer> &buffer, const CaptureConnection &connection) = 0;
};

/// Where a session sends its buffers.
///
/// Owner: shared by its maker and the session that it was added to. Threads: host-serialised; setSampleBufferDelegate
/// also from the output's own delegate call. Settings are made before the session runs; later ones count from the next
/// start on. A delegate is not owned: setSampleBufferDelegate(nullptr, nullptr), removeOutput and stopRunning promise
/// that once they have returned no delegate call is running and none comes, unless they were called from that delegate
/// call itself. From a delegate call none of them waits, for another output of the same session neither: two delegate
/// calls that stop the session at the same time would wait for each other. What is running then is the last.
class CaptureOutput {
public:
   virtual ~CaptureOutput() = default;
   /// Who takes the buffers, and where. One without the other is none. Another delegate takes over with the next
   /// buffer; once the call has returned, the former one is not running. While there is none, buffers are dropped.
   virtual void setSampleBufferDelegate(SampleBufferDelegate *delegate, std::shared_ptr<SerialQueue> queue) = 0;
   /// Null until the output is in a session that has an input of that kind, and always for the other kind.
   [[nodiscard]] virtual std::shared_ptr<CaptureConnection> connectionWithMediaType(MediaType mediaType) = 0;
};

/// What the pictures are to be like. The platform may deliver another size all the same, and change it in mid-stream;
/// the format is a promise. A format that the backend can't give makes startRunning fail.
struct VideoSettings {
   uint32_t pixelFormatType = 0;        ///< kCVPixelBufferPixelFormatTypeKey: '420f'
   std::optional<VideoDimensions> size; ///< kCVPixelBufferWidthKey and HeightKey
};

/// Where a camera's frames come out.
class VideoDataOutput : public CaptureOutput {
public:
   /// Drop a frame that comes while a delegate call still runs, instead of queueing it.
   virtual void setAlwaysDiscardsLateVideoFrames(bool discards) = 0;
   virtual void setVideoSettings(const VideoSettings &settings) = 0;
};

/// What the samples are: the platform resamples and mixes to this, in deliveries of any length. A format that the
/// backend can't give makes startRunning fail.
struct AudioSettings {
   uint32_t formatID = 0;  ///< AVFormatIDKey: 'lpcm'
   int32_t sampleRate = 0; ///< hertz
   int32_t channels = 0;
   int32_t bitDepth = 0;
   bool isFloat = false;
   bool isBigEndian = false;
   friend bool operator==(const AudioSettings &, const AudioSettings &) = default;
};

/// Where a microphone's samples come out.
class AudioDataOutput : public CaptureOutput {
public:
   virtual void setAudioSettings(const AudioSettings &settings) = 0;
};

/// Connects inputs to outputs and runs: at most one input and one output of each kind.
///
/// Owner: one capture object. Threads: host-serialised; stopRunning and removeOutput also from a delegate call, while
/// the host is in another call too; health and isRunning from any thread. No call waits longer than 2 seconds on
/// something outside the process, and none throws. Life cycle: made -> configured -> startRunning -> stopRunning ->
/// (configured or startRunning again) -> destroyed, not in a delegate call; destroying a running session stops it.
/// Inputs, outputs and buffers may outlive it.
///
/// Configuration: canAdd and connectionWithMediaType see a change at once. Devices of a running session follow at the
/// commit, all together; without beginConfiguration each change is a configuration of its own. One that can't be
/// started then shows in health(). Pairs do not nest; a commit without its begin does nothing.
class CaptureSession {
public:
   virtual ~CaptureSession() = default;
   virtual void beginConfiguration() = 0;
   virtual void commitConfiguration() = 0;
   /// Whether addInput would work: not for null, for one that is in a session already or was made by another backend,
   /// or when the session has one of its kind.
   [[nodiscard]] virtual bool canAddInput(const std::shared_ptr<CaptureDeviceInput> &input) = 0;
   virtual void addInput(const std::shared_ptr<CaptureDeviceInput> &input) = 0;    ///< one that can't be: nothing
   virtual void removeInput(const std::shared_ptr<CaptureDeviceInput> &input) = 0; ///< one that is not there: nothing
   /// The same for outputs.
   [[nodiscard]] virtual bool canAddOutput(const std::shared_ptr<CaptureOutput> &output) = 0;
   virtual void addOutput(const std::shared_ptr<CaptureOutput> &output) = 0;
   /// Keeps its promise about delegate calls on return, within a configuration too; the device is let go at the commit.
   virtual void removeOutput(const std::shared_ptr<CaptureOutput> &output) = 0;
   [[nodiscard]] virtual bool isRunning() const = 0;
   /// Deliveries begin, for each kind that has an input and an output; none has is a success too. Running already:
   /// nothing. A failure leaves the session as it was: not running, with its inputs and outputs, no thread, no device
   /// in use. A device that goes away later is no failure: buffers stop, isRunning stays true, and health() says why.
   virtual Status startRunning() = 0;
   /// The devices are let go within a second. Afterwards no thread of the session is left; after a call from a delegate
   /// call they end with it. Not running: nothing.
   virtual void stopRunning() = 0;
   /// Ok while buffers can be expected, or why none come any more: the device is gone, the server died, nothing is
   /// connected. Of a session that does not run: Ok.
   [[nodiscard]] virtual Status health() const = 0;
};

} // namespace osal
