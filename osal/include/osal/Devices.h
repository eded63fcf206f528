#pragma once

#include "osal/AudioHardware.h"
#include "osal/CaptureDevice.h"
#include "osal/Status.h"

#include <memory>
#include <span>
#include <string>
#include <vector>

namespace osal {

/// One thing that was looked at to find out why devices do not show, for people.
struct Finding {
   enum class Verdict { Ok, Warning, Failure };
   Verdict verdict = Verdict::Ok;
   std::string check;  ///< what was looked at, in two or three words: "sound and video server"
   std::string result; ///< what was found, one sentence
   std::string advice; ///< what to do about it, one sentence; empty when all is well
};

/// The cameras and microphones of one backend.
///
/// Every call asks the platform afresh, so that a device plugged in a moment ago is there. Owner: Platform, or the test
/// that installs it. Threads: any thread; calls do not overlap each other (host-serialised). No call waits longer than
/// 2 seconds on something outside the process. Locks: none. Life cycle: the process; leaves no thread, descriptor or
/// connection behind between calls.
class Devices {
public:
   virtual ~Devices() = default;

   /// The backend's name for people and `--json`: "simulated", "pipewire", "avfoundation", "none".
   [[nodiscard]] virtual std::string name() const = 0;

   /// The cameras of the given types for `mediaType` at `position`, in the platform's order. `*devices` is replaced; on
   /// failure it is empty. A machine without cameras is a success. `deviceTypes` is a filter only where the platform
   /// knows types; elsewhere every camera matches.
   virtual Status discoverySession(std::span<const DeviceType> deviceTypes, MediaType mediaType,
                                   DevicePosition position, CaptureDeviceList *devices) = 0;

   /// Access to the audio devices. On failure `*hardware` is null: the platform as a whole does not answer. Failures of
   /// single properties come later, as their status.
   virtual Status audioHardware(std::unique_ptr<AudioHardware> *hardware) = 0;

   /// Looks at everything that listing and opening devices stands on, and names the cause of what is wrong. At least
   /// one finding.
   [[nodiscard]] virtual std::vector<Finding> diagnose() = 0;
};

} // namespace osal
