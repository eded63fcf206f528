#pragma once

#include "osal/CaptureDevice.h"
#include "osal/simulated/Simulation.h"

#include <utility>

namespace osal {

/// One camera of a simulation, with what its capture needs to know.
///
/// Owner, threads, life cycle: as CaptureDevice. Locks: none; nothing changes.
class SimulatedCaptureDevice final : public CaptureDevice {
public:
   SimulatedCaptureDevice(SimulatedCamera camera, SimulatedClock clock)
       : mCamera(std::move(camera))
       , mClock(clock) {}

   std::string localizedName() const override { return mCamera.name; }
   std::string uniqueID() const override { return mCamera.uniqueId; }
   std::vector<CaptureDeviceFormat> formats() const override { return mCamera.formats; }

   [[nodiscard]] const SimulatedCamera &Facts() const { return mCamera; }
   [[nodiscard]] SimulatedClock Clock() const { return mClock; }

private:
   const SimulatedCamera mCamera;
   const SimulatedClock mClock;
};

/// One microphone of a simulation, for capture; listings show it through SimulatedAudioHardware. The same.
class SimulatedMicrophoneDevice final : public CaptureDevice {
public:
   SimulatedMicrophoneDevice(SimulatedMicrophone microphone, SimulatedClock clock)
       : mMicrophone(std::move(microphone))
       , mClock(clock) {}

   std::string localizedName() const override { return mMicrophone.name; }
   std::string uniqueID() const override { return mMicrophone.uniqueId; }
   std::vector<CaptureDeviceFormat> formats() const override { return {}; }

   [[nodiscard]] const SimulatedMicrophone &Facts() const { return mMicrophone; }
   [[nodiscard]] SimulatedClock Clock() const { return mClock; }

private:
   const SimulatedMicrophone mMicrophone;
   const SimulatedClock mClock;
};

} // namespace osal
