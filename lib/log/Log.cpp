#include "lib/log/Log.h"

#include "lib/log/LogEmit.h"

#include <atomic>

static_assert(kLogBigLimit - sizeof(LogLineHeader) == 32623);

namespace {

// Whether the event that has just been counted is worth a line. Threads may count in the same word.
bool CountAndPick(uint32_t *counter) {
   return Util_Throttle(std::atomic_ref<uint32_t>(*counter).fetch_add(1, std::memory_order_relaxed) + 1) != 0;
}

} // namespace

void Log_Info(const char *format, ...) {
   va_list args;
   va_start(args, format);
   Log_Emit(&gLogState, kLogLevelInfo, format, args);
   va_end(args);
}

void Log_Warning(const char *format, ...) {
   va_list args;
   va_start(args, format);
   Log_Emit(&gLogState, kLogLevelWarning, format, args);
   va_end(args);
}

void Log_Level(LogRouting routing, const char *format, ...) {
   va_list args;
   va_start(args, format);
   Log_Emit(&gLogState, routing, format, args);
   va_end(args);
}

void Log_LevelV(LogRouting routing, const char *format, va_list args) {
   Log_Emit(&gLogState, routing, format, args);
}

void Log_InfoThrottled(uint32_t *counter, const char *format, ...) {
   if (!CountAndPick(counter)) {
      return;
   }
   va_list args;
   va_start(args, format);
   Log_Emit(&gLogState, kLogLevelInfo, format, args);
   va_end(args);
}

void Log_WarningThrottled(uint32_t *counter, const char *format, ...) {
   if (!CountAndPick(counter)) {
      return;
   }
   va_list args;
   va_start(args, format);
   Log_Emit(&gLogState, kLogLevelWarning, format, args);
   va_end(args);
}

size_t Log_FormatTimeStampText(bool withMilliseconds, char *buffer, size_t size) {
   const LogErrnoKeeper keeper;
   LogTimeStamp stamp;
   Log_FormatTimeStamp(osal::Clock::current().wallTime(), &stamp, Log_PresentContext());
   return withMilliseconds ? Str_Sprintf(buffer, size, "%s%s%s", stamp.dateTime, stamp.milliseconds, stamp.zone)
                           : Str_Sprintf(buffer, size, "%s%s", stamp.dateTime, stamp.zone);
}

size_t Log_MaxMessageLength() {
   return kLogBigLimit - sizeof(LogLineHeader);
}
