#pragma once

#include "libs/mmdr/device/DeviceInfo.h"

#include <cstddef>

/// The microphones as the rest of the library lists them: each call asks the platform, and what it said last is kept.
///
/// Owner: the process; the cache lives until it ends. Threads: host-serialised. Locks: none; the cache is unprotected.
/// Life cycle: empty -> the last enumeration.
class AudioInputDevices {
public:
   /// Enumerates into the cached list and copies it to `list`, unless that is the cached list. Always true.
   static bool List(MMDev::DeviceList &list);
   /// Records in the cached list; 0 before the first enumeration. Does not enumerate.
   [[nodiscard]] static size_t Count();

   [[nodiscard]] static MMDev::DeviceList &CachedList();

   /// Enumerates and logs each microphone at DEBUG.
   static void LogDevEnum();
};
