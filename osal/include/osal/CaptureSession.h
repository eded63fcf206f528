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
class SerialQueue {
public:
   virtual ~SerialQueue() = default;
   [[nodiscard]] virtual const std::string &label() const = 0;
};

/// A camera or microphone as the source of a session. Made by Capture::deviceInputWithDevice.
class CaptureDeviceInput {
public:
   virtual ~CaptureDeviceInput() = default;
   [[nodiscard]] virtual const CaptureDevice &device() const = 0;
};

/// The path from an input to an output within a session; identifies the output's buffers in the delegate call.
class CaptureConnection {
public:
   virtual ~CaptureConnection() = default;
   [[nodiscard]] virtual bool isVideoMaxFrameDurationSupported() const = 0;
   /// The longest time between two frames: a floor on the rate. Only where supported; a timescale of 0 is ignored.
   virtual void setVideoMaxFrameDuration(MediaTime duration) = 0;
   [[nodiscard]] virtual MediaTime videoMaxFrameDuration() const = 0;
};

/// Takes the buffers of an output. Delivery thread.
class SampleBufferDelegate {
public:
   virtual ~SampleBufferDelegate() = default;
   /// One buffer. Keep a Ref to have it longer than the call. Must not throw. May call removeOutput, stopRunning and
   /// setSampleBufferDelegate of its own output.
   virtual void captureOutput(const Ref<SampleBuffer> &buffer, const CaptureConnection &connection) = 0;
};

/// Where a session sends its buffers.
///
/// Owner: shared by its maker and the session that it was added to. Threads: host-serialised. A delegate is not owned:
/// setSampleBufferDelegate(nullptr, nullptr), removeOutput and stopRunning promise that once they have returned no
/// delegate call is running and none comes, unless they were called from that delegate call itself.
class CaptureOutput {
public:
   virtual ~CaptureOutput() = default;
   virtual void setSampleBufferDelegate(SampleBufferDelegate *delegate, std::shared_ptr<SerialQueue> queue) = 0;
   /// Null until the output is in a session that has an input of that kind.
   [[nodiscard]] virtual std::shared_ptr<CaptureConnection> connectionWithMediaType(MediaType mediaType) = 0;
};

/// What the pictures are to be like. The platform may deliver another size all the same; the format is a promise.
struct VideoSettings {
   uint32_t pixelFormatType = 0;        ///< kCVPixelBufferPixelFormatTypeKey: '420f'
   std::optional<VideoDimensions> size; ///< kCVPixelBufferWidthKey and HeightKey
};

class VideoDataOutput : public CaptureOutput {
public:
   /// Drop a frame that comes while a delegate call still runs, instead of queueing it.
   virtual void setAlwaysDiscardsLateVideoFrames(bool discards) = 0;
   virtual void setVideoSettings(const VideoSettings &settings) = 0;
};

/// What the samples are: the platform resamples and mixes to this.
struct AudioSettings {
   uint32_t formatID = 0;  ///< AVFormatIDKey: 'lpcm'
   int32_t sampleRate = 0; ///< hertz
   int32_t channels = 0;
   int32_t bitDepth = 0;
   bool isFloat = false;
   bool isBigEndian = false;
   friend bool operator==(const AudioSettings &, const AudioSettings &) = default;
};

class AudioDataOutput : public CaptureOutput {
public:
   virtual void setAudioSettings(const AudioSettings &settings) = 0;
};

/// Connects inputs to outputs and runs.
///
/// Owner: one capture object. Threads: host-serialised; stopRunning and removeOutput also from a delegate call. Changes
/// between beginConfiguration and commitConfiguration take effect together, at the commit; pairs do not nest. No call
/// waits longer than 2 seconds on something outside the process, and none throws. Life cycle: made -> configured ->
/// startRunning -> stopRunning -> destroyed; destroying a running session stops it.
class CaptureSession {
public:
   virtual ~CaptureSession() = default;
   virtual void beginConfiguration() = 0;
   virtual void commitConfiguration() = 0;
   /// Whether addInput would work: not when it is in a session already, or made by another backend.
   [[nodiscard]] virtual bool canAddInput(const std::shared_ptr<CaptureDeviceInput> &input) = 0;
   virtual void addInput(const std::shared_ptr<CaptureDeviceInput> &input) = 0;    ///< only after canAddInput said yes
   virtual void removeInput(const std::shared_ptr<CaptureDeviceInput> &input) = 0; ///< one that is not there: nothing
   [[nodiscard]] virtual bool canAddOutput(const std::shared_ptr<CaptureOutput> &output) = 0;
   virtual void addOutput(const std::shared_ptr<CaptureOutput> &output) = 0;
   virtual void removeOutput(const std::shared_ptr<CaptureOutput> &output) = 0;
   [[nodiscard]] virtual bool isRunning() const = 0;
   /// Deliveries begin. A failure leaves the session as it was. A device that goes away later is no failure: buffers
   /// stop, isRunning stays true, and health() says why.
   virtual Status startRunning() = 0;
   virtual void stopRunning() = 0; ///< the device is let go within a second
   /// Ok while buffers can be expected, or why none come any more: the device is gone, the server died. Any thread.
   [[nodiscard]] virtual Status health() const = 0;
};

} // namespace osal
