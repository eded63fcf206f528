#pragma once

#include "osal/Status.h"

#include <cstdint>

/// How the capture of sound is doing, for people. A plain value; the counts are those since the last open.
struct AudioFacts {
   uint64_t chunks = 0;      ///< that reached the queue
   uint64_t lostChunks = 0;  ///< for which the queue had no room
   uint32_t chunkSize = 0;   ///< bytes; 0 before the first open
   int32_t queuedChunks = 0; ///< that wait for the reader
   int32_t deviceIndex = -1; ///< in AudioInputDevices::CachedList; -1 for the default microphone, and for a file
   bool isFile = false;      ///< a dump file is the source
   osal::Status health = osal::Status::Ok(); ///< Ok, or why no sound can be expected any more
};
