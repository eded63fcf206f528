#pragma once

#include "osal/CaptureSession.h"

#include <memory>
#include <string>
#include <string_view>

namespace osal {

/// Makes everything that capturing from a device takes. One for each backend; Platform::capture() is the one in force.
///
/// Owner: Platform, or the test that installs it. Threads: any thread; calls do not overlap each other
/// (host-serialised). Made objects may outlive each other, and belong to the backend that made them. No call waits
/// longer than 2 seconds on something outside the process. Each failure is a status with its reason; the out-argument
/// is null then.
class Capture {
public:
   virtual ~Capture() = default;

   /// The device with this uniqueID now, camera or microphone.
   virtual Status deviceWithUniqueID(std::string_view uniqueID, MediaType mediaType,
                                     std::shared_ptr<const CaptureDevice> *device) = 0;
   /// The user's default device of a kind, or the platform's choice.
   virtual Status defaultDeviceWithMediaType(MediaType mediaType, std::shared_ptr<const CaptureDevice> *device) = 0;
   /// Access to a device. Fails when the platform refuses it; a device that is busy may fail here or deliver nothing.
   virtual Status deviceInputWithDevice(const std::shared_ptr<const CaptureDevice> &device, MediaType mediaType,
                                        std::shared_ptr<CaptureDeviceInput> *input) = 0;

   /// Null when out of memory.
   [[nodiscard]] virtual std::unique_ptr<CaptureSession> makeSession() = 0;
   [[nodiscard]] virtual std::shared_ptr<VideoDataOutput> makeVideoDataOutput() = 0;
   [[nodiscard]] virtual std::shared_ptr<AudioDataOutput> makeAudioDataOutput() = 0;
   [[nodiscard]] virtual std::shared_ptr<SerialQueue> makeSerialQueue(std::string label) = 0;
   /// A queue for at most `capacity` buffers. 0 in the status, or the platform's error number.
   virtual Status makeBufferQueue(size_t capacity, std::unique_ptr<BufferQueue> *queue) = 0;
};

} // namespace osal
