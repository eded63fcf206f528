#include "osal/apple/MachTime.h"

#include <mach/mach_time.h>

namespace osal {

uint64_t MachNowNs() {
   mach_timebase_info_data_t base{};
   const bool isKnown = mach_timebase_info(&base) == 0 && base.numer != 0 && base.denom != 0;
   const uint64_t ticks = mach_absolute_time();
   return isKnown ? TicksToNs(ticks, base.numer, base.denom) : ticks;
}

} // namespace osal
