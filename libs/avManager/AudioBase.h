#pragma once

#include "lib/mfw/common/linuxSupport.h"

#include <cstdint>
#include <string>

namespace AudioBase {

/// The one sample size: bits.
inline constexpr uint32_t BPS_16K = 16;

} // namespace AudioBase

/// What a recorder of sound is asked for. A plain value.
struct AudioUserPrefs {
   std::string mUserId;         ///< of the microphone; empty, or of none that is there: the default one
   uint32_t mReserved = 0;      ///< kept, not read
   uint32_t mChunkMS = 0;       ///< length of a chunk, milliseconds
   uint32_t mQueueBuffers = 0;  ///< chunks that may wait for the reader: 2 or more
   uint32_t mSampleRate = 8000; ///< hertz
   HANDLE mDataEvent = nullptr; ///< set for each chunk; may be null; not owned
};
