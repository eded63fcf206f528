#include "mmdr/mmdr.h"

#include "tests/kit/Holdings.h"
#include "tests/kit/PrivatePipewire.h"
#include "tests/kit/TempDir.h"

#include <fstream>
#include <gtest/gtest.h>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

// The ten functions as a host calls them, on the cameras and microphones of a private PipeWire daemon.
class ExportsOnPipewire : public testing::Test {
protected:
   void SetUp() override {
      if (const std::string missing = kit::PrivatePipewire::Missing(); !missing.empty()) {
         GTEST_SKIP() << missing;
      }
      mDaemon.emplace();
      mEnvironment.emplace(kit::ScopedEnvironment::Variables{
         {"XDG_CONFIG_HOME", mFolder / "config"}, {"XDG_STATE_HOME", mFolder / "state"}, {"MAVR_OSAL", std::nullopt}});
   }

   kit::TempDir mFolder;
   std::optional<kit::PrivatePipewire> mDaemon;
   std::optional<kit::ScopedEnvironment> mEnvironment;
};

MmdrHandle *Open() {
   MmdrHandle *handle = nullptr;
   EXPECT_EQ(Mmdr_Init(1, &handle), MMDR_OK);
   return handle;
}

std::vector<MmdrDevEntry> List(MmdrHandle *handle, int32_t type) {
   std::vector<MmdrDevEntry> entries(16);
   uint32_t count = 0;
   EXPECT_EQ(Mmdr_EnumDevices(handle, type, static_cast<uint32_t>(entries.size() * sizeof(MmdrDevEntry)),
                              reinterpret_cast<char *>(entries.data()), &count),
             MMDR_OK);
   entries.resize(count);
   return entries;
}

TEST_F(ExportsOnPipewire, ListAndResolveWhatIsPluggedIn) {
   kit::VirtualCamera camera(*mDaemon, "cam-a", {"--description", "Desk Camera"});
   const kit::VirtualCamera other(*mDaemon, "cam-b", {"--description", "Desk Camera"});
   const kit::VirtualMicrophone microphone(*mDaemon, "mic-a", {"--description", "Desk Microphone"});
   MmdrHandle *const handle = Open();

   const auto cameras = List(handle, MMDR_DEV_VIDEO);
   ASSERT_EQ(cameras.size(), 2u);
   EXPECT_STREQ(cameras[0].name, "Desk Camera");
   EXPECT_STREQ(cameras[0].userId, "Desk Camera#cam-a");
   EXPECT_STREQ(cameras[1].name, "Desk Camera 2");
   const auto microphones = List(handle, MMDR_DEV_AUDIO);
   ASSERT_EQ(microphones.size(), 1u);
   EXPECT_STREQ(microphones[0].userId, "Desk Microphone#mic-a");

   char name[260] = {};
   ASSERT_EQ(Mmdr_SetPrefDev(handle, MMDR_DEV_VIDEO, "cam-a", nullptr), MMDR_OK);
   ASSERT_EQ(Mmdr_GetPrefDev(handle, MMDR_DEV_VIDEO, MMDR_SELECT_NAME, name), MMDR_OK);
   EXPECT_STREQ(name, "Desk Camera");
   camera.Unplug();
   EXPECT_EQ(Mmdr_GetPrefDev(handle, MMDR_DEV_VIDEO, MMDR_SELECT_NAME, name), MMDR_ERR_NO_DATA);
   EXPECT_EQ(List(handle, MMDR_DEV_VIDEO).size(), 1u);
   Mmdr_Uninit(handle);
}

TEST_F(ExportsOnPipewire, ADeadDaemonLeavesNoDevicesAndOneErrorLineForEachListing) {
   const kit::VirtualCamera camera(*mDaemon, "cam-a");
   MmdrHandle *const handle = Open();
   EXPECT_EQ(List(handle, MMDR_DEV_VIDEO).size(), 1u);
   mDaemon->Kill();
   EXPECT_TRUE(List(handle, MMDR_DEV_VIDEO).empty());
   EXPECT_TRUE(List(handle, MMDR_DEV_AUDIO).empty());
   Mmdr_Uninit(handle);

   const std::string log =
      kit::ReadFile(mFolder / ("state/Logs/Corvane/zenthar-MAVR-" + std::to_string(getpid()) + ".log"));
   const auto count = [&](const std::string &text) {
      int times = 0;
      for (size_t at = log.find(text); at != std::string::npos; at = log.find(text, at + 1)) {
         ++times;
      }
      return times;
   };
   EXPECT_EQ(count("Failed to list the cameras: "), 1) << log;
   EXPECT_EQ(count("Failed to list the microphones: "), 1) << log;
   EXPECT_EQ(count("Wa(03)"), 2) << log; // an ERROR of the component log is a warning in the file
}

TEST_F(ExportsOnPipewire, AThousandLivesOfAHandleLeaveNothingBehindAndOpenNoCamera) {
   const kit::VirtualCamera camera(*mDaemon, "cam-a", {"--description", "Desk Camera"});
   const kit::VirtualMicrophone microphone(*mDaemon, "mic-a");
   const auto live = [] {
      MmdrHandle *const handle = Open();
      char text[260] = {};
      uint32_t option = 0;
      uint8_t enabled = 0;
      EXPECT_EQ(Mmdr_GetLibVersion(), 2u);
      EXPECT_EQ(Mmdr_IsValid(handle), MMDR_OK);
      EXPECT_EQ(List(handle, MMDR_DEV_VIDEO).size(), 1u);
      EXPECT_EQ(List(handle, MMDR_DEV_AUDIO).size(), 1u);
      EXPECT_EQ(Mmdr_SetPrefDev(handle, MMDR_DEV_VIDEO, "cam-a", "Desk Camera"), MMDR_OK);
      const int32_t preferred = Mmdr_GetPrefDev(handle, MMDR_DEV_VIDEO, MMDR_SELECT_USER_ID, text);
      EXPECT_TRUE(preferred == MMDR_OK || preferred == MMDR_ERR_NO_DATA);
      EXPECT_EQ(Mmdr_SetAudioInSelectOption(handle, 2), MMDR_OK);
      EXPECT_EQ(Mmdr_GetAudioInSelectOption(handle, &option), MMDR_OK);
      EXPECT_EQ(Mmdr_IsEnabled(handle, &enabled), MMDR_OK);
      Mmdr_Uninit(handle);
   };
#if defined(MAVR_SANITIZED)
   constexpr int kLives = 100; // each costs ten times as much, and memory says nothing
#else
   constexpr int kLives = 1000;
#endif
   for (int i = 0; i < kLives / 2; ++i) { // until the heap has found its size
      live();
   }
   const kit::Holdings before = kit::Holdings::Now();
   for (int i = 0; i < kLives; ++i) {
      live();
   }
   const kit::Holdings after = kit::Holdings::After(before);
   EXPECT_LE(after.threads, before.threads);
   EXPECT_EQ(after.descriptors, before.descriptors);
#if !defined(MAVR_SANITIZED)
   // A leak of 100 bytes in each life would be 100 KiB; the heap's own unrest is less than that.
   EXPECT_LT(after.residentKb, before.residentKb + 96);
#endif
   EXPECT_EQ(camera.Output().find("state streaming"), std::string::npos) << camera.Output();
}

} // namespace
