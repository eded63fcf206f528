#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace osal {

/// Where files are. Plain functions of the environment as it is at the call; nothing is created. Any thread.
namespace places {

/// The user's folder for state such as logs (on Linux $XDG_STATE_HOME, default ~/.local/state; on macOS ~/Library).
/// May begin with "~", which the caller expands. Empty with `errno` set when the user has no such folder.
[[nodiscard]] std::string userLibraryFolder();

/// The machine-wide folder for logs.
[[nodiscard]] std::string systemLogFolder();

/// The user's home folder: $HOME when it is absolute, else the user database's. Empty with `errno` set without one.
[[nodiscard]] std::string homeFolder();

/// Configuration files in the order in which they are asked, the user's first. Files may be missing.
[[nodiscard]] std::vector<std::string> configurationFiles();

/// The file that holds the preference domain `applicationId`. Empty with `errno` set when there is no place for it.
[[nodiscard]] std::string preferencesFile(std::string_view applicationId);

/// The running program, for starting it once more. Empty when the system does not tell.
[[nodiscard]] std::string executableFile();

} // namespace places
} // namespace osal
