#include "osal/pipewire/PipewireAudioHardware.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace osal {
namespace {

constexpr AudioObjectID kFirstDevice = kAudioObjectSystemObject + 1;
constexpr AudioObjectID kFirstStream = 1u << 24; // devices and streams share one space of ids

bool IsAt(const AudioObjectPropertyAddress &address, uint32_t selector, uint32_t scope) {
   return address.selector == selector && address.scope == scope && address.element == 0;
}

class PipewireAudioHardware final : public AudioHardware {
public:
   explicit PipewireAudioHardware(std::vector<PipewireMicrophone> microphones)
       : mMicrophones(std::move(microphones)) {
      for (size_t i = 0; i < mMicrophones.size(); ++i) {
         mDeviceIds.push_back(kFirstDevice + static_cast<AudioObjectID>(i));
      }
   }

   int32_t getPropertyDataSize(AudioObjectID object, const AudioObjectPropertyAddress &address,
                               uint32_t *outDataSize) override {
      std::vector<AudioObjectID> ids;
      const int32_t status = ReadIds(object, address, &ids);
      if (status == 0) {
         *outDataSize = static_cast<uint32_t>(ids.size() * sizeof(AudioObjectID));
      }
      return status;
   }

   int32_t getPropertyData(AudioObjectID object, const AudioObjectPropertyAddress &address, uint32_t *ioDataSize,
                           void *outData) override {
      std::vector<AudioObjectID> ids;
      const int32_t status = ReadIds(object, address, &ids);
      if (status == 0) {
         *ioDataSize = std::min(*ioDataSize, static_cast<uint32_t>(ids.size() * sizeof(AudioObjectID)));
         if (*ioDataSize > 0) {
            std::memcpy(outData, ids.data(), *ioDataSize);
         }
      }
      return status;
   }

   int32_t copyPropertyString(AudioObjectID object, const AudioObjectPropertyAddress &address, std::string *outText,
                              bool *hasString) override {
      *hasString = false;
      const PipewireMicrophone *const microphone = Find(object);
      if (microphone == nullptr) {
         return object == kAudioObjectSystemObject ? kAudioHardwareUnknownPropertyError : kAudioHardwareBadObjectError;
      }
      const bool isName = IsAt(address, kAudioObjectPropertyName, kAudioObjectPropertyScopeInput);
      if (!isName && !IsAt(address, kAudioDevicePropertyDeviceUID, kAudioObjectPropertyScopeInput)) {
         return kAudioHardwareUnknownPropertyError;
      }
      *outText = isName ? microphone->name : microphone->uniqueId;
      *hasString = true;
      return 0;
   }

private:
   const PipewireMicrophone *Find(AudioObjectID object) const {
      const auto index = size_t{object} - kFirstDevice;
      return object >= kFirstDevice && index < mMicrophones.size() ? &mMicrophones[index] : nullptr;
   }

   /// The property's value, for properties that are lists of ids.
   int32_t ReadIds(AudioObjectID object, const AudioObjectPropertyAddress &address,
                   std::vector<AudioObjectID> *ids) const {
      if (object == kAudioObjectSystemObject) {
         if (!IsAt(address, kAudioHardwarePropertyDevices, kAudioObjectPropertyScopeGlobal)) {
            return kAudioHardwareUnknownPropertyError;
         }
         *ids = mDeviceIds;
         return 0;
      }
      if (Find(object) == nullptr) {
         return kAudioHardwareBadObjectError;
      }
      if (!IsAt(address, kAudioDevicePropertyStreams, kAudioObjectPropertyScopeInput)) {
         return kAudioHardwareUnknownPropertyError;
      }
      *ids = {kFirstStream + (object - kFirstDevice)};
      return 0;
   }

   const std::vector<PipewireMicrophone> mMicrophones;
   std::vector<AudioObjectID> mDeviceIds;
};

} // namespace

std::unique_ptr<AudioHardware> MakePipewireAudioHardware(std::vector<PipewireMicrophone> microphones) {
   return std::make_unique<PipewireAudioHardware>(std::move(microphones));
}

} // namespace osal
