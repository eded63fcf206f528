#pragma once

#include "osal/Capture.h"
#include "osal/common/CaptureStream.h"

#include <memory>

namespace osal {

/// The factory of every backend: sessions, outputs and queues are the same everywhere; devices are the backend's.
///
/// Owner, threads, life cycle: as Capture. Locks: none.
class BasicCapture : public Capture {
public:
   explicit BasicCapture(std::shared_ptr<StreamOpener> opener);

   Status deviceWithUniqueID(std::string_view uniqueID, MediaType mediaType,
                             std::shared_ptr<const CaptureDevice> *device) final;
   Status defaultDeviceWithMediaType(MediaType mediaType, std::shared_ptr<const CaptureDevice> *device) final;
   Status deviceInputWithDevice(const std::shared_ptr<const CaptureDevice> &device, MediaType mediaType,
                                std::shared_ptr<CaptureDeviceInput> *input) final;
   std::unique_ptr<CaptureSession> makeSession() final;
   std::shared_ptr<VideoDataOutput> makeVideoDataOutput() final;
   std::shared_ptr<AudioDataOutput> makeAudioDataOutput() final;
   std::shared_ptr<SerialQueue> makeSerialQueue(std::string label) final;
   Status makeBufferQueue(size_t capacity, std::unique_ptr<BufferQueue> *queue) final;

protected:
   /// What the calls of Capture say; `*device` is null before. May throw std::bad_alloc, which becomes a status.
   virtual Status FindDevice(std::string_view uniqueID, MediaType mediaType,
                             std::shared_ptr<const CaptureDevice> *device) = 0;
   virtual Status FindDefault(MediaType mediaType, std::shared_ptr<const CaptureDevice> *device) = 0;
   /// Whether `device` is one of this backend and of this kind, and may be opened.
   virtual Status CheckAccess(const CaptureDevice &device, MediaType mediaType) = 0;

private:
   const std::shared_ptr<StreamOpener> mOpener;
};

} // namespace osal
