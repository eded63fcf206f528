/* The public header as a C host sees it: plain C99, nothing but the header. */
#include "mmdr/mmdr.h"

#include "libs/mmdr/mmdr_c99_test.h"

#include <stddef.h>

typedef char EntryHas520Bytes[sizeof(MmdrDevEntry) == 520 ? 1 : -1];
typedef char NameIsAt260[offsetof(MmdrDevEntry, name) == 260 ? 1 : -1];

int CallEverythingFromC(void) {
   MmdrHandle *handle = NULL;
   MmdrDevEntry entries[8] = {{{0}, {0}}};
   char text[260] = {0};
   uint32_t count = 0;
   uint32_t option = 0;
   uint8_t enabled = 0;
   int calls = 0;
   calls += Mmdr_GetLibVersion() == 2;
   calls += Mmdr_Init(1, &handle) == MMDR_OK;
   calls += Mmdr_IsValid(handle) == MMDR_OK;
   calls += Mmdr_EnumDevices(handle, MMDR_DEV_VIDEO, sizeof entries, (char *)entries, &count) == MMDR_OK;
   calls += Mmdr_SetPrefDev(handle, MMDR_DEV_VIDEO, entries[0].userId, entries[0].name) == MMDR_OK;
   calls += Mmdr_GetPrefDev(handle, MMDR_DEV_VIDEO, MMDR_SELECT_USER_ID, text) == MMDR_OK;
   calls += Mmdr_SetAudioInSelectOption(handle, 1) == MMDR_OK;
   calls += Mmdr_GetAudioInSelectOption(handle, &option) == MMDR_OK;
   calls += Mmdr_IsEnabled(handle, &enabled) == MMDR_OK;
   Mmdr_Uninit(handle);
   return calls;
}
