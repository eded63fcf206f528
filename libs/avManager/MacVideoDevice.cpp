#include "libs/avManager/MacVideoDevice.h"

#include "libs/avManager/AVCaptureFunctions.h"

#include "lib/mfw/common/logger.h"

#include <cassert>

namespace {

const char *TrueOrFalse(bool value) {
   return value ? "true" : "false";
}

} // namespace

MacVideoDevice::MacVideoDevice()
    : mCapture(AVCaptureRegister(this, CaptureTypeVideo)) {}

MacVideoDevice::~MacVideoDevice() {
   AVCaptureUnRegister(mCapture, CaptureTypeVideo);
}

bool MacVideoDevice::SelectVdoRes() {
   const bool selected = AVCaptureSelectVdoRes(mCapture, mWidth, mHeight, mFrameRate);
   if (selected) {
      mFrameSize = mWidth * mHeight * 3 / 2;
   }
   MAVR_LOG_TRACE("%s - %s", "bool MacVideoDevice::SelectVdoRes()", TrueOrFalse(selected));
   return selected;
}

bool MacVideoDevice::StartCapturing() {
   if (!SelectVdoRes()) {
      return false;
   }
   const bool started = AVCaptureStartCapturingVideo(mCapture, mDeviceId.c_str());
   MAVR_LOG_TRACE("%s - deviceID='%s' %s", "bool MacVideoDevice::StartCapturing()", mDeviceId.c_str(),
                  TrueOrFalse(started));
   return started;
}

bool MacVideoDevice::StopCapturing() {
   const bool stopped = AVCaptureStopCapturingVideo(mCapture);
   MAVR_LOG_TRACE("%s - deviceID='%s' %s", "bool MacVideoDevice::StopCapturing()", mDeviceId.c_str(),
                  TrueOrFalse(stopped));
   return stopped;
}

bool MacVideoDevice::GetNextFrame(unsigned char *dst, size_t size) {
   const bool got = AVCaptureGetNextFrame(mCapture, dst, size);
   MAVR_LOG_TRACE("%s - %s", "bool MacVideoDevice::GetNextFrame(unsigned char *, size_t)", TrueOrFalse(got));
   return got;
}

bool MacVideoDevice::IsNextFrameAvailable() {
   const bool available = AVCaptureIsNewFrameAvailable(mCapture);
   MAVR_LOG_TRACE("%s - %s", "bool MacVideoDevice::IsNextFrameAvailable(bool)", TrueOrFalse(available));
   return available;
}

void AVCapture_VIM_SendNotifs(void *obj) {
   assert(obj);
   if (const HANDLE event = static_cast<MacVideoDevice *>(obj)->mFrameEvent; event != nullptr) {
      SetEvent(event);
   }
}
