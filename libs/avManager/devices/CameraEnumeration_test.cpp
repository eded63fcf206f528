#include "libs/avManager/devices/CameraEnumeration.h"

#include "lib/mfw/common/logger.h"
#include "libs/avManager/devices/MicrophoneEnumeration.h"
#include "libs/mmdr/device/DeviceGuid.h"
#include "osal/Platform.h"
#include "tests/kit/FakeDevices.h"
#include "tests/kit/LogCapture.h"
#include "tests/kit/TempDir.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

constexpr const char kEnumerate[] = "+[AVCapture enumerateVideoDevices:]";
constexpr const char kEnumerateWithRes[] = "+[AVCapture enumerateVideoDevicesWithRes:]";

using Sizes = std::vector<std::pair<uint32_t, uint32_t>>;

class CameraEnumeration : public ::testing::Test {
protected:
   std::vector<std::string> Names() const {
      std::vector<std::string> names;
      for (const MMDev::DeviceInfo &record : list) {
         names.push_back(record.mName);
      }
      return names;
   }

   const WebcamDeviceInfo &ById(const std::string &uniqueId) { return map.at(MMDev::MakeDeviceGuid(uniqueId)); }

   kit::LogCapture log;
   kit::FakeDevices fake;
   osal::ScopedDevices inForce{fake};
   MMDev::DeviceList list{MMDev::DeviceInfo{}};
   CamDevInfoMap map{{"left over", {}}};
};

TEST_F(CameraEnumeration, AsksForBothTypesOfCamerasAtAnyPosition) {
   AVCaptureEnumerateVideoDevices(list);
   EXPECT_EQ(fake.askedTypes,
             (std::vector{osal::DeviceType::BuiltInWideAngleCamera, osal::DeviceType::ExternalUnknown}));
   EXPECT_EQ(fake.askedMediaType, osal::MediaType::Video);
   EXPECT_EQ(fake.askedPosition, osal::DevicePosition::Unspecified);
   AVCaptureEnumerateVideoDevicesWithRes(map);
   EXPECT_EQ(fake.discoveries, 2) << "each call asks afresh, once";
}

TEST_F(CameraEnumeration, NoCameraIsAnEmptyListAndAnEmptyMap) {
   EXPECT_EQ(AVCaptureEnumerateVideoDevices(list), 0);
   EXPECT_TRUE(list.empty());
   EXPECT_EQ(AVCaptureEnumerateVideoDevicesWithRes(map), 0);
   EXPECT_TRUE(map.empty());
   EXPECT_TRUE(log.Lines().empty()) << log.Dump();
}

TEST_F(CameraEnumeration, RecordCarriesNameIdsAndKindAndNoGuid) {
   fake.cameras = {kit::Camera("Desk", "b", {{640, 480}})};
   EXPECT_EQ(AVCaptureEnumerateVideoDevices(list), 0) << "not the count";
   ASSERT_EQ(list.size(), 1u);
   EXPECT_EQ(list[0].mKind, 2u);
   EXPECT_EQ(list[0].mName, "Desk");
   EXPECT_EQ(list[0].mSystemId, "b");
   EXPECT_EQ(list[0].mUserId, "Desk#b");
   EXPECT_EQ(list[0].mGuid, "");
   EXPECT_EQ(list[0].mIndex, 0u);
   EXPECT_EQ(list[0].mReserved, 0u);
   EXPECT_TRUE(
      log.Saw(logger::TRACE, "%s: Sorted video device - device name: %s, user id: %s.", kEnumerate, "Desk", "Desk#b"))
      << log.Dump();
   EXPECT_EQ(log.Lines().size(), 1u);
}

TEST_F(CameraEnumeration, ThreeOfOneNameAreNumberedInTheOrderOfTheirIds) {
   fake.cameras = {kit::Camera("Cam", "c"), kit::Camera("Cam", "B"), kit::Camera("Other", "b"),
                   kit::Camera("Cam", "a")};
   AVCaptureEnumerateVideoDevices(list);
   EXPECT_EQ(Names(), (std::vector<std::string>{"Cam", "Cam 2", "Other", "Cam 3"}));
   EXPECT_EQ(list[0].mUserId, "Cam#B");
   EXPECT_EQ(list[1].mUserId, "Cam#a");
   EXPECT_EQ(list[3].mUserId, "Cam#c") << "the user id never carries the number";
   EXPECT_TRUE(
      log.Saw(logger::TRACE, "%s: Sorted video device - device name: %s, user id: %s.", kEnumerate, "Cam 3", "Cam#c"))
      << log.Dump();

   AVCaptureEnumerateVideoDevicesWithRes(map);
   EXPECT_EQ(ById("B").name, "Cam") << "a device has the same name in both forms";
   EXPECT_EQ(ById("a").name, "Cam 2");
   EXPECT_EQ(ById("b").name, "Other");
   EXPECT_EQ(ById("c").name, "Cam 3");
   EXPECT_EQ(ById("c").userId, "Cam#c");
}

TEST_F(CameraEnumeration, MapEntryCarriesGuidAndEachSizeOnceInOrder) {
   fake.cameras = {kit::Camera("Desk", "b", {{1280, 720}, {640, 640}, {640, 480}, {640, 480}, {640, 480}, {640, 480}}),
                   kit::Camera("Blind", "a")};
   EXPECT_EQ(AVCaptureEnumerateVideoDevicesWithRes(map), 2);
   const WebcamDeviceInfo &desk = ById("b");
   EXPECT_EQ(desk.guid, MMDev::MakeDeviceGuid("b"));
   EXPECT_EQ(desk.userId, "Desk#b");
   EXPECT_EQ(desk.resolutions, (Sizes{{640, 480}, {640, 640}, {1280, 720}}));
   EXPECT_EQ(ById("a").resolutions, Sizes{}) << "a camera without formats is kept";
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - WebcamDeviceInfo name: %s, userId: %s, guid: %s", kEnumerateWithRes, "Desk",
                       "Desk#b", desk.guid.c_str()))
      << log.Dump();
   EXPECT_EQ(log.Count(logger::TRACE, "%s - Supported resolution: %dx%d", kEnumerateWithRes, 640, 480), 4);
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - Supported resolution: %dx%d", kEnumerateWithRes, 1280, 720));
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s: Sorted video device - device name: %s, unique id: %s, ", kEnumerateWithRes,
                       "Desk", desk.guid.c_str()));
}

TEST_F(CameraEnumeration, DoubleUniqueIdsStayInTheListAndTheLaterOneWinsInTheMap) {
   fake.cameras = {kit::Camera("First", "same", {{1, 1}}), kit::Camera("Second", "same", {{2, 2}})};
   AVCaptureEnumerateVideoDevices(list);
   EXPECT_EQ(Names(), (std::vector<std::string>{"First", "Second"}));
   EXPECT_EQ(AVCaptureEnumerateVideoDevicesWithRes(map), 1);
   EXPECT_EQ(ById("same").name, "Second");
   EXPECT_EQ(ById("same").resolutions, (Sizes{{2, 2}}));
}

TEST_F(CameraEnumeration, TwoHundredCamerasWithHostileTextsAreListed) {
   for (int i = 0; i < 200; ++i) {
      fake.cameras.push_back(kit::Camera(std::string(300, 'n') + "#\xff%s%n", "id" + std::to_string(1000 - i)));
   }
   fake.cameras.push_back(kit::Camera("", ""));
   AVCaptureEnumerateVideoDevices(list);
   ASSERT_EQ(list.size(), 201u);
   EXPECT_EQ(list[0].mUserId, "#");
   EXPECT_EQ(list[200].mName, std::string(300, 'n') + "#\xff%s%n 200");
   EXPECT_EQ(AVCaptureEnumerateVideoDevicesWithRes(map), 201);
   EXPECT_EQ(ById("").name, "");
}

TEST_F(CameraEnumeration, AStrangeSizeOfTheDriverIsKeptAsItIs) {
   fake.cameras = {kit::Camera("Odd", "o", {{-1, 0}, {0, 0}, {333, 77}})};
   AVCaptureEnumerateVideoDevicesWithRes(map);
   EXPECT_EQ(ById("o").resolutions, (Sizes{{0, 0}, {333, 77}, {0xFFFFFFFFu, 0}}));
   EXPECT_TRUE(log.Saw(logger::TRACE, "%s - Supported resolution: %dx%d", kEnumerateWithRes, -1, 0)) << log.Dump();
}

TEST_F(CameraEnumeration, APlatformThatDoesNotAnswerIsOneErrorLineAndNoCameras) {
   fake.cameras = {kit::Camera("Desk", "b")};
   fake.discoveryStatus = osal::Status::Error(110, "the server did not answer in 2 seconds");
   EXPECT_EQ(AVCaptureEnumerateVideoDevices(list), 0);
   EXPECT_TRUE(list.empty()) << "nothing of an earlier enumeration is left";
   EXPECT_EQ(AVCaptureEnumerateVideoDevicesWithRes(map), 0);
   EXPECT_TRUE(map.empty());
   EXPECT_EQ(log.Count(logger::ERROR, "%s - Failed to list the cameras: %s", kEnumerate,
                       "the server did not answer in 2 seconds"),
             1)
      << log.Dump();
   EXPECT_EQ(log.Count(logger::ERROR, "%s - Failed to list the cameras: %s", kEnumerateWithRes,
                       "the server did not answer in 2 seconds"),
             1);
   EXPECT_EQ(log.Lines().size(), 2u);
}

// ---- What the environment names. The backend is chosen once in a process: each case is a test of its own. ----

// Lists both kinds and expects one ERROR line for each, with `why`, and no devices.
void ExpectNoDevices(const std::string &why) {
   const kit::LogCapture log;
   MMDev::DeviceList list(1);
   AVCaptureEnumerateVideoDevices(list);
   EXPECT_TRUE(list.empty());
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Failed to list the cameras: %s", kEnumerate, why.c_str())) << log.Dump();
   list.resize(1);
   EXPECT_EQ(AVCaptureEnumerateAudioDevices(list), 0);
   EXPECT_TRUE(list.empty());
   EXPECT_TRUE(log.Saw(logger::ERROR, "%s - Failed to list the microphones: %s", "+[AVCapture enumerateAudioDevices:]",
                       why.c_str()))
      << log.Dump();
   EXPECT_EQ(log.CountLevel(logger::ERROR), 2);
}

class EnumerationOfASimulationFile : public ::testing::Test {
protected:
   EnumerationOfASimulationFile() {
      setenv("MAVR_OSAL", "simulated", 1);
      setenv("MAVR_SIMULATION", file.c_str(), 1);
   }

   kit::TempDir folder;
   const std::string file = folder / "devices.json";
};

TEST_F(EnumerationOfASimulationFile, ThatIsMissingIsOneErrorLineAndNoDevices) {
   ExpectNoDevices("simulation file " + file + " cannot be opened: No such file or directory");
}

TEST_F(EnumerationOfASimulationFile, ThatIsBrokenIsOneErrorLineWithThePlaceAndNoDevices) {
   kit::WriteFile(file, "{\n  \"cameras\": 7\n}");
   ExpectNoDevices("simulation file " + file + ":2:14: cameras must be a list, [ ... ]");
}

TEST_F(EnumerationOfASimulationFile, ThatIsHugeIsOneErrorLineAndNoDevices) {
   kit::WriteFile(file, std::string((16u << 20) + 1, ' '));
   ExpectNoDevices("simulation file " + file + " is larger than 16 MiB");
}

TEST(EnumerationOfAnUnknownBackend, IsOneErrorLineThatNamesItAndNoDevices) {
   setenv("MAVR_OSAL", "bogus", 1);
   ExpectNoDevices("MAVR_OSAL is \"bogus\"; known values are \"native\" and \"simulated\"");
}

} // namespace
