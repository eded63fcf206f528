#include "tests/kit/FakeDevices.h"

#include <algorithm>
#include <cstring>
#include <utility>

namespace kit {
namespace {

class FakeCaptureDevice final : public osal::CaptureDevice {
public:
   explicit FakeCaptureDevice(FakeCamera camera)
       : mCamera(std::move(camera)) {}
   std::string localizedName() const override { return mCamera.name; }
   std::string uniqueID() const override { return mCamera.uniqueId; }
   std::vector<osal::CaptureDeviceFormat> formats() const override { return mCamera.formats; }

private:
   const FakeCamera mCamera;
};

class FakeAudioHardware final : public osal::AudioHardware {
public:
   explicit FakeAudioHardware(FakeDevices &owner)
       : mOwner(owner)
       , mMicrophones(owner.microphones) {
      ++mOwner.audioHardwareOpened;
   }
   ~FakeAudioHardware() override { ++mOwner.audioHardwareClosed; }

   int32_t getPropertyDataSize(osal::AudioObjectID object, const osal::AudioObjectPropertyAddress &address,
                               uint32_t *outDataSize) override {
      Record(AudioCall::Operation::Size, object, address);
      std::vector<uint32_t> ids;
      int32_t status = ReadIds(object, address, &ids);
      if (status == 0 && object == osal::kAudioObjectSystemObject) {
         status = mOwner.sizeStatus;
      }
      if (status == 0) {
         const auto size = static_cast<uint32_t>(ids.size() * sizeof(uint32_t));
         *outDataSize = object == osal::kAudioObjectSystemObject ? mOwner.reportedSize.value_or(size) : size;
      }
      return status;
   }

   int32_t getPropertyData(osal::AudioObjectID object, const osal::AudioObjectPropertyAddress &address,
                           uint32_t *ioDataSize, void *outData) override {
      Record(AudioCall::Operation::Data, object, address);
      std::vector<uint32_t> ids;
      int32_t status = ReadIds(object, address, &ids);
      if (status == 0 && object == osal::kAudioObjectSystemObject) {
         status = mOwner.idsStatus;
      }
      if (status == 0) {
         *ioDataSize = std::min(*ioDataSize, static_cast<uint32_t>(ids.size() * sizeof(uint32_t)));
         if (*ioDataSize > 0) {
            std::memcpy(outData, ids.data(), *ioDataSize);
         }
      }
      return status;
   }

   int32_t copyPropertyString(osal::AudioObjectID object, const osal::AudioObjectPropertyAddress &address,
                              std::string *outText, bool *hasString) override {
      Record(AudioCall::Operation::String, object, address);
      *hasString = false;
      const FakeMicrophone *const microphone = Find(object);
      if (microphone == nullptr) {
         return osal::kAudioHardwareBadObjectError;
      }
      const bool isName = address.selector == osal::kAudioObjectPropertyName;
      if ((!isName && address.selector != osal::kAudioDevicePropertyDeviceUID) ||
          address.scope != osal::kAudioObjectPropertyScopeInput || address.element != 0) {
         return osal::kAudioHardwareUnknownPropertyError;
      }
      const int32_t status = isName ? microphone->nameStatus : microphone->uidStatus;
      if (status == 0 && (isName ? microphone->hasName : microphone->hasUid)) {
         *outText = isName ? microphone->name : microphone->uniqueId;
         *hasString = true;
      }
      return status;
   }

private:
   void Record(AudioCall::Operation operation, osal::AudioObjectID object,
               const osal::AudioObjectPropertyAddress &address) {
      mOwner.audioCalls.push_back({operation, object, address});
      if (mOwner.onAudioCall) {
         mOwner.onAudioCall(mOwner.audioCalls.back());
      }
   }

   const FakeMicrophone *Find(osal::AudioObjectID object) const {
      const size_t index = object - FakeDevices::kFirstAudioDevice;
      return object >= FakeDevices::kFirstAudioDevice && index < mMicrophones.size() ? &mMicrophones[index] : nullptr;
   }

   int32_t ReadIds(osal::AudioObjectID object, const osal::AudioObjectPropertyAddress &address,
                   std::vector<uint32_t> *ids) const {
      const FakeMicrophone *const microphone = Find(object);
      if (microphone == nullptr && object != osal::kAudioObjectSystemObject) {
         return osal::kAudioHardwareBadObjectError;
      }
      const uint32_t selector =
         microphone == nullptr ? osal::kAudioHardwarePropertyDevices : osal::kAudioDevicePropertyStreams;
      const uint32_t scope =
         microphone == nullptr ? osal::kAudioObjectPropertyScopeGlobal : osal::kAudioObjectPropertyScopeInput;
      if (address.selector != selector || address.scope != scope || address.element != 0) {
         return osal::kAudioHardwareUnknownPropertyError;
      }
      if (microphone != nullptr && microphone->streamsStatus != 0) {
         return microphone->streamsStatus;
      }
      const size_t count = microphone == nullptr ? mMicrophones.size() : microphone->inputStreams;
      for (size_t i = 0; i < count; ++i) {
         ids->push_back(static_cast<uint32_t>(FakeDevices::kFirstAudioDevice + i));
      }
      return 0;
   }

   FakeDevices &mOwner;
   const std::vector<FakeMicrophone> mMicrophones;
};

} // namespace

FakeCamera Camera(std::string name, std::string uniqueId, std::vector<osal::VideoDimensions> sizes) {
   FakeCamera camera{std::move(name), std::move(uniqueId), {}};
   for (const osal::VideoDimensions &size : sizes) {
      camera.formats.push_back({osal::FourCC("420f"), size, 1, 30});
   }
   return camera;
}

osal::Status FakeDevices::discoverySession(std::span<const osal::DeviceType> deviceTypes, osal::MediaType mediaType,
                                           osal::DevicePosition position, osal::CaptureDeviceList *devices) {
   ++discoveries;
   askedTypes.assign(deviceTypes.begin(), deviceTypes.end());
   askedMediaType = mediaType;
   askedPosition = position;
   devices->clear();
   if (!discoveryStatus.ok()) {
      return discoveryStatus;
   }
   if (mediaType != osal::MediaType::Video) {
      return osal::Status::Ok();
   }
   for (const FakeCamera &camera : cameras) {
      devices->push_back(std::make_shared<FakeCaptureDevice>(camera));
   }
   return osal::Status::Ok();
}

osal::Status FakeDevices::audioHardware(std::unique_ptr<osal::AudioHardware> *hardware) {
   hardware->reset();
   if (!audioStatus.ok()) {
      return audioStatus;
   }
   *hardware = std::make_unique<FakeAudioHardware>(*this);
   return osal::Status::Ok();
}

std::vector<osal::Finding> FakeDevices::diagnose() {
   return {{osal::Finding::Verdict::Ok, "fake devices", "They are what the test says.", ""}};
}

} // namespace kit
