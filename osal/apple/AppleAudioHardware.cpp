#include "osal/apple/AppleAudioHardware.h"

#include "osal/apple/CoreFoundationText.h"

#include <CoreAudio/CoreAudio.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

namespace osal {
namespace {

// The seam's numbers are the platform's.
static_assert(kAudioObjectSystemObject == AudioObjectID{::kAudioObjectSystemObject});
static_assert(kAudioHardwarePropertyDevices == uint32_t{::kAudioHardwarePropertyDevices});
static_assert(kAudioDevicePropertyStreams == uint32_t{::kAudioDevicePropertyStreams});
static_assert(kAudioObjectPropertyName == uint32_t{::kAudioObjectPropertyName});
static_assert(kAudioDevicePropertyDeviceUID == uint32_t{::kAudioDevicePropertyDeviceUID});
static_assert(kAudioObjectPropertyScopeGlobal == uint32_t{::kAudioObjectPropertyScopeGlobal});
static_assert(kAudioObjectPropertyScopeInput == uint32_t{::kAudioObjectPropertyScopeInput});
static_assert(kAudioHardwareBadObjectError == int32_t{::kAudioHardwareBadObjectError});
static_assert(kAudioHardwareUnknownPropertyError == int32_t{::kAudioHardwareUnknownPropertyError});

/// A property whose value is 32-bit ids: what each of the two calls for it gave.
struct IdList {
   int32_t sizeStatus = 0;
   int32_t dataStatus = 0;
   std::vector<AudioObjectID> ids;
};

/// A property whose value is text; none with status 0: the platform succeeded without giving a string.
struct Text {
   int32_t status = 0;
   std::optional<std::string> text;
};

struct Device {
   AudioObjectID id = 0;
   IdList streams;
   Text name;
   Text uid;
};

::AudioObjectPropertyAddress Address(uint32_t selector, uint32_t scope) {
   return {selector, scope, 0};
}

IdList ReadIds(AudioObjectID object, uint32_t selector, uint32_t scope) {
   const ::AudioObjectPropertyAddress address = Address(selector, scope);
   IdList list;
   UInt32 size = 0;
   list.sizeStatus = AudioObjectGetPropertyDataSize(object, &address, 0, nullptr, &size);
   if (list.sizeStatus != 0) {
      list.dataStatus = list.sizeStatus;
      return list;
   }
   list.ids.resize(size / sizeof(AudioObjectID));
   if (list.ids.empty()) {
      return list;
   }
   // A device that came or went meanwhile: as many as fit, and as there are.
   size = static_cast<UInt32>(list.ids.size() * sizeof(AudioObjectID));
   list.dataStatus = AudioObjectGetPropertyData(object, &address, 0, nullptr, &size, list.ids.data());
   if (list.dataStatus == 0) {
      list.ids.resize(std::min<size_t>(list.ids.size(), size / sizeof(AudioObjectID)));
   }
   return list;
}

Text ReadText(AudioObjectID object, uint32_t selector) {
   const ::AudioObjectPropertyAddress address = Address(selector, kAudioObjectPropertyScopeInput);
   CFStringRef string = nullptr;
   UInt32 size = sizeof(CFTypeRef); // what a reference of any type takes
   Text result;
   result.status = AudioObjectGetPropertyData(object, &address, 0, nullptr, &size, &string);
   const CFOwned<CFStringRef> owned(string); // after a failure too: nothing else would release what came with it
   std::string utf8;
   if (result.status == 0 && owned && CopyUtf8(owned.get(), &utf8)) {
      result.text = std::move(utf8);
   }
   return result;
}

Device ReadDevice(AudioObjectID id) {
   return {id, ReadIds(id, kAudioDevicePropertyStreams, kAudioObjectPropertyScopeInput),
           ReadText(id, kAudioObjectPropertyName), ReadText(id, kAudioDevicePropertyDeviceUID)};
}

bool IsAt(const AudioObjectPropertyAddress &address, uint32_t selector, uint32_t scope) {
   return address.selector == selector && address.scope == scope && address.element == 0;
}

class AppleAudioHardware final : public AudioHardware {
public:
   AppleAudioHardware()
       : mDeviceIds(ReadIds(kAudioObjectSystemObject, kAudioHardwarePropertyDevices, kAudioObjectPropertyScopeGlobal)) {
      if (mDeviceIds.dataStatus == 0) {
         for (const AudioObjectID id : mDeviceIds.ids) {
            mDevices.push_back(ReadDevice(id));
         }
      }
   }

   int32_t getPropertyDataSize(AudioObjectID object, const AudioObjectPropertyAddress &address,
                               uint32_t *outDataSize) override {
      const IdList *list = nullptr;
      if (const int32_t status = FindList(object, address, &list); status != 0) {
         return status;
      }
      if (list->sizeStatus == 0) {
         *outDataSize = static_cast<uint32_t>(list->ids.size() * sizeof(AudioObjectID));
      }
      return list->sizeStatus;
   }

   int32_t getPropertyData(AudioObjectID object, const AudioObjectPropertyAddress &address, uint32_t *ioDataSize,
                           void *outData) override {
      const IdList *list = nullptr;
      if (const int32_t status = FindList(object, address, &list); status != 0) {
         return status;
      }
      if (list->dataStatus == 0) {
         *ioDataSize = std::min(*ioDataSize, static_cast<uint32_t>(list->ids.size() * sizeof(AudioObjectID)));
         if (*ioDataSize > 0) {
            std::memcpy(outData, list->ids.data(), *ioDataSize);
         }
      }
      return list->dataStatus;
   }

   int32_t copyPropertyString(AudioObjectID object, const AudioObjectPropertyAddress &address, std::string *outText,
                              bool *hasString) override {
      *hasString = false;
      const Device *const device = Find(object);
      if (device == nullptr) {
         return object == kAudioObjectSystemObject ? kAudioHardwareUnknownPropertyError : kAudioHardwareBadObjectError;
      }
      const bool isName = IsAt(address, kAudioObjectPropertyName, kAudioObjectPropertyScopeInput);
      if (!isName && !IsAt(address, kAudioDevicePropertyDeviceUID, kAudioObjectPropertyScopeInput)) {
         return kAudioHardwareUnknownPropertyError;
      }
      const Text &property = isName ? device->name : device->uid;
      if (property.text) {
         *outText = *property.text;
         *hasString = true;
      }
      return property.status;
   }

private:
   const Device *Find(AudioObjectID object) const {
      const auto found =
         std::find_if(mDevices.begin(), mDevices.end(), [&](const Device &device) { return device.id == object; });
      return found != mDevices.end() ? &*found : nullptr;
   }

   int32_t FindList(AudioObjectID object, const AudioObjectPropertyAddress &address, const IdList **list) const {
      if (object == kAudioObjectSystemObject) {
         *list = &mDeviceIds;
         return IsAt(address, kAudioHardwarePropertyDevices, kAudioObjectPropertyScopeGlobal)
                   ? 0
                   : kAudioHardwareUnknownPropertyError;
      }
      const Device *const device = Find(object);
      if (device == nullptr) {
         return kAudioHardwareBadObjectError;
      }
      *list = &device->streams;
      return IsAt(address, kAudioDevicePropertyStreams, kAudioObjectPropertyScopeInput)
                ? 0
                : kAudioHardwareUnknownPropertyError;
   }

   const IdList mDeviceIds;
   std::vector<Device> mDevices;
};

} // namespace

std::unique_ptr<AudioHardware> MakeAppleAudioHardware() {
   return std::make_unique<AppleAudioHardware>();
}

} // namespace osal
