#include "tools/mavr/Library.h"

#include "tools/mavr/ToolError.h"

#include <cstring>

namespace mavr {
namespace {

constexpr int32_t kMode = 1;
constexpr size_t kFieldSize = sizeof(MmdrDevEntry::name);

std::string FieldText(const char *field) {
   return {field, strnlen(field, kFieldSize)};
}

void Require(int32_t code, const char *operation) {
   if (code != MMDR_OK) {
      throw ToolError(std::string(operation) + " failed with code " + std::to_string(code) + ".",
                      "Run 'mavr doctor' to find the cause.");
   }
}

} // namespace

Library::Library() {
   Require(Mmdr_Init(kMode, &mHandle), "Opening the library");
}

Library::~Library() {
   Mmdr_Uninit(mHandle);
}

std::vector<Device> Library::Devices(int32_t type) {
   std::vector<MmdrDevEntry> entries;
   uint32_t count = 0;
   int32_t code = Mmdr_EnumDevices(mHandle, type, 0, nullptr, &count);
   // A device may be plugged in between two calls: then the answer is "too small" once more, with the new count.
   while (code == MMDR_ERR_BUFFER_TOO_SMALL) {
      entries.assign(count, MmdrDevEntry{});
      code = Mmdr_EnumDevices(mHandle, type, static_cast<uint32_t>(entries.size() * sizeof(MmdrDevEntry)),
                              reinterpret_cast<char *>(entries.data()), &count);
   }
   Require(code, "Listing devices");
   std::vector<Device> devices;
   for (uint32_t i = 0; i < count; ++i) {
      devices.push_back({FieldText(entries[i].userId), FieldText(entries[i].name)});
   }
   return devices;
}

std::optional<std::string> Library::PreferredText(int32_t type, int32_t select) {
   char text[kFieldSize] = {};
   const int32_t code = Mmdr_GetPrefDev(mHandle, type, select, text);
   if (code == MMDR_ERR_NO_DATA) {
      return std::nullopt;
   }
   Require(code, "Reading the preferred device");
   return FieldText(text);
}

std::optional<Device> Library::Preferred(int32_t type) {
   constexpr int kTries = 3; // what the largest text of an entry needs
   auto device = PreferredOnce(type);
   const bool again = !device && !Devices(type).empty();
   for (int tries = 1; again && !device && tries < kTries; ++tries) {
      device = PreferredOnce(type);
   }
   return device;
}

std::optional<Device> Library::PreferredOnce(int32_t type) {
   const auto userId = PreferredText(type, MMDR_SELECT_USER_ID);
   if (!userId) {
      return std::nullopt;
   }
   // A device without a name is still a device.
   return Device{*userId, PreferredText(type, MMDR_SELECT_NAME).value_or("")};
}

void Library::Prefer(int32_t type, const std::string &id, const std::string &name) {
   Require(Mmdr_SetPrefDev(mHandle, type, id.c_str(), name.c_str()), "Storing the preferred device");
}

uint32_t Library::Option() {
   uint32_t option = 0;
   const int32_t code = Mmdr_GetAudioInSelectOption(mHandle, &option);
   if (code != MMDR_ERR_STORE_FAILED) { // out of range: the value itself tells
      Require(code, "Reading the microphone option");
   }
   return option;
}

void Library::SetOption(uint32_t option) {
   Require(Mmdr_SetAudioInSelectOption(mHandle, option), "Storing the microphone option");
}

bool Library::Enabled() {
   uint8_t enabled = 0;
   Require(Mmdr_IsEnabled(mHandle, &enabled), "Reading whether the feature is enabled");
   return enabled != 0;
}

} // namespace mavr
