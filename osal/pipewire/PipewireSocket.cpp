#include "osal/pipewire/PipewireSocket.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <optional>
#include <system_error>

namespace osal {
namespace {

constexpr const char *kSystemFolder = "/run/pipewire";

std::optional<std::string> Variable(const char *name) {
   const char *const value = std::getenv(name);
   return value != nullptr ? std::optional<std::string>(value) : std::nullopt;
}

std::optional<std::string> RuntimeFolder() {
   for (const char *const name : {"PIPEWIRE_RUNTIME_DIR", "XDG_RUNTIME_DIR", "USERPROFILE"}) {
      if (auto folder = Variable(name)) {
         return folder;
      }
   }
   return std::nullopt;
}

std::string Message(int error) {
   return std::generic_category().message(error);
}

/// 0, or why the path can't be used as a socket.
int TroubleAt(const std::string &path) {
   struct stat facts {};
   if (stat(path.c_str(), &facts) != 0) {
      return errno;
   }
   if (!S_ISSOCK(facts.st_mode)) {
      return ENOTSOCK;
   }
   return faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0 ? errno : 0;
}

} // namespace

std::vector<std::string> PipewireSocketPaths() {
   const std::string remote = Variable("PIPEWIRE_REMOTE").value_or("");
   const std::string name = remote.empty() ? "pipewire-0" : remote;
   if (name.front() == '/') {
      return {name};
   }
   std::vector<std::string> paths;
   if (const auto folder = RuntimeFolder()) {
      paths.push_back(*folder + "/" + name);
   }
   paths.push_back(std::string(kSystemFolder) + "/" + name);
   return paths;
}

std::string PipewireSocketPath() {
   const std::vector<std::string> paths = PipewireSocketPaths();
   for (const std::string &path : paths) {
      struct stat facts {};
      if (stat(path.c_str(), &facts) == 0) {
         return path;
      }
   }
   return paths.front();
}

Status ExplainSocket() {
   const std::string path = PipewireSocketPath();
   const int trouble = TroubleAt(path);
   const std::string reason = [&]() -> std::string {
      switch (trouble) {
      case 0:
         return "no PipeWire daemon listens on " + path;
      case ENOENT:
         break;
      case EACCES:
      case EPERM:
         return "no permission to use the PipeWire socket " + path;
      default:
         return "the PipeWire socket " + path + " cannot be used: " + Message(trouble);
      }
      const bool isFolderKnown = PipewireSocketPaths().size() > 1 || Variable("PIPEWIRE_REMOTE").has_value();
      return "there is no PipeWire socket " + path + (isFolderKnown ? "" : ", and XDG_RUNTIME_DIR is not set");
   }();
   return Status::Error(trouble == 0 ? ECONNREFUSED : trouble, reason);
}

} // namespace osal
