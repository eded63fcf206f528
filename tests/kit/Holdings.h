#pragma once

#include <cstddef>

namespace kit {

/// What a process holds that could grow: two readings tell whether something is left behind.
struct Holdings {
   size_t descriptors = 0;
   size_t threads = 0;
   size_t residentKb = 0;  ///< says nothing under a sanitizer, which keeps what was freed
   size_t allocatedKb = 0; ///< given out by malloc and not freed; 0 under a sanitizer or another C library than glibc

   /// Of this process. A thread that is about to end still counts.
   [[nodiscard]] static Holdings Now();
   /// The same once there are no more threads than `former` had, which may take them a moment, or after 10 s.
   [[nodiscard]] static Holdings After(const Holdings &former);
};

} // namespace kit
