// What Mach and the system's library answer.
#include "osal/apple/fakes/Fakes.h"

#include <mach-o/dyld.h>
#include <mach/mach_time.h>
#include <sys/sysctl.h>
#include <sysdir.h>

#include <atomic>
#include <cerrno>
#include <cstring>
#include <map>
#include <string>

namespace {

std::atomic<uint64_t> gTicks{0};
std::atomic<uint32_t> gNumer{125};
std::atomic<uint32_t> gDenom{3};
std::atomic<bool> gHasLibraryFolder{true};

// Texts with their zero, and a number.
const std::map<std::string, std::string> &Controls() {
   using namespace std::string_literals;
   static const std::map<std::string, std::string> controls = {{"kern.osrelease", "22.6.0\0"s},
                                                               {"hw.ncpu", "\x08\x01\x01\x01"s}};
   return controls;
}

} // namespace

extern "C" {

uint64_t mach_absolute_time(void) {
   return gTicks;
}

kern_return_t mach_timebase_info(mach_timebase_info_t info) {
   info->numer = gNumer;
   info->denom = gDenom;
   return gDenom == 0 ? 5 : 0; // KERN_FAILURE
}

sysdir_search_path_enumeration_state sysdir_start_search_path_enumeration(sysdir_search_path_directory_t directory,
                                                                          sysdir_search_path_domain_mask_t domains) {
   return directory == SYSDIR_DIRECTORY_LIBRARY && domains == SYSDIR_DOMAIN_MASK_USER && gHasLibraryFolder ? 1 : 0;
}

sysdir_search_path_enumeration_state sysdir_get_next_search_path_enumeration(sysdir_search_path_enumeration_state state,
                                                                             char *path) {
   if (state == 1) {
      std::strcpy(path, "~/Library");
      return 2;
   }
   return 0;
}

int _NSGetExecutablePath(char *path, uint32_t *size) {
   constexpr char kPath[] = "/Applications/Some Host.app/Contents/MacOS/Some Host";
   if (*size < sizeof(kPath)) {
      *size = sizeof(kPath);
      return -1;
   }
   std::memcpy(path, kPath, sizeof(kPath));
   return 0;
}

int sysctlbyname(const char *name, void *old, size_t *oldLength, void *set, size_t setLength) {
   const auto found = Controls().find(name);
   if (found == Controls().end() || set != nullptr || setLength != 0) {
      errno = ENOENT;
      return -1;
   }
   if (*oldLength < found->second.size()) {
      errno = ENOMEM;
      return -1;
   }
   std::memcpy(old, found->second.data(), found->second.size());
   *oldLength = found->second.size();
   return 0;
}

} // extern "C"

namespace fakes {

void SetMachTime(uint64_t ticks, uint32_t numer, uint32_t denom) {
   gTicks = ticks;
   gNumer = numer;
   gDenom = denom;
}

void SetHasLibraryFolder(bool has) {
   gHasLibraryFolder = has;
}

} // namespace fakes
