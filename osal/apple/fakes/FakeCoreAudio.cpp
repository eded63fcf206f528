#include "osal/apple/fakes/World.h"

#include <CoreAudio/CoreAudio.h>

#include <algorithm>
#include <cstring>
#include <map>
#include <mutex>
#include <set>
#include <utility>

// CoreAudio's properties of the devices that are plugged in: of the system object their ids, of a device its input
// streams, name and unique id. Cameras have no audio object.
namespace {

std::mutex gMutex;
std::map<UInt32, std::pair<OSStatus, fakes::Call>> gFailures; // guarded by gMutex, as the next
std::set<UInt32> gWithoutString;

constexpr UInt32 kFirstStream = 10'000;
constexpr UInt32 kReferenceSize = sizeof(CFTypeRef); // of any type

enum class For { Size, Data };

OSStatus FailureOf(UInt32 selector, For purpose) {
   const std::lock_guard<std::mutex> hold(gMutex);
   const auto found = gFailures.find(selector);
   const bool fails = found != gFailures.end() && (found->second.second == fakes::Call::Any || purpose == For::Data);
   return fails ? found->second.first : noErr;
}

std::shared_ptr<fakes::Device> Find(AudioObjectID object) {
   for (const std::shared_ptr<fakes::Device> &device : fakes::PluggedDevices()) {
      if (!device->isCamera && device->audioObject == object) {
         return device;
      }
   }
   return nullptr;
}

std::vector<AudioObjectID> DeviceIds() {
   std::vector<AudioObjectID> ids;
   for (const std::shared_ptr<fakes::Device> &device : fakes::PluggedDevices()) {
      if (!device->isCamera) {
         ids.push_back(device->audioObject);
      }
   }
   return ids;
}

// A property's value: ids, or a text.
struct Value {
   std::vector<AudioObjectID> ids;
   const std::string *text = nullptr;
   [[nodiscard]] UInt32 Size() const {
      return static_cast<UInt32>(text != nullptr ? kReferenceSize : ids.size() * sizeof(AudioObjectID));
   }
};

OSStatus Read(AudioObjectID object, const AudioObjectPropertyAddress &address,
              const std::shared_ptr<fakes::Device> &device, Value *value) {
   if (object == kAudioObjectSystemObject) {
      if (address.mSelector != kAudioHardwarePropertyDevices || address.mElement != 0) {
         return kAudioHardwareUnknownPropertyError;
      }
      value->ids = DeviceIds();
      return noErr;
   }
   if (device == nullptr) {
      return kAudioHardwareBadObjectError;
   }
   if (address.mElement != 0) {
      return kAudioHardwareUnknownPropertyError;
   }
   switch (address.mSelector) {
   case kAudioDevicePropertyStreams:
      if (address.mScope == kAudioObjectPropertyScopeInput && device->microphone.isInput) {
         value->ids = {kFirstStream + object};
      }
      return noErr;
   case kAudioObjectPropertyName:
      value->text = &device->microphone.name;
      return noErr;
   case kAudioDevicePropertyDeviceUID:
      value->text = &device->microphone.uniqueId;
      return noErr;
   default:
      return kAudioHardwareUnknownPropertyError;
   }
}

// The caller releases the string.
CFStringRef StringFor(UInt32 selector, const std::string &text) {
   const std::lock_guard<std::mutex> hold(gMutex);
   return gWithoutString.contains(selector)
             ? nullptr
             : CFStringCreateWithBytes(kCFAllocatorDefault, reinterpret_cast<const UInt8 *>(text.data()),
                                       static_cast<CFIndex>(text.size()), kCFStringEncodingUTF8, false);
}

} // namespace

extern "C" {

OSStatus AudioObjectGetPropertyDataSize(AudioObjectID object, const AudioObjectPropertyAddress *address, UInt32,
                                        const void *, UInt32 *outSize) {
   if (const OSStatus status = FailureOf(address->mSelector, For::Size); status != noErr) {
      return status;
   }
   Value value;
   const std::shared_ptr<fakes::Device> device = Find(object);
   const OSStatus status = Read(object, *address, device, &value);
   if (status == noErr) {
      *outSize = value.Size();
   }
   return status;
}

OSStatus AudioObjectGetPropertyData(AudioObjectID object, const AudioObjectPropertyAddress *address, UInt32,
                                    const void *, UInt32 *ioSize, void *outData) {
   if (const OSStatus status = FailureOf(address->mSelector, For::Data); status != noErr) {
      return status;
   }
   Value value;
   const std::shared_ptr<fakes::Device> device = Find(object);
   if (const OSStatus status = Read(object, *address, device, &value); status != noErr) {
      return status;
   }
   if (value.text != nullptr) {
      if (*ioSize < kReferenceSize) {
         return kAudioHardwareBadPropertySizeError;
      }
      CFStringRef string = StringFor(address->mSelector, *value.text);
      std::memcpy(outData, &string, kReferenceSize);
      *ioSize = kReferenceSize;
      return noErr;
   }
   *ioSize = std::min(*ioSize, value.Size());
   std::memcpy(outData, value.ids.data(), *ioSize);
   return noErr;
}

} // extern "C"

namespace fakes {

void FailAudio(uint32_t selector, int32_t status, Call call) {
   const std::lock_guard<std::mutex> hold(gMutex);
   if (status != noErr) {
      gFailures[selector] = {status, call};
   } else {
      gFailures.erase(selector);
   }
}

void OmitAudioString(uint32_t selector, bool omits) {
   const std::lock_guard<std::mutex> hold(gMutex);
   if (omits) {
      gWithoutString.insert(selector);
   } else {
      gWithoutString.erase(selector);
   }
}

} // namespace fakes
