#pragma once

#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace kit {

/// A program that a test starts, with its output kept and its input at hand. It never outlives the test: it is ended
/// and reaped by the destructor, and by the kernel when the test dies first.
///
/// Owner: the test. Threads: one. Life cycle: running from construction; ended by End, or by itself.
class Process {
public:
   /// Starts `arguments[0]` (looked up in PATH) with `environment`, "NAME=VALUE" each. Standard error is appended to
   /// the file `log`. Throws std::runtime_error when there is no such program.
   Process(const std::vector<std::string> &arguments, const std::vector<std::string> &environment,
           const std::string &log);
   ~Process();
   Process(const Process &) = delete;
   Process &operator=(const Process &) = delete;

   /// Writes a line to its standard input; false when it does not read any more.
   bool SendLine(const std::string &line);
   /// Next line of its standard output; none when it ended or `patience` is over.
   std::optional<std::string> ReadLine(std::chrono::milliseconds patience);

   void Signal(int signal);
   [[nodiscard]] bool IsRunning();
   /// Asks it to end, insists after 2 seconds, and reaps it.
   void End();
   /// Waits for its end without asking for it; the exit status as of waitpid, none when `patience` is over.
   std::optional<int> Wait(std::chrono::milliseconds patience);

   [[nodiscard]] pid_t Id() const { return mPid; }

private:
   pid_t mPid = -1; ///< -1 once reaped
   int mInput = -1;
   int mOutput = -1;
   int mStatus = 0;
   std::string mRead;
};

/// Whether PATH has the program.
[[nodiscard]] bool HasProgram(const std::string &name);

} // namespace kit
