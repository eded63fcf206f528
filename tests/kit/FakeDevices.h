#pragma once

#include "osal/Devices.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace kit {

/// A camera as a test writes it down.
struct FakeCamera {
   std::string name;
   std::string uniqueId;
   std::vector<osal::CaptureDeviceFormat> formats;
};

/// The same with formats that differ in nothing but their size: Camera("Desk", "a", {{640, 480}, {1280, 720}}).
[[nodiscard]] FakeCamera Camera(std::string name, std::string uniqueId, std::vector<osal::VideoDimensions> sizes = {});

/// An audio device as a test writes it down. A status other than 0 is what the call returns instead of a value; with
/// `hasName` or `hasUid` false the call succeeds and gives no string.
struct FakeMicrophone {
   std::string name;
   std::string uniqueId;
   uint32_t inputStreams = 1; ///< 0: an output-only device
   int32_t streamsStatus = 0;
   int32_t nameStatus = 0;
   int32_t uidStatus = 0;
   bool hasName = true;
   bool hasUid = true;
};

/// One call that reached AudioHardware.
struct AudioCall {
   enum class Operation { Size, Data, String };
   Operation operation;
   osal::AudioObjectID object;
   osal::AudioObjectPropertyAddress address;
};

/// Devices that a test scripts: it fills the public fields, before or between calls, and reads the records afterwards.
///
/// Every listing shows the fields as they are at that moment, in their order. Audio device n (from 0) has the object id
/// kFirstAudioDevice + n. Owner: the test; it outlives what it handed out. Threads: one at a time. Locks: none.
/// Put it in force with osal::ScopedDevices.
class FakeDevices final : public osal::Devices {
public:
   static constexpr osal::AudioObjectID kFirstAudioDevice = 1000;

   // What is there.
   std::vector<FakeCamera> cameras;
   std::vector<FakeMicrophone> microphones;

   // What fails.
   osal::Status discoveryStatus;         ///< of discoverySession
   osal::Status audioStatus;             ///< of audioHardware
   int32_t sizeStatus = 0;               ///< of the size of 'dev#'
   int32_t idsStatus = 0;                ///< of the data of 'dev#'
   std::optional<uint32_t> reportedSize; ///< size of 'dev#' in bytes, in place of the true one
   /// Called first in every audio call: a device may come, go or fail between two calls.
   std::function<void(const AudioCall &)> onAudioCall;

   // What was asked.
   int discoveries = 0;
   std::vector<osal::DeviceType> askedTypes; ///< of the last discoverySession
   osal::MediaType askedMediaType = osal::MediaType::Audio;
   osal::DevicePosition askedPosition = osal::DevicePosition::Back;
   int audioHardwareOpened = 0;
   int audioHardwareClosed = 0;
   std::vector<AudioCall> audioCalls;

   std::string name() const override { return "fake"; }
   osal::Status discoverySession(std::span<const osal::DeviceType> deviceTypes, osal::MediaType mediaType,
                                 osal::DevicePosition position, osal::CaptureDeviceList *devices) override;
   osal::Status audioHardware(std::unique_ptr<osal::AudioHardware> *hardware) override;
   std::vector<osal::Finding> diagnose() override;
};

} // namespace kit
