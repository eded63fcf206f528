#include "osal/simulated/SimulatedAudioHardware.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace osal {
namespace {

constexpr AudioObjectID kFirstDevice = kAudioObjectSystemObject + 1;
constexpr uint32_t kFirstStream = 1u << 24; // streams and devices share one space of ids

class SimulatedAudioHardware final : public AudioHardware {
public:
   explicit SimulatedAudioHardware(std::shared_ptr<const Simulation> simulation)
       : mSimulation(std::move(simulation)) {}

   int32_t getPropertyDataSize(AudioObjectID object, const AudioObjectPropertyAddress &address,
                               uint32_t *outDataSize) override {
      IdRange ids;
      const int32_t status = FindIds(object, address, mSimulation->audioHardwareFail.size, &ids);
      if (status == 0) {
         *outDataSize = ids.SizeInBytes();
      }
      return status;
   }

   int32_t getPropertyData(AudioObjectID object, const AudioObjectPropertyAddress &address, uint32_t *ioDataSize,
                           void *outData) override {
      IdRange ids;
      const int32_t status = FindIds(object, address, mSimulation->audioHardwareFail.ids, &ids);
      if (status == 0) {
         *ioDataSize = std::min(*ioDataSize, ids.SizeInBytes());
         for (uint32_t at = 0; at < *ioDataSize; at += static_cast<uint32_t>(sizeof(uint32_t))) {
            const uint32_t id = ids.first + at / static_cast<uint32_t>(sizeof(uint32_t));
            std::memcpy(static_cast<char *>(outData) + at, &id, std::min<size_t>(sizeof(id), *ioDataSize - at));
         }
      }
      return status;
   }

   int32_t copyPropertyString(AudioObjectID object, const AudioObjectPropertyAddress &address, std::string *outText,
                              bool *hasString) override {
      *hasString = false;
      const SimulatedMicrophone *const device = Find(object);
      if (device == nullptr) {
         return object == kAudioObjectSystemObject ? kAudioHardwareUnknownPropertyError : kAudioHardwareBadObjectError;
      }
      const bool isName = address.selector == kAudioObjectPropertyName;
      if ((!isName && address.selector != kAudioDevicePropertyDeviceUID) ||
          address.scope != kAudioObjectPropertyScopeInput || address.element != 0) {
         return kAudioHardwareUnknownPropertyError;
      }
      const int32_t status = isName ? device->fail.name : device->fail.uid;
      if (status == 0) {
         *outText = isName ? device->name : device->uniqueId;
         *hasString = true;
      }
      return status;
   }

private:
   /// Ids without a gap.
   struct IdRange {
      uint32_t first = 0;
      uint32_t count = 0;
      uint32_t SizeInBytes() const { return count * static_cast<uint32_t>(sizeof(uint32_t)); }
   };

   const SimulatedMicrophone *Find(AudioObjectID object) const {
      const size_t index = size_t{object} - kFirstDevice;
      return object >= kFirstDevice && index < mSimulation->microphones.size() ? &mSimulation->microphones[index]
                                                                               : nullptr;
   }

   int32_t FindIds(AudioObjectID object, const AudioObjectPropertyAddress &address, int32_t systemStatus,
                   IdRange *ids) const {
      if (object == kAudioObjectSystemObject) {
         if (address.selector != kAudioHardwarePropertyDevices || address.scope != kAudioObjectPropertyScopeGlobal ||
             address.element != 0) {
            return kAudioHardwareUnknownPropertyError;
         }
         *ids = {kFirstDevice, static_cast<uint32_t>(mSimulation->microphones.size())};
         return systemStatus;
      }
      const SimulatedMicrophone *const device = Find(object);
      if (device == nullptr) {
         return kAudioHardwareBadObjectError;
      }
      if (address.selector != kAudioDevicePropertyStreams || address.scope != kAudioObjectPropertyScopeInput ||
          address.element != 0) {
         return kAudioHardwareUnknownPropertyError;
      }
      *ids = {kFirstStream + (object - kFirstDevice) * 64, device->inputStreams};
      return device->fail.streams;
   }

   const std::shared_ptr<const Simulation> mSimulation;
};

} // namespace

std::unique_ptr<AudioHardware> MakeSimulatedAudioHardware(std::shared_ptr<const Simulation> simulation) {
   return std::make_unique<SimulatedAudioHardware>(std::move(simulation));
}

} // namespace osal
