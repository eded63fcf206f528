#pragma once

#include "osal/Devices.h"
#include "osal/Platform.h"

#include <memory>

namespace torture {

/// Devices of another backend, whose nth call fails: Fault::Device. In force for its lifetime.
///
/// Counted are the listing, the access to the sound devices, and each question about one of them. Owner: the test.
class FaultyDevices final : public osal::Devices {
public:
   explicit FaultyDevices(osal::Devices &devices)
       : mDevices(devices)
       , mInForce(*this) {}

   std::string name() const override { return mDevices.name(); }
   osal::Status discoverySession(std::span<const osal::DeviceType> deviceTypes, osal::MediaType mediaType,
                                 osal::DevicePosition position, osal::CaptureDeviceList *devices) override;
   osal::Status audioHardware(std::unique_ptr<osal::AudioHardware> *hardware) override;
   std::vector<osal::Finding> diagnose() override { return mDevices.diagnose(); }

private:
   osal::Devices &mDevices;
   osal::ScopedDevices mInForce;
};

/// Settings in the file of the environment, whose nth call fails: Fault::Settings. In force for its lifetime.
///
/// A read that fails finds nothing, a write stores nothing; a trouble that was asked for is told once. Owner: the test.
class FaultySettings {
public:
   FaultySettings();

private:
   osal::ScopedPreferences mInForce;
};

} // namespace torture
