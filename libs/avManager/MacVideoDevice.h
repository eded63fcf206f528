#pragma once

#include "lib/mfw/common/linuxSupport.h"

#include <cstddef>
#include <cstdint>
#include <string>

/// One camera set up for one request: the capture object and what was asked of it.
///
/// Owner: VideoInputMac. Threads: as told there; mFrameEvent is set on the delivery thread. Locks: none. Life cycle:
/// constructed with a capture object registered -> StartCapturing -> StopCapturing -> destroyed, which unregisters it.
class MacVideoDevice {
public:
   MacVideoDevice();
   ~MacVideoDevice();
   MacVideoDevice(const MacVideoDevice &) = delete;
   MacVideoDevice &operator=(const MacVideoDevice &) = delete;

   /// Tells the capture object the size and rate, and works out mFrameSize. Each call here logs its result at TRACE.
   [[nodiscard]] bool SelectVdoRes();
   [[nodiscard]] bool StartCapturing();
   bool StopCapturing();
   [[nodiscard]] bool GetNextFrame(unsigned char *dst, size_t size);
   /// Whether a frame waits for GetNextFrame.
   [[nodiscard]] bool IsNextFrameAvailable();

   void *mCapture = nullptr; ///< AVCapture, of AVCaptureRegister
   std::string mDeviceId;    ///< system id of the camera to open
   uint32_t mWidth = 0;      ///< pixels
   uint32_t mHeight = 0;
   uint32_t mFrameRate = 0;
   uint32_t mFrameSize = 0;      ///< bytes: width * height * 3 / 2
   HANDLE mFrameEvent = nullptr; ///< not owned
   uint32_t mTotalFrames = 0;    ///< of the rate check: the count it read last
   uint32_t mPrevTotalFrames = 0;
};

/// A frame was kept: sets the event of the MacVideoDevice `obj`, which must not be null (asserted). Delivery thread.
void AVCapture_VIM_SendNotifs(void *obj);
