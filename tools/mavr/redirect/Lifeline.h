#pragma once

#include "pcoip_host/local/LocalSocket.h"

#include <functional>
#include <thread>

namespace mavr::redirect {

/// Tells a side once when its standard input has ended: then whoever started it wants it to end, or is no more.
///
/// Owner: a side. Threads: one of its own, on which `ended` is called. Life cycle: constructed (watches) -> destroyed.
class Lifeline {
public:
   explicit Lifeline(std::function<void()> ended);
   ~Lifeline();
   Lifeline(const Lifeline &) = delete;
   Lifeline &operator=(const Lifeline &) = delete;

private:
   void Watch() const;

   const std::function<void()> mEnded;
   pcoip_host::SocketPair mStop;
   std::thread mThread;
};

} // namespace mavr::redirect
