#include "osal/pipewire/PipewireDevices.h"

#include "osal/Devices.h"
#include "tests/kit/Holdings.h"
#include "tests/kit/PrivatePipewire.h"
#include "tests/kit/TempDir.h"

#include <gmock/gmock.h>

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <thread>

namespace osal {
namespace {

using kit::PrivatePipewire;
using kit::VirtualCamera;
using kit::VirtualMicrophone;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Texts = std::vector<std::string>;

/// Kills the test instead of letting it hang. Far above what is measured: it tells a hang from a wait, nothing finer.
class Watchdog {
public:
   explicit Watchdog(unsigned seconds = 240) { alarm(seconds); }
   ~Watchdog() { alarm(0); }
};

std::string CodeText(uint32_t code) {
   std::string text;
   for (int shift = 24; shift >= 0; shift -= 8) {
      text += static_cast<char>((code >> shift) & 0xFF);
   }
   return text;
}

/// "name|id"
Texts Shown(const CaptureDeviceList &cameras) {
   Texts shown;
   for (const auto &camera : cameras) {
      shown.push_back(camera->localizedName() + "|" + camera->uniqueID());
   }
   return shown;
}

/// "420v 640x480 15-30"
Texts ShownFormats(const CaptureDevice &camera) {
   Texts shown;
   for (const CaptureDeviceFormat &format : camera.formats()) {
      shown.push_back(CodeText(format.mediaSubType) + " " + std::to_string(format.dimensions.width) + "x" +
                      std::to_string(format.dimensions.height) + " " +
                      std::to_string(static_cast<int>(format.minFrameRate)) + "-" +
                      std::to_string(static_cast<int>(format.maxFrameRate)));
   }
   return shown;
}

class PipewireDevices : public testing::Test {
protected:
   void SetUp() override {
      if (const std::string missing = PrivatePipewire::Missing(); !missing.empty()) {
         GTEST_SKIP() << missing;
      }
   }

   Status List(CaptureDeviceList *cameras) {
      constexpr DeviceType kTypes[] = {DeviceType::BuiltInWideAngleCamera, DeviceType::ExternalUnknown};
      return mDevices->discoverySession(kTypes, MediaType::Video, DevicePosition::Unspecified, cameras);
   }

   CaptureDeviceList Cameras() {
      CaptureDeviceList cameras;
      const Status status = List(&cameras);
      EXPECT_TRUE(status.ok()) << status.reason;
      return cameras;
   }

   /// "name|id" of each microphone.
   Texts Microphones() {
      std::unique_ptr<AudioHardware> hardware;
      const Status status = mDevices->audioHardware(&hardware);
      EXPECT_TRUE(status.ok()) << status.reason;
      return hardware != nullptr ? TextsOf(*hardware) : Texts{};
   }

   static Texts TextsOf(AudioHardware &hardware) {
      uint32_t size = 0;
      const AudioObjectPropertyAddress list{kAudioHardwarePropertyDevices, kAudioObjectPropertyScopeGlobal, 0};
      EXPECT_EQ(hardware.getPropertyDataSize(kAudioObjectSystemObject, list, &size), 0);
      std::vector<AudioObjectID> ids(size / sizeof(AudioObjectID));
      EXPECT_EQ(hardware.getPropertyData(kAudioObjectSystemObject, list, &size, ids.data()), 0);
      Texts shown;
      for (const AudioObjectID id : ids) {
         uint32_t streams = 0;
         EXPECT_EQ(hardware.getPropertyDataSize(id, {kAudioDevicePropertyStreams, kAudioObjectPropertyScopeInput, 0},
                                                &streams),
                   0);
         EXPECT_EQ(streams, sizeof(AudioObjectID)) << "one input stream each";
         std::string name;
         std::string uid;
         bool hasName = false;
         bool hasUid = false;
         EXPECT_EQ(hardware.copyPropertyString(id, {kAudioObjectPropertyName, kAudioObjectPropertyScopeInput, 0}, &name,
                                               &hasName),
                   0);
         EXPECT_EQ(hardware.copyPropertyString(id, {kAudioDevicePropertyDeviceUID, kAudioObjectPropertyScopeInput, 0},
                                               &uid, &hasUid),
                   0);
         EXPECT_TRUE(hasName && hasUid);
         shown.push_back(name + "|" + uid);
      }
      return shown;
   }

   /// Expects that every call fails with this code and a text that has these parts, and gives nothing.
   void ExpectTrouble(int32_t code, const Texts &parts) {
      CaptureDeviceList cameras(3);
      const Status listed = List(&cameras);
      EXPECT_EQ(listed.code, code) << listed.reason;
      EXPECT_THAT(cameras, IsEmpty());
      std::unique_ptr<AudioHardware> hardware;
      const Status heard = mDevices->audioHardware(&hardware);
      EXPECT_EQ(heard.code, code) << heard.reason;
      EXPECT_EQ(hardware, nullptr);
      const Finding last = mDevices->diagnose().back();
      EXPECT_EQ(last.verdict, Finding::Verdict::Failure);
      EXPECT_NE(last.advice, "");
      for (const std::string &part : parts) {
         EXPECT_THAT(listed.reason, HasSubstr(part));
         EXPECT_THAT(heard.reason, HasSubstr(part));
         EXPECT_THAT(last.result, HasSubstr(part));
      }
   }

   const Watchdog mWatchdog;
   const std::unique_ptr<Devices> mDevices = MakePipewireDevices();
};

TEST_F(PipewireDevices, ItsNameIsPipewire) {
   EXPECT_EQ(mDevices->name(), "pipewire");
}

TEST_F(PipewireDevices, AllFormatsOfACameraAreListed) {
   const PrivatePipewire daemon;
   const VirtualCamera camera(daemon, "cam-1",
                              {"--description", "Desk Camera", "--formats", "NV12,YUY2,MJPG", "--sizes",
                               "1280x720,640x480", "--fps", "30,15,5"});
   const CaptureDeviceList cameras = Cameras();
   ASSERT_THAT(Shown(cameras), ElementsAre("Desk Camera|cam-1"));
   EXPECT_THAT(ShownFormats(*cameras[0]), ElementsAre("420v 1280x720 5-30", "420v 640x480 5-30", "yuvs 1280x720 5-30",
                                                      "yuvs 640x480 5-30", "jpeg 1280x720 5-30", "jpeg 640x480 5-30"));
}

TEST_F(PipewireDevices, ARangeOfSizesIsItsDefaultAndMaximum) {
   const PrivatePipewire daemon;
   const VirtualCamera camera(daemon, "cam-1", {"--range", "640x480,16x16,1920x1080", "--formats", "I420,UYVY"});
   const CaptureDeviceList cameras = Cameras();
   ASSERT_EQ(cameras.size(), 1u);
   EXPECT_THAT(ShownFormats(*cameras[0]),
               ElementsAre("y420 640x480 30-30", "y420 1920x1080 30-30", "2vuy 640x480 30-30", "2vuy 1920x1080 30-30"));
}

TEST_F(PipewireDevices, EveryListingShowsWhatIsThereNow) {
   const PrivatePipewire daemon;
   EXPECT_THAT(Cameras(), IsEmpty());
   EXPECT_THAT(Microphones(), IsEmpty());
   VirtualCamera camera(daemon, "cam-1", {"--description", "Camera"});
   VirtualMicrophone microphone(daemon, "mic-1", {"--description", "Microphone"});
   for (int round = 0; round < 10; ++round) {
      EXPECT_THAT(Shown(Cameras()), ElementsAre("Camera|cam-1"));
      EXPECT_THAT(Microphones(), ElementsAre("Microphone|mic-1"));
      camera.Unplug();
      EXPECT_THAT(Cameras(), IsEmpty());
      EXPECT_THAT(Microphones(), ElementsAre("Microphone|mic-1"));
      microphone.Unplug();
      EXPECT_THAT(Microphones(), IsEmpty());
      camera.Plug();
      microphone.Plug();
   }
   camera.Command("sizes 320x240,160x120");
   EXPECT_THAT(ShownFormats(*Cameras().at(0)), ElementsAre("420v 320x240 30-30", "420v 160x120 30-30"));
}

TEST_F(PipewireDevices, ADeviceWhoseProgramDiesIsGone) {
   const PrivatePipewire daemon;
   VirtualCamera camera(daemon, "cam-1");
   VirtualCamera other(daemon, "cam-2");
   camera.Program().Signal(SIGKILL);
   camera.Program().Wait(std::chrono::seconds(20));
   // The daemon learns of it by its own time.
   while (Cameras().size() == 2) {
      std::this_thread::sleep_for(std::chrono::milliseconds(5));
   }
   EXPECT_THAT(Shown(Cameras()), ElementsAre("cam-2|cam-2"));
}

TEST_F(PipewireDevices, DevicesComeInTheOrderOfTheirAppearance) {
   const PrivatePipewire daemon;
   VirtualCamera first(daemon, "zebra");
   VirtualCamera second(daemon, "ant");
   VirtualCamera third(daemon, "mole");
   EXPECT_THAT(Shown(Cameras()), ElementsAre("zebra|zebra", "ant|ant", "mole|mole"));
   first.Unplug();
   first.Plug();
   EXPECT_THAT(Shown(Cameras()), ElementsAre("ant|ant", "mole|mole", "zebra|zebra"));
}

TEST_F(PipewireDevices, DevicesOfOneNameHaveIdsOfTheirOwn) {
   const PrivatePipewire daemon;
   VirtualCamera first(daemon, "cam", {"--description", "Twin"});
   VirtualCamera second(daemon, "cam", {"--description", "Twin"});
   VirtualCamera third(daemon, "cam", {"--description", "Twin", "--property", "object.path=usb:3"});
   EXPECT_THAT(Shown(Cameras()), ElementsAre("Twin|cam", "Twin|cam (2)", "Twin|cam (usb:3)"));
   EXPECT_THAT(Shown(Cameras()), ElementsAre("Twin|cam", "Twin|cam (2)", "Twin|cam (usb:3)")) << "each time the same";
   const VirtualMicrophone left(daemon, "mic");
   const VirtualMicrophone right(daemon, "mic");
   EXPECT_THAT(Microphones(), ElementsAre("mic|mic", "mic|mic (2)"));
}

TEST_F(PipewireDevices, AnIdSurvivesReplugging) {
   const PrivatePipewire daemon;
   VirtualCamera camera(daemon, "v4l2_input.pci-0000_00_14.0-usb-0_5_1.0", {"--description", "Desk"});
   const Texts before = Shown(Cameras());
   camera.Unplug();
   camera.Plug();
   EXPECT_EQ(Shown(Cameras()), before);
}

TEST_F(PipewireDevices, ScreenCastsAreNoCamerasButVirtualCamerasAre) {
   const PrivatePipewire daemon;
   const VirtualCamera screen(daemon, "screen", {"--property", "media.role=Screen"});
   const VirtualCamera plain(daemon, "no-role", {"--property", "media.role="});
   const VirtualCamera loopback(daemon, "virtual",
                                {"--property", "media.class=Video/Source/Virtual", "--property", "media.role="});
   const VirtualCamera sink(daemon, "sink", {"--property", "media.class=Video/Sink"});
   EXPECT_THAT(Shown(Cameras()), ElementsAre("no-role|no-role", "virtual|virtual"));
}

TEST_F(PipewireDevices, MicrophonesOfAllClassesAreListedAndOutputsAreNot) {
   const PrivatePipewire daemon;
   const VirtualMicrophone plain(daemon, "mic-1", {"--property", "media.role=Communication"});
   const VirtualMicrophone loopback(daemon, "mic-2", {"--property", "media.class=Audio/Source/Virtual"});
   const VirtualMicrophone duplex(daemon, "mic-3", {"--property", "media.class=Audio/Duplex"});
   const VirtualMicrophone sink(daemon, "out-1", {"--property", "media.class=Audio/Sink"});
   EXPECT_THAT(Microphones(), ElementsAre("mic-1|mic-1", "mic-2|mic-2", "mic-3|mic-3"));
   EXPECT_THAT(Cameras(), IsEmpty());
}

TEST_F(PipewireDevices, TheNickNameServesWithoutADescription) {
   const PrivatePipewire daemon;
   const VirtualCamera camera(daemon, "cam-1", {"--property", "node.nick=Nick"});
   EXPECT_THAT(Shown(Cameras()), ElementsAre("Nick|cam-1"));
}

TEST_F(PipewireDevices, TextsOfAnyKindPassUnharmed) {
   const PrivatePipewire daemon;
   const Texts texts = {std::string(300, 'n') + "\xC3\xA9",
                        "caf\xE9 \xFF\xFE broken",
                        "# hash # name #",
                        "\xD7\xA9\xD7\x9C\xD7\x95\xD7\x9D \xE2\x80\x8F right to left",
                        "\xF0\x9F\x93\xB7 camera \xF0\x9F\x8E\xA5",
                        "quotes \" ' \\ and \t tab",
                        std::string(20000, 'x')};
   for (const std::string &text : texts) {
      SCOPED_TRACE(text.substr(0, 40));
      VirtualCamera camera(daemon, text, {"--description", text + "!"});
      VirtualMicrophone microphone(daemon, text, {"--description", text + "!"});
      EXPECT_THAT(Shown(Cameras()), ElementsAre(text + "!|" + text));
      EXPECT_THAT(Microphones(), ElementsAre(text + "!|" + text));
      // The next round wants them gone; a plain end would leave that to the daemon's own time.
      camera.Unplug();
      microphone.Unplug();
   }
}

TEST_F(PipewireDevices, TenOfEach) {
   const PrivatePipewire daemon;
   std::vector<std::unique_ptr<VirtualCamera>> cameras;
   std::vector<std::unique_ptr<VirtualMicrophone>> microphones;
   Texts wantedCameras;
   Texts wantedMicrophones;
   for (int i = 0; i < 10; ++i) {
      const std::string number = std::to_string(i);
      cameras.push_back(std::make_unique<VirtualCamera>(daemon, "cam-" + number));
      microphones.push_back(std::make_unique<VirtualMicrophone>(daemon, "mic-" + number));
      wantedCameras.push_back("cam-" + number + "|cam-" + number);
      wantedMicrophones.push_back("mic-" + number + "|mic-" + number);
   }
   EXPECT_EQ(Shown(Cameras()), wantedCameras);
   EXPECT_EQ(Microphones(), wantedMicrophones);
}

TEST_F(PipewireDevices, AllIsWellInTheDiagnosis) {
   const PrivatePipewire daemon;
   const VirtualCamera camera(daemon, "cam-1", {"--description", "Desk Camera"});
   const VirtualMicrophone microphone(daemon, "mic-1", {"--description", "Desk Microphone"});
   const std::vector<Finding> findings = mDevices->diagnose();
   ASSERT_EQ(findings.size(), 5u);
   for (const Finding &finding : findings) {
      EXPECT_EQ(finding.verdict, Finding::Verdict::Ok) << finding.check << ": " << finding.result;
   }
   EXPECT_THAT(findings[1].result, HasSubstr(daemon.SocketPath()));
   EXPECT_EQ(findings[3].result, "1 camera: Desk Camera.");
   EXPECT_EQ(findings[4].result, "1 microphone: Desk Microphone.");
}

TEST_F(PipewireDevices, WithoutASessionManagerDevicesAreListedAndTheDiagnosisSaysSo) {
   const PrivatePipewire daemon(PrivatePipewire::SessionManager::No);
   const VirtualCamera camera(daemon, "cam-1");
   EXPECT_THAT(Shown(Cameras()), ElementsAre("cam-1|cam-1"));
   const std::vector<Finding> findings = mDevices->diagnose();
   ASSERT_EQ(findings.size(), 5u);
   EXPECT_EQ(findings[2].check, "session manager");
   EXPECT_EQ(findings[2].verdict, Finding::Verdict::Failure);
}

TEST_F(PipewireDevices, WithoutADaemonTheMissingSocketIsNamed) {
   const kit::TempDir folder;
   const kit::ScopedEnvironment environment(
      {{"PIPEWIRE_REMOTE", std::nullopt}, {"PIPEWIRE_RUNTIME_DIR", std::nullopt}, {"XDG_RUNTIME_DIR", folder.Path()}});
   ExpectTrouble(ENOENT, {"here is no PipeWire socket " + (folder / "pipewire-0")});
}

TEST_F(PipewireDevices, WithoutARuntimeFolderTheVariableIsNamed) {
   if (std::filesystem::exists("/run/pipewire/pipewire-0")) {
      GTEST_SKIP() << "this machine has a daemon for the whole system";
   }
   const kit::ScopedEnvironment environment({{"PIPEWIRE_REMOTE", std::nullopt},
                                             {"PIPEWIRE_RUNTIME_DIR", std::nullopt},
                                             {"XDG_RUNTIME_DIR", std::nullopt},
                                             {"USERPROFILE", std::nullopt}});
   ExpectTrouble(ENOENT, {"/run/pipewire/pipewire-0", "XDG_RUNTIME_DIR is not set"});
}

TEST_F(PipewireDevices, ASocketWhereNobodyListensIsNamed) {
   PrivatePipewire daemon;
   daemon.Kill();
   ASSERT_TRUE(std::filesystem::exists(daemon.SocketPath())) << "a killed daemon leaves its socket";
   ExpectTrouble(ECONNREFUSED, {"o PipeWire daemon listens on " + daemon.SocketPath()});
}

/// Root may use every socket: becomes somebody else for its lifetime. An ordinary user stays who he is.
class OrdinaryUser {
public:
   OrdinaryUser()
       : mFormer(geteuid()) {
      EXPECT_EQ(mFormer != 0 ? 0 : seteuid(65534), 0);
   }
   ~OrdinaryUser() { EXPECT_EQ(seteuid(mFormer), 0); }

private:
   const uid_t mFormer;
};

TEST_F(PipewireDevices, ASocketWithoutPermissionIsNamed) {
   const PrivatePipewire daemon;
   ASSERT_EQ(chmod(daemon.Folder().c_str(), 0755), 0);
   ASSERT_EQ(chmod(daemon.SocketPath().c_str(), 0), 0);
   const OrdinaryUser user;
   ExpectTrouble(EACCES, {"o permission to use the PipeWire socket " + daemon.SocketPath()});
}

TEST_F(PipewireDevices, AFolderWithoutPermissionIsNamed) {
   const PrivatePipewire daemon;
   ASSERT_EQ(chmod(daemon.Folder().c_str(), 0), 0);
   {
      const OrdinaryUser user;
      ExpectTrouble(EACCES, {"o permission to use the PipeWire socket " + daemon.SocketPath()});
   }
   EXPECT_EQ(chmod(daemon.Folder().c_str(), 0700), 0);
}

TEST_F(PipewireDevices, WithoutTheClientConfigurationTheCauseIsNamed) {
   const kit::TempDir empty;
   const PrivatePipewire daemon;
   const kit::ScopedEnvironment environment("PIPEWIRE_CONFIG_DIR", empty.Path());
   ExpectTrouble(ENOENT, {"client.conf", "No such file"});
}

TEST_F(PipewireDevices, WithoutTheModulesTheCauseIsNamed) {
   const kit::TempDir empty;
   const PrivatePipewire daemon;
   const kit::ScopedEnvironment environment("PIPEWIRE_MODULE_DIR", empty.Path());
   ExpectTrouble(ENOENT, {"modules", "No such file"});
}

TEST_F(PipewireDevices, WithoutThePluginsTheCauseIsNamed) {
   const kit::TempDir empty;
   const kit::ScopedEnvironment environment("SPA_PLUGIN_DIR", empty.Path());
   ExpectTrouble(ENOENT, {"plugins", "No such file"});
}

TEST_F(PipewireDevices, AFrozenDaemonIsGivenUpAndServesAgainAfterwards) {
   PrivatePipewire daemon;
   const VirtualCamera camera(daemon, "cam-1");
   daemon.Freeze();
   {
      const Watchdog tenSeconds(10);
      ExpectTrouble(ETIMEDOUT, {"PipeWire daemon at " + daemon.SocketPath() + " does not answer"});
   }
   daemon.Thaw();
   EXPECT_THAT(Shown(Cameras()), ElementsAre("cam-1|cam-1"));
}

TEST_F(PipewireDevices, ADaemonThatDiesInTheMiddleIsAStatus) {
   PrivatePipewire daemon;
   const VirtualCamera camera(daemon, "cam-1");
   daemon.Freeze(); // so that the listing is surely waiting when the daemon dies
   std::thread killer([&daemon] {
      std::this_thread::sleep_for(std::chrono::milliseconds(300));
      daemon.Kill();
   });
   CaptureDeviceList cameras(1);
   const Status status = List(&cameras);
   killer.join();
   EXPECT_EQ(status.code, EPIPE);
   EXPECT_EQ(status.reason, "the PipeWire daemon at " + daemon.SocketPath() + " closed the connection");
   EXPECT_THAT(cameras, IsEmpty());
}

TEST_F(PipewireDevices, ADaemonThatDiesAtAnyMomentIsAStatusOrAListing) {
   for (int delay = 0; delay < 8; ++delay) {
      PrivatePipewire daemon(PrivatePipewire::SessionManager::No);
      const VirtualCamera camera(daemon, "cam-1");
      std::thread killer([&daemon, delay] {
         std::this_thread::sleep_for(std::chrono::microseconds(400 * delay));
         daemon.Kill();
      });
      Status status;
      while (status.ok()) {
         CaptureDeviceList cameras;
         status = List(&cameras);
         EXPECT_TRUE(status.code == 0 || status.code == EPIPE || status.code == ECONNREFUSED) << status.reason;
         EXPECT_TRUE(status.ok() || cameras.empty());
      }
      killer.join();
   }
}

TEST_F(PipewireDevices, ASocketThatTakesConnectionsAndSaysNothingIsGivenUp) {
   const kit::TempDir folder;
   const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
   sockaddr_un address{};
   address.sun_family = AF_UNIX;
   std::strncpy(address.sun_path, (folder / "pipewire-0").c_str(), sizeof(address.sun_path) - 1);
   ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
   ASSERT_EQ(listen(listener, 10), 0);
   const kit::ScopedEnvironment environment(
      {{"PIPEWIRE_REMOTE", std::nullopt}, {"PIPEWIRE_RUNTIME_DIR", std::nullopt}, {"XDG_RUNTIME_DIR", folder.Path()}});
   ExpectTrouble(ETIMEDOUT, {"does not answer"});
   close(listener);
}

TEST_F(PipewireDevices, RubbishFromTheSocketIsAStatus) {
   const kit::TempDir folder;
   const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
   sockaddr_un address{};
   address.sun_family = AF_UNIX;
   std::strncpy(address.sun_path, (folder / "pipewire-0").c_str(), sizeof(address.sun_path) - 1);
   ASSERT_EQ(bind(listener, reinterpret_cast<sockaddr *>(&address), sizeof(address)), 0);
   ASSERT_EQ(listen(listener, 10), 0);
   const kit::ScopedEnvironment environment(
      {{"PIPEWIRE_REMOTE", std::nullopt}, {"PIPEWIRE_RUNTIME_DIR", std::nullopt}, {"XDG_RUNTIME_DIR", folder.Path()}});
   std::thread talker([listener] {
      const int connection = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
      const std::string rubbish(4096, '\xFF');
      EXPECT_GT(send(connection, rubbish.data(), rubbish.size(), MSG_NOSIGNAL), 0);
      close(connection);
   });
   CaptureDeviceList cameras(1);
   const Status status = List(&cameras);
   talker.join();
   EXPECT_FALSE(status.ok());
   EXPECT_THAT(cameras, IsEmpty());
   close(listener);
}

TEST_F(PipewireDevices, AThousandListingsLeaveNothingBehind) {
   const PrivatePipewire daemon;
   const VirtualCamera camera(daemon, "cam-1", {"--formats", "NV12,YUY2,MJPG", "--sizes", "1280x720,640x480"});
   const VirtualMicrophone microphone(daemon, "mic-1");
   const Watchdog watchdog(300);
   const auto listBoth = [this] {
      ASSERT_EQ(Cameras().size(), 1u);
      ASSERT_EQ(Microphones().size(), 1u);
   };
   for (int i = 0; i < 50; ++i) {
      listBoth();
   }
   const kit::Holdings before = kit::Holdings::Now();
   for (int i = 0; i < 500 && !HasFatalFailure(); ++i) {
      listBoth();
   }
   const kit::Holdings after = kit::Holdings::After(before);
   EXPECT_EQ(after.descriptors, before.descriptors);
   EXPECT_LE(after.threads, before.threads);
#if !defined(MAVR_SANITIZED)
   // A sanitizer keeps what was freed.
   EXPECT_LE(after.residentKb, before.residentKb + 512);
#endif
}

TEST_F(PipewireDevices, FailedListingsLeaveNothingBehind) {
   const kit::TempDir folder;
   const kit::ScopedEnvironment environment(
      {{"PIPEWIRE_REMOTE", std::nullopt}, {"PIPEWIRE_RUNTIME_DIR", std::nullopt}, {"XDG_RUNTIME_DIR", folder.Path()}});
   CaptureDeviceList cameras;
   EXPECT_FALSE(List(&cameras).ok());
   const kit::Holdings before = kit::Holdings::Now();
   for (int i = 0; i < 200; ++i) {
      EXPECT_FALSE(List(&cameras).ok());
   }
   const kit::Holdings after = kit::Holdings::After(before);
   EXPECT_EQ(after.descriptors, before.descriptors);
   EXPECT_LE(after.threads, before.threads);
}

/// Open descriptors that a program started now would inherit.
std::set<std::string> Inheritable() {
   constexpr unsigned long kCloseOnExec = 02000000; // as the kernel prints it
   std::set<std::string> inheritable;
   for (const auto &entry : std::filesystem::directory_iterator("/proc/self/fdinfo")) {
      std::ifstream info(entry.path());
      for (std::string line; std::getline(info, line);) {
         if (line.starts_with("flags:") && (std::stoul(line.substr(6), nullptr, 8) & kCloseOnExec) == 0) {
            inheritable.insert(entry.path().filename());
         }
      }
   }
   return inheritable;
}

TEST_F(PipewireDevices, TheDescriptorsOfAListingAreNotInherited) {
   PrivatePipewire daemon;
   const std::set<std::string> before = Inheritable();
   daemon.Freeze(); // so that a listing holds all its descriptors while they are looked at
   const size_t descriptors = kit::Holdings::Now().descriptors;
   std::thread listing([this] {
      CaptureDeviceList cameras;
      EXPECT_EQ(List(&cameras).code, ETIMEDOUT);
   });
   std::this_thread::sleep_for(std::chrono::milliseconds(500));
   EXPECT_GT(kit::Holdings::Now().descriptors, descriptors);
   EXPECT_EQ(Inheritable(), before);
   listing.join();
}

} // namespace
} // namespace osal
