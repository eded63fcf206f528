#include "lib/corvanebase/corvanebase.h"

#include <pthread.h>

namespace {

constexpr size_t kNameSize = 64; // no system has longer names

thread_local char gName[kNameSize];
// volatile, as for a word that a signal handler and the code under it share.
thread_local volatile int gInSignal = 0;

} // namespace

const char *VThreadBase_CurName(void) {
   // The system is asked each time: a thread may be renamed by anyone at any moment, and nothing tells that it was.
   if (pthread_getname_np(pthread_self(), gName, sizeof gName) != 0) {
      gName[0] = '\0';
   }
   return gName;
}

int VThreadBase_IsInSignal(void) {
   return gInSignal;
}

int VThreadBase_SetIsInSignal(int inSignal) {
   const int former = gInSignal;
   gInSignal = inSignal != 0 ? 1 : 0;
   return former;
}
