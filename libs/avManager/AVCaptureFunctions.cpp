#include "libs/avManager/AVCaptureFunctions.h"

#include "libs/avManager/AVCaptureMac.h"
#include "libs/avManager/AudioCaptureMac.h"
#include "libs/avManager/MacVideoDevice.h"

#include "lib/mfw/common/logger.h"

#include "osal/Platform.h"

#include <cassert>

namespace {

AVCapture *Object(void *obj) {
   return static_cast<AVCapture *>(obj);
}

void CheckType(const char *function, int type) {
   if (type != CaptureTypeAudio && type != CaptureTypeVideo) {
      MAVR_LOG_ERROR("%s - Bad capture type", function);
      assert(0);
   }
}

} // namespace

void *AVCaptureRegister(void *client, int type) {
   CheckType("AVCaptureRegister", type);
   AVCapture *const capture = new AVCaptureMac(osal::Platform::capture());
   if (type == CaptureTypeAudio) {
      capture->setClientACM(client);
   } else {
      capture->setClientVIM(client);
   }
   return capture;
}

void AVCaptureUnRegister(void *obj, int type) {
   CheckType("AVCaptureUnRegister", type);
   if (obj == nullptr) {
      MAVR_LOG_ERROR("%s - Unexpected here", "AVCaptureUnRegister");
      return;
   }
   Object(obj)->release();
}

bool AVCaptureStartCapturingVideo(void *obj, const char *deviceId) {
   return Object(obj)->startCapturingVideo(deviceId);
}

bool AVCaptureStopCapturingVideo(void *obj) {
   return Object(obj)->stopCapturingVideo();
}

bool AVCaptureVideoInUse(void *obj) {
   return Object(obj)->videoInUse();
}

uint32_t AVCaptureGetTotalFrameNum(void *obj) {
   return Object(obj)->getTotalFrameNum();
}

void AVCaptureUpdateDropParameters(void *obj, uint32_t group, uint32_t keep) {
   Object(obj)->updateDropParameters(group, keep);
}

bool AVCaptureIsNewFrameAvailable(void *obj) {
   return Object(obj)->isNewFrameAvailable();
}

bool AVCaptureSelectVdoRes(void *obj, uint32_t x, uint32_t y, uint32_t rate) {
   return Object(obj)->selectVdoRes(x, y, rate);
}

bool AVCaptureGetNextFrame(void *obj, unsigned char *dst, size_t size) {
   MAVR_LOG_TRACE("%s - %p %d", "bool AVCaptureGetNextFrame(void *, unsigned char *, size_t)", static_cast<void *>(dst),
                  static_cast<int>(size));
   return Object(obj)->getNextFrame(dst, size);
}

bool AVCaptureStartCapturingAudio(void *obj, const char *deviceId) {
   return Object(obj)->startCapturingAudio(deviceId);
}

bool AVCaptureStopCapturingAudio(void *obj) {
   return Object(obj)->stopCapturingAudio();
}

void AVCaptureAudioSetPCMFormat(void *obj, int rate, int bitsPerSample, int channels) {
   MAVR_LOG_DEBUG("%s - ", "void AVCaptureAudioSetPCMFormat(void *, int, int, int)");
   Object(obj)->audioSetPCMFormat(rate, bitsPerSample, channels);
}

int AVCaptureAudioGetReqdBufSize(void *obj, int ms) {
   MAVR_LOG_DEBUG("%s - ", "int AVCaptureAudioGetReqdBufSize(void *, int)");
   return Object(obj)->audioGetReqdBufSize(ms);
}

CaptureFacts AVCaptureGetFacts(void *obj) {
   const AVCapture &capture = *Object(obj);
   return {capture.getTotalFrameNum(), capture.actualWidth(), capture.actualHeight(), capture.health()};
}

void AVCaptureSendVNotifs(void *obj) {
   assert(Object(obj)->clientVIM() && "[(AVCapture *)obj clientVIM]");
   AVCapture_VIM_SendNotifs(Object(obj)->clientVIM());
}

void AVCaptureSendANotifs(void *obj) {
   assert(Object(obj)->clientACM() && "[(AVCapture *)obj clientACM]");
   AVCapture_ACM_SendNotifs(Object(obj)->clientACM());
}

bool AVCaptureCopyRecordedData(void *obj, const char **data, size_t dbytes, const char *cache, size_t cbytes) {
   assert(Object(obj)->clientACM() && "[(AVCapture *)obj clientACM]");
   return AVCapture_ACM_CopyRecordedData(Object(obj)->clientACM(), data, dbytes, cache, cbytes);
}

void AVCaptureTimestampCache(void *obj) {
   assert(Object(obj)->clientACM() && "[(AVCapture *)obj clientACM]");
   AVCapture_ACM_TimestampCache(Object(obj)->clientACM());
}
