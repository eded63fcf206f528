#pragma once

#include "osal/CaptureSession.h"

#include <memory>
#include <string>
#include <string_view>

namespace osal {

/// Makes everything that capturing from a device takes. One for each backend; Platform::capture() is the one in force.
///
/// Owner: Platform, or the test that installs it. Threads: any thread; calls do not overlap each other
/// (host-serialised). Made objects may outlive each other and this one, and belong to the backend that made them: those
/// of another are refused. No call waits longer than 2 seconds on something outside the process, and none throws. Each
/// failure is a status with its reason; the out-argument is null then.
class Capture {
public:
   virtual ~Capture() = default;

   /// The device with this uniqueID now, camera or microphone: asked afresh each time, as a listing does. Of several
   /// the first. A camera is no microphone, an output-only device is none either.
   virtual Status deviceWithUniqueID(std::string_view uniqueID, MediaType mediaType,
                                     std::shared_ptr<const CaptureDevice> *device) = 0;
   /// The user's default device of a kind, or the platform's choice. Fails when there is none of that kind.
   virtual Status defaultDeviceWithMediaType(MediaType mediaType, std::shared_ptr<const CaptureDevice> *device) = 0;
   /// Access to a device, one of a listing or of the two calls above. Fails when the platform refuses it; a device that
   /// is busy, or gone since, may fail here, or at startRunning, or deliver nothing and say so in health().
   virtual Status deviceInputWithDevice(const std::shared_ptr<const CaptureDevice> &device, MediaType mediaType,
                                        std::shared_ptr<CaptureDeviceInput> *input) = 0;

   /// Null when out of memory.
   [[nodiscard]] virtual std::unique_ptr<CaptureSession> makeSession() = 0;
   [[nodiscard]] virtual std::shared_ptr<VideoDataOutput> makeVideoDataOutput() = 0;
   [[nodiscard]] virtual std::shared_ptr<AudioDataOutput> makeAudioDataOutput() = 0;
   [[nodiscard]] virtual std::shared_ptr<SerialQueue> makeSerialQueue(std::string label) = 0;
   /// A queue for at most `capacity` buffers, 1 or more. 0 in the status, or the platform's error number.
   virtual Status makeBufferQueue(size_t capacity, std::unique_ptr<BufferQueue> *queue) = 0;
};

} // namespace osal
