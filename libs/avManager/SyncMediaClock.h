#pragma once

#include <cstdint>

/// The one timeline of all recorders, in milliseconds from a point near the first client's arrival.
///
/// Its state is the process's: every object shows the same time, and the time of the queue's frames and chunks is this
/// one. Owner: each client has one. Threads: any thread. Locks: one of its own, for the base. Life cycle: the clock
/// runs while at least one object exists; the first to come restarts it.
class SyncMediaClock {
public:
   SyncMediaClock();
   ~SyncMediaClock();
   SyncMediaClock(const SyncMediaClock &) = delete;
   SyncMediaClock &operator=(const SyncMediaClock &) = delete;

   /// Milliseconds, rounded down, cut to 32 bits; 0 when no object exists.
   [[nodiscard]] static uint32_t GetTimeMS();
   /// Takes the base afresh, as the first client does.
   static void Reset();
};
