/* Loads a shared library and says what that did to the process: threads, open descriptors.
 * Exit status 0: nothing but the loading. */
#include <dirent.h>
#include <dlfcn.h>
#include <stdio.h>

static int countEntries(const char *folder) {
   int count = 0;
   DIR *dir = opendir(folder);
   if (dir == NULL) {
      return -1;
   }
   while (readdir(dir) != NULL) {
      ++count;
   }
   closedir(dir);
   return count;
}

int main(int argc, char **argv) {
   const int threads = countEntries("/proc/self/task");
   const int descriptors = countEntries("/proc/self/fd");
   int moreThreads;
   int moreDescriptors;
   if (argc != 2 || dlopen(argv[1], RTLD_NOW) == NULL) {
      fprintf(stderr, "cannot load: %s\n", argc == 2 ? dlerror() : "no library given");
      return 2;
   }
   moreThreads = countEntries("/proc/self/task") - threads;
   moreDescriptors = countEntries("/proc/self/fd") - descriptors;
   printf("loading started %d threads and left %d files open\n", moreThreads, moreDescriptors);
   return moreThreads == 0 && moreDescriptors == 0 ? 0 : 1;
}
