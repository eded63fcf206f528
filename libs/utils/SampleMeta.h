#pragma once

#include <cstdint>

/// What travels beside each captured frame or chunk, in the side buffer of its slot. The queue itself sees only bytes.
struct SampleMeta {
   uint32_t mTimeMS = 0; ///< capture time, milliseconds of the recorders' common clock
   uint32_t mValid = 1;  ///< always 1
};
static_assert(sizeof(SampleMeta) == 8);
