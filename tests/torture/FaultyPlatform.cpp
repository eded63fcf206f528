#include "tests/torture/FaultyPlatform.h"

#include "tests/kit/Faults.h"

#include "osal/Places.h"
#include "osal/posix/PosixPreferences.h"

#include <cerrno>
#include <utility>

namespace torture {
namespace {

using kit::Fault;
using kit::Strikes;

constexpr int32_t kBadStatus = osal::kAudioHardwareBadObjectError;

class FaultyHardware final : public osal::AudioHardware {
public:
   explicit FaultyHardware(std::unique_ptr<osal::AudioHardware> hardware)
       : mHardware(std::move(hardware)) {}

   int32_t getPropertyDataSize(osal::AudioObjectID object, const osal::AudioObjectPropertyAddress &address,
                               uint32_t *outDataSize) override {
      return Strikes(Fault::Device) ? kBadStatus : mHardware->getPropertyDataSize(object, address, outDataSize);
   }
   int32_t getPropertyData(osal::AudioObjectID object, const osal::AudioObjectPropertyAddress &address,
                           uint32_t *ioDataSize, void *outData) override {
      return Strikes(Fault::Device) ? kBadStatus : mHardware->getPropertyData(object, address, ioDataSize, outData);
   }
   int32_t copyPropertyString(osal::AudioObjectID object, const osal::AudioObjectPropertyAddress &address,
                              std::string *outText, bool *hasString) override {
      if (Strikes(Fault::Device)) {
         *hasString = false;
         return kBadStatus;
      }
      return mHardware->copyPropertyString(object, address, outText, hasString);
   }

private:
   std::unique_ptr<osal::AudioHardware> mHardware;
};

class FaultyPreferences final : public osal::Preferences {
public:
   explicit FaultyPreferences(std::unique_ptr<osal::Preferences> preferences)
       : mPreferences(std::move(preferences)) {}

   std::optional<osal::PreferenceValue> copyAppValue(std::string_view key) override {
      return Strikes(Fault::Settings) ? std::nullopt : mPreferences->copyAppValue(key);
   }
   int64_t getAppIntegerValue(std::string_view key, bool *keyExistsAndHasValidFormat) override {
      if (Strikes(Fault::Settings)) {
         *keyExistsAndHasValidFormat = false;
         return 0;
      }
      return mPreferences->getAppIntegerValue(key, keyExistsAndHasValidFormat);
   }
   bool getAppBooleanValue(std::string_view key, bool *keyExistsAndHasValidFormat) override {
      if (Strikes(Fault::Settings)) {
         *keyExistsAndHasValidFormat = false;
         return false;
      }
      return mPreferences->getAppBooleanValue(key, keyExistsAndHasValidFormat);
   }
   osal::Status setAppValue(std::string_view key, const osal::PreferenceValue &value) override {
      return Strikes(Fault::Settings) ? osal::Status::Error(EIO, "the settings do not take it")
                                      : mPreferences->setAppValue(key, value);
   }
   osal::Status appSynchronize() override { return mPreferences->appSynchronize(); }
   osal::Status takeTrouble() override {
      mTold = !mTold && Strikes(Fault::Settings);
      return mTold ? osal::Status::Error(EIO, "the settings are in trouble") : mPreferences->takeTrouble();
   }
   std::string location() const override { return mPreferences->location(); }

private:
   std::unique_ptr<osal::Preferences> mPreferences;
   bool mTold = false; ///< each trouble is told once
};

std::unique_ptr<osal::Preferences> OpenFaulty(std::string_view applicationId) {
   return std::make_unique<FaultyPreferences>(osal::MakePosixPreferences(osal::places::preferencesFile(applicationId)));
}

} // namespace

osal::Status FaultyDevices::discoverySession(std::span<const osal::DeviceType> deviceTypes, osal::MediaType mediaType,
                                             osal::DevicePosition position, osal::CaptureDeviceList *devices) {
   if (Strikes(Fault::Device)) {
      devices->clear();
      return osal::Status::Error(EIO, "the cameras do not answer");
   }
   return mDevices.discoverySession(deviceTypes, mediaType, position, devices);
}

osal::Status FaultyDevices::audioHardware(std::unique_ptr<osal::AudioHardware> *hardware) {
   if (Strikes(Fault::Device)) {
      hardware->reset();
      return osal::Status::Error(EIO, "the microphones do not answer");
   }
   osal::Status status = mDevices.audioHardware(hardware);
   if (status.ok()) {
      *hardware = std::make_unique<FaultyHardware>(std::move(*hardware));
   }
   return status;
}

FaultySettings::FaultySettings()
    : mInForce(&OpenFaulty) {}

} // namespace torture
