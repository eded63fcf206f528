#pragma once

#include "osal/Capture.h"
#include "osal/Devices.h"
#include "osal/Preferences.h"

#include <memory>
#include <string_view>

namespace osal {

/// The one place that picks a backend.
///
/// The environment decides, once each, at the first call of devices() and of capture():
///
/// | MAVR_OSAL            | Devices                                                                   |
/// |----------------------|---------------------------------------------------------------------------|
/// | unset, "", "native"  | the machine's own                                                         |
/// | "simulated"          | those of the file MAVR_SIMULATION, or the built-in set without it         |
/// | anything else        | none: every call fails with a reason that names the variable's value      |
///
/// Settings, clock and places are the machine's own with every backend. Threads: any thread. Life cycle: nothing
/// happens at load; what devices() and capture() made lives until the process ends.
class Platform {
public:
   [[nodiscard]] static Devices &devices();
   /// How the devices of devices() are captured from; where that can't be, every call for a device says why.
   [[nodiscard]] static Capture &capture();

   /// Opens the preference domain `applicationId` ("com.corvane.mavr"). Never null: a domain without a place keeps
   /// nothing and says so through takeTrouble.
   [[nodiscard]] static std::unique_ptr<Preferences> openPreferences(std::string_view applicationId);
};

/// Puts a test's own devices in force for its lifetime; nests. Before other threads use the platform.
class ScopedDevices {
public:
   explicit ScopedDevices(Devices &devices);
   ~ScopedDevices();
   ScopedDevices(const ScopedDevices &) = delete;
   ScopedDevices &operator=(const ScopedDevices &) = delete;

private:
   Devices *mFormer;
};

/// The same for capture.
class ScopedCapture {
public:
   explicit ScopedCapture(Capture &capture);
   ~ScopedCapture();
   ScopedCapture(const ScopedCapture &) = delete;
   ScopedCapture &operator=(const ScopedCapture &) = delete;

private:
   Capture *mFormer;
};

/// The same for preferences: openPreferences hands out what `open` makes.
class ScopedPreferences {
public:
   using Opener = std::unique_ptr<Preferences> (*)(std::string_view applicationId);
   explicit ScopedPreferences(Opener open);
   ~ScopedPreferences();
   ScopedPreferences(const ScopedPreferences &) = delete;
   ScopedPreferences &operator=(const ScopedPreferences &) = delete;

private:
   Opener mFormer;
};

} // namespace osal
