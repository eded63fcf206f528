#include "osal/apple/ApplePlaces.h"

#include <mach-o/dyld.h>
#include <sys/sysctl.h>
#include <sysdir.h>

#include <array>
#include <cerrno>
#include <climits>

namespace osal::apple {

std::string libraryFolder() {
   std::array<char, PATH_MAX> path{};
   const sysdir_search_path_enumeration_state first =
      sysdir_start_search_path_enumeration(SYSDIR_DIRECTORY_LIBRARY, SYSDIR_DOMAIN_MASK_USER);
   if (sysdir_get_next_search_path_enumeration(first, path.data()) == 0) {
      errno = ENOENT;
      return {};
   }
   return path.data();
}

std::vector<std::string> configurationFiles(const std::string &home) {
   std::vector<std::string> files;
   if (!home.empty()) {
      files.push_back(home + "/Library/Preferences/corvane/config.toml");
   }
   files.emplace_back("/Library/Preferences/corvane/config.toml");
   return files;
}

std::string preferencesFile(const std::string &home, std::string_view applicationId) {
   return home.empty() ? std::string() : home + "/Library/Preferences/" + std::string(applicationId) + ".plist";
}

std::string executableFile() {
   uint32_t size = 0;
   _NSGetExecutablePath(nullptr, &size); // tells the size
   std::string path(size, '\0');
   return _NSGetExecutablePath(path.data(), &size) == 0 ? std::string(path.c_str()) : std::string();
}

bool systemControl(const char *name, char *buffer, size_t size) {
   if (size == 0) {
      errno = ENOMEM;
      return false;
   }
   size_t length = size;
   if (sysctlbyname(name, buffer, &length, nullptr, 0) == 0) {
      if (length > 0 && length <= size && buffer[length - 1] == '\0') {
         return true;
      }
      errno = EINVAL; // no text
   }
   buffer[0] = '\0';
   return false;
}

} // namespace osal::apple
