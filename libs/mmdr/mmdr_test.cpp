#include "mmdr/mmdr.h"

#include "lib/mfw/common/logger.h"
#include "libs/mmdr/MmdrHandle.h"
#include "libs/mmdr/mmdr_c99_test.h"
#include "libs/utils/ConfigSettings.h"
#include "osal/Platform.h"
#include "tests/kit/FakeDevices.h"
#include "tests/kit/FakePreferences.h"
#include "tests/kit/TempDir.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <vector>

static_assert(sizeof(MmdrDevEntry) == 520);
static_assert(offsetof(MmdrDevEntry, userId) == 0 && offsetof(MmdrDevEntry, name) == 260);

namespace {
bool gNoMemory = false;
}

// The program's own, so that a test can let the handle find no memory.
void *operator new(std::size_t size, const std::nothrow_t &) noexcept {
   return gNoMemory ? nullptr : ::operator new(size);
}

namespace {

constexpr int32_t kBadTypes[] = {0, 3, -1, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()};

std::string Text(const char (&field)[260]) {
   return {field, strnlen(field, 260)};
}

class Mmdr : public ::testing::Test {
protected:
   Mmdr() {
      // The log goes to a folder of the test's own.
      setenv("XDG_STATE_HOME", folder.Path().c_str(), 1);
      setenv("XDG_CONFIG_HOME", folder.Path().c_str(), 1);
   }

   MmdrHandle *Open() {
      MmdrHandle *handle = nullptr;
      EXPECT_EQ(Mmdr_Init(1, &handle), MMDR_OK);
      return handle;
   }

   // Lists by the two-call protocol into entries that were zeroed before.
   std::vector<MmdrDevEntry> Enumerate(MmdrHandle *handle, int32_t type) {
      uint32_t count = 0;
      const int32_t code = Mmdr_EnumDevices(handle, type, 0, nullptr, &count);
      EXPECT_EQ(code, count == 0 ? MMDR_OK : MMDR_ERR_BUFFER_TOO_SMALL);
      std::vector<MmdrDevEntry> entries(count);
      if (count > 0) {
         EXPECT_EQ(Mmdr_EnumDevices(handle, type, count * 520, reinterpret_cast<char *>(entries.data()), &count),
                   MMDR_OK);
      }
      return entries;
   }

   std::string Preferred(MmdrHandle *handle, int32_t type, int32_t select) {
      char out[260] = {};
      const int32_t code = Mmdr_GetPrefDev(handle, type, select, out);
      EXPECT_TRUE(code == MMDR_OK || code == MMDR_ERR_NO_DATA) << code;
      return code == MMDR_OK ? out : "(none)";
   }

   kit::TempDir folder;
   kit::FakePreferences store;
   kit::FakeDevices fake;
   osal::ScopedDevices inForce{fake};
};

// ---- Version, handle ----

TEST_F(Mmdr, VersionIs2AndNeedsNoHandle) {
   EXPECT_EQ(Mmdr_GetLibVersion(), 2u);
}

TEST_F(Mmdr, InitTestsThePointerBeforeTheMode) {
   EXPECT_EQ(Mmdr_Init(1, nullptr), MMDR_ERR_INVALID_ARG);
   EXPECT_EQ(Mmdr_Init(3, nullptr), MMDR_ERR_INVALID_ARG);
   MmdrHandle other{};
   MmdrHandle *const untouched = &other;
   for (const int32_t mode : kBadTypes) {
      MmdrHandle *handle = untouched;
      EXPECT_EQ(Mmdr_Init(mode, &handle), MMDR_ERR_INVALID_MODE) << mode;
      EXPECT_EQ(handle, untouched);
   }
   EXPECT_FALSE(ConfigSettings::IsInitialised()) << "nothing process-wide is touched";
}

TEST_F(Mmdr, InitTakesBothModesAndMakesALiveHandle) {
   for (const int32_t mode : {1, 2}) {
      MmdrHandle *handle = nullptr;
      ASSERT_EQ(Mmdr_Init(mode, &handle), MMDR_OK);
      EXPECT_EQ(Mmdr_IsValid(handle), MMDR_OK);
      EXPECT_EQ(std::memcmp(handle, "mmdr", 4), 0) << "as the characters stand in memory";
      EXPECT_EQ(handle->count.load(), 1);
      EXPECT_EQ(handle->mode, mode);
      Mmdr_Uninit(handle);
   }
}

TEST_F(Mmdr, InitWithoutMemoryTouchesNothing) {
   MmdrHandle *handle = nullptr;
   gNoMemory = true;
   const int32_t code = Mmdr_Init(1, &handle);
   gNoMemory = false;
   EXPECT_EQ(code, MMDR_ERR_NO_MEMORY);
   EXPECT_EQ(handle, nullptr);
   EXPECT_FALSE(ConfigSettings::IsInitialised());
   Mmdr_Uninit(Open());
}

TEST_F(Mmdr, EveryFunctionRefusesNullForeignAndReleasedHandles) {
   alignas(8) char foreign[sizeof(MmdrHandle)] = "rdmm, no handle";
   MmdrHandle released{};
   released.Enliven(1);
   released.count.store(0);
   MmdrHandle negative{};
   negative.Enliven(1);
   negative.count.store(-1);
   const std::unique_ptr<char[]> four(new char[4]{'m', 'm', 'd', 's'}); // nothing behind these may be read
   MmdrHandle *const bad[] = {nullptr, reinterpret_cast<MmdrHandle *>(foreign),
                              reinterpret_cast<MmdrHandle *>(four.get()), &released, &negative};
   char out[260] = {};
   uint32_t number = 77;
   uint8_t enabled = 77;
   MmdrHandle *const live = Open();
   const auto before = store.Snapshot();
   for (MmdrHandle *const handle : bad) {
      EXPECT_EQ(Mmdr_IsValid(handle), MMDR_ERR_INVALID_HANDLE);
      EXPECT_EQ(Mmdr_EnumDevices(handle, MMDR_DEV_VIDEO, 0, nullptr, &number), MMDR_ERR_INVALID_HANDLE);
      EXPECT_EQ(Mmdr_GetPrefDev(handle, 9, 9, nullptr), MMDR_ERR_INVALID_HANDLE);
      EXPECT_EQ(Mmdr_GetPrefDev(handle, 1, 0, out), MMDR_ERR_INVALID_HANDLE);
      EXPECT_EQ(Mmdr_SetPrefDev(handle, 1, "id", "name"), MMDR_ERR_INVALID_HANDLE);
      EXPECT_EQ(Mmdr_SetPrefDev(handle, 9, "id", "name"), MMDR_ERR_INVALID_HANDLE);
      EXPECT_EQ(Mmdr_SetAudioInSelectOption(handle, 1), MMDR_ERR_INVALID_HANDLE);
      EXPECT_EQ(Mmdr_GetAudioInSelectOption(handle, &number), MMDR_ERR_INVALID_HANDLE);
      EXPECT_EQ(Mmdr_GetAudioInSelectOption(handle, nullptr), MMDR_ERR_INVALID_HANDLE);
      EXPECT_EQ(Mmdr_IsEnabled(handle, &enabled), MMDR_ERR_INVALID_HANDLE);
      Mmdr_Uninit(handle);
      EXPECT_TRUE(ConfigSettings::IsInitialised()) << "a bad handle ends nothing";
   }
   EXPECT_EQ(number, 77u);
   EXPECT_EQ(enabled, 77);
   EXPECT_EQ(store.Snapshot(), before);
   EXPECT_EQ(fake.discoveries, 0);
   Mmdr_Uninit(live);
}

TEST_F(Mmdr, RequiredUninitWithAReferenceLeftClosesTheSettingsAndKeepsTheHandle) {
   MmdrHandle *const handle = Open();
   handle->count.store(2);
   Mmdr_Uninit(handle);
   EXPECT_EQ(Mmdr_IsValid(handle), MMDR_OK);
   EXPECT_FALSE(ConfigSettings::IsInitialised());
   Mmdr_Uninit(handle);
}

TEST_F(Mmdr, RequiredASecondHandleWorksUntilEitherIsReleased) {
   MmdrHandle *const first = Open();
   MmdrHandle *const second = Open();
   EXPECT_NE(first, second);
   uint32_t option = 0;
   EXPECT_EQ(Mmdr_SetAudioInSelectOption(first, 2), MMDR_OK);
   EXPECT_EQ(Mmdr_GetAudioInSelectOption(second, &option), MMDR_OK);
   EXPECT_EQ(option, 2u);
   Mmdr_Uninit(first);
   EXPECT_EQ(Mmdr_IsValid(second), MMDR_OK);
   EXPECT_EQ(Mmdr_GetAudioInSelectOption(second, &option), MMDR_OK);
   EXPECT_EQ(option, 0u) << "the release of either closes the settings for both";
   Mmdr_Uninit(second);
}

TEST_F(Mmdr, RequiredInitAfterUninitRunsWithDefaultsAndDropsWrites) {
   store.Set("IsDisabled", true);
   store.Set("srcAudioInOption", int64_t{2});
   MmdrHandle *handle = Open();
   uint8_t enabled = 9;
   EXPECT_EQ(Mmdr_IsEnabled(handle, &enabled), MMDR_OK);
   EXPECT_EQ(enabled, 0);
   Mmdr_Uninit(handle);
   handle = Open();
   EXPECT_EQ(Mmdr_IsValid(handle), MMDR_OK);
   EXPECT_EQ(Mmdr_IsEnabled(handle, &enabled), MMDR_OK);
   EXPECT_EQ(enabled, 1);
   uint32_t option = 9;
   EXPECT_EQ(Mmdr_GetAudioInSelectOption(handle, &option), MMDR_OK);
   EXPECT_EQ(option, 0u);
   EXPECT_EQ(Mmdr_SetAudioInSelectOption(handle, 1), MMDR_OK) << "dropped, and reported as stored";
   EXPECT_EQ(std::get<int64_t>(store.Snapshot().at("srcAudioInOption")), 2);
   fake.cameras = {kit::Camera("Cam", "a")};
   EXPECT_EQ(Enumerate(handle, MMDR_DEV_VIDEO).size(), 1u) << "devices are listed all the same";
   Mmdr_Uninit(handle);
}

// ---- Mmdr_EnumDevices ----

TEST_F(Mmdr, EnumTestsTheTypeBeforeTheHandle) {
   MmdrHandle *const handle = Open();
   uint32_t count = 77;
   for (const int32_t type : kBadTypes) {
      EXPECT_EQ(Mmdr_EnumDevices(nullptr, type, 0, nullptr, &count), MMDR_ERR_INVALID_ARG) << type;
      EXPECT_EQ(Mmdr_EnumDevices(handle, type, 0, nullptr, &count), MMDR_ERR_INVALID_ARG) << type;
   }
   EXPECT_EQ(count, 77u);
   Mmdr_Uninit(handle);
}

TEST_F(Mmdr, EnumListsEachKindInListOrder) {
   fake.cameras = {kit::Camera("Cam", "b"), kit::Camera("Cam", "a")};
   fake.microphones = {{"Mic", "m"}, {"Speaker", "s", 0}};
   MmdrHandle *const handle = Open();
   const auto cameras = Enumerate(handle, MMDR_DEV_VIDEO);
   ASSERT_EQ(cameras.size(), 2u);
   EXPECT_EQ(Text(cameras[0].userId), "Cam#a");
   EXPECT_EQ(Text(cameras[0].name), "Cam");
   EXPECT_EQ(Text(cameras[1].userId), "Cam#b");
   EXPECT_EQ(Text(cameras[1].name), "Cam 2");
   const auto microphones = Enumerate(handle, MMDR_DEV_AUDIO);
   ASSERT_EQ(microphones.size(), 1u);
   EXPECT_EQ(Text(microphones[0].userId), "Mic#m");
   Mmdr_Uninit(handle);
}

TEST_F(Mmdr, EnumOfNoDevicesIsOkWithAnyBuffer) {
   MmdrHandle *const handle = Open();
   for (const int32_t type : {MMDR_DEV_VIDEO, MMDR_DEV_AUDIO}) {
      uint32_t count = 77;
      EXPECT_EQ(Mmdr_EnumDevices(handle, type, 0, nullptr, &count), MMDR_OK);
      EXPECT_EQ(count, 0u);
      char byte = 'x';
      EXPECT_EQ(Mmdr_EnumDevices(handle, type, 1, &byte, &count), MMDR_OK);
      EXPECT_EQ(byte, 'x');
   }
   Mmdr_Uninit(handle);
}

TEST_F(Mmdr, EnumTakesTheExactSizeAndNotOneByteLess) {
   fake.cameras = {kit::Camera("A", "a"), kit::Camera("B", "b")};
   MmdrHandle *const handle = Open();
   std::vector<char> buffer(2 * 520 + 1, 'x');
   for (const uint32_t size : {0u, 1u, 519u, 520u, 521u, 1039u}) {
      uint32_t count = 0;
      EXPECT_EQ(Mmdr_EnumDevices(handle, 1, size, buffer.data(), &count), MMDR_ERR_BUFFER_TOO_SMALL) << size;
      EXPECT_EQ(count, 2u) << "the count is written all the same";
      EXPECT_EQ(std::count(buffer.begin(), buffer.end(), 'x'), 1041) << "and no entry is";
   }
   uint32_t count = 0;
   EXPECT_EQ(Mmdr_EnumDevices(handle, 1, 0xFFFFFFFFu, nullptr, &count), MMDR_ERR_BUFFER_TOO_SMALL);
   EXPECT_EQ(Mmdr_EnumDevices(handle, 1, 1040, buffer.data(), &count), MMDR_OK);
   EXPECT_EQ(buffer[1040], 'x');
   EXPECT_EQ(Mmdr_EnumDevices(handle, 1, 1041, buffer.data(), &count), MMDR_OK);
   EXPECT_EQ(buffer[1040], 'x') << "a larger buffer is filled as far as needed";
   Mmdr_Uninit(handle);
}

TEST_F(Mmdr, EntryIsPaddedWithZerosAndByte259StaysTheCallers) {
   fake.cameras = {kit::Camera("Cam", "id")};
   MmdrHandle *const handle = Open();
   std::array<char, 520> entry;
   entry.fill('x');
   uint32_t count = 0;
   ASSERT_EQ(Mmdr_EnumDevices(handle, 1, 520, entry.data(), &count), MMDR_OK);
   std::array<char, 520> wanted{};
   std::memcpy(&wanted[0], "Cam#id", 6);
   std::memcpy(&wanted[260], "Cam", 3);
   wanted[259] = 'x';
   wanted[519] = 'x';
   EXPECT_EQ(entry, wanted);
   Mmdr_Uninit(handle);
}

TEST_F(Mmdr, TextsOf259BytesAndMoreHaveNoTerminator) {
   MmdrHandle *const handle = Open();
   for (const size_t length : {size_t{258}, size_t{259}, size_t{260}, size_t{300}, size_t{100'000}}) {
      fake.cameras = {kit::Camera(std::string(length, 'n'), "id")};
      std::array<char, 520> entry;
      entry.fill('x');
      uint32_t count = 0;
      ASSERT_EQ(Mmdr_EnumDevices(handle, 1, 520, entry.data(), &count), MMDR_OK);
      EXPECT_EQ(std::string(&entry[260], 258), std::string(258, 'n'));
      EXPECT_EQ(entry[518], length == 258 ? '\0' : 'n');
      EXPECT_EQ(entry[519], 'x') << length;
      EXPECT_EQ(entry[259], 'x');
   }
   Mmdr_Uninit(handle);
}

TEST_F(Mmdr, ATextEndsAtItsFirstZeroByteAndIsPaddedFromThere) {
   fake.cameras = {kit::Camera(std::string("a\0b", 3), "id")};
   MmdrHandle *const handle = Open();
   std::array<char, 520> entry;
   entry.fill('x');
   uint32_t count = 0;
   ASSERT_EQ(Mmdr_EnumDevices(handle, 1, 520, entry.data(), &count), MMDR_OK);
   EXPECT_EQ(std::string(&entry[260], 260), "a" + std::string(258, '\0') + "x");
   Mmdr_Uninit(handle);
}

TEST_F(Mmdr, RequiredALongTextIsCutAtTheByteAlsoInsideACharacter) {
   MmdrHandle *const handle = Open();
   fake.cameras = {kit::Camera(std::string(258, 'n') + "\xc3\xa4", "id"), kit::Camera("\xff\xfe", std::string("z"))};
   const auto entries = Enumerate(handle, MMDR_DEV_VIDEO);
   ASSERT_EQ(entries.size(), 2u);
   EXPECT_EQ(Text(entries[0].name), std::string(258, 'n') + "\xc3");
   EXPECT_EQ(Text(entries[1].name), "\xff\xfe") << "ill-formed text passes through";
   Mmdr_Uninit(handle);
}

TEST_F(Mmdr, DevicesThatComeAndGoBetweenTheTwoCalls) {
   fake.cameras = {kit::Camera("A", "a"), kit::Camera("B", "b")};
   MmdrHandle *const handle = Open();
   uint32_t count = 0;
   EXPECT_EQ(Mmdr_EnumDevices(handle, 1, 0, nullptr, &count), MMDR_ERR_BUFFER_TOO_SMALL);
   std::vector<char> buffer(count * 520, 'x');
   fake.cameras.push_back(kit::Camera("C", "c"));
   EXPECT_EQ(Mmdr_EnumDevices(handle, 1, static_cast<uint32_t>(buffer.size()), buffer.data(), &count),
             MMDR_ERR_BUFFER_TOO_SMALL);
   EXPECT_EQ(count, 3u);
   fake.cameras.resize(1);
   EXPECT_EQ(Mmdr_EnumDevices(handle, 1, static_cast<uint32_t>(buffer.size()), buffer.data(), &count), MMDR_OK);
   EXPECT_EQ(count, 1u);
   EXPECT_EQ(std::count(buffer.begin() + 520, buffer.end(), 'x'), 520);
   fake.cameras.clear();
   EXPECT_EQ(Mmdr_EnumDevices(handle, 1, static_cast<uint32_t>(buffer.size()), buffer.data(), &count), MMDR_OK);
   EXPECT_EQ(count, 0u);
   Mmdr_Uninit(handle);
}

TEST_F(Mmdr, APlatformThatFailsHasNoDevices) {
   fake.cameras = {kit::Camera("A", "a")};
   fake.microphones = {{"M", "m"}};
   fake.discoveryStatus = osal::Status::Error(1, "no answer");
   fake.audioStatus = osal::Status::Error(1, "no answer");
   MmdrHandle *const handle = Open();
   EXPECT_TRUE(Enumerate(handle, MMDR_DEV_VIDEO).empty());
   EXPECT_TRUE(Enumerate(handle, MMDR_DEV_AUDIO).empty());
   Mmdr_Uninit(handle);
}

TEST_F(Mmdr, TwoHundredDevices) {
   for (int i = 0; i < 200; ++i) {
      fake.microphones.push_back({"Mic", "id" + std::to_string(1000 + i)});
   }
   MmdrHandle *const handle = Open();
   const auto entries = Enumerate(handle, MMDR_DEV_AUDIO);
   ASSERT_EQ(entries.size(), 200u);
   EXPECT_EQ(Text(entries[199].name), "Mic 200");
   EXPECT_EQ(Text(entries[199].userId), "Mic#id1199");
   Mmdr_Uninit(handle);
}

// ---- Preferred devices ----

TEST_F(Mmdr, GetPrefDevTestsItsArgumentsInOrder) {
   MmdrHandle *const handle = Open();
   char out[260];
   std::memset(out, 'x', sizeof out);
   for (const int32_t type : kBadTypes) {
      EXPECT_EQ(Mmdr_GetPrefDev(handle, type, 7, nullptr), MMDR_ERR_NO_DATA) << type;
      EXPECT_EQ(Mmdr_GetPrefDev(handle, type, 7, out), MMDR_ERR_INVALID_DEV_TYPE) << type;
   }
   for (const int32_t select : {2, 7, -1}) {
      EXPECT_EQ(Mmdr_GetPrefDev(handle, MMDR_DEV_VIDEO, select, out), MMDR_ERR_INVALID_SELECT);
      EXPECT_EQ(Mmdr_GetPrefDev(handle, MMDR_DEV_AUDIO, select, out), MMDR_ERR_INVALID_SELECT);
   }
   EXPECT_EQ(std::count(out, out + 260, 'x'), 260);
   EXPECT_EQ(fake.discoveries, 0);
   Mmdr_Uninit(handle);
}

TEST_F(Mmdr, GetPrefDevTellsWhichPresentDeviceThePreferenceSelects) {
   fake.cameras = {kit::Camera("Cam", "a"), kit::Camera("Cam", "b")};
   fake.microphones = {{"Mic", "m"}};
   MmdrHandle *const handle = Open();
   EXPECT_EQ(Preferred(handle, MMDR_DEV_VIDEO, MMDR_SELECT_NAME), "(none)") << "nothing stored";
   EXPECT_EQ(Mmdr_SetPrefDev(handle, MMDR_DEV_VIDEO, "Cam#b", "whatever"), MMDR_OK);
   EXPECT_EQ(Mmdr_SetPrefDev(handle, MMDR_DEV_AUDIO, "m", nullptr), MMDR_OK);
   EXPECT_EQ(Preferred(handle, MMDR_DEV_VIDEO, MMDR_SELECT_NAME), "Cam 2");
   EXPECT_EQ(Preferred(handle, MMDR_DEV_VIDEO, MMDR_SELECT_USER_ID), "Cam#b");
   EXPECT_EQ(Preferred(handle, MMDR_DEV_AUDIO, MMDR_SELECT_NAME), "Mic");
   EXPECT_EQ(Preferred(handle, MMDR_DEV_AUDIO, MMDR_SELECT_USER_ID), "Mic#m") << "a piece of the user id is enough";
   fake.cameras.clear();
   char out[260];
   std::memset(out, 'x', sizeof out);
   EXPECT_EQ(Mmdr_GetPrefDev(handle, MMDR_DEV_VIDEO, MMDR_SELECT_NAME, out), MMDR_ERR_NO_DATA);
   EXPECT_EQ(std::count(out, out + 260, 'x'), 260) << "left unchanged";
   Mmdr_Uninit(handle);
}

TEST_F(Mmdr, GetPrefDevOfANamelessDeviceHasNoNameButAUserId) {
   fake.cameras = {kit::Camera("", "a")};
   MmdrHandle *const handle = Open();
   EXPECT_EQ(Mmdr_SetPrefDev(handle, MMDR_DEV_VIDEO, "#a", ""), MMDR_OK);
   EXPECT_EQ(Preferred(handle, MMDR_DEV_VIDEO, MMDR_SELECT_NAME), "(none)");
   EXPECT_EQ(Preferred(handle, MMDR_DEV_VIDEO, MMDR_SELECT_USER_ID), "#a");
   Mmdr_Uninit(handle);
}

TEST_F(Mmdr, GetPrefDevCopies259BytesAtMost) {
   fake.cameras = {kit::Camera(std::string(300, 'n'), "a")};
   MmdrHandle *const handle = Open();
   EXPECT_EQ(Mmdr_SetPrefDev(handle, MMDR_DEV_VIDEO, "#a", ""), MMDR_OK);
   char out[260];
   std::memset(out, 'x', sizeof out);
   EXPECT_EQ(Mmdr_GetPrefDev(handle, MMDR_DEV_VIDEO, MMDR_SELECT_NAME, out), MMDR_OK);
   EXPECT_EQ(std::string(out, 260), std::string(259, 'n') + "x");
   Mmdr_Uninit(handle);
}

TEST_F(Mmdr, RequiredAnIdLongerThanTheConversionBufferResolvesOnceTheBufferHasGrown) {
   const std::string id(200, 'i');
   fake.cameras = {kit::Camera("", id)};
   MmdrHandle *const handle = Open();
   EXPECT_EQ(Mmdr_SetPrefDev(handle, MMDR_DEV_VIDEO, ("#" + id).c_str(), ""), MMDR_OK);
   EXPECT_EQ(Preferred(handle, MMDR_DEV_VIDEO, MMDR_SELECT_USER_ID), "(none)") << "128 bytes";
   EXPECT_EQ(Preferred(handle, MMDR_DEV_VIDEO, MMDR_SELECT_USER_ID), "#" + id) << "256 bytes";
   Mmdr_Uninit(handle);
}

TEST_F(Mmdr, SetPrefDevRulesForTheNameDifferByKind) {
   struct Case {
      const char *id;
      const char *name;
      const char *cameraName;
      const char *microphoneName;
   };
   const Case cases[] = {{"id", "name", "name", "name"}, {"id", nullptr, "", ""},       {"id", "", "", ""},
                         {"", "name", "name", ""},       {nullptr, "name", "name", ""}, {nullptr, nullptr, "", ""}};
   MmdrHandle *const handle = Open();
   for (const Case &c : cases) {
      for (const char *key : {"srcWCamId", "srcWCamName", "srcAudioInId", "srcAudioInName"}) {
         store.SetText(key, "before");
      }
      EXPECT_EQ(Mmdr_SetPrefDev(handle, MMDR_DEV_VIDEO, c.id, c.name), MMDR_OK);
      EXPECT_EQ(Mmdr_SetPrefDev(handle, MMDR_DEV_AUDIO, c.id, c.name), MMDR_OK);
      const auto text = [&](const char *key) {
         return std::get<osal::PreferenceText>(store.Snapshot().at(key)).utf8();
      };
      EXPECT_EQ(text("srcWCamId"), c.id != nullptr ? c.id : "");
      EXPECT_EQ(text("srcAudioInId"), c.id != nullptr ? c.id : "");
      EXPECT_EQ(text("srcWCamName"), c.cameraName);
      EXPECT_EQ(text("srcAudioInName"), c.microphoneName);
   }
   Mmdr_Uninit(handle);
}

TEST_F(Mmdr, SetPrefDevOfAnotherTypeWritesNothing) {
   MmdrHandle *const handle = Open();
   const auto before = store.Snapshot();
   for (const int32_t type : kBadTypes) {
      EXPECT_EQ(Mmdr_SetPrefDev(handle, type, "id", "name"), MMDR_ERR_INVALID_DEV_TYPE);
   }
   EXPECT_EQ(store.Snapshot(), before);
   Mmdr_Uninit(handle);
}

TEST_F(Mmdr, RequiredAStoreThatFailsIsReportedAsSuccess) {
   MmdrHandle *const handle = Open();
   store.SetWriteStatus(osal::Status::Error(28, "full"));
   EXPECT_EQ(Mmdr_SetPrefDev(handle, MMDR_DEV_VIDEO, "id", "name"), MMDR_OK);
   EXPECT_EQ(Mmdr_SetPrefDev(handle, MMDR_DEV_AUDIO, "id", "name"), MMDR_OK);
   EXPECT_EQ(Mmdr_SetAudioInSelectOption(handle, 1), MMDR_OK);
   Mmdr_Uninit(handle);
}

// ---- Option, switch ----

TEST_F(Mmdr, OptionIsStoredWithoutARangeTestAndReadWithOne) {
   MmdrHandle *const handle = Open();
   uint32_t option = 77;
   EXPECT_EQ(Mmdr_GetAudioInSelectOption(handle, nullptr), MMDR_ERR_NO_DATA);
   EXPECT_EQ(Mmdr_GetAudioInSelectOption(handle, &option), MMDR_OK);
   EXPECT_EQ(option, 0u);
   for (const uint32_t value : {0u, 1u, 2u, 3u, 5u, 0x80000000u, 0xFFFFFFFFu}) {
      EXPECT_EQ(Mmdr_SetAudioInSelectOption(handle, value), MMDR_OK);
      EXPECT_EQ(Mmdr_GetAudioInSelectOption(handle, &option), value < 3 ? MMDR_OK : MMDR_ERR_STORE_FAILED);
      EXPECT_EQ(option, value) << "also together with the error";
   }
   Mmdr_Uninit(handle);
}

TEST_F(Mmdr, IsEnabledIsTheOppositeOfTheStoredSwitch) {
   MmdrHandle *const handle = Open();
   uint8_t enabled = 77;
   EXPECT_EQ(Mmdr_IsEnabled(handle, &enabled), MMDR_OK);
   EXPECT_EQ(enabled, 1);
   store.Set("IsDisabled", true);
   EXPECT_EQ(Mmdr_IsEnabled(handle, &enabled), MMDR_OK);
   EXPECT_EQ(enabled, 0);
   store.Set("IsDisabled", false);
   EXPECT_EQ(Mmdr_IsEnabled(handle, &enabled), MMDR_OK);
   EXPECT_EQ(enabled, 1);
   store.SetText("Software\\Policies\\Corvane\\Zenthar\\Agent\\MAVRDisableMAVR", "true");
   EXPECT_EQ(Mmdr_IsEnabled(handle, &enabled), MMDR_OK);
   EXPECT_EQ(enabled, 1) << "the policy is another matter";
   Mmdr_Uninit(handle);
}

// ---- The header ----

TEST_F(Mmdr, ACProgramCanCallEverything) {
   fake.cameras = {kit::Camera("Cam", "a")};
   EXPECT_EQ(CallEverythingFromC(), 9);
   EXPECT_EQ(std::get<osal::PreferenceText>(store.Snapshot().at("srcWCamId")).utf8(), "Cam#a");
}

TEST_F(Mmdr, ConstantsHaveTheirNumbers) {
   EXPECT_EQ((std::vector<int>{MMDR_OK, MMDR_ERR_BUFFER_TOO_SMALL, MMDR_ERR_INVALID_HANDLE, MMDR_ERR_INVALID_ARG,
                               MMDR_ERR_INVALID_DEV_TYPE, MMDR_ERR_INVALID_SELECT, MMDR_ERR_NO_MEMORY,
                               MMDR_ERR_STORE_FAILED, MMDR_ERR_INVALID_MODE, MMDR_ERR_NO_DATA}),
             (std::vector<int>{0, 1, 2, 3, 4, 5, 6, 7, 8, 11}));
   EXPECT_EQ(MMDR_DEV_VIDEO, 1);
   EXPECT_EQ(MMDR_DEV_AUDIO, 2);
   EXPECT_EQ(MMDR_SELECT_NAME, 0);
   EXPECT_EQ(MMDR_SELECT_USER_ID, 1);
}

} // namespace
