#pragma once

#include "lib/mfw/common/coreref.h"

#include <atomic>
#include <cstdarg>

namespace CORE {

/// The log of the CORE classes: a facility and a level of its own numbering, on top of the component log.
///
/// Owner: the process, one instance. Threads: any thread. Locks: none. Life cycle: enabled from load to exit.
class corelogger : public coreref {
public:
   /// A level that is none of these arrives as FATAL, which ends a process whose log is set up.
   enum Level : int { Error = 1, Info = 2, Debug = 3, Trace = 4 };

   using Sink = void (*)(const char *facility, int level, const char *format, va_list args);

   /// One message; an empty or null facility stands for the default one. Nothing without a sink or when disabled.
   void Write(const char *facility, int level, const char *format, va_list args) __attribute__((format(printf, 4, 0)));

   /// The short forms, on the process's instance, with an empty facility.
   static void LogError(const char *format, ...) __attribute__((format(printf, 1, 2)));
   static void LogDebug(const char *format, ...) __attribute__((format(printf, 1, 2)));
   static void LogTrace(const char *format, ...) __attribute__((format(printf, 1, 2)));
   static void Log(const char *facility, int level, const char *format, ...) __attribute__((format(printf, 3, 4)));

   /// Disabled, it drops every message.
   void SetEnabled(bool enabled) { mEnabled.store(enabled, std::memory_order_relaxed); }

   static corelogger &Instance();
   /// From load time on the sink is sysmessage_linux, which hands messages to the component log; null drops them.
   /// Returns the former one.
   static Sink SetSink(Sink sink);

private:
   std::atomic<bool> mEnabled{true};
};

} // namespace CORE
