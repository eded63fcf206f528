#pragma once

#include "pcoip_host/local/LocalSocket.h"

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace mavr::redirect {

/// This program, started once more as one side of a redirection: its standard input is a lifeline that ends when this
/// object lets go of it or this process dies, its standard output comes here line by line, its standard error is ours.
///
/// Owner: the command. Threads: one. Life cycle: running from construction; the destructor ends and reaps it.
class ChildProcess {
public:
   /// Passes `socket` on as descriptor kSocket. A ToolError when it can't be started.
   static constexpr int kSocket = 3;
   ChildProcess(const std::vector<std::string> &arguments, const pcoip_host::Descriptor &socket);
   ~ChildProcess();
   ChildProcess(const ChildProcess &) = delete;
   ChildProcess &operator=(const ChildProcess &) = delete;

   /// Asks it to end in its own good time.
   void LetGo() { mLifeline.Close(); }
   void Kill();

   /// A line that it wrote; none when there is none now.
   [[nodiscard]] std::optional<std::string> ReadLine();

   /// How it ended, as of waitpid; none while it runs.
   [[nodiscard]] std::optional<int> Ended();

private:
   [[nodiscard]] std::optional<std::string> TakeLine();

   pid_t mPid = -1; // until it is reaped
   std::optional<int> mStatus;
   pcoip_host::Descriptor mLifeline;
   pcoip_host::Descriptor mOutput;
   std::string mRead;
};

} // namespace mavr::redirect
