#pragma once

#include "libs/avManager/CaptureFacts.h"
#include "libs/avManager/VideoBase.h"

#include <cstdint>
#include <memory>

using UCHAR = unsigned char;

/// A camera as the recorder sees it: started with a request, it sets an event for each frame and gives frames as I420.
///
/// Owner: the recorder. Threads: StartCapturing and StopCapturing on the control thread; the others on the service
/// thread, which has ended before StopCapturing. Locks: none. Life cycle: empty -> StartCapturing -> StopCapturing,
/// after a failed start too -> empty.
class VideoInputBase {
public:
   VideoInputBase() = default;
   VideoInputBase(const VideoInputBase &) = delete;
   VideoInputBase &operator=(const VideoInputBase &) = delete;
   virtual ~VideoInputBase() = default;

   /// Opens the camera that the request means and starts it; the request's mDeviceIndex becomes the id that every later
   /// call must give. False, logged, when the request or the camera is refused.
   [[nodiscard]] virtual bool StartCapturing(VideoBase::UserPrefs &prefs) = 0;
   /// Ends everything, with whatever id.
   virtual void StopCapturing(int32_t id) = 0;
   /// Bytes of one I420 picture; 0 when `id` does not capture.
   [[nodiscard]] virtual uint32_t GetFrameSize(int32_t id) = 0;
   [[nodiscard]] virtual bool IsNewFrameAvailable(int32_t id) = 0;
   /// The oldest frame to `dst`; a `dstLen` below GetFrameSize is refused. `*pLen`, if given, becomes the frame size,
   /// also when no frame was got, and 0 when `id` does not capture.
   [[nodiscard]] virtual bool GetPixels(int32_t id, UCHAR *dst, uint32_t dstLen, int *pLen) = 0;

   /// Of the capture that runs; all zero without one. Control thread.
   [[nodiscard]] virtual CaptureFacts Facts() const = 0;

   /// The platform's camera.
   [[nodiscard]] static std::unique_ptr<VideoInputBase> Create();
};
