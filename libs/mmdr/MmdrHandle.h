#pragma once

#include "mmdr/mmdr.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>

/// What the host's opaque pointer leads to. It owns nothing but itself.
///
/// Owner: the host, from Mmdr_Init to Mmdr_Uninit. Threads: any; the count is atomic, the rest does not change. Locks:
/// none. Life cycle: zero-filled -> Enliven -> released when the count falls to 0.
struct MmdrHandle {
   char magic[4];              // "mmdr" as the bytes stand in memory
   std::atomic<int64_t> count; // of references; below 1 the handle is invalid
   int32_t mode;               // as given; nothing reads it

   static constexpr char kMagic[4] = {'m', 'm', 'd', 'r'};

   void Enliven(int32_t theMode) {
      std::memcpy(magic, kMagic, sizeof magic);
      mode = theMode;
      count.store(1);
   }

   /// Whether `handle` is one that Mmdr_Init made and that is alive. A pointer to other memory is recognised by its
   /// first four bytes, and no more of it is read.
   [[nodiscard]] static bool IsLive(const MmdrHandle *handle) {
      return handle != nullptr && std::memcmp(handle, kMagic, sizeof kMagic) == 0 && handle->count.load() >= 1;
   }
};

static_assert(offsetof(MmdrHandle, magic) == 0 && offsetof(MmdrHandle, count) == 8 && offsetof(MmdrHandle, mode) == 16);
