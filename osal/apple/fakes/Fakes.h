#pragma once

#include "osal/apple/fakes/LiveObjects.h"

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

/// The test's side of the stand-in frameworks, in plain C++: what is plugged in, what fails, what was counted.
///
/// Everything is process-wide. Threads: any thread, unless a function says otherwise.
namespace fakes {

struct FormatFacts {
   uint32_t mediaSubType = 0x34323076; ///< '420v'
   int32_t width = 640;
   int32_t height = 480;
   std::vector<std::pair<double, double>> rates = {{15, 30}}; ///< least and most, frames a second
};

struct CameraFacts {
   std::string name;
   std::string uniqueId;
   std::vector<FormatFacts> formats = {{}};
   bool isExternal = false;
   double framesPerSecond = 200; ///< what it delivers, whatever its formats say
};

struct MicrophoneFacts {
   std::string name;
   std::string uniqueId;
   bool isInput = true; ///< else it has no input stream, and is no capture device
   double toneHz = 997;
   double level = 0.4; ///< amplitude, 1 is full scale
   double speed = 5;   ///< seconds of sound in a second
};

/// Plugs and unplugs until exactly these are there, in this order. One that is there already, by its id, stays.
void ShowDevices(const std::vector<CameraFacts> &cameras, const std::vector<MicrophoneFacts> &microphones);

/// What the user has allowed. Of devices that may not be used no input can be made.
enum class Access { NotDetermined = 0, Restricted = 1, Denied = 2, Authorized = 3 };
void SetAccess(bool isVideo, Access access);

/// Calls of CoreAudio for this selector fail with `status`; 0: they work again. `Call::Data`: only those for the value.
enum class Call { Any, Data };
void FailAudio(uint32_t selector, int32_t status, Call call = Call::Any);
/// Reads of this selector succeed and give no string.
void OmitAudioString(uint32_t selector, bool omits);

/// Every class operation of AVCaptureDevice and its discovery raises while this is set.
void RaiseAtDevices(bool raises);

/// How AVCaptureSession's start goes: `Fails` is a notification and a session that does not run, `Stalls` does not
/// return until this is called again.
enum class Start { Works, Raises, Fails, Stalls };
void SetStart(Start start);
/// No session takes an input or output.
void RefuseMembers(bool refuses);
/// Every session that runs ends with a runtime error.
void EndCameraService();
/// The next so many locks of pixel buffers fail.
void FailPixelLocks(int count);
/// Sound comes in two pieces.
void SplitSound(bool splits);
/// Buffers without pixels or samples come between the others.
void SendEmptyBuffers(bool sends);

/// Returns when no queue has work and none is served. Not on a thread that serves one.
void AwaitIdleQueues();

/// Mach's ticks from now on, and its time base; a denominator of 0: it can't be read.
void SetMachTime(uint64_t ticks, uint32_t numer, uint32_t denom);
void SetHasLibraryFolder(bool has);

/// Whether CFPreferencesAppSynchronize reports success.
void SetPreferencesWritable(bool isWritable);
/// Forgets every preference domain.
void ForgetPreferences();
/// Stores a real number, which the code under test can't.
void StorePreferenceReal(const std::string &applicationId, const std::string &key, double value);

} // namespace fakes
