#pragma once

#include "libs/common/codec/Codec.h"

#include <cstdint>
#include <string>

/// Delays and debugging switches of the capture path.
///
/// Owner: none, static. Threads: host-serialised, as the settings; the tools at the end on any thread. Locks: none.
/// Life cycle: read afresh at each call.
class AppTweakSettings {
public:
   /// Delays in ms, logged at DEBUG; the first two are at most 1000.
   [[nodiscard]] static uint32_t GetMsgProcDelayLow();
   [[nodiscard]] static uint32_t GetMsgProcDelayHigh();
   [[nodiscard]] static uint32_t GetWCamIdleToActiveDelay();

   /// True when the dump or import is switched on and has a file name, which replaces `*path`. While it is switched
   /// off, `*path` is left alone; switched on without a name, it becomes empty.
   [[nodiscard]] static bool GetExportVideoFile(std::string *path);
   [[nodiscard]] static bool GetExportAudioFile(std::string *path);
   [[nodiscard]] static bool GetImportVideoFile(std::string *path);
   [[nodiscard]] static bool GetImportAudioFile(std::string *path);
   /// The same without a switch: `*path` is always replaced.
   [[nodiscard]] static bool GetExportAudioPcmFile(std::string *path);

   [[nodiscard]] static uint32_t GetExtraLogs();
   /// Whether the extra logs are those of `category`, or all (8 and more).
   [[nodiscard]] static bool IsExtraLogEnabled(uint32_t category);
   [[nodiscard]] static uint32_t GetMaxLogLevel();

   /// The id of a codec's name, not normalised.
   [[nodiscard]] static CodecId CodecFromName(const std::string &name) { return CodecIdFromName(name); }

   // ---- Tools; pure ----

   /// Bit numbers count modulo 32.
   [[nodiscard]] static bool TestBit(uint32_t bit, uint32_t mask) { return (mask >> (bit % 32) & 1) != 0; }
   [[nodiscard]] static uint32_t SetBit(uint32_t bit, uint32_t mask) { return mask | uint32_t{1} << (bit % 32); }

   /// `low` below it, else `high` from there on, else `value`; where the two cross, `low` is asked first.
   [[nodiscard]] static int32_t Clamp(int32_t value, int32_t low, int32_t high) {
      return value < low ? low : (value < high ? value : high);
   }
};
