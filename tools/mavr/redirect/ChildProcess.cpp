#include "tools/mavr/redirect/ChildProcess.h"

#include "tools/mavr/ToolError.h"

#include "osal/Places.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <utility>

extern char **environ;

namespace mavr::redirect {
namespace {

using pcoip_host::Descriptor;

// Descriptors from here on do not collide with those that the child gets.
constexpr int kClearOfStandard = 10;

Descriptor Moved(Descriptor from) {
   Descriptor clear(fcntl(from.Get(), F_DUPFD_CLOEXEC, kClearOfStandard));
   if (!clear) {
      throw ToolError("There are no descriptors left.", "Close something that is running.");
   }
   return clear;
}

pcoip_host::SocketPair MakePair() {
   auto pair = pcoip_host::MakeSocketPair();
   if (!pair) {
      throw ToolError("There are no descriptors left.", "Close something that is running.");
   }
   return {Moved(std::move(pair->first)), Moved(std::move(pair->second))};
}

class FileActions {
public:
   FileActions() { posix_spawn_file_actions_init(&mActions); }
   ~FileActions() { posix_spawn_file_actions_destroy(&mActions); }
   FileActions(const FileActions &) = delete;
   FileActions &operator=(const FileActions &) = delete;

   void Give(const Descriptor &from, int to) { posix_spawn_file_actions_adddup2(&mActions, from.Get(), to); }
   [[nodiscard]] const posix_spawn_file_actions_t *Get() const { return &mActions; }

private:
   posix_spawn_file_actions_t mActions{};
};

} // namespace

ChildProcess::ChildProcess(const std::vector<std::string> &arguments, const Descriptor &socket) {
   pcoip_host::SocketPair input = MakePair();
   pcoip_host::SocketPair output = MakePair();
   FileActions actions;
   actions.Give(input.second, STDIN_FILENO);
   actions.Give(output.second, STDOUT_FILENO);
   actions.Give(socket, kSocket);
   std::vector<char *> argv;
   argv.reserve(arguments.size() + 1);
   for (const std::string &argument : arguments) {
      argv.push_back(const_cast<char *>(argument.c_str())); // posix_spawn does not write to it
   }
   argv.push_back(nullptr);
   const int error =
      posix_spawn(&mPid, osal::places::executableFile().c_str(), actions.Get(), nullptr, argv.data(), environ);
   if (error != 0) {
      mPid = -1;
      throw ToolError(std::string("No process could be started: ") + std::strerror(error) + ".",
                      "Are there too many running?");
   }
   mLifeline = std::move(input.first);
   mOutput = std::move(output.first);
}

ChildProcess::~ChildProcess() {
   if (!Ended()) {
      Kill();
      waitpid(mPid, nullptr, 0);
   }
}

void ChildProcess::Kill() {
   if (!Ended()) {
      kill(mPid, SIGKILL);
   }
}

std::optional<int> ChildProcess::Ended() {
   int status = 0;
   if (mPid > 0 && waitpid(mPid, &status, WNOHANG) == mPid) {
      mPid = -1;
      mStatus = status;
   }
   return mStatus;
}

std::optional<std::string> ChildProcess::TakeLine() {
   const size_t end = mRead.find('\n');
   if (end == std::string::npos) {
      return std::nullopt;
   }
   std::string line = mRead.substr(0, end);
   mRead.erase(0, end + 1);
   return line;
}

std::optional<std::string> ChildProcess::ReadLine() {
   for (;;) {
      if (auto line = TakeLine()) {
         return line;
      }
      char bytes[4096];
      const ptrdiff_t got = pcoip_host::ReceiveSome(mOutput, bytes, sizeof bytes, pcoip_host::Waiting::kNo);
      if (got <= 0) {
         return std::nullopt;
      }
      mRead.append(bytes, static_cast<size_t>(got));
   }
}

} // namespace mavr::redirect
