#include "osal/Clock.h"
#include "osal/WaitWord.h"
#include "osal/posix/PosixTime.h"

#include <atomic>
#include <cerrno>
#include <ctime>

namespace osal {
namespace {

class PosixClock final : public Clock {
public:
   uint64_t monotonicNs() const override { return SystemMonotonicNs(); }

   WallTime wallTime() const override {
      timespec now{};
      clock_gettime(CLOCK_REALTIME, &now);
      return {static_cast<int64_t>(now.tv_sec), static_cast<int32_t>(now.tv_nsec / 1000)};
   }

   void sleepNs(uint64_t ns) override {
      timespec left = AsTimespec(ns);
      while (nanosleep(&left, &left) != 0 && errno == EINTR) {
      }
   }
};

// Ready before anything runs, without memory that might lack, and never destroyed: the log may read it while the
// process ends.
union Immortal {
   constexpr Immortal()
       : clock() {}
   ~Immortal() {} // NOLINT: on purpose it does not end the clock's life
   PosixClock clock;
};
constinit Immortal gSystem;

std::atomic<Clock *> gInstalled{nullptr};

} // namespace

Clock &Clock::current() {
   Clock *const installed = gInstalled.load(std::memory_order_acquire);
   return installed != nullptr ? *installed : gSystem.clock;
}

bool Clock::waitWhile(const std::atomic<uint32_t> &word, uint32_t value, uint64_t deadlineNs) {
   return waitword::waitWhileUntil(word, value, deadlineNs);
}

ScopedClock::ScopedClock(Clock &clock)
    : mFormer(gInstalled.exchange(&clock)) {}
ScopedClock::~ScopedClock() {
   gInstalled.store(mFormer);
}

} // namespace osal
