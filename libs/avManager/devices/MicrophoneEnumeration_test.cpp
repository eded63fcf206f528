#include "libs/avManager/devices/MicrophoneEnumeration.h"

#include "lib/mfw/common/logger.h"
#include "libs/mmdr/device/DeviceGuid.h"
#include "osal/Platform.h"
#include "tests/kit/FakeDevices.h"
#include "tests/kit/LogCapture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <new>

namespace {
bool gNoMemory = false;
}

// The program's own, so that a test can let the array of ids find no memory.
void *operator new[](std::size_t size, const std::nothrow_t &) noexcept {
   return gNoMemory ? nullptr : ::operator new[](size);
}

namespace {

constexpr const char kEnumerate[] = "+[AVCapture enumerateAudioDevices:]";

class MicrophoneEnumeration : public ::testing::Test {
protected:
   std::vector<std::string> Enumerate() {
      const int count = AVCaptureEnumerateAudioDevices(list);
      EXPECT_EQ(static_cast<size_t>(count), list.size());
      EXPECT_EQ(fake.audioHardwareOpened, fake.audioHardwareClosed);
      std::vector<std::string> names;
      for (const MMDev::DeviceInfo &record : list) {
         names.push_back(record.mName);
      }
      return names;
   }

   using Names = std::vector<std::string>;
   kit::LogCapture log;
   kit::FakeDevices fake;
   osal::ScopedDevices inForce{fake};
   MMDev::DeviceList list{MMDev::DeviceInfo{}};
};

TEST_F(MicrophoneEnumeration, RecordCarriesNameIdsGuidAndKind) {
   fake.microphones = {{"Desk", "m1"}};
   EXPECT_EQ(Enumerate(), Names{"Desk"});
   const std::string guid = MMDev::MakeDeviceGuid("m1");
   EXPECT_EQ(list[0].mKind, 1u);
   EXPECT_EQ(list[0].mSystemId, "m1");
   EXPECT_EQ(list[0].mUserId, "Desk#m1");
   EXPECT_EQ(list[0].mGuid, guid);
   EXPECT_EQ(list[0].mIndex, 0u);
   EXPECT_EQ(list[0].mReserved, 0u);
   EXPECT_TRUE(log.Saw(logger::DEBUG, "%s - ", "int AVCaptureEnumerateAudioDevices(MMDev::DeviceList &)"))
      << log.Dump();
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - MMDev::DeviceInfo name: %s, mUserId: %s, mGuid: %s", kEnumerate, "Desk",
                       "Desk#m1", guid.c_str()));
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s: Sorted audio input device - device name: %s, unique id: %s, user id: %s.",
                       kEnumerate, "Desk", guid.c_str(), "Desk#m1"));
   EXPECT_EQ(log.Lines().size(), 3u);
}

TEST_F(MicrophoneEnumeration, TwoOfOneNameAreNumberedAndKeepTheirGuids) {
   fake.microphones = {{"Mic", "b"}, {"Mic", "a"}};
   EXPECT_EQ(Enumerate(), (Names{"Mic", "Mic 2"}));
   EXPECT_EQ(list[0].mUserId, "Mic#a");
   EXPECT_EQ(list[1].mUserId, "Mic#b");
   EXPECT_NE(list[0].mGuid, list[1].mGuid);
}

TEST_F(MicrophoneEnumeration, OutputOnlyDevicesAreSkippedWithoutAWord) {
   fake.microphones = {{"Speaker", "s", 0}, {"Headphones", "h", 0}};
   EXPECT_EQ(Enumerate(), Names{});
   EXPECT_EQ(log.Lines().size(), 1u) << log.Dump();
}

TEST_F(MicrophoneEnumeration, NoDevicesAtAllIsAnEmptyListWithoutAnError) {
   EXPECT_EQ(Enumerate(), Names{});
   EXPECT_EQ(log.CountLevel(logger::ERROR), 0) << log.Dump();
}

TEST_F(MicrophoneEnumeration, ReadsEachPropertyOfAnInputOnceInOrder) {
   fake.microphones = {{"Speaker", "s", 0}, {"Mic", "m"}};
   Enumerate();
   using Operation = kit::AudioCall::Operation;
   struct Expected {
      Operation operation;
      osal::AudioObjectID object;
      uint32_t selector;
      uint32_t scope;
   };
   const uint32_t input = osal::FourCC("inpt");
   const Expected expected[] = {
      {Operation::Size, 1, osal::FourCC("dev#"), osal::FourCC("glob")},
      {Operation::Data, 1, osal::FourCC("dev#"), osal::FourCC("glob")},
      {Operation::Size, 1000, osal::FourCC("stm#"), input},
      {Operation::Size, 1001, osal::FourCC("stm#"), input},
      {Operation::String, 1001, osal::FourCC("lnam"), input},
      {Operation::String, 1001, osal::FourCC("uid "), input},
   };
   ASSERT_EQ(fake.audioCalls.size(), std::size(expected));
   for (size_t i = 0; i < std::size(expected); ++i) {
      EXPECT_EQ(fake.audioCalls[i].operation, expected[i].operation) << i;
      EXPECT_EQ(fake.audioCalls[i].object, expected[i].object) << i;
      EXPECT_EQ(fake.audioCalls[i].address.selector, expected[i].selector) << i;
      EXPECT_EQ(fake.audioCalls[i].address.scope, expected[i].scope) << i;
      EXPECT_EQ(fake.audioCalls[i].address.element, 0u) << i;
   }
}

TEST_F(MicrophoneEnumeration, AFailureOfOneDeviceDropsThatDeviceOnly) {
   fake.microphones = {{"NoStreams", "1"}, {"NoName", "2"}, {"NoUid", "3"}, {"Good", "4"}};
   fake.microphones[0].streamsStatus = 11;
   fake.microphones[1].nameStatus = 22;
   fake.microphones[2].uidStatus = 33;
   EXPECT_EQ(Enumerate(), Names{"Good"});
   EXPECT_TRUE(
      log.Saw(logger::ERROR, "%s: Failed get the count of the input channel. errorCode: %d.\n", kEnumerate, 11))
      << log.Dump();
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s: Failed to get device name, errorCode: %d.", kEnumerate, 22));
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s: Failed to get deviceUID, errorCode %d.", kEnumerate, 33));
   EXPECT_EQ(log.CountLevel(logger::ERROR), 3);
}

TEST_F(MicrophoneEnumeration, ASuccessWithoutAStringDropsTheDeviceWithCode0) {
   fake.microphones = {{"NoName", "1"}, {"NoUid", "2"}, {"", ""}};
   fake.microphones[0].hasName = false;
   fake.microphones[1].hasUid = false;
   EXPECT_EQ(Enumerate(), Names{""}) << "an empty string is a string";
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s: Failed to get device name, errorCode: %d.", kEnumerate, 0)) << log.Dump();
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s: Failed to get deviceUID, errorCode %d.", kEnumerate, 0));
}

TEST_F(MicrophoneEnumeration, AFailureOfTheSystemObjectEndsWithAnEmptyList) {
   fake.microphones = {{"Mic", "m"}};
   fake.sizeStatus = 561211770;
   EXPECT_EQ(Enumerate(), Names{});
   EXPECT_TRUE(
      log.Saw(logger::ERROR, "%s: Failed to get number of audio devices, errorCode: %d.", kEnumerate, 561211770))
      << log.Dump();
   fake.sizeStatus = 0;
   fake.idsStatus = -50;
   EXPECT_EQ(Enumerate(), Names{});
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s: Failed to get audio device ids, errorCode: %d.", kEnumerate, -50));
   EXPECT_EQ(log.CountLevel(logger::ERROR), 2);
   fake.idsStatus = 0;
   EXPECT_EQ(Enumerate(), Names{"Mic"}) << "the next call starts afresh";
}

TEST_F(MicrophoneEnumeration, NoMemoryForTheIdsEndsWithAnEmptyList) {
   fake.microphones = {{"Mic", "m"}};
   gNoMemory = true;
   const int count = AVCaptureEnumerateAudioDevices(list);
   gNoMemory = false;
   EXPECT_EQ(count, 0);
   EXPECT_TRUE(list.empty());
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s: Failed to malloc AudioDeviceID array, errorCode: %d.", kEnumerate, 0))
      << log.Dump();
   EXPECT_EQ(log.CountLevel(logger::ERROR), 1);
}

TEST_F(MicrophoneEnumeration, SizesThatDoNotFitTheArrayAreTaken) {
   fake.microphones = {{"A", "a"}, {"B", "b"}};
   struct Case {
      uint32_t size;
      size_t devices;
   };
   for (const Case &c : {Case{0, 0}, Case{3, 0}, Case{4, 1}, Case{7, 1}, Case{8, 2}, Case{400, 2}}) {
      fake.reportedSize = c.size;
      EXPECT_EQ(Enumerate().size(), c.devices) << "size " << c.size;
   }
   EXPECT_EQ(log.CountLevel(logger::ERROR), 0) << log.Dump();
}

TEST_F(MicrophoneEnumeration, APlatformThatDoesNotAnswerIsOneErrorLineAndNoMicrophones) {
   fake.microphones = {{"Mic", "m"}};
   fake.audioStatus = osal::Status::Error(110, "no server");
   EXPECT_EQ(Enumerate(), Names{});
   EXPECT_EQ(log.Count(logger::ERROR, "%s - Failed to list the microphones: %s", kEnumerate, "no server"), 1)
      << log.Dump();
   EXPECT_EQ(log.CountLevel(logger::ERROR), 1);
}

// Each call that reaches the platform fails once; the listing goes on with the others and nothing is left behind.
TEST_F(MicrophoneEnumeration, WhicheverCallFailsTheRestIsListed) {
   const std::vector<kit::FakeMicrophone> all = {{"A", "a"}, {"B", "b"}, {"C", "c"}};
   for (size_t device = 0; device < all.size(); ++device) {
      for (int32_t kit::FakeMicrophone::*fault :
           {&kit::FakeMicrophone::streamsStatus, &kit::FakeMicrophone::nameStatus, &kit::FakeMicrophone::uidStatus}) {
         fake.microphones = all;
         fake.microphones[device].*fault = 5;
         const Names names = Enumerate();
         EXPECT_EQ(names.size(), 2u);
         EXPECT_EQ(std::count(names.begin(), names.end(), all[device].name), 0);
      }
   }
}

TEST_F(MicrophoneEnumeration, TwoHundredDevicesWithHostileTextsAreListed) {
   for (int i = 0; i < 200; ++i) {
      fake.microphones.push_back({std::string(300, 'm') + "#\xff%s%n", "id" + std::to_string(1000 - i)});
   }
   const Names names = Enumerate();
   ASSERT_EQ(names.size(), 200u);
   EXPECT_EQ(names[199], std::string(300, 'm') + "#\xff%s%n 200");
   EXPECT_EQ(log.CountLevel(logger::ERROR), 0);
}

} // namespace
