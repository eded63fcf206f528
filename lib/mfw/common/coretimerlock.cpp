#include "lib/mfw/common/coretimerlock.h"

namespace CORE {
coretimer_critsec::coretimer_critsec() {
   sExists.store(true);
}

coretimer_critsec::~coretimer_critsec() noexcept(false) {
   sExists.store(false);
}

coretimer_critsec &coreTimerLock() {
   static coretimer_critsec &lock = *new coretimer_critsec;
   return lock;
}

} // namespace CORE
