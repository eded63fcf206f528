#include "lib/mfw/common/coretimerlock.h"

#include <atomic>

namespace CORE {
namespace {

constinit std::atomic<bool> gTimerLockExists{false};

} // namespace

coretimer_critsec::coretimer_critsec() {
   gTimerLockExists.store(true);
}

coretimer_critsec::~coretimer_critsec() noexcept(false) {
   gTimerLockExists.store(false);
}

void coretimer_critsec::Lock() {
   if (gTimerLockExists.load(std::memory_order_relaxed)) {
      corecritsec::Lock();
   }
}

void coretimer_critsec::Unlock() {
   if (gTimerLockExists.load(std::memory_order_relaxed)) {
      corecritsec::Unlock();
   }
}

coretimer_critsec &coreTimerLock() {
   static coretimer_critsec &lock = *new coretimer_critsec;
   return lock;
}

} // namespace CORE
