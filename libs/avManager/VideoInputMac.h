#pragma once

#include "libs/avManager/MacVideoDevice.h"
#include "libs/avManager/VideoInputBase.h"

#include "libs/utils/ThreadUtils.h"

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

/// The camera of one recorder: picks the device, checks the request, and once a second holds the camera's rate against
/// the wanted one and adjusts what is dropped.
///
/// Owner and threads: as VideoInputBase; the rate check has a thread of its own, "FPSCheck". Locks: none: capture is
/// marked as ended, and the rate check has ended, before the device goes. Life cycle:
///
/// | State     | Device | Capturing | Entered by                            | Left by                    |
/// |-----------|--------|-----------|---------------------------------------|----------------------------|
/// | Empty     | no     | no        | construction, StopCapturing           | StartCapturing             |
/// | Prepared  | yes    | no        | a StartCapturing that was refused     | StopCapturing, destructor  |
/// | Capturing | yes    | yes       | StartCapturing                        | StopCapturing, destructor  |
///
/// StartCapturing in any state but Empty is a programming fault (asserted, or refused while capturing). The destructor
/// does not stop a capture: its owner does.
class VideoInputMac : public VideoInputBase {
public:
   VideoInputMac();
   ~VideoInputMac() override;

   bool StartCapturing(VideoBase::UserPrefs &prefs) override;
   void StopCapturing(int32_t id) override;
   uint32_t GetFrameSize(int32_t id) override;
   bool IsNewFrameAvailable(int32_t id) override;
   bool GetPixels(int32_t id, UCHAR *dst, uint32_t dstLen, int *pLen) override;
   CaptureFacts Facts() const override;

   /// Chooses the camera again for a device that is set up (asserted); whether there is one.
   [[nodiscard]] bool SetAttemptCaptureSize();
   /// One pass of the rate check; false without a device. On the "FPSCheck" thread; public for tests.
   bool FPSCheckThreadCB();
   /// What a start has come to: valid when it captures and there is a device; told in the log. Pure but for that.
   [[nodiscard]] static bool ReportStart(bool capturing, bool hasDevice);

protected:
   /// The record of a request's camera, with its capture object. A test hands in one of its own.
   [[nodiscard]] virtual std::unique_ptr<MacVideoDevice> MakeDevice();

private:
   [[nodiscard]] bool SetupDevice();
   [[nodiscard]] bool ChooseDevice();
   [[nodiscard]] bool IsLive(int32_t id) const;
   void StartDevice();
   void AdjustFrameDroppingPolicy(float ratio);
   void EndRateCheck();

   std::unique_ptr<MacVideoDevice> mWCamDev;
   std::string mUserId;
   std::string mDeviceName;
   int32_t mDeviceIndex = -1;
   std::atomic<uint32_t> mFrameRate{0}; // a start that is refused sets it under the rate check's eyes
   uint32_t mWidth = 0;
   uint32_t mHeight = 0;
   int32_t mPixelFormat = 0;
   HANDLE mFrameEvent = nullptr;
   std::atomic<bool> mCapturing{false};
   int32_t mActiveDeviceId = 0;
   uint32_t mFPSCheckIntervalMS = 0;
   CRVThread mFPSCheckThread;
};
