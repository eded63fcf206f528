/* A host in C99: lists the devices, shows what the stored preference selects, and says whether redirection is on.
 *
 *   cc -std=c99 host.c $(pkg-config --cflags --libs mavrCliLib) -o host
 */
#include <mmdr/mmdr.h>

#include <stdio.h>
#include <stdlib.h>

/* Lists one kind of device by the two-call protocol: ask for the count, then for that many entries. */
static int list(MmdrHandle *handle, int32_t type, const char *title) {
   uint32_t count = 0;
   char *buffer = NULL;
   int32_t code = Mmdr_EnumDevices(handle, type, 0, NULL, &count);
   while (code == MMDR_ERR_BUFFER_TOO_SMALL) { /* again when a device came in between */
      const uint32_t size = count * (uint32_t)sizeof(MmdrDevEntry);
      free(buffer);
      buffer = calloc(count, sizeof(MmdrDevEntry)); /* zeroed: a full field has no terminator of its own */
      if (buffer == NULL) {
         return 1;
      }
      code = Mmdr_EnumDevices(handle, type, size, buffer, &count);
   }
   if (code == MMDR_OK) {
      const MmdrDevEntry *entries = (const MmdrDevEntry *)buffer;
      uint32_t i;
      printf("%s: %u\n", title, (unsigned)count);
      for (i = 0; i < count; ++i) {
         printf("  %.259s (%.259s)\n", entries[i].name, entries[i].userId);
      }
   }
   free(buffer);
   return code == MMDR_OK ? 0 : 1;
}

int main(void) {
   MmdrHandle *handle = NULL;
   char name[260] = {0};
   uint8_t enabled = 0;
   int failed;

   if (Mmdr_Init(1, &handle) != MMDR_OK) {
      fprintf(stderr, "the library cannot be opened\n");
      return 1;
   }
   printf("interface version %u\n", (unsigned)Mmdr_GetLibVersion());
   failed = list(handle, MMDR_DEV_VIDEO, "cameras") | list(handle, MMDR_DEV_AUDIO, "microphones");

   switch (Mmdr_GetPrefDev(handle, MMDR_DEV_VIDEO, MMDR_SELECT_NAME, name)) {
   case MMDR_OK:
      printf("preferred camera: %s\n", name);
      break;
   case MMDR_ERR_NO_DATA:
      printf("preferred camera: none selected\n");
      break;
   default:
      failed = 1;
   }
   if (Mmdr_IsEnabled(handle, &enabled) == MMDR_OK) {
      printf("redirection: %s\n", enabled ? "on" : "off");
   }
   Mmdr_Uninit(handle);
   return failed;
}
