/* A host that loads the library while it runs, and goes on without it when it is not there.
 *
 *   cc -std=c99 host_dlopen.c $(pkg-config --cflags mavrCliLib) -ldl -o host_dlopen
 *   ./host_dlopen PREFIX/lib/libmavrCliLib.so.2
 */
#include <mmdr/mmdr.h>

#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

/* ISO C has no conversion from an object pointer to a function pointer; POSIX says that the bytes are the same. */
static int find(void *library, const char *name, void *function, size_t size) {
   void *address = dlsym(library, name);
   if (address == NULL || size != sizeof address) {
      fprintf(stderr, "no function %s\n", name);
      return 1;
   }
   memcpy(function, &address, size);
   return 0;
}

int main(int argc, char **argv) {
   uint32_t (*getLibVersion)(void);
   int32_t (*init)(int32_t, MmdrHandle **);
   int32_t (*enumDevices)(MmdrHandle *, int32_t, uint32_t, char *, uint32_t *);
   void (*uninit)(MmdrHandle *);
   MmdrHandle *handle = NULL;
   uint32_t cameras = 0;
   int32_t code;
   void *library = argc == 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : NULL;

   if (library == NULL) {
      fprintf(stderr, "usage: host_dlopen LIBRARY (%s)\n", argc == 2 ? dlerror() : "no library given");
      return 2;
   }
   if (find(library, "Mmdr_GetLibVersion", &getLibVersion, sizeof getLibVersion) ||
       find(library, "Mmdr_Init", &init, sizeof init) ||
       find(library, "Mmdr_EnumDevices", &enumDevices, sizeof enumDevices) ||
       find(library, "Mmdr_Uninit", &uninit, sizeof uninit)) {
      return 1;
   }
   if (init(1, &handle) != MMDR_OK) {
      return 1;
   }
   code = enumDevices(handle, MMDR_DEV_VIDEO, 0, NULL, &cameras);
   printf("interface version %u, %u cameras\n", (unsigned)getLibVersion(), (unsigned)cameras);
   uninit(handle);
   /* The log belongs to the process: the library stays loaded until the process ends. */
   return code == MMDR_OK || code == MMDR_ERR_BUFFER_TOO_SMALL ? 0 : 1;
}
