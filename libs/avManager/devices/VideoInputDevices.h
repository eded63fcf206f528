#pragma once

#include "libs/mmdr/device/DeviceInfo.h"

#include <cstddef>

/// The cameras as the rest of the library lists them: each call asks the platform, and what it said last is kept.
///
/// Owner: the process; the caches live until it ends. Threads: host-serialised. Locks: none; the caches are
/// unprotected. Life cycle: empty -> the last enumeration of each form.
class VideoInputDevices {
public:
   /// Enumerates into the cached list and copies it to `list`, unless that is the cached list. Always true.
   static bool List(MMDev::DeviceList &list);
   /// Clears `map`, enumerates with sizes into the cached map and copies it, unless `map` is the cached one. Always
   /// true.
   static bool Map(CamDevInfoMap &map);
   /// Records in the cached list; 0 before the first enumeration. Does not enumerate.
   [[nodiscard]] static size_t Count();

   [[nodiscard]] static MMDev::DeviceList &CachedList();
   [[nodiscard]] static CamDevInfoMap &CachedMap();

   /// Enumerates and logs each camera at DEBUG.
   static void LogDevEnum();
};
