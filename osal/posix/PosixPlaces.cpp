#include "osal/Places.h"

#if defined(__APPLE__)
#include "osal/apple/ApplePlaces.h"
#endif

#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace osal::places {
namespace {

/// The variable's value when it names an absolute folder, else empty: a relative path would mean another place in every
/// working directory, so it counts as not set.
std::string AbsoluteFolder(const char *variable) {
   const char *const value = std::getenv(variable);
   return value != nullptr && value[0] == '/' ? std::string(value) : std::string();
}

std::string UserDatabaseHome() {
   std::vector<char> buffer(1024);
   passwd entry{};
   passwd *found = nullptr;
   int error = 0;
   while ((error = getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found)) == ERANGE) {
      buffer.resize(buffer.size() * 2);
   }
   if (found == nullptr || found->pw_dir == nullptr || found->pw_dir[0] != '/') {
      errno = error != 0 ? error : ENOENT;
      return {};
   }
   return found->pw_dir;
}

#if !defined(__APPLE__)

/// $variable, else `fallback` (which begins with a slash) in the home folder, else empty with errno set.
std::string BaseFolder(const char *variable, const char *fallback) {
   std::string folder = AbsoluteFolder(variable);
   if (!folder.empty()) {
      return folder;
   }
   const std::string home = homeFolder();
   return home.empty() ? std::string() : home + fallback;
}

std::string ConfigFolder() {
   return BaseFolder("XDG_CONFIG_HOME", "/.config");
}

#endif

} // namespace

std::string systemLogFolder() {
   return "/Library/Logs/Corvane";
}

std::string homeFolder() {
   std::string home = AbsoluteFolder("HOME");
   return home.empty() ? UserDatabaseHome() : home;
}

#if defined(__APPLE__)

std::string userLibraryFolder() {
   return apple::libraryFolder();
}

std::vector<std::string> configurationFiles() {
   return apple::configurationFiles(homeFolder());
}

std::string preferencesFile(std::string_view applicationId) {
   return apple::preferencesFile(homeFolder(), applicationId);
}

#else

std::string userLibraryFolder() {
   return BaseFolder("XDG_STATE_HOME", "/.local/state");
}

std::vector<std::string> configurationFiles() {
   std::vector<std::string> files;
   const std::string folder = ConfigFolder();
   if (!folder.empty()) {
      files.push_back(folder + "/corvane/config.toml");
   }
   files.emplace_back("/etc/xdg/corvane/config.toml");
   return files;
}

std::string preferencesFile(std::string_view applicationId) {
   const std::string folder = ConfigFolder();
   return folder.empty() ? std::string() : folder + "/corvane/" + std::string(applicationId) + ".plist";
}

#endif

std::string executableFile() {
#if defined(__APPLE__)
   return apple::executableFile();
#else
   return "/proc/self/exe"; // leads there even when the file has been replaced meanwhile
#endif
}

} // namespace osal::places
