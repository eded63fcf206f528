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
   explicit SimulatedCaptureDevice(SimulatedCamera camera)
       : mCamera(std::move(camera)) {}

   std::string localizedName() const override { return mCamera.name; }
   std::string uniqueID() const override { return mCamera.uniqueId; }
   std::vector<CaptureDeviceFormat> formats() const override { return mCamera.formats; }

   [[nodiscard]] const SimulatedCamera &Facts() const { return mCamera; }

private:
   const SimulatedCamera mCamera;
};

} // namespace osal
