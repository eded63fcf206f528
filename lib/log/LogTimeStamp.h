#pragma once

#include "osal/Clock.h"

#include <cstddef>
#include <cstdint>

/// The moment of a message as text, in three parts: "2026-11-12T18:30:00", ".123", "Z".
struct LogTimeStamp {
   char dateTime[40];
   char milliseconds[8];
   char zone[2];
};
static_assert(sizeof(LogTimeStamp) == 50);

/// Whether the caller may use what a signal handler may not.
enum class LogContext { Ordinary, SignalHandler };

/// Writes the wall time `now`, which is the present one, in UTC.
///
/// In a signal handler, where time may not be taken apart, it writes the last time that was written outside one and how
/// long ago that was: "2026-11-12T18:30:00Z[+3", ".045", "]". Any thread. Allocates nothing; lock-free.
void Log_FormatTimeStamp(const osal::WallTime &now, LogTimeStamp *out, LogContext context);

/// The broken-down time that was written last, in one word that is exchanged whole.
///
/// `fields`, from bit 18 on: year since 1900 (10 bits), month from 0 (4), day (5), hour (5), minute (6), second (6),
/// millisecond (10). `milliseconds` is the same moment since 1970.
struct alignas(16) LogStampCache {
   uint64_t fields = 0;
   uint64_t milliseconds = 0;
};
static_assert(sizeof(LogStampCache) == 16);

/// Broken-down UTC time with milliseconds; `year` counts from 1900 and `month` from 0.
struct LogBrokenTime {
   int year = 0;
   int month = 0;
   int day = 0;
   int hour = 0;
   int minute = 0;
   int second = 0;
   int millisecond = 0;
};
[[nodiscard]] uint64_t LogStamp_Pack(const LogBrokenTime &time);
[[nodiscard]] LogBrokenTime LogStamp_Unpack(uint64_t fields);

/// The two texts, as functions of plain values.
void LogStamp_Write(const LogBrokenTime &time, LogTimeStamp *out);
void LogStamp_WriteElapsed(const LogStampCache &last, uint64_t nowMilliseconds, LogTimeStamp *out);
