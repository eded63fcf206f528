#include "libs/avManager/AVCaptureMac.h"

#include "lib/mfw/common/logger.h"

#include <cmath>

namespace {

constexpr const char *kStartAudio = "-[AVCaptureMac startCapturingAudio:]";

// 1/rate seconds: a whole number of frames in a second as 1 of so many, any other in thousandths of a frame. None for a
// rate that no camera has.
osal::MediaTime FrameDuration(double rate) {
   constexpr double kMostRate = 1e6;
   if (!(rate >= 0 && rate <= kMostRate)) {
      return {0, 0};
   }
   const auto whole = static_cast<int32_t>(rate);
   if (static_cast<double>(whole) == rate) {
      return {whole != 0 ? 1 : 0, whole};
   }
   return {1000, static_cast<int32_t>(std::lround(rate * 1000))};
}

char Character(uint32_t code, int index) {
   return static_cast<char>(code >> (24 - 8 * index));
}

void LogFormats(const osal::CaptureDevice &device) {
   constexpr const char *kFunction = "-[AVCaptureMac selectCameraForDeviceID:]";
   if (!logger::Wants(logger::TRACE)) {
      return;
   }
   for (const osal::CaptureDeviceFormat &format : device.formats()) {
      const uint32_t code = format.mediaSubType;
      MAVR_LOG_TRACE("%s - Supported format and resolution: %c%c%c%c, %dx%d", kFunction, Character(code, 0),
                     Character(code, 1), Character(code, 2), Character(code, 3), format.dimensions.width,
                     format.dimensions.height);
      const osal::MediaTime longest = FrameDuration(format.minFrameRate);
      const osal::MediaTime shortest = FrameDuration(format.maxFrameRate);
      MAVR_LOG_TRACE("%s - Supported frame rate range: %g - %g ({%lld, %d} - {%lld, %d})", kFunction,
                     format.minFrameRate, format.maxFrameRate, static_cast<long long>(longest.value), longest.timescale,
                     static_cast<long long>(shortest.value), shortest.timescale);
   }
}

} // namespace

void AVCaptureMac::setVideoFrameDuration() {
   constexpr const char *kFunction = "-[AVCaptureMac setVideoFrameDuration]";
   if (mVideoConnection == nullptr || !mVideoConnection->isVideoMaxFrameDurationSupported()) {
      MAVR_LOG_DEBUG("%s - unable to limit frame rate", kFunction);
      return;
   }
   mVideoConnection->setVideoMaxFrameDuration({1, static_cast<int32_t>(mTryFPS)});
   MAVR_LOG_DEBUG("%s - Min frame rate set to %ufps", kFunction,
                  static_cast<unsigned>(mVideoConnection->videoMaxFrameDuration().timescale));
}

osal::VideoSettings AVCaptureMac::setupVideoOutputParameter() {
   osal::VideoSettings settings;
   settings.pixelFormatType = kPixelFormat;
   if (mTryWidth != 0 && mTryHeight != 0) {
      settings.size = osal::VideoDimensions{static_cast<int32_t>(mTryWidth), static_cast<int32_t>(mTryHeight)};
   }
   return settings;
}

bool AVCaptureMac::selectCameraForDeviceID(const char *deviceId) {
   constexpr const char *kFunction = "-[AVCaptureMac selectCameraForDeviceID:]";
   if (deviceId != nullptr) {
      if (!mPlatform.deviceWithUniqueID(deviceId, osal::MediaType::Video, &mVideoDevice).ok()) {
         MAVR_LOG_ERROR("%s - Video device (ID:%s) not found", kFunction, deviceId);
         return false;
      }
   } else {
      MAVR_LOG_DEBUG("%s - Video device not specified, selecting default video source", kFunction);
      if (!mPlatform.defaultDeviceWithMediaType(osal::MediaType::Video, &mVideoDevice).ok()) {
         MAVR_LOG_ERROR("%s - Default video device not found", kFunction);
         return false;
      }
   }
   MAVR_LOG_DEBUG("%s - Video device '%s' (ID:%s) selected", kFunction, mVideoDevice->localizedName().c_str(),
                  mVideoDevice->uniqueID().c_str());
   LogFormats(*mVideoDevice);
   return true;
}

// Runs while video still counts as in use.
void AVCaptureMac::checkAndStopCaptureSession() {
   if (videoInUse() && !audioInUse()) {
      MAVR_LOG_DEBUG("%s - Disabling capture session", "-[AVCaptureMac checkAndStopCaptureSession]");
      mCaptureSession->stopRunning();
   }
}

// ---- Audio ----------------------------------------------------------------------------------------------------------

bool AVCaptureMac::startCapturingAudio(const char *deviceId) {
   if (audioInUse()) {
      MAVR_LOG_ERROR("%s - Audio device in use", kStartAudio);
      return false;
   }
   MAVR_LOG_TRACE("%s - deviceID='%s'", kStartAudio, deviceId);
   if (mCaptureSession == nullptr) {
      MAVR_LOG_ERROR("%s - no AVCaptureSession", kStartAudio);
      return false;
   }
   const std::shared_ptr<const osal::CaptureDevice> device = SelectMicrophone(deviceId);
   if (device == nullptr) {
      return false;
   }
   if (!mPlatform.deviceInputWithDevice(device, osal::MediaType::Audio, &mAudioInput).ok()) {
      MAVR_LOG_ERROR("%s - Failed to create AVCaptureDeviceInput", kStartAudio);
      return false;
   }
   MakeAudioOutput();
   ConnectSession(mAudioInput, mAudioOutput);
   mAudioConnection = mAudioOutput->connectionWithMediaType(osal::MediaType::Audio);
   if (!StartSession(kStartAudio)) {
      DropAudioParts();
      return false;
   }
   mAudioInUse = true;
   MAVR_LOG_DEBUG("Mac %s - Audio captured start", kStartAudio);
   return true;
}

std::shared_ptr<const osal::CaptureDevice> AVCaptureMac::SelectMicrophone(const char *deviceId) {
   std::shared_ptr<const osal::CaptureDevice> device;
   if (deviceId != nullptr) {
      if (!mPlatform.deviceWithUniqueID(deviceId, osal::MediaType::Audio, &device).ok()) {
         MAVR_LOG_ERROR("%s - Audio device (ID:%s) not found", kStartAudio, deviceId);
         return nullptr;
      }
   } else {
      MAVR_LOG_DEBUG("%s - Audio device not specified, selecting default audio source", kStartAudio);
      if (!mPlatform.defaultDeviceWithMediaType(osal::MediaType::Audio, &device).ok()) {
         MAVR_LOG_ERROR("%s - Default audio device not found", kStartAudio);
         return nullptr;
      }
   }
   MAVR_LOG_DEBUG("%s - Audio device '%s' (ID:%s) selected", kStartAudio, device->localizedName().c_str(),
                  device->uniqueID().c_str());
   return device;
}

void AVCaptureMac::MakeAudioOutput() {
   mAudioOutput = mPlatform.makeAudioDataOutput();
   mAudioOutput->setSampleBufferDelegate(this, mPlatform.makeSerialQueue("MAVR Audio Queue"));
   osal::AudioSettings settings;
   settings.formatID = osal::FourCC("lpcm");
   settings.sampleRate = mAudioSampleRate;
   settings.channels = mAudioChannels;
   settings.bitDepth = mAudioBitsPerSample;
   settings.isFloat = false;
   settings.isBigEndian = false;
   mAudioOutput->setAudioSettings(settings);
}

void AVCaptureMac::DropAudioParts() {
   DisconnectSession(mAudioInput, mAudioOutput);
   mAudioInput.reset();
   mAudioOutput.reset();
}

bool AVCaptureMac::stopCapturingAudio() {
   constexpr const char *kFunction = "-[AVCaptureMac stopCapturingAudio]";
   MAVR_LOG_TRACE("%s", kFunction);
   if (!audioInUse()) {
      MAVR_LOG_DEBUG("%s - Audio not in use", kFunction);
      return false;
   }
   DropAudioParts();
   if (!videoInUse()) {
      MAVR_LOG_TRACE("%s - Disabling capture session", kFunction);
      mCaptureSession->stopRunning();
   }
   mAudioInUse = false;
   return true;
}
