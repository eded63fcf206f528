#include "libs/avManager/VideoInputMac.h"

#include "libs/avManager/AVCaptureFunctions.h"
#include "libs/avManager/CameraChoice.h"
#include "libs/avManager/FramePacing.h"

#include "lib/mfw/common/logger.h"

#include "libs/avManager/devices/VideoInputDevices.h"

#include <cassert>

namespace {

constexpr uint32_t kFPSCheckIntervalMS = 1000;
constexpr const char *kStart = "virtual bool VideoInputMac::StartCapturing(VideoBase::UserPrefs &)";
constexpr const char *kStop = "virtual void VideoInputMac::StopCapturing(int32_t)";

const char *OrNone(const std::string &text) {
   return text.empty() ? "None Selected" : text.c_str();
}

} // namespace

VideoInputMac::VideoInputMac() {
   MAVR_LOG_TRACE("%s", "VideoInputMac::VideoInputMac()");
   mFPSCheckThread.SetName("FPSCheck");
}

VideoInputMac::~VideoInputMac() {
   MAVR_LOG_TRACE("%s", "virtual VideoInputMac::~VideoInputMac()");
   if (mWCamDev != nullptr) {
      MAVR_LOG_TRACE("%s - abrupt shutdown", "virtual VideoInputMac::~VideoInputMac()");
      EndRateCheck(); // it would read the device that goes
      mWCamDev.reset();
   }
}

// ---- Start ----------------------------------------------------------------------------------------------------------

bool VideoInputMac::StartCapturing(VideoBase::UserPrefs &prefs) {
   if (prefs.mPixelFormat != VideoBase::I420) {
      MAVR_LOG_ERROR("%s - Capture only supported in: I420. Format: %s is not supported", kStart,
                     VideoBase::PixelFormatName(prefs.mPixelFormat));
      return false;
   }
   MAVR_LOG_DEBUG("%s - Starting Webcam capture.  DeviceId=%s DeviceName=%s.  Resolution(WxH)=%ux%u.  FrameRate=%u.  "
                  "PixelFormat=%s",
                  kStart, OrNone(prefs.mUserId), OrNone(prefs.mDeviceName), prefs.mWidth, prefs.mHeight,
                  prefs.mFrameRate, VideoBase::PixelFormatName(prefs.mPixelFormat));
   mUserId = prefs.mUserId;
   mDeviceName = prefs.mDeviceName;
   mFrameRate = prefs.mFrameRate;
   mWidth = prefs.mWidth;
   mHeight = prefs.mHeight;
   mPixelFormat = prefs.mPixelFormat;
   mFrameEvent = prefs.mFrameEvent;
   mDeviceIndex = -1;
   if (!SetupDevice()) {
      return false;
   }
   prefs.mDeviceIndex = mDeviceIndex;
   mActiveDeviceId = mDeviceIndex;
   mCapturing = mDeviceIndex >= 0 && IsCaptureSize(mWidth, mHeight);
   if (!mCapturing) {
      MAVR_LOG_DEBUG("%s: INVALID capturing request (outer check).", kStart);
      return false;
   }
   if (AVCaptureVideoInUse(mWCamDev->mCapture)) {
      MAVR_LOG_ERROR("%s: Video device already being captured from.", kStart);
      mCapturing = false;
   } else {
      StartDevice();
   }
   mCapturing = ReportStart(mCapturing, mWCamDev != nullptr);
   return mCapturing;
}

bool VideoInputMac::ReportStart(bool capturing, bool hasDevice) {
   if (capturing && !hasDevice) {
      MAVR_LOG_ERROR("%s: Video device failed to open.", kStart);
   }
   if (!capturing || !hasDevice) {
      MAVR_LOG_DEBUG("%s: INVALID capturing request (inner check).", kStart);
      return false;
   }
   MAVR_LOG_DEBUG("%s: valid capturing request.", kStart);
   return true;
}

std::unique_ptr<MacVideoDevice> VideoInputMac::MakeDevice() {
   return std::make_unique<MacVideoDevice>();
}

void VideoInputMac::StartDevice() {
   try {
      MAVR_LOG_DEBUG("%s: starting capture on device instance.", kStart);
      if (!mWCamDev->StartCapturing()) {
         MAVR_LOG_ERROR("%s: device's StartCapturing method returned failure.", kStart);
         mCapturing = false;
         return;
      }
      mFPSCheckIntervalMS = kFPSCheckIntervalMS;
      const auto callback = [](void *self, CRVThread *) {
         return static_cast<VideoInputMac *>(self)->FPSCheckThreadCB();
      };
      (void)mFPSCheckThread.StartThread(callback, this, static_cast<int>(mFPSCheckIntervalMS), 0);
      MAVR_LOG_DEBUG("%s: capture started on device instance.", kStart);
   } catch (...) {
      MAVR_LOG_ERROR("%s: Exception caught.", kStart);
      mCapturing = false;
   }
}

bool VideoInputMac::SetupDevice() {
   if (mCapturing) {
      MAVR_LOG_ERROR("%s - Device:%s - is already being used", "SetupDevice", mUserId.c_str());
      return false;
   }
   assert(!mWCamDev);
   mWCamDev = MakeDevice();
   if (!ChooseDevice()) {
      mWCamDev.reset();
      MAVR_LOG_ERROR("%s - Failed to SetAttemptCaptureSize", "SetupDevice");
      return false;
   }
   mWCamDev->mFrameEvent = mFrameEvent;
   return true;
}

bool VideoInputMac::SetAttemptCaptureSize() {
   assert(mWCamDev);
   return ChooseDevice();
}

bool VideoInputMac::ChooseDevice() {
   MMDev::DeviceList cameras;
   VideoInputDevices::List(cameras);
   const CameraChoice choice = ChooseCamera(cameras, mUserId, mDeviceName);
   mDeviceIndex = choice.index;
   mWCamDev->mDeviceId = choice.systemId;
   if (mDeviceIndex == -1) {
      return false;
   }
   mWCamDev->mWidth = mWidth;
   mWCamDev->mHeight = mHeight;
   mWCamDev->mFrameRate = mFrameRate;
   return true;
}

// ---- The rate check -------------------------------------------------------------------------------------------------

bool VideoInputMac::FPSCheckThreadCB() {
   if (mWCamDev == nullptr) {
      return false;
   }
   MacVideoDevice &device = *mWCamDev;
   device.mTotalFrames = AVCaptureGetTotalFrameNum(device.mCapture);
   const uint32_t fps = device.mTotalFrames - device.mPrevTotalFrames;
   device.mPrevTotalFrames = device.mTotalFrames;
   MAVR_LOG_DEBUG("%s - calculated fps: %d, target_fps: %d.", "FPSCheckThreadCB", static_cast<int>(fps),
                  static_cast<int>(mFrameRate.load()));
   AdjustFrameDroppingPolicy(KeepRatio(fps, mFrameRate));
   return true;
}

void VideoInputMac::EndRateCheck() {
   mFPSCheckThread.StopThread(INFINITE);
   (void)mFPSCheckThread.WaitForStop(INFINITE);
}

void VideoInputMac::AdjustFrameDroppingPolicy(float ratio) {
   const DropParameters drop = DropParametersFor(ratio);
   AVCaptureUpdateDropParameters(mWCamDev->mCapture, drop.group, drop.keep);
   MAVR_LOG_DEBUG("%s - ratio = %f, Group = %d, Keep = %d.", "AdjustFrameDroppingPolicy", static_cast<double>(ratio),
                  static_cast<int>(drop.group), static_cast<int>(drop.keep));
}

// ---- Reading --------------------------------------------------------------------------------------------------------

bool VideoInputMac::IsLive(int32_t id) const {
   return id == mActiveDeviceId && mCapturing && mWCamDev != nullptr;
}

uint32_t VideoInputMac::GetFrameSize(int32_t id) {
   const uint32_t size = IsLive(id) ? mWCamDev->mFrameSize : 0;
   MAVR_LOG_TRACE("%s - ret:%d", "virtual uint32_t VideoInputMac::GetFrameSize(int32_t)", static_cast<int>(size));
   return size;
}

bool VideoInputMac::IsNewFrameAvailable(int32_t id) {
   MAVR_LOG_TRACE("VideoInputMac::IsNewFrameAvailable(deviceID=%d)", id);
   return IsLive(id) && mWCamDev->IsNextFrameAvailable();
}

bool VideoInputMac::GetPixels(int32_t id, UCHAR *dst, uint32_t dstLen, int *pLen) {
   const int before = pLen != nullptr ? *pLen : 0;
   uint32_t size = 0;
   bool got = false;
   if (IsLive(id)) {
      size = mWCamDev->mFrameSize;
      got = dstLen >= size && mWCamDev->GetNextFrame(dst, size);
   }
   if (pLen != nullptr) {
      *pLen = static_cast<int>(size);
   }
   MAVR_LOG_TRACE("%s - id=%d, dstBuffer=0x%p, dstBufLen=%d, (pre: %d post: %d)",
                  "virtual bool VideoInputMac::GetPixels(int32_t, UCHAR *, uint32_t, int *)", id,
                  static_cast<void *>(dst), static_cast<int>(dstLen), before, static_cast<int>(size));
   return got;
}

CaptureFacts VideoInputMac::Facts() const {
   return mWCamDev != nullptr ? AVCaptureGetFacts(mWCamDev->mCapture) : CaptureFacts{};
}

// ---- Stop -----------------------------------------------------------------------------------------------------------

void VideoInputMac::StopCapturing(int32_t id) {
   MAVR_LOG_TRACE("%s - deviceID=%d", kStop, id);
   if (id == mActiveDeviceId && mCapturing) {
      MAVR_LOG_DEBUG("%s: Safely stopping video stream.", kStop);
   } else {
      MAVR_LOG_DEBUG("%s: Invalid stop request, abruptly stopping video stream.", kStop);
   }
   mCapturing = false;
   if (mWCamDev == nullptr) {
      return;
   }
   EndRateCheck();
   MAVR_LOG_TRACE("%s: deleting AVCapture instance.", kStop);
   mWCamDev->StopCapturing();
   mWCamDev.reset();
}
