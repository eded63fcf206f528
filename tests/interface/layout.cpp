// The same for a host in C++: layouts, numbers and functions of the public header. The compiler is the test.

#include <mmdr/mmdr.h>

#include <cstddef>
#include <cstdint>
#include <type_traits>

static_assert(sizeof(MmdrDevEntry) == 520 && alignof(MmdrDevEntry) == 1);
static_assert(offsetof(MmdrDevEntry, userId) == 0 && offsetof(MmdrDevEntry, name) == 260);
static_assert(std::is_same_v<decltype(MmdrDevEntry::userId), char[260]>);
static_assert(std::is_same_v<decltype(MmdrDevEntry::name), char[260]>);
static_assert(std::is_trivial_v<MmdrDevEntry> && std::is_standard_layout_v<MmdrDevEntry>);

static_assert(MMDR_OK == 0 && MMDR_ERR_BUFFER_TOO_SMALL == 1 && MMDR_ERR_INVALID_HANDLE == 2);
static_assert(MMDR_ERR_INVALID_ARG == 3 && MMDR_ERR_INVALID_DEV_TYPE == 4 && MMDR_ERR_INVALID_SELECT == 5);
static_assert(MMDR_ERR_NO_MEMORY == 6 && MMDR_ERR_STORE_FAILED == 7 && MMDR_ERR_INVALID_MODE == 8);
static_assert(MMDR_ERR_NO_DATA == 11);
static_assert(MMDR_DEV_VIDEO == 1 && MMDR_DEV_AUDIO == 2);
static_assert(MMDR_SELECT_NAME == 0 && MMDR_SELECT_USER_ID == 1);

namespace {

template <auto function, typename Type>
constexpr bool kIs = std::is_same_v<decltype(function), Type *>;

static_assert(kIs<Mmdr_GetLibVersion, uint32_t()>);
static_assert(kIs<Mmdr_Init, int32_t(int32_t, MmdrHandle **)>);
static_assert(kIs<Mmdr_Uninit, void(MmdrHandle *)>);
static_assert(kIs<Mmdr_IsValid, int32_t(const MmdrHandle *)>);
static_assert(kIs<Mmdr_EnumDevices, int32_t(MmdrHandle *, int32_t, uint32_t, char *, uint32_t *)>);
static_assert(kIs<Mmdr_GetPrefDev, int32_t(MmdrHandle *, int32_t, int32_t, char *)>);
static_assert(kIs<Mmdr_SetPrefDev, int32_t(MmdrHandle *, int32_t, const char *, const char *)>);
static_assert(kIs<Mmdr_SetAudioInSelectOption, int32_t(MmdrHandle *, uint32_t)>);
static_assert(kIs<Mmdr_GetAudioInSelectOption, int32_t(MmdrHandle *, uint32_t *)>);
static_assert(kIs<Mmdr_IsEnabled, int32_t(MmdrHandle *, uint8_t *)>);

} // namespace
