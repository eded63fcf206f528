#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

/// A Mac's answers for osal/Places.h and osal/HostFacts.h. Any thread.
namespace osal::apple {

/// The user's Library folder as the system gives it, with a "~" in front. Empty with `errno` set without one.
[[nodiscard]] std::string libraryFolder();

/// `home` may be empty: there is no user's file then.
[[nodiscard]] std::vector<std::string> configurationFiles(const std::string &home);

/// Where the system keeps a preference domain, for people: nothing reads or writes the file itself.
[[nodiscard]] std::string preferencesFile(const std::string &home, std::string_view applicationId);

/// The running program. Empty when the system does not tell.
[[nodiscard]] std::string executableFile();

/// As osal::readSystemControl.
[[nodiscard]] bool systemControl(const char *name, char *buffer, size_t size);

} // namespace osal::apple
