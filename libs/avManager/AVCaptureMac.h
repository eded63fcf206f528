#pragma once

#include "libs/avManager/AVCapture.h"

#include "osal/Capture.h"

#include <memory>

/// The capture object with the choices of the home platform: which device an id means, what the outputs are asked for,
/// how the rate is asked for, how sound is captured, and when the session stops. Owner, threads, life cycle: as
/// AVCapture. Locks: none.
class AVCaptureMac final : public AVCapture {
public:
   using AVCapture::AVCapture;

   [[nodiscard]] bool startCapturingAudio(const char *deviceId) override;
   bool stopCapturingAudio() override;

protected:
   /// Asks for at least mTryFPS frames a second, where the platform can be asked; the ceiling is the client's business.
   void setVideoFrameDuration() override;
   /// The pixel format, and the selected size once there is one.
   [[nodiscard]] osal::VideoSettings setupVideoOutputParameter() override;
   /// The camera with this id, the default one for null, into mVideoDevice; logs what it can do. False when there is
   /// none (ERROR). No format of the device is chosen: the size reaches the platform through the output alone.
   [[nodiscard]] bool selectCameraForDeviceID(const char *deviceId) override;
   void checkAndStopCaptureSession() override;
   /// Nothing: the size travels with setupVideoOutputParameter.
   void setupVideoOutputResolution() override {}

private:
   /// The microphone with this id, the default one for null; null when there is none (ERROR).
   [[nodiscard]] std::shared_ptr<const osal::CaptureDevice> SelectMicrophone(const char *deviceId);
   void MakeAudioOutput();
   void DropAudioParts();
};
