/* The public header as a C11 host's compiler sees it. Every number here is part of the binary interface: programs that
 * were built with it years ago rely on it. It has no code: the compiler is the test. */
#include <mmdr/mmdr.h>

#include <stddef.h>

_Static_assert(sizeof(MmdrDevEntry) == 520 && _Alignof(MmdrDevEntry) == 1, "entries follow each other without gaps");
_Static_assert(offsetof(MmdrDevEntry, userId) == 0, "place of the user id");
_Static_assert(offsetof(MmdrDevEntry, name) == 260, "place of the name");
_Static_assert(sizeof(((MmdrDevEntry *)0)->userId) == 260, "room of the user id");
_Static_assert(sizeof(((MmdrDevEntry *)0)->name) == 260, "room of the name");
_Static_assert(sizeof(MmdrDevEntry[3]) == 3 * 520, "an array has no gaps");

_Static_assert(MMDR_OK == 0, "MMDR_OK");
_Static_assert(MMDR_ERR_BUFFER_TOO_SMALL == 1, "MMDR_ERR_BUFFER_TOO_SMALL");
_Static_assert(MMDR_ERR_INVALID_HANDLE == 2, "MMDR_ERR_INVALID_HANDLE");
_Static_assert(MMDR_ERR_INVALID_ARG == 3, "MMDR_ERR_INVALID_ARG");
_Static_assert(MMDR_ERR_INVALID_DEV_TYPE == 4, "MMDR_ERR_INVALID_DEV_TYPE");
_Static_assert(MMDR_ERR_INVALID_SELECT == 5, "MMDR_ERR_INVALID_SELECT");
_Static_assert(MMDR_ERR_NO_MEMORY == 6, "MMDR_ERR_NO_MEMORY");
_Static_assert(MMDR_ERR_STORE_FAILED == 7, "MMDR_ERR_STORE_FAILED");
_Static_assert(MMDR_ERR_INVALID_MODE == 8, "MMDR_ERR_INVALID_MODE");
_Static_assert(MMDR_ERR_NO_DATA == 11, "MMDR_ERR_NO_DATA");
_Static_assert(MMDR_DEV_VIDEO == 1 && MMDR_DEV_AUDIO == 2, "device types");
_Static_assert(MMDR_SELECT_NAME == 0 && MMDR_SELECT_USER_ID == 1, "selects");

#define IS(function, type) _Static_assert(_Generic(&(function), type : 1, default : 0), #function)
IS(Mmdr_GetLibVersion, uint32_t (*)(void));
IS(Mmdr_Init, int32_t (*)(int32_t, MmdrHandle **));
IS(Mmdr_Uninit, void (*)(MmdrHandle *));
IS(Mmdr_IsValid, int32_t (*)(const MmdrHandle *));
IS(Mmdr_EnumDevices, int32_t (*)(MmdrHandle *, int32_t, uint32_t, char *, uint32_t *));
IS(Mmdr_GetPrefDev, int32_t (*)(MmdrHandle *, int32_t, int32_t, char *));
IS(Mmdr_SetPrefDev, int32_t (*)(MmdrHandle *, int32_t, const char *, const char *));
IS(Mmdr_SetAudioInSelectOption, int32_t (*)(MmdrHandle *, uint32_t));
IS(Mmdr_GetAudioInSelectOption, int32_t (*)(MmdrHandle *, uint32_t *));
IS(Mmdr_IsEnabled, int32_t (*)(MmdrHandle *, uint8_t *));
