#pragma once

#include "osal/CaptureSession.h"
#include "osal/Status.h"
#include "osal/common/DelegateGate.h"

#include <memory>
#include <string_view>

namespace osal {

/// A device in use that delivers to one output.
///
/// Owner: the session. Threads: Stop and Health from any thread, the delivery thread too; made and destroyed on the
/// host's. Life cycle: made running; destroying it stops it, lets the device go and returns when its thread has ended.
class CaptureStream {
public:
   virtual ~CaptureStream() = default;
   /// Ends deliveries and lets the device go, soon: does not wait.
   virtual void Stop() = 0;
   /// Ok, or why no buffers come any more.
   [[nodiscard]] virtual Status Health() const = 0;
};

/// What a stream is to be.
struct StreamRequest {
   std::shared_ptr<const CaptureDevice> device;
   MediaType mediaType = MediaType::Video;
   VideoSettings video; ///< of a video output
   AudioSettings audio; ///< of an audio output
   MediaTime maxFrameDuration;
   std::shared_ptr<DelegateGate> gate; ///< where buffers go
};

/// What a backend adds to BasicSession: how a device is opened.
///
/// Owner: the backend and its sessions. Threads: host-serialised within one session, any thread between sessions.
class StreamOpener {
public:
   virtual ~StreamOpener() = default;
   /// Inputs and outputs of another backend are refused by this name.
   [[nodiscard]] virtual std::string_view Backend() const = 0;
   /// Waits at most 2 seconds, does not throw. On failure `*stream` is null, and nothing is left running.
   virtual Status Open(const StreamRequest &request, std::unique_ptr<CaptureStream> *stream) = 0;
};

} // namespace osal
