#pragma once

#include "osal/Status.h"

#include <string>
#include <vector>

namespace osal {

/// Where the client library looks for the daemon's socket, first choice first, as the environment says now:
/// PIPEWIRE_REMOTE is the name ("pipewire-0" without it) or a whole path; the folder is PIPEWIRE_RUNTIME_DIR, else
/// XDG_RUNTIME_DIR, else USERPROFILE; behind it comes the system's folder /run/pipewire.
[[nodiscard]] std::vector<std::string> PipewireSocketPaths();

/// The socket that a connection goes to: the first path where something is, else the first path.
[[nodiscard]] std::string PipewireSocketPath();

/// What is wrong with the sockets, after a connection could not be made: an error that names the path and the cause.
/// For a path that looks right the cause is that nobody listens there.
[[nodiscard]] Status ExplainSocket();

} // namespace osal
