#include "tools/mavr/Interrupt.h"

#include <csignal>

namespace mavr {
namespace {

volatile std::sig_atomic_t gInterrupted = 0;

}

void WatchForInterrupt() {
   std::signal(SIGINT, [](int) { gInterrupted = 1; });
   std::signal(SIGTERM, [](int) { gInterrupted = 1; });
}

bool IsInterrupted() {
   return gInterrupted != 0;
}

} // namespace mavr
