#include "tools/mavr/redirect/Lifeline.h"

#include "tools/mavr/ToolError.h"

#include <poll.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace mavr::redirect {
namespace {

pcoip_host::SocketPair MakePair() {
   auto pair = pcoip_host::MakeSocketPair();
   if (!pair) {
      throw ToolError("There are no descriptors left.", "Close something that is running.");
   }
   return std::move(*pair);
}

} // namespace

Lifeline::Lifeline(std::function<void()> ended)
    : mEnded(std::move(ended))
    , mStop(MakePair())
    , mThread(&Lifeline::Watch, this) {}

Lifeline::~Lifeline() {
   mStop.first.Close();
   mThread.join();
}

void Lifeline::Watch() const {
   for (;;) {
      pollfd waits[] = {{STDIN_FILENO, POLLIN, 0}, {mStop.second.Get(), POLLIN, 0}};
      if (poll(waits, 2, -1) < 0 && errno != EINTR) {
         return;
      }
      if (waits[1].revents != 0) {
         return;
      }
      char bytes[64];
      if (waits[0].revents != 0 && read(STDIN_FILENO, bytes, sizeof bytes) <= 0) {
         mEnded();
         return;
      }
   }
}

} // namespace mavr::redirect
