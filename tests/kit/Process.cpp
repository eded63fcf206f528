#include "tests/kit/Process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace kit {
namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds kPollStep{5};

std::string FindProgram(const std::string &name) {
   if (name.find('/') != std::string::npos) {
      return access(name.c_str(), X_OK) == 0 ? name : "";
   }
   const char *const path = std::getenv("PATH");
   std::istringstream folders(path != nullptr ? path : "/usr/bin:/bin");
   for (std::string folder; std::getline(folders, folder, ':');) {
      const std::string candidate = folder + "/" + name;
      if (access(candidate.c_str(), X_OK) == 0) {
         return candidate;
      }
   }
   return "";
}

std::vector<char *> Pointers(const std::vector<std::string> &texts) {
   std::vector<char *> pointers;
   for (const std::string &text : texts) {
      pointers.push_back(const_cast<char *>(text.c_str()));
   }
   pointers.push_back(nullptr);
   return pointers;
}

} // namespace

bool HasProgram(const std::string &name) {
   return !FindProgram(name).empty();
}

Process::Process(const std::vector<std::string> &arguments, const std::vector<std::string> &environment,
                 const std::string &log) {
   const std::string program = FindProgram(arguments.at(0));
   if (program.empty()) {
      throw std::runtime_error("no program " + arguments.at(0));
   }
   const std::vector<char *> argv = Pointers(arguments);
   const std::vector<char *> envp = Pointers(environment);
   // A socket as standard input: writing to a program that has ended is then an error and not a signal.
   int input[2];
   int output[2];
   const int errors = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
   if (errors < 0 || socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, input) != 0 || pipe2(output, O_CLOEXEC) != 0) {
      throw std::runtime_error("no descriptors for " + program);
   }
   const pid_t parent = getpid();
   mPid = fork();
   if (mPid == 0) {
      // Only calls that are allowed between fork and exec.
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      const bool isReady = getppid() == parent && dup2(input[1], STDIN_FILENO) >= 0 &&
                           dup2(output[1], STDOUT_FILENO) >= 0 && dup2(errors, STDERR_FILENO) >= 0;
      if (isReady) {
         execve(program.c_str(), argv.data(), envp.data());
      }
      _exit(127);
   }
   close(errors);
   close(input[1]);
   close(output[1]);
   mInput = input[0];
   mOutput = output[0];
   if (mPid < 0) {
      close(mInput);
      close(mOutput);
      throw std::runtime_error("cannot start " + program);
   }
}

Process::~Process() {
   End();
   close(mInput);
   close(mOutput);
}

bool Process::SendLine(const std::string &line) {
   const std::string text = line + "\n";
   return send(mInput, text.data(), text.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(text.size());
}

std::optional<std::string> Process::ReadLine(std::chrono::milliseconds patience) {
   const auto deadline = Clock::now() + patience;
   for (;;) {
      if (const size_t end = mRead.find('\n'); end != std::string::npos) {
         std::string line = mRead.substr(0, end);
         mRead.erase(0, end + 1);
         return line;
      }
      const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now()).count();
      pollfd ready{mOutput, POLLIN, 0};
      if (left <= 0 || (poll(&ready, 1, static_cast<int>(left)) < 0 && errno != EINTR)) {
         return std::nullopt;
      }
      char bytes[1024];
      const ssize_t count = ready.revents != 0 ? read(mOutput, bytes, sizeof(bytes)) : -1;
      if (count == 0) {
         return std::nullopt;
      }
      mRead.append(bytes, count > 0 ? static_cast<size_t>(count) : 0);
   }
}

void Process::Signal(int signal) {
   if (IsRunning()) {
      kill(mPid, signal);
   }
}

bool Process::IsRunning() {
   if (mPid > 0 && waitpid(mPid, &mStatus, WNOHANG) != 0) {
      mPid = -1;
   }
   return mPid > 0;
}

std::optional<int> Process::Wait(std::chrono::milliseconds patience) {
   const auto deadline = Clock::now() + patience;
   while (IsRunning()) {
      if (Clock::now() >= deadline) {
         return std::nullopt;
      }
      std::this_thread::sleep_for(kPollStep);
   }
   return mStatus;
}

void Process::End() {
   Signal(SIGTERM);
   Signal(SIGCONT);
   if (!Wait(std::chrono::seconds(2))) {
      Signal(SIGKILL);
      Wait(std::chrono::seconds(10));
   }
}

} // namespace kit
