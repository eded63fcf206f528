#include "tests/conformance/DevicesConformance.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cstring>

namespace conformance {
namespace {

using osal::AudioHardware;
using osal::AudioObjectPropertyAddress;
using osal::CaptureDeviceList;
using testing::Contains;
using testing::IsEmpty;
using Texts = std::vector<std::string>;

constexpr osal::DeviceType kTypes[] = {osal::DeviceType::BuiltInWideAngleCamera, osal::DeviceType::ExternalUnknown};
constexpr AudioObjectPropertyAddress kDevices{osal::kAudioHardwarePropertyDevices,
                                              osal::kAudioObjectPropertyScopeGlobal, 0};
constexpr AudioObjectPropertyAddress kStreams{osal::kAudioDevicePropertyStreams, osal::kAudioObjectPropertyScopeInput,
                                              0};
constexpr AudioObjectPropertyAddress kName{osal::kAudioObjectPropertyName, osal::kAudioObjectPropertyScopeInput, 0};
constexpr AudioObjectPropertyAddress kUid{osal::kAudioDevicePropertyDeviceUID, osal::kAudioObjectPropertyScopeInput, 0};

const Scene &Full() {
   static const Scene scene = {
      {{"Camera One", "cam-1", {{640, 480}, {1280, 720}}},
       {"Camera One", "cam-2", {{320, 240}}},
       {"Kam\xC3\xA9ra \xF0\x9F\x93\xB7", "cam-3", {{1920, 1080}}}},
      {{"Microphone", "mic-1", true}, {"Microphone", "mic-2", true}, {"Speakers", "out-1", false}}};
   return scene;
}

CaptureDeviceList Cameras(osal::Devices &devices) {
   CaptureDeviceList cameras(5); // rubbish that has to go
   const osal::Status status =
      devices.discoverySession(kTypes, osal::MediaType::Video, osal::DevicePosition::Unspecified, &cameras);
   EXPECT_TRUE(status.ok()) << status.reason;
   return cameras;
}

std::unique_ptr<AudioHardware> Hardware(osal::Devices &devices) {
   std::unique_ptr<AudioHardware> hardware;
   const osal::Status status = devices.audioHardware(&hardware);
   EXPECT_TRUE(status.ok()) << status.reason;
   return hardware;
}

std::vector<uint32_t> AudioIds(AudioHardware &hardware) {
   uint32_t size = 0;
   EXPECT_EQ(hardware.getPropertyDataSize(osal::kAudioObjectSystemObject, kDevices, &size), 0);
   EXPECT_EQ(size % 4, 0u);
   std::vector<uint32_t> ids(size / 4);
   EXPECT_EQ(hardware.getPropertyData(osal::kAudioObjectSystemObject, kDevices, &size, ids.data()), 0);
   EXPECT_EQ(size, ids.size() * 4);
   return ids;
}

std::string TextOf(AudioHardware &hardware, uint32_t id, const AudioObjectPropertyAddress &address) {
   std::string text;
   bool hasString = false;
   EXPECT_EQ(hardware.copyPropertyString(id, address, &text, &hasString), 0);
   EXPECT_TRUE(hasString);
   return text;
}

/// "name|uid" of each input, in list order.
Texts Inputs(AudioHardware &hardware) {
   Texts inputs;
   for (const uint32_t id : AudioIds(hardware)) {
      uint32_t size = 0;
      EXPECT_EQ(hardware.getPropertyDataSize(id, kStreams, &size), 0);
      if (size > 0) {
         inputs.push_back(TextOf(hardware, id, kName) + "|" + TextOf(hardware, id, kUid));
      }
   }
   return inputs;
}

Texts InOrder(Texts texts, bool keepsOrder) {
   if (!keepsOrder) {
      std::sort(texts.begin(), texts.end());
   }
   return texts;
}

Texts WantedInputs(const Scene &scene) {
   Texts wanted;
   for (const SceneMicrophone &microphone : scene.microphones) {
      if (microphone.isInput) {
         wanted.push_back(microphone.name + "|" + microphone.uniqueId);
      }
   }
   return wanted;
}

Texts Shown(const CaptureDeviceList &cameras) {
   Texts shown;
   for (const auto &camera : cameras) {
      shown.push_back(camera->localizedName() + "|" + camera->uniqueID());
   }
   return shown;
}

Texts WantedCameras(const Scene &scene) {
   Texts wanted;
   for (const SceneCamera &camera : scene.cameras) {
      wanted.push_back(camera.name + "|" + camera.uniqueId);
   }
   return wanted;
}

TEST_P(DevicesConformance, ItHasAName) {
   EXPECT_FALSE(mBackend->Devices().name().empty());
}

TEST_P(DevicesConformance, AMachineWithoutDevicesIsASuccess) {
   mBackend->Show({});
   EXPECT_THAT(Cameras(mBackend->Devices()), IsEmpty());
   const auto hardware = Hardware(mBackend->Devices());
   ASSERT_NE(hardware, nullptr);
   EXPECT_THAT(Inputs(*hardware), IsEmpty());
}

TEST_P(DevicesConformance, CamerasAreListedWithNameIdAndSizes) {
   mBackend->Show(Full());
   const CaptureDeviceList cameras = Cameras(mBackend->Devices());
   EXPECT_EQ(InOrder(Shown(cameras), mBackend->KeepsOrder()), InOrder(WantedCameras(Full()), mBackend->KeepsOrder()));
   for (const auto &camera : cameras) {
      for (const SceneCamera &wanted : Full().cameras) {
         if (camera->uniqueID() == wanted.uniqueId) {
            std::vector<std::pair<int, int>> sizes;
            for (const osal::CaptureDeviceFormat &format : camera->formats()) {
               EXPECT_NE(format.mediaSubType, 0u);
               EXPECT_LE(format.minFrameRate, format.maxFrameRate);
               sizes.emplace_back(format.dimensions.width, format.dimensions.height);
            }
            for (const osal::VideoDimensions &size : wanted.sizes) {
               EXPECT_THAT(sizes, Contains(std::pair(size.width, size.height))) << wanted.uniqueId;
            }
         }
      }
   }
}

TEST_P(DevicesConformance, NoCameraIsAnAudioDevice) {
   mBackend->Show(Full());
   CaptureDeviceList devices(1);
   EXPECT_TRUE(mBackend->Devices()
                  .discoverySession(kTypes, osal::MediaType::Audio, osal::DevicePosition::Unspecified, &devices)
                  .ok());
   EXPECT_THAT(devices, IsEmpty());
}

TEST_P(DevicesConformance, MicrophonesAreListedAndOutputsHaveNoInputStream) {
   mBackend->Show(Full());
   const auto hardware = Hardware(mBackend->Devices());
   ASSERT_NE(hardware, nullptr);
   EXPECT_EQ(InOrder(Inputs(*hardware), mBackend->KeepsOrder()), InOrder(WantedInputs(Full()), mBackend->KeepsOrder()));
}

TEST_P(DevicesConformance, EveryListingAsksAfresh) {
   osal::Devices &devices = mBackend->Devices();
   for (int round = 0; round < 2; ++round) {
      mBackend->Show(Full());
      EXPECT_EQ(Cameras(devices).size(), Full().cameras.size());
      EXPECT_EQ(Inputs(*Hardware(devices)).size(), 2u);
      mBackend->Show({{Full().cameras[1]}, {Full().microphones[1]}});
      EXPECT_EQ(Shown(Cameras(devices)), Texts{"Camera One|cam-2"});
      EXPECT_EQ(Inputs(*Hardware(devices)), Texts{"Microphone|mic-2"});
   }
}

TEST_P(DevicesConformance, WhatWasHandedOutOutlivesTheDevice) {
   mBackend->Show(Full());
   const CaptureDeviceList cameras = Cameras(mBackend->Devices());
   const auto hardware = Hardware(mBackend->Devices());
   const Texts before = Inputs(*hardware);
   mBackend->Show({});
   EXPECT_THAT(Cameras(mBackend->Devices()), IsEmpty());
   EXPECT_EQ(InOrder(Shown(cameras), mBackend->KeepsOrder()), InOrder(WantedCameras(Full()), mBackend->KeepsOrder()));
   EXPECT_EQ(Inputs(*hardware), before) << "a snapshot keeps devices that went";
}

TEST_P(DevicesConformance, AudioDataIsCutToTheRoomThatWasGiven) {
   mBackend->Show(Full());
   const auto hardware = Hardware(mBackend->Devices());
   const std::vector<uint32_t> ids = AudioIds(*hardware);
   ASSERT_GE(ids.size(), 2u);
   uint32_t few[2] = {0, 0xEEEEEEEE};
   uint32_t size = 4;
   ASSERT_EQ(hardware->getPropertyData(osal::kAudioObjectSystemObject, kDevices, &size, few), 0);
   EXPECT_EQ(size, 4u);
   EXPECT_EQ(few[0], ids[0]);
   EXPECT_EQ(few[1], 0xEEEEEEEE);
   std::vector<uint32_t> many(ids.size() + 3, 0xEEEEEEEE);
   size = static_cast<uint32_t>(many.size() * 4);
   ASSERT_EQ(hardware->getPropertyData(osal::kAudioObjectSystemObject, kDevices, &size, many.data()), 0);
   EXPECT_EQ(size, ids.size() * 4);
   EXPECT_EQ(many[ids.size()], 0xEEEEEEEE);
   size = 0;
   EXPECT_EQ(hardware->getPropertyData(osal::kAudioObjectSystemObject, kDevices, &size, nullptr), 0);
   EXPECT_EQ(size, 0u);
}

TEST_P(DevicesConformance, AFailedAudioCallLeavesItsOutArguments) {
   mBackend->Show(Full());
   const auto hardware = Hardware(mBackend->Devices());
   const uint32_t device = AudioIds(*hardware).at(0);
   const AudioObjectPropertyAddress unknown{osal::FourCC("????"), osal::kAudioObjectPropertyScopeInput, 0};
   const AudioObjectPropertyAddress element{osal::kAudioDevicePropertyStreams, osal::kAudioObjectPropertyScopeInput, 1};
   const std::pair<uint32_t, AudioObjectPropertyAddress> cases[] = {
      {0xFFFFFFFF, kStreams}, {0, kStreams}, {device, unknown}, {device, element}, {device, kDevices}, {1, kStreams}};
   for (const auto &[object, address] : cases) {
      uint32_t size = 4;
      uint32_t data = 0xEEEEEEEE;
      EXPECT_NE(hardware->getPropertyDataSize(object, address, &size), 0) << object;
      EXPECT_NE(hardware->getPropertyData(object, address, &size, &data), 0) << object;
      EXPECT_EQ(size, 4u);
      EXPECT_EQ(data, 0xEEEEEEEE);
      std::string text = "as it was";
      bool hasString = true;
      EXPECT_NE(hardware->copyPropertyString(object, address, &text, &hasString), 0) << object;
      EXPECT_FALSE(hasString);
      EXPECT_EQ(text, "as it was");
   }
   uint32_t size = 4;
   EXPECT_EQ(hardware->getPropertyDataSize(0xFFFFFFFF, kStreams, &size), osal::kAudioHardwareBadObjectError);
   EXPECT_EQ(hardware->getPropertyDataSize(device, unknown, &size), osal::kAudioHardwareUnknownPropertyError);
}

TEST_P(DevicesConformance, DiagnoseHasAtLeastOneFindingAndAdviceForEachTrouble) {
   mBackend->Show(Full());
   const std::vector<osal::Finding> findings = mBackend->Devices().diagnose();
   ASSERT_FALSE(findings.empty());
   for (const osal::Finding &finding : findings) {
      EXPECT_FALSE(finding.check.empty());
      EXPECT_FALSE(finding.result.empty());
      EXPECT_EQ(finding.verdict == osal::Finding::Verdict::Ok, finding.advice.empty()) << finding.result;
   }
}

} // namespace
} // namespace conformance
