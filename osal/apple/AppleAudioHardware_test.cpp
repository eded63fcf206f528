#include "osal/apple/AppleAudioHardware.h"

#include "osal/apple/fakes/Fakes.h"

#include <gtest/gtest.h>

namespace osal {
namespace {

constexpr AudioObjectPropertyAddress kDevices{kAudioHardwarePropertyDevices, kAudioObjectPropertyScopeGlobal, 0};
constexpr AudioObjectPropertyAddress kStreams{kAudioDevicePropertyStreams, kAudioObjectPropertyScopeInput, 0};
constexpr AudioObjectPropertyAddress kName{kAudioObjectPropertyName, kAudioObjectPropertyScopeInput, 0};
constexpr AudioObjectPropertyAddress kUid{kAudioDevicePropertyDeviceUID, kAudioObjectPropertyScopeInput, 0};

class AppleAudioHardwareTest : public testing::Test {
protected:
   AppleAudioHardwareTest() { fakes::ShowDevices({}, {{"Desk", "mic-1"}, {"Speakers", "out-1", false}}); }
   ~AppleAudioHardwareTest() override {
      for (const uint32_t selector : {kDevices.selector, kStreams.selector, kName.selector, kUid.selector}) {
         fakes::FailAudio(selector, 0);
         fakes::OmitAudioString(selector, false);
      }
      fakes::ShowDevices({}, {});
   }

   uint32_t FirstDevice(AudioHardware &hardware) {
      uint32_t size = 0;
      EXPECT_EQ(hardware.getPropertyDataSize(kAudioObjectSystemObject, kDevices, &size), 0);
      EXPECT_EQ(size, 8u);
      uint32_t ids[2] = {};
      EXPECT_EQ(hardware.getPropertyData(kAudioObjectSystemObject, kDevices, &size, ids), 0);
      return ids[0];
   }

   uint32_t mSize = 77;
   std::string mText = "as it was";
   bool mHasString = true;
};

TEST_F(AppleAudioHardwareTest, AFailedSizeOfTheDeviceListKeepsItsNumber) {
   fakes::FailAudio(kDevices.selector, -50);
   const auto hardware = MakeAppleAudioHardware();
   EXPECT_EQ(hardware->getPropertyDataSize(kAudioObjectSystemObject, kDevices, &mSize), -50);
   EXPECT_EQ(mSize, 77u);
}

TEST_F(AppleAudioHardwareTest, AFailedReadOfTheDeviceListKeepsItsNumberBesideTheSize) {
   fakes::FailAudio(kDevices.selector, -51, fakes::Call::Data);
   const auto hardware = MakeAppleAudioHardware();
   EXPECT_EQ(hardware->getPropertyDataSize(kAudioObjectSystemObject, kDevices, &mSize), 0);
   EXPECT_EQ(mSize, 8u);
   uint32_t ids[2] = {1, 2};
   EXPECT_EQ(hardware->getPropertyData(kAudioObjectSystemObject, kDevices, &mSize, ids), -51);
   EXPECT_EQ(mSize, 8u);
   EXPECT_EQ(ids[0], 1u);
}

TEST_F(AppleAudioHardwareTest, AFailedPropertyOfADeviceKeepsItsNumber) {
   for (const AudioObjectPropertyAddress &address : {kStreams, kName, kUid}) {
      fakes::FailAudio(address.selector, -52);
   }
   const auto hardware = MakeAppleAudioHardware();
   const uint32_t device = FirstDevice(*hardware);
   EXPECT_EQ(hardware->getPropertyDataSize(device, kStreams, &mSize), -52);
   EXPECT_EQ(hardware->copyPropertyString(device, kName, &mText, &mHasString), -52);
   EXPECT_FALSE(mHasString);
   mHasString = true;
   EXPECT_EQ(hardware->copyPropertyString(device, kUid, &mText, &mHasString), -52);
   EXPECT_FALSE(mHasString);
   EXPECT_EQ(mText, "as it was");
}

TEST_F(AppleAudioHardwareTest, ASuccessWithoutAStringIsASuccessWithoutText) {
   fakes::OmitAudioString(kName.selector, true);
   const auto hardware = MakeAppleAudioHardware();
   const uint32_t device = FirstDevice(*hardware);
   EXPECT_EQ(hardware->copyPropertyString(device, kName, &mText, &mHasString), 0);
   EXPECT_FALSE(mHasString);
   EXPECT_EQ(mText, "as it was");
   EXPECT_EQ(hardware->copyPropertyString(device, kUid, &mText, &mHasString), 0);
   EXPECT_TRUE(mHasString);
   EXPECT_EQ(mText, "mic-1");
}

} // namespace
} // namespace osal
