#include "lib/log/LogTimeStamp.h"

#include "lib/corvanebase/corvanebase.h"

#include <algorithm>
#include <atomic>
#include <cstring>
#include <ctime>
#include <limits>

namespace {

constexpr uint64_t kMsPerSecond = 1000;
constexpr int64_t kNoSecond = std::numeric_limits<int64_t>::min();

constexpr unsigned kYearBit = 18;
constexpr unsigned kMonthBit = 28;
constexpr unsigned kDayBit = 32;
constexpr unsigned kHourBit = 37;
constexpr unsigned kMinuteBit = 42;
constexpr unsigned kSecondBit = 48;
constexpr unsigned kMillisecondBit = 54;
constexpr uint64_t kTenBits = 0x3FF;
constexpr uint64_t kSixBits = 0x3F;
constexpr uint64_t kFiveBits = 0x1F;
constexpr uint64_t kFourBits = 0xF;

constinit std::atomic<LogStampCache> gLast{LogStampCache{}};

// Required: a compare-and-swap also for reading. It writes nothing but what is there.
LogStampCache ReadCache() {
   LogStampCache last;
   gLast.compare_exchange_strong(last, last, std::memory_order_relaxed);
   return last;
}

uint64_t Field(int value, uint64_t mask, unsigned bit) {
   return (static_cast<uint64_t>(value) & mask) << bit;
}

int Part(uint64_t fields, uint64_t mask, unsigned bit) {
   return static_cast<int>(fields >> bit & mask);
}

void PutDigits(char *to, int value, int digits) {
   for (int at = digits - 1; at >= 0; --at) {
      to[at] = static_cast<char>('0' + value % 10);
      value /= 10;
   }
}

uint64_t MillisecondsOf(const osal::WallTime &now) {
   return static_cast<uint64_t>(now.seconds) * kMsPerSecond + static_cast<uint64_t>(now.microseconds / 1000);
}

LogBrokenTime BreakDown(int64_t seconds) {
   const auto asked = static_cast<time_t>(seconds);
   tm broken{};
   gmtime_r(&asked, &broken); // leaves zeros behind for a moment in no year that it can name
   return {broken.tm_year, broken.tm_mon, broken.tm_mday, broken.tm_hour, broken.tm_min, broken.tm_sec, 0};
}

// What a thread has written last: within the same millisecond the text is the same, within the same second all but the
// milliseconds. No second while it is being changed, so that a signal handler in between writes its own.
struct LastText {
   int64_t second = kNoSecond;
   int32_t millisecond = 0;
   LogBrokenTime broken{};
   LogTimeStamp text{};
};
thread_local constinit LastText gLastText{};

// Whoever has been faster has stored a moment as good as this one.
void Remember(const LogBrokenTime &broken, uint64_t milliseconds) {
   LogStampCache last = ReadCache();
   gLast.compare_exchange_strong(last, {LogStamp_Pack(broken), milliseconds}, std::memory_order_relaxed);
}

void WriteNow(const osal::WallTime &now, LogTimeStamp *out) {
   const int32_t millisecond = now.microseconds / 1000;
   LastText &last = gLastText;
   if (last.second != now.seconds || last.millisecond != millisecond) {
      LogBrokenTime broken = last.second == now.seconds ? last.broken : BreakDown(now.seconds);
      broken.millisecond = millisecond;
      last.second = kNoSecond;
      std::atomic_signal_fence(std::memory_order_seq_cst);
      last.broken = broken;
      last.millisecond = millisecond;
      LogStamp_Write(broken, &last.text);
      std::atomic_signal_fence(std::memory_order_seq_cst);
      last.second = now.seconds;
      Remember(broken, MillisecondsOf(now));
   }
   *out = last.text;
}

} // namespace

uint64_t LogStamp_Pack(const LogBrokenTime &time) {
   return Field(time.year, kTenBits, kYearBit) | Field(time.month, kFourBits, kMonthBit) |
          Field(time.day, kFiveBits, kDayBit) | Field(time.hour, kFiveBits, kHourBit) |
          Field(time.minute, kSixBits, kMinuteBit) | Field(time.second, kSixBits, kSecondBit) |
          Field(time.millisecond, kTenBits, kMillisecondBit);
}

LogBrokenTime LogStamp_Unpack(uint64_t fields) {
   return {Part(fields, kTenBits, kYearBit),       Part(fields, kFourBits, kMonthBit),
           Part(fields, kFiveBits, kDayBit),       Part(fields, kFiveBits, kHourBit),
           Part(fields, kSixBits, kMinuteBit),     Part(fields, kSixBits, kSecondBit),
           Part(fields, kTenBits, kMillisecondBit)};
}

void LogStamp_Write(const LogBrokenTime &time, LogTimeStamp *out) {
   const int64_t year = int64_t{time.year} + 1900;
   if (year >= 0 && year <= 9999) {
      std::memcpy(out->dateTime, "0000-00-00T00:00:00", 20);
      PutDigits(out->dateTime, static_cast<int>(year), 4);
      PutDigits(out->dateTime + 5, time.month + 1, 2);
      PutDigits(out->dateTime + 8, time.day, 2);
      PutDigits(out->dateTime + 11, time.hour, 2);
      PutDigits(out->dateTime + 14, time.minute, 2);
      PutDigits(out->dateTime + 17, time.second, 2);
   } else {
      Str_Sprintf(out->dateTime, sizeof out->dateTime, "%04lld-%02d-%02dT%02d:%02d:%02d", static_cast<long long>(year),
                  time.month + 1, time.day, time.hour, time.minute, time.second);
   }
   std::memcpy(out->milliseconds, ".000", 5);
   PutDigits(out->milliseconds + 1, time.millisecond, 3);
   std::memcpy(out->zone, "Z", 2);
}

void LogStamp_WriteElapsed(const LogStampCache &last, uint64_t nowMilliseconds, LogTimeStamp *out) {
   const LogBrokenTime time = LogStamp_Unpack(last.fields);
   // Required: the milliseconds of the last moment are taken off twice.
   const auto elapsed = std::max<int64_t>(
      static_cast<int64_t>(nowMilliseconds - last.milliseconds - static_cast<uint64_t>(time.millisecond)), 0);
   Str_Sprintf(out->dateTime, sizeof out->dateTime, "%04d-%02d-%02dT%02d:%02d:%02d%s[+%lld", time.year + 1900,
               time.month + 1, time.day, time.hour, time.minute, time.second, "Z",
               static_cast<long long>(elapsed / static_cast<int64_t>(kMsPerSecond)));
   Str_Sprintf(out->milliseconds, sizeof out->milliseconds, ".%03lld",
               static_cast<long long>(elapsed % static_cast<int64_t>(kMsPerSecond)));
   std::memcpy(out->zone, "]", 2);
}

void Log_FormatTimeStamp(const osal::WallTime &now, LogTimeStamp *out, LogContext context) {
   if (context == LogContext::SignalHandler) {
      LogStamp_WriteElapsed(ReadCache(), MillisecondsOf(now), out);
   } else {
      WriteNow(now, out);
   }
}
