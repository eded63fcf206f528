#include "osal/simulated/SimulatedDevices.h"

#include "osal/Platform.h"
#include "tests/kit/TempDir.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>

namespace osal {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr DeviceType kTypes[] = {DeviceType::BuiltInWideAngleCamera, DeviceType::ExternalUnknown};

Status List(Devices &devices, CaptureDeviceList *cameras) {
   return devices.discoverySession(kTypes, MediaType::Video, DevicePosition::Unspecified, cameras);
}

std::vector<std::string> Ids(Devices &devices) {
   CaptureDeviceList cameras;
   const Status status = List(devices, &cameras);
   EXPECT_TRUE(status.ok()) << status.reason;
   std::vector<std::string> ids;
   for (const auto &camera : cameras) {
      ids.push_back(camera->uniqueID());
   }
   return ids;
}

/// Lists, expects a failure without devices in both calls and in diagnose, and returns the reason.
std::string Complaint(Devices &devices) {
   CaptureDeviceList cameras(2);
   const Status status = List(devices, &cameras);
   EXPECT_FALSE(status.ok());
   EXPECT_THAT(cameras, IsEmpty());
   std::unique_ptr<AudioHardware> hardware;
   EXPECT_EQ(devices.audioHardware(&hardware).reason, status.reason);
   EXPECT_EQ(hardware, nullptr);
   const std::vector<Finding> findings = devices.diagnose();
   EXPECT_EQ(findings.at(0).verdict, Finding::Verdict::Failure);
   EXPECT_EQ(findings.at(0).result, status.reason);
   EXPECT_FALSE(findings.at(0).advice.empty());
   return status.reason;
}

class SimulatedDevicesFromFile : public testing::Test {
protected:
   void Write(const std::string &text) { kit::WriteFile(mFile, text); }

   kit::TempDir mFolder;
   const std::string mFile = mFolder / "devices.json";
};

TEST_F(SimulatedDevicesFromFile, OrderIsTheFilesOrder) {
   Write(R"({"cameras":[{"name":"z","uniqueId":"9"},{"name":"a","uniqueId":"1"},{"name":"z","uniqueId":"9"}]})");
   const auto devices = MakeSimulatedDevices(mFile);
   EXPECT_THAT(Ids(*devices), ElementsAre("9", "1", "9"));
   EXPECT_EQ(devices->name(), "simulated");
}

TEST_F(SimulatedDevicesFromFile, EditingTheFilePlugsAndUnplugs) {
   const auto devices = MakeSimulatedDevices(mFile);
   EXPECT_THAT(Complaint(*devices), HasSubstr("No such file or directory"));
   Write(R"({"cameras":[{"name":"a","uniqueId":"1"}]})");
   EXPECT_THAT(Ids(*devices), ElementsAre("1"));
   CaptureDeviceList before;
   ASSERT_TRUE(List(*devices, &before).ok());
   // The same size, within the same step of the file clock, in place: only the content differs.
   for (char digit = '2'; digit <= '9'; ++digit) {
      Write(std::string(R"({"cameras":[{"name":"a","uniqueId":")") + digit + R"("}]})");
      EXPECT_THAT(Ids(*devices), ElementsAre(std::string(1, digit)));
   }
   EXPECT_EQ(before.at(0)->uniqueID(), "1") << "facts stay valid after the camera is unplugged";
   Write("{}");
   EXPECT_THAT(Ids(*devices), IsEmpty());
   Write("{");
   EXPECT_THAT(Complaint(*devices), HasSubstr(mFile + ":1:"));
   std::filesystem::remove(mFile);
   EXPECT_THAT(Complaint(*devices), HasSubstr("No such file or directory"));
   Write(R"({"cameras":[{"name":"a","uniqueId":"back"}]})");
   EXPECT_THAT(Ids(*devices), ElementsAre("back"));
}

TEST_F(SimulatedDevicesFromFile, AnUnchangedFileIsNotReadAgain) {
   Write(R"({"cameras":[{"name":"a","uniqueId":"1"}]})");
   const auto devices = MakeSimulatedDevices(mFile);
   const auto listed = [&] {
      CaptureDeviceList cameras;
      EXPECT_TRUE(List(*devices, &cameras).ok());
      return cameras.at(0);
   };
   // Until the file clock has gone on by a step, the file might still change unseen and is read each time.
   bool isSame = false;
   for (int i = 0; i < 1'000'000 && !isSame; ++i) {
      isSame = listed() == listed();
   }
   EXPECT_TRUE(isSame);
}

TEST_F(SimulatedDevicesFromFile, AFileThatCannotBeIsToldAndNeverBlocks) {
   EXPECT_EQ(Complaint(*MakeSimulatedDevices(mFile)),
             "simulation file " + mFile + " cannot be opened: No such file or directory");
   EXPECT_EQ(Complaint(*MakeSimulatedDevices(mFolder.Path())),
             "simulation file " + mFolder.Path() + " is a folder, not a file");
   ASSERT_EQ(mkfifo(mFile.c_str(), 0600), 0);
   EXPECT_EQ(Complaint(*MakeSimulatedDevices(mFile)),
             "simulation file " + mFile + " is a pipe, socket or device, not a plain file");
   EXPECT_EQ(Complaint(*MakeSimulatedDevices("/dev/zero")),
             "simulation file /dev/zero is a pipe, socket or device, not a plain file");
   std::filesystem::remove(mFile);
   Write("{}");
   std::filesystem::resize_file(mFile, (16u << 20) + 1);
   EXPECT_EQ(Complaint(*MakeSimulatedDevices(mFile)), "simulation file " + mFile + " is larger than 16 MiB");
}

TEST_F(SimulatedDevicesFromFile, AFullSizedFileIsRead) {
   std::string text = "{}";
   text.append((16u << 20) - text.size(), ' ');
   Write(text);
   EXPECT_THAT(Ids(*MakeSimulatedDevices(mFile)), IsEmpty());
}

TEST_F(SimulatedDevicesFromFile, ARelativePathIsTakenFromTheFolderOfThatMoment) {
   Write(R"({"cameras":[{"name":"a","uniqueId":"1"}]})");
   ASSERT_EQ(chdir(mFolder.Path().c_str()), 0);
   const auto devices = MakeSimulatedDevices("devices.json");
   ASSERT_EQ(chdir("/"), 0);
   EXPECT_THAT(Ids(*devices), ElementsAre("1"));
}

TEST_F(SimulatedDevicesFromFile, DiagnoseCountsAndNamesWhatIsProbablyAMistake) {
   Write(R"({"cameras":[{"name":"a","uniqueId":"1"}],"microphones":[{"name":"m","uniqueId":"2"},
{"name":"o","uniqueId":"3","inputStreams":0}],"clocks":"fast"})");
   const auto devices = MakeSimulatedDevices(mFile);
   const std::vector<Finding> findings = devices->diagnose();
   ASSERT_EQ(findings.size(), 2u);
   EXPECT_EQ(findings[0].verdict, Finding::Verdict::Ok);
   EXPECT_EQ(findings[0].result, "1 camera, 1 microphone and 1 output-only device of " + mFile + ".");
   EXPECT_EQ(findings[1].verdict, Finding::Verdict::Warning);
   EXPECT_EQ(findings[1].result, mFile + ":2:47: unknown key \"clocks\"");
}

TEST_F(SimulatedDevicesFromFile, EachStatusOfTheFileIsReturnedByItsCall) {
   Write(R"({"microphones":[{"name":"m","uniqueId":"2","fail":{"streams":11,"name":12,"uid":13}},
{"name":"n","uniqueId":"3"}],"audioHardware":{"fail":{"size":0,"ids":15}}})");
   const auto devices = MakeSimulatedDevices(mFile);
   std::unique_ptr<AudioHardware> hardware;
   ASSERT_TRUE(devices->audioHardware(&hardware).ok());
   const AudioObjectPropertyAddress list{kAudioHardwarePropertyDevices, kAudioObjectPropertyScopeGlobal, 0};
   uint32_t size = 77;
   ASSERT_EQ(hardware->getPropertyDataSize(kAudioObjectSystemObject, list, &size), 0);
   EXPECT_EQ(size, 8u);
   uint32_t ids[2] = {1, 2};
   EXPECT_EQ(hardware->getPropertyData(kAudioObjectSystemObject, list, &size, ids), 15);
   EXPECT_EQ(ids[0], 1u);

   Write(R"({"microphones":[{"name":"m","uniqueId":"2","fail":{"streams":11,"name":12,"uid":13}},
{"name":"n","uniqueId":"3"}],"audioHardware":{"fail":{"size":14}}})");
   ASSERT_TRUE(devices->audioHardware(&hardware).ok());
   size = 77;
   EXPECT_EQ(hardware->getPropertyDataSize(kAudioObjectSystemObject, list, &size), 14);
   EXPECT_EQ(size, 77u);
   size = sizeof(ids);
   ASSERT_EQ(hardware->getPropertyData(kAudioObjectSystemObject, list, &size, ids), 0);
   const AudioObjectPropertyAddress streams{kAudioDevicePropertyStreams, kAudioObjectPropertyScopeInput, 0};
   const AudioObjectPropertyAddress name{kAudioObjectPropertyName, kAudioObjectPropertyScopeInput, 0};
   const AudioObjectPropertyAddress uid{kAudioDevicePropertyDeviceUID, kAudioObjectPropertyScopeInput, 0};
   EXPECT_EQ(hardware->getPropertyDataSize(ids[0], streams, &size), 11);
   std::string text = "before";
   bool hasString = true;
   EXPECT_EQ(hardware->copyPropertyString(ids[0], name, &text, &hasString), 12);
   EXPECT_FALSE(hasString);
   EXPECT_EQ(hardware->copyPropertyString(ids[0], uid, &text, &hasString), 13);
   EXPECT_EQ(text, "before");
   EXPECT_EQ(hardware->copyPropertyString(ids[1], name, &text, &hasString), 0);
   EXPECT_TRUE(hasString);
   EXPECT_EQ(text, "n");
}

TEST_F(SimulatedDevicesFromFile, APropertyOfAnotherScopeOrElementIsUnknown) {
   Write(R"({"microphones":[{"name":"m","uniqueId":"2"}]})");
   std::unique_ptr<AudioHardware> hardware;
   ASSERT_TRUE(MakeSimulatedDevices(mFile)->audioHardware(&hardware).ok());
   const AudioObjectPropertyAddress list{kAudioHardwarePropertyDevices, kAudioObjectPropertyScopeGlobal, 0};
   uint32_t size = 4;
   uint32_t id = 0;
   ASSERT_EQ(hardware->getPropertyData(kAudioObjectSystemObject, list, &size, &id), 0);
   const std::pair<uint32_t, AudioObjectPropertyAddress> asked[] = {
      {kAudioObjectSystemObject, list},
      {id, {kAudioDevicePropertyStreams, kAudioObjectPropertyScopeInput, 0}},
      {id, {kAudioObjectPropertyName, kAudioObjectPropertyScopeInput, 0}}};
   for (const auto &[object, known] : asked) {
      AudioObjectPropertyAddress scope = known;
      scope.scope = known.scope == kAudioObjectPropertyScopeInput ? kAudioObjectPropertyScopeGlobal
                                                                  : kAudioObjectPropertyScopeInput;
      AudioObjectPropertyAddress element = known;
      element.element = 1;
      for (const AudioObjectPropertyAddress &address : {scope, element}) {
         std::string text = "before";
         bool hasString = true;
         uint32_t untouched = 77;
         EXPECT_EQ(hardware->getPropertyDataSize(object, address, &untouched), kAudioHardwareUnknownPropertyError);
         EXPECT_EQ(hardware->copyPropertyString(object, address, &text, &hasString),
                   kAudioHardwareUnknownPropertyError);
         EXPECT_EQ(untouched, 77U);
         EXPECT_EQ(text, "before");
         EXPECT_FALSE(hasString);
      }
   }
}

TEST(PlatformSimulated, WithoutAFileItHasTheBuiltInSet) {
   setenv("MAVR_OSAL", "simulated", 1);
   setenv("MAVR_SIMULATION", "", 1);
   Devices &devices = Platform::devices();
   EXPECT_THAT(Ids(devices), ElementsAre("sim-cam-1", "sim-cam-2", "sim-cam-3"));
   EXPECT_EQ(devices.diagnose().at(0).result, "3 cameras, 2 microphones and 1 output-only device of the built-in set.");
}

TEST(PlatformSimulated, TheVariableNamesTheFile) {
   const kit::TempDir folder;
   kit::WriteFile(folder / "f.json", R"({"cameras":[{"name":"a","uniqueId":"from the file"}]})");
   setenv("MAVR_OSAL", "simulated", 1);
   setenv("MAVR_SIMULATION", (folder / "f.json").c_str(), 1);
   EXPECT_THAT(Ids(Platform::devices()), ElementsAre("from the file"));
}

} // namespace
} // namespace osal
