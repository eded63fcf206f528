#include "lib/mfw/common/corelogger.h"

#include "lib/mfw/common/corestring.h"
#include "lib/mfw/common/sysmessage_linux.h"

namespace CORE {
namespace {

// Set before any code runs, so that a message of another initialiser is not lost.
constinit std::atomic<corelogger::Sink> gSink{sysmessage_linux};

// Stands in for a facility that is not given. Never destroyed: threads may log while the process ends.
const corestring &DefaultFacility() {
   static const corestring *const facility = new corestring;
   return *facility;
}

} // namespace

corelogger &corelogger::Instance() {
   static corelogger *const instance = new corelogger; // never destroyed, for the same reason
   return *instance;
}

corelogger::Sink corelogger::SetSink(Sink sink) {
   return gSink.exchange(sink);
}

void corelogger::Write(const char *facility, int level, const char *format, va_list args) {
   const Sink sink = gSink.load(std::memory_order_acquire);
   if (sink == nullptr || !mEnabled.load(std::memory_order_relaxed)) {
      return;
   }
   sink(facility != nullptr && *facility != '\0' ? facility : DefaultFacility().Text(), level, format, args);
}

#define CORE_FORWARD(facility, level)                                                                                  \
   va_list args;                                                                                                       \
   va_start(args, format);                                                                                             \
   Instance().Write((facility), (level), format, args);                                                                \
   va_end(args)

void corelogger::LogError(const char *format, ...) {
   CORE_FORWARD("", Error);
}

void corelogger::LogDebug(const char *format, ...) {
   CORE_FORWARD("", Debug);
}

void corelogger::LogTrace(const char *format, ...) {
   CORE_FORWARD("", Trace);
}

void corelogger::Log(const char *facility, int level, const char *format, ...) {
   CORE_FORWARD(facility, level);
}

} // namespace CORE
