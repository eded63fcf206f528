#include "mmdr/mmdr.h"

#include "libs/avManager/devices/AudioInputDevices.h"
#include "libs/avManager/devices/VideoInputDevices.h"
#include "libs/common/UserPrefsUtil.h"
#include "libs/mmdr/MmdrHandle.h"
#include "libs/pcoip_mfw/linux/linux_pcoip_mfw.h"
#include "libs/utils/StringUtils.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <string>

static_assert(sizeof(MmdrDevEntry) == 520 && offsetof(MmdrDevEntry, name) == 260);

namespace {

constexpr uint32_t kInterfaceVersion = 2;
constexpr size_t kTextSize = sizeof(MmdrDevEntry::name) - 1;

bool IsDeviceType(int32_t type) {
   return type == MMDR_DEV_VIDEO || type == MMDR_DEV_AUDIO;
}

// Required: exactly 259 bytes, padded with zeros and without a terminator for a longer text. Byte 259 stays the
// caller's.
void CopyBounded(char *target, const std::string &source) {
   const size_t length = std::min(std::strlen(source.c_str()), kTextSize);
   std::memcpy(target, source.data(), length);
   std::memset(target + length, 0, kTextSize - length);
}

// Both succeed in any case; the length of the list tells.
MMDev::DeviceList ListDevices(int32_t type) {
   MMDev::DeviceList list;
   if (type == MMDR_DEV_VIDEO) {
      VideoInputDevices::List(list);
   } else {
      AudioInputDevices::List(list);
   }
   return list;
}

// Null stands for the empty text. A field of MmdrDevEntry may end inside a character, and no store takes such a text:
// it is stored without those bytes, and as a piece of the user id it finds its device all the same.
std::string StorableText(const char *text) {
   return text != nullptr ? std::string(StringUtils::WithoutCutCharacter(text)) : std::string();
}

int32_t StoreResult(bool stored) {
   return stored ? MMDR_OK : MMDR_ERR_STORE_FAILED;
}

int32_t StorePreferredCamera(const char *id, const char *name) {
   return StoreResult(UserPrefsUtil::SetPreferredWCamId(StorableText(id)) &&
                      UserPrefsUtil::SetPreferredWCamName(StorableText(name)));
}

// Required: unlike a camera's, a microphone's name is kept only together with an id.
int32_t StorePreferredMicrophone(const char *id, const char *name) {
   const bool hasId = id != nullptr && *id != '\0';
   return StoreResult(UserPrefsUtil::SetPreferredAInId(StorableText(id)) &&
                      UserPrefsUtil::SetPreferredAInName(StorableText(hasId ? name : nullptr)));
}

} // namespace

uint32_t Mmdr_GetLibVersion(void) {
   return kInterfaceVersion;
}

int32_t Mmdr_Init(int32_t mode, MmdrHandle **out) {
   if (out == nullptr) {
      return MMDR_ERR_INVALID_ARG;
   }
   if (mode < 1 || mode > 2) {
      return MMDR_ERR_INVALID_MODE;
   }
   std::unique_ptr<MmdrHandle> handle(new (std::nothrow) MmdrHandle{});
   if (handle == nullptr) {
      return MMDR_ERR_NO_MEMORY;
   }
   MfwLog_Init();
   handle->Enliven(mode);
   *out = handle.release();
   return MMDR_OK;
}

void Mmdr_Uninit(MmdrHandle *handle) {
   if (!MmdrHandle::IsLive(handle)) {
      return;
   }
   if (handle->count.fetch_sub(1) == 1) {
      delete handle;
   }
   // Required: also while another handle is alive; its settings are on their defaults from here on.
   MfwLog_TearDown();
}

int32_t Mmdr_IsValid(const MmdrHandle *handle) {
   return MmdrHandle::IsLive(handle) ? MMDR_OK : MMDR_ERR_INVALID_HANDLE;
}

int32_t Mmdr_EnumDevices(MmdrHandle *handle, int32_t type, uint32_t size, char *buffer, uint32_t *count) {
   // Required: the type before the handle.
   if (!IsDeviceType(type)) {
      return MMDR_ERR_INVALID_ARG;
   }
   if (!MmdrHandle::IsLive(handle)) {
      return MMDR_ERR_INVALID_HANDLE;
   }
   const MMDev::DeviceList list = ListDevices(type);
   *count = static_cast<uint32_t>(list.size());
   if (list.empty()) {
      return MMDR_OK;
   }
   if (buffer == nullptr || uint64_t{*count} * sizeof(MmdrDevEntry) > size) {
      return MMDR_ERR_BUFFER_TOO_SMALL;
   }
   for (const MMDev::DeviceInfo &record : list) {
      CopyBounded(buffer + offsetof(MmdrDevEntry, userId), record.mUserId);
      CopyBounded(buffer + offsetof(MmdrDevEntry, name), record.mName);
      buffer += sizeof(MmdrDevEntry);
   }
   return MMDR_OK;
}

int32_t Mmdr_GetPrefDev(MmdrHandle *handle, int32_t type, int32_t select, char *out) {
   if (!MmdrHandle::IsLive(handle)) {
      return MMDR_ERR_INVALID_HANDLE;
   }
   if (out == nullptr) {
      return MMDR_ERR_NO_DATA;
   }
   if (!IsDeviceType(type)) {
      return MMDR_ERR_INVALID_DEV_TYPE;
   }
   if (select != MMDR_SELECT_NAME && select != MMDR_SELECT_USER_ID) {
      return MMDR_ERR_INVALID_SELECT;
   }
   const MMDev::DeviceInfo device =
      type == MMDR_DEV_VIDEO ? UserPrefsUtil::PreferredWCamDeviceInfo() : UserPrefsUtil::PreferredAInDeviceInfo();
   const std::string &text = select == MMDR_SELECT_NAME ? device.mName : device.mUserId;
   if (text.empty()) {
      return MMDR_ERR_NO_DATA;
   }
   CopyBounded(out, text);
   return MMDR_OK;
}

int32_t Mmdr_SetPrefDev(MmdrHandle *handle, int32_t type, const char *id, const char *name) {
   if (!MmdrHandle::IsLive(handle)) {
      return MMDR_ERR_INVALID_HANDLE;
   }
   switch (type) {
   case MMDR_DEV_VIDEO:
      return StorePreferredCamera(id, name);
   case MMDR_DEV_AUDIO:
      return StorePreferredMicrophone(id, name);
   default:
      return MMDR_ERR_INVALID_DEV_TYPE;
   }
}

int32_t Mmdr_SetAudioInSelectOption(MmdrHandle *handle, uint32_t option) {
   if (!MmdrHandle::IsLive(handle)) {
      return MMDR_ERR_INVALID_HANDLE;
   }
   return StoreResult(UserPrefsUtil::SetAInOption(static_cast<MAVRAInOption>(option)));
}

int32_t Mmdr_GetAudioInSelectOption(MmdrHandle *handle, uint32_t *option) {
   if (!MmdrHandle::IsLive(handle)) {
      return MMDR_ERR_INVALID_HANDLE;
   }
   if (option == nullptr) {
      return MMDR_ERR_NO_DATA;
   }
   // Required: a number out of range reaches the caller together with the error.
   *option = UserPrefsUtil::GetAInOption();
   return *option <= AIN_OPTION_PREFERRED ? MMDR_OK : MMDR_ERR_STORE_FAILED;
}

int32_t Mmdr_IsEnabled(MmdrHandle *handle, uint8_t *enabled) {
   if (!MmdrHandle::IsLive(handle)) {
      return MMDR_ERR_INVALID_HANDLE;
   }
   *enabled = UserPrefsUtil::IsEnabled() ? 1 : 0;
   return MMDR_OK;
}
