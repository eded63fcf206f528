#ifndef MMDR_MMDR_H
#define MMDR_MMDR_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef struct MmdrHandle MmdrHandle;

typedef struct MmdrDevEntry {
   char userId[260];
   char name[260];
} MmdrDevEntry;

#define MMDR_OK 0
#define MMDR_ERR_BUFFER_TOO_SMALL 1
#define MMDR_ERR_INVALID_HANDLE 2
#define MMDR_ERR_INVALID_ARG 3
#define MMDR_ERR_INVALID_DEV_TYPE 4
#define MMDR_ERR_INVALID_SELECT 5
#define MMDR_ERR_NO_MEMORY 6
#define MMDR_ERR_STORE_FAILED 7
#define MMDR_ERR_INVALID_MODE 8
#define MMDR_ERR_NO_DATA 11

#define MMDR_DEV_VIDEO 1
#define MMDR_DEV_AUDIO 2
#define MMDR_SELECT_NAME 0
#define MMDR_SELECT_USER_ID 1

#if defined(__GNUC__)
#define MMDR_API __attribute__((visibility("default")))
#else
#define MMDR_API
#endif

MMDR_API uint32_t Mmdr_GetLibVersion(void);
MMDR_API int32_t Mmdr_Init(int32_t mode, MmdrHandle **out);
MMDR_API void Mmdr_Uninit(MmdrHandle *handle);
MMDR_API int32_t Mmdr_IsValid(const MmdrHandle *handle);
MMDR_API int32_t Mmdr_EnumDevices(MmdrHandle *handle, int32_t type, uint32_t size, char *buffer, uint32_t *count);
MMDR_API int32_t Mmdr_GetPrefDev(MmdrHandle *handle, int32_t type, int32_t select, char *out);
MMDR_API int32_t Mmdr_SetPrefDev(MmdrHandle *handle, int32_t type, const char *id, const char *name);
MMDR_API int32_t Mmdr_SetAudioInSelectOption(MmdrHandle *handle, uint32_t option);
MMDR_API int32_t Mmdr_GetAudioInSelectOption(MmdrHandle *handle, uint32_t *option);
MMDR_API int32_t Mmdr_IsEnabled(MmdrHandle *handle, uint8_t *enabled);

#ifdef __cplusplus
}
#endif
#endif
