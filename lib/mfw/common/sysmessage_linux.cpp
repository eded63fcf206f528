#include "lib/mfw/common/sysmessage_linux.h"

#include "lib/mfw/common/corelogger.h"
#include "lib/mfw/common/logger.h"

namespace {

int ComponentLevel(int level) {
   switch (level) {
   case CORE::corelogger::Error:
      return logger::ERROR;
   case CORE::corelogger::Info:
      return logger::INFO;
   case CORE::corelogger::Debug:
      return logger::DEBUG;
   case CORE::corelogger::Trace:
      return logger::TRACE;
   default:
      return logger::FATAL;
   }
}

} // namespace

// Required: the file and the line, whatever this file's own are.
void sysmessage_linux(const char * /*facility*/, int level, const char *format, va_list args) {
   if (const int mapped = ComponentLevel(level); logger::Wants(mapped)) {
      logger::LogV("lib/mfw/common/sysmessage_linux", 52, mapped, format, args);
   }
}
