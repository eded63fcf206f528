#pragma once

#include "libs/common/DevicePrefs.h"

#include <cstdint>
#include <map>
#include <string>

/// Stream parameters by device index, with a word on what each device is.
///
/// Owner: its maker. Threads: host-serialised. Locks: none. Life cycle: entries come with AddWebcamDev, AddAudioDev,
/// FirstPrefs and SecondPrefs, and go with the removal of the last kind of a device.
class DevPrefsInfo {
public:
   /// Marks the device as a webcam, or as an audio device, and stores its texts in that block of its first prefs. At
   /// most 512 bytes of a text are kept. Logs the table.
   // Required: a shorter text over a longer one leaves the longer one's tail; an empty one zeroes the member.
   void AddWebcamDev(uint32_t index, const std::string &id, const std::string &name);
   void AddAudioDev(uint32_t index, const std::string &id, const std::string &name);

   /// Takes the mark and the texts away, and the entry with its last mark. False without the mark. Logged at DEBUG.
   bool RemoveWebcamDev(uint32_t index);
   bool RemoveAudioDev(uint32_t index);

   /// False for an index that is not there.
   [[nodiscard]] bool HasWebcamDev(uint32_t index) const;
   [[nodiscard]] bool HasAudioDev(uint32_t index) const;

   /// The prefs of a device, made in their default state when absent. Valid until the entry goes.
   [[nodiscard]] DevicePrefs &FirstPrefs(uint32_t index) { return mEntries[index].first; }
   [[nodiscard]] DevicePrefs &SecondPrefs(uint32_t index) { return mEntries[index].second; }

   /// Logs the table at DEBUG.
   void DumpAVDevInfo() const;

private:
   struct Entry {
      DevicePrefs first;
      DevicePrefs second;
      bool hasWebcam = false;
      bool hasAudio = false;
   };

   std::map<uint32_t, Entry> mEntries;
};
