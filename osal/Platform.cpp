#include "osal/Platform.h"

#include "osal/Places.h"
#include "osal/simulated/SimulatedCapture.h"
#include "osal/simulated/SimulatedDevices.h"
#include "osal/unavailable/UnavailableCapture.h"
#include "osal/unavailable/UnavailableDevices.h"
#include "osal/unavailable/UnavailablePreferences.h"
#if defined(__APPLE__)
#include "osal/apple/AppleCapture.h"
#include "osal/apple/AppleDevices.h"
#include "osal/apple/ApplePreferences.h"
#else
#include "osal/posix/PosixPreferences.h"
#endif
#if defined(MAVR_HAVE_PIPEWIRE)
#include "osal/pipewire/PipewireCapture.h"
#include "osal/pipewire/PipewireDevices.h"
#endif

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <string>

namespace osal {
namespace {

std::atomic<Devices *> gDevices{nullptr};
std::atomic<Capture *> gCapture{nullptr};
std::atomic<ScopedPreferences::Opener> gOpener{nullptr};

std::unique_ptr<Devices> MakeNativeDevices() {
#if defined(MAVR_HAVE_PIPEWIRE)
   return MakePipewireDevices();
#elif defined(__APPLE__)
   return MakeAppleDevices();
#else
   return MakeUnavailableDevices(Status::Error(ENOSYS, "this build has no access to the machine's own devices"),
                                 "Build it with the backend of this platform, or set MAVR_OSAL=simulated.");
#endif
}

std::unique_ptr<Capture> MakeNativeCapture() {
#if defined(MAVR_HAVE_PIPEWIRE)
   return MakePipewireCapture();
#elif defined(__APPLE__)
   return MakeAppleCapture();
#else
   return MakeUnavailableCapture(
      Status::Error(ENOSYS, "this build can't capture from the machine's own devices; MAVR_OSAL=simulated can"));
#endif
}

/// What MAVR_OSAL and MAVR_SIMULATION say.
struct Choice {
   enum class Backend { Native, Simulated, Unknown };
   Backend backend = Backend::Native;
   std::string file; ///< of the simulation; empty: the built-in set
   Status trouble;   ///< of an unknown backend
};

Choice ChoiceOfEnvironment() {
   const char *const value = std::getenv("MAVR_OSAL");
   const std::string name = value != nullptr ? value : "";
   if (name.empty() || name == "native") {
      return {};
   }
   if (name == "simulated") {
      const char *const file = std::getenv("MAVR_SIMULATION");
      return {Choice::Backend::Simulated, file != nullptr ? file : "", {}};
   }
   return {Choice::Backend::Unknown,
           {},
           Status::Error(EINVAL, "MAVR_OSAL is \"" + name + "\"; known values are \"native\" and \"simulated\"")};
}

std::unique_ptr<Devices> MakeDevicesOfEnvironment() {
   const Choice choice = ChoiceOfEnvironment();
   switch (choice.backend) {
   case Choice::Backend::Native:
      return MakeNativeDevices();
   case Choice::Backend::Simulated:
      return MakeSimulatedDevices(choice.file);
   case Choice::Backend::Unknown:
      break;
   }
   return MakeUnavailableDevices(choice.trouble, "Unset MAVR_OSAL, or set it to one of the known values.");
}

std::unique_ptr<Capture> MakeCaptureOfEnvironment() {
   const Choice choice = ChoiceOfEnvironment();
   switch (choice.backend) {
   case Choice::Backend::Native:
      return MakeNativeCapture();
   case Choice::Backend::Simulated:
      return MakeSimulatedCapture(choice.file);
   case Choice::Backend::Unknown:
      break;
   }
   return MakeUnavailableCapture(choice.trouble);
}

} // namespace

Devices &Platform::devices() {
   if (Devices *const installed = gDevices.load(std::memory_order_acquire)) {
      return *installed;
   }
   // Never destroyed: a host thread may still list devices while the process ends.
   static Devices *const chosen = MakeDevicesOfEnvironment().release();
   return *chosen;
}

Capture &Platform::capture() {
   if (Capture *const installed = gCapture.load(std::memory_order_acquire)) {
      return *installed;
   }
   // Never destroyed, as the devices.
   static Capture *const chosen = MakeCaptureOfEnvironment().release();
   return *chosen;
}

std::unique_ptr<Preferences> Platform::openPreferences(std::string_view applicationId) {
   if (const ScopedPreferences::Opener open = gOpener.load(std::memory_order_acquire)) {
      return open(applicationId);
   }
#if defined(__APPLE__)
   return MakeApplePreferences(applicationId);
#else
   const std::string file = places::preferencesFile(applicationId);
   const int error = errno;
   if (file.empty()) {
      return MakeUnavailablePreferences(Status::Error(
         error != 0 ? error : ENOENT, "no folder for settings: neither XDG_CONFIG_HOME nor HOME is an absolute path, "
                                      "and the user database names no home folder"));
   }
   return MakePosixPreferences(file);
#endif
}

ScopedDevices::ScopedDevices(Devices &devices)
    : mFormer(gDevices.exchange(&devices)) {}
ScopedDevices::~ScopedDevices() {
   gDevices.store(mFormer);
}

ScopedCapture::ScopedCapture(Capture &capture)
    : mFormer(gCapture.exchange(&capture)) {}
ScopedCapture::~ScopedCapture() {
   gCapture.store(mFormer);
}

ScopedPreferences::ScopedPreferences(Opener open)
    : mFormer(gOpener.exchange(open)) {}
ScopedPreferences::~ScopedPreferences() {
   gOpener.store(mFormer);
}

} // namespace osal
