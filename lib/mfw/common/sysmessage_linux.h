#pragma once

#include <cstdarg>

/// The sink that CORE::corelogger has from load time on: hands a message to the component log, whose levels it maps,
/// and ignores the facility. A level that is none becomes FATAL. Any thread.
void sysmessage_linux(const char *facility, int level, const char *format, va_list args)
   __attribute__((format(printf, 3, 0)));
