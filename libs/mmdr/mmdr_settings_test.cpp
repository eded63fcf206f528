#include "mmdr/mmdr.h"

#include "osal/Platform.h"
#include "tests/kit/FakeDevices.h"
#include "tests/kit/TempDir.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>

namespace {

// The exported functions with the settings file on disk below them, where texts and files can be what they like.
class MmdrOnDisk : public ::testing::Test {
protected:
   MmdrOnDisk() {
      setenv("XDG_STATE_HOME", folder.Path().c_str(), 1);
      setenv("XDG_CONFIG_HOME", folder.Path().c_str(), 1);
      EXPECT_EQ(Mmdr_Init(1, &handle), MMDR_OK);
   }
   ~MmdrOnDisk() override { Mmdr_Uninit(handle); }

   MmdrDevEntry OnlyEntry(int32_t type) {
      MmdrDevEntry entry{};
      uint32_t count = 0;
      EXPECT_EQ(Mmdr_EnumDevices(handle, type, sizeof entry, reinterpret_cast<char *>(&entry), &count), MMDR_OK);
      EXPECT_EQ(count, 1u);
      return entry;
   }

   // The user id of the preferred device; asked for some times, as the conversion buffer grows with each.
   std::string Preferred(int32_t type) {
      char out[260] = {};
      for (int i = 0; i < 5 && Mmdr_GetPrefDev(handle, type, MMDR_SELECT_USER_ID, out) != MMDR_OK; ++i) {
      }
      return out;
   }

   std::string SettingsText() const { return kit::ReadFile(folder / "corvane/com.corvane.mavr.plist"); }

   kit::TempDir folder;
   kit::FakeDevices fake;
   osal::ScopedDevices inForce{fake};
   MmdrHandle *handle = nullptr;
};

std::string Repeated(const std::string &text, size_t bytes) {
   std::string repeated;
   while (repeated.size() < bytes) {
      repeated += text;
   }
   return repeated;
}

TEST_F(MmdrOnDisk, AListedDeviceOfAnyNameCanBePreferredByItsEntry) {
   const std::string camera = "\xf0\x9f\x93\xb7";                         // 4 bytes
   const std::string hebrew = "\xd7\x9e\xd7\xa6\xd7\x9c\xd7\x9e\xd7\x94"; // right to left
   const std::string euro = "\xe2\x82\xac";
   const std::pair<std::string, std::string> devices[] = {
      {"", ""},
      {"", "id"},
      {"name", ""},
      {"A # B#", "#i#d#"},
      {"<R&D> \"'%s%n\\", "/dev/video0"},
      {camera, camera},
      {hebrew + " \xe2\x80\xae" + hebrew, hebrew},
      {Repeated("n", 300), "id"},
      {Repeated(camera, 300), "id"}, // the user id is cut inside a character, as is the name
      {"x" + Repeated(euro, 300), "id"},
      {"xy" + Repeated(euro, 300), "id"},
      {Repeated(hebrew, 300), Repeated(euro, 300)},
      {"short", Repeated(camera, 300)},
   };
   for (const auto &[name, id] : devices) {
      fake.cameras = {kit::Camera(name, id)};
      fake.microphones = {{name, id}};
      for (const int32_t type : {MMDR_DEV_VIDEO, MMDR_DEV_AUDIO}) {
         const MmdrDevEntry entry = OnlyEntry(type);
         EXPECT_EQ(Mmdr_SetPrefDev(handle, type, entry.userId, entry.name), MMDR_OK);
         EXPECT_EQ(Preferred(type), std::string(entry.userId)) << testing::PrintToString(name);
         EXPECT_EQ(Mmdr_SetPrefDev(handle, type, nullptr, nullptr), MMDR_OK);
         EXPECT_EQ(Preferred(type), "");
      }
   }
}

TEST_F(MmdrOnDisk, OtherIllFormedTextIsNotStoredAndWhatWasThereStays) {
   fake.cameras = {kit::Camera("Good", "g"), kit::Camera("\xff!", "\xff?")};
   EXPECT_EQ(Mmdr_SetPrefDev(handle, MMDR_DEV_VIDEO, "Good#g", "Good"), MMDR_OK);
   const std::string before = SettingsText();
   EXPECT_EQ(Mmdr_SetPrefDev(handle, MMDR_DEV_VIDEO, "\xff!#\xff?", "\xff!"), MMDR_OK);
   EXPECT_EQ(SettingsText(), before);
   EXPECT_EQ(Preferred(MMDR_DEV_VIDEO), "Good#g");
}

TEST_F(MmdrOnDisk, ADamagedFileReadsAsNothingStoredAndTakesWrites) {
   uint32_t option = 9;
   EXPECT_EQ(Mmdr_SetAudioInSelectOption(handle, 2), MMDR_OK);
   kit::WriteFile(folder / "corvane/com.corvane.mavr.plist", SettingsText().substr(0, 150));
   EXPECT_EQ(Mmdr_GetAudioInSelectOption(handle, &option), MMDR_OK);
   EXPECT_EQ(option, 0u);
   EXPECT_EQ(Mmdr_SetAudioInSelectOption(handle, 1), MMDR_OK);
   EXPECT_EQ(Mmdr_GetAudioInSelectOption(handle, &option), MMDR_OK);
   EXPECT_EQ(option, 1u);
   EXPECT_EQ(kit::ReadFile(folder / "corvane/com.corvane.mavr.plist.damaged").size(), 150u);
}

TEST_F(MmdrOnDisk, ValuesOfAnotherTypeCountAsNotStored) {
   fake.cameras = {kit::Camera("1", "1")};
   std::filesystem::create_directories(folder / "corvane");
   kit::WriteFile(
      folder / "corvane/com.corvane.mavr.plist",
      "<plist version=\"1.0\"><dict><key>srcWCamId</key><integer>1</integer><key>srcWCamName</key><true/>"
      "<key>srcAudioInOption</key><string>2</string><key>IsDisabled</key><integer>1</integer></dict></plist>");
   uint32_t option = 9;
   EXPECT_EQ(Mmdr_GetAudioInSelectOption(handle, &option), MMDR_OK);
   EXPECT_EQ(option, 0u);
   uint8_t enabled = 9;
   EXPECT_EQ(Mmdr_IsEnabled(handle, &enabled), MMDR_OK);
   EXPECT_EQ(enabled, 1);
   EXPECT_EQ(Preferred(MMDR_DEV_VIDEO), "");
}

} // namespace
