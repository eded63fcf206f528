#pragma once

#include "osal/CaptureDevice.h"

#include <cstdint>
#include <string>

namespace osal {

using AudioObjectID = uint32_t;

/// Which property of an audio object: selector and scope are FourCC codes, element 0 is the whole object.
struct AudioObjectPropertyAddress {
   uint32_t selector = 0;
   uint32_t scope = 0;
   uint32_t element = 0;
};

inline constexpr AudioObjectID kAudioObjectSystemObject = 1;
inline constexpr uint32_t kAudioHardwarePropertyDevices = FourCC("dev#");
inline constexpr uint32_t kAudioDevicePropertyStreams = FourCC("stm#");
inline constexpr uint32_t kAudioObjectPropertyName = FourCC("lnam");
inline constexpr uint32_t kAudioDevicePropertyDeviceUID = FourCC("uid ");
inline constexpr uint32_t kAudioObjectPropertyScopeGlobal = FourCC("glob");
inline constexpr uint32_t kAudioObjectPropertyScopeInput = FourCC("inpt");

/// What an audio operation returns: 0, or the platform's error number. The two that every backend uses:
inline constexpr int32_t kAudioHardwareBadObjectError = static_cast<int32_t>(FourCC("!obj"));
inline constexpr int32_t kAudioHardwareUnknownPropertyError = static_cast<int32_t>(FourCC("who?"));

/// The audio devices of the machine, read property by property.
///
/// A backend answers for these properties, each at element 0:
///
/// | Object        | Selector | Scope | Value                                                      |
/// |---------------|----------|-------|------------------------------------------------------------|
/// | system object | `dev#`   | glob  | 32-bit ids of all devices, outputs included                |
/// | device        | `stm#`   | inpt  | 32-bit ids of its input streams; size 0 for an output      |
/// | device        | `lnam`   | inpt  | display name, text                                         |
/// | device        | `uid `   | inpt  | persistent id, text                                        |
///
/// Ids are valid for the life of this object only. Owner: whoever asked the platform for it. Threads: one at a time.
/// Locks: none. Life cycle: a snapshot of the moment when it was made; devices that come later are not in it, devices
/// that went stay in it.
class AudioHardware {
public:
   virtual ~AudioHardware() = default;

   /// Bytes that the property's value has. On failure `*outDataSize` is as it was.
   [[nodiscard]] virtual int32_t getPropertyDataSize(AudioObjectID object, const AudioObjectPropertyAddress &address,
                                                     uint32_t *outDataSize) = 0;

   /// Copies at most `*ioDataSize` bytes of a property that is an array of 32-bit numbers to `outData` and stores how
   /// many were copied. On failure both are as they were. Text properties are read by copyPropertyString.
   [[nodiscard]] virtual int32_t getPropertyData(AudioObjectID object, const AudioObjectPropertyAddress &address,
                                                 uint32_t *ioDataSize, void *outData) = 0;

   /// A property that is text. On failure, and where the platform succeeds without giving a string, `*hasString` is
   /// false and `*outText` as it was; a platform string is released before the call returns.
   [[nodiscard]] virtual int32_t copyPropertyString(AudioObjectID object, const AudioObjectPropertyAddress &address,
                                                    std::string *outText, bool *hasString) = 0;
};

} // namespace osal
