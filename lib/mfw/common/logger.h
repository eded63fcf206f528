#pragma once

#include <atomic>
#include <cstdarg>
#include <cstddef>
#include <string>

/// The front end that all component code logs with: formats a message and hands it to one installed callback.
///
/// Owner: the process; made on first use. Threads: any thread may log at any time; the callback is installed before the
/// threads start. Locks: none. Each call needs 64 KiB of the caller's stack and no heap, and keeps errno. Life cycle:
/// without a callback messages go to standard output, an empty line behind each; with one they go there, whatever their
/// level.
class logger {
public:
   enum Level : int { TRACE = 0, DEBUG = 1, INFO = 2, WARN = 3, ERROR = 4, FATAL = 5 };

   /// Takes a finished message, which ends in a line feed, and its level. What goes wrong in it is its own business.
   using Callback = void (*)(const char *text, int level);

   /// Formats (bsd_vsnprintf) and delivers one message: at most 65532 bytes, then a line feed. `file` and `line` are
   /// not shown. Use the MAVR_LOG_... forms below, which cost nothing for a message that nobody wants.
   static void Log(const char *file, int line, int level, const char *format, ...)
      __attribute__((format(printf, 4, 5)));
   static void LogV(const char *file, int line, int level, const char *format, va_list args)
      __attribute__((format(printf, 4, 0)));

   /// Makes the object if needed and stores the callback, which must not be null (asserted).
   static void Init(Callback clb);
   static logger &Instance();
   /// The same for an object that exists.
   void SetCallback(Callback clb);
   /// Deletes the object; messages go to standard output again. No thread may be logging.
   static void Release();

   /// Formats into `msgBuffer`, with a line feed and a zero behind the text, cut at msgBufferLen - 2. Asserts on a null
   /// buffer and on msgBufferLen <= 1. Returns msgBuffer.
   static char *FormatMsg(char *msgBuffer, size_t msgBufferLen, const char *format, va_list args)
      __attribute__((format(printf, 3, 0)));

   /// "TRACE", "DEBUG", "INFO ", "WARN ", "ERROR", "FATAL"; "UNKNOWN" for any other number.
   static const char *LevelName(int level);
   /// " [FILE:LINE]".
   static std::string FileAndLine(const char *file, int line);

   /// The callback's word that it drops every message from TRACE up to, but not with, `level`: such messages are not
   /// even formatted. The owner of the callback keeps it true, and gives it only after its own filter is set;
   /// installing a callback, or Release, takes it back to TRACE. A number that is no level is never dropped here: the
   /// callback has its own answer to it.
   static void SetDropBelow(int level) { sDropBelow.store(level, std::memory_order_relaxed); }
   static bool Wants(int level) { return level >= sDropBelow.load(std::memory_order_relaxed) || level < TRACE; }

private:
   static std::atomic<int> sDropBelow;

   std::atomic<Callback> clb{nullptr};
};

#define MAVR_LOG(level, ...)                                                                                           \
   (logger::Wants(level) ? logger::Log(__FILE__, __LINE__, (level), __VA_ARGS__) : static_cast<void>(0))
#define MAVR_LOG_TRACE(...) MAVR_LOG(logger::TRACE, __VA_ARGS__)
#define MAVR_LOG_DEBUG(...) MAVR_LOG(logger::DEBUG, __VA_ARGS__)
#define MAVR_LOG_INFO(...) MAVR_LOG(logger::INFO, __VA_ARGS__)
#define MAVR_LOG_WARN(...) MAVR_LOG(logger::WARN, __VA_ARGS__)
#define MAVR_LOG_ERROR(...) MAVR_LOG(logger::ERROR, __VA_ARGS__)
#define MAVR_LOG_FATAL(...) MAVR_LOG(logger::FATAL, __VA_ARGS__)
