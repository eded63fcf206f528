// A stand-in for the header: what osal/apple uses of it, and nothing that a Mac lacks.
#pragma once

#include <cstdint>

struct mach_timebase_info {
   uint32_t numer;
   uint32_t denom;
};
typedef struct mach_timebase_info mach_timebase_info_data_t;
typedef struct mach_timebase_info *mach_timebase_info_t;
typedef int kern_return_t;

extern "C" {

uint64_t mach_absolute_time(void);
kern_return_t mach_timebase_info(mach_timebase_info_t info);

} // extern "C"
