#include "lib/mfw/common/logger.h"

#include "lib/mfw/common/bsd_vsnprintf.h"

#include <algorithm>
#include <cassert>
#include <cerrno>
#include <cstdio>
#include <cstring>

std::atomic<int> logger::sDropBelow{logger::TRACE};

namespace {

constexpr size_t kBufferSize = 65534;

std::atomic<logger *> gInstance{nullptr};

// Puts a line feed and a zero behind a formatted text, cut so that both fit into `size` bytes. `formatted` is what the
// formatted print has returned: a text that did not fit, or could not be formatted, is as long as what is there.
// Required: the cut by one more byte, for the line feed, has no regard to characters that span bytes.
void EndLine(char *buffer, size_t size, int formatted) {
   const bool whole = formatted >= 0 && static_cast<size_t>(formatted) < size;
   const size_t length = whole ? static_cast<size_t>(formatted) : std::strlen(buffer);
   const size_t end = std::min(length, size - 2);
   buffer[end] = '\n';
   buffer[end + 1] = '\0';
}

void FormatLine(char *buffer, size_t size, const char *format, va_list args) __attribute__((format(printf, 3, 0)));
void FormatLine(char *buffer, size_t size, const char *format, va_list args) {
   buffer[0] = '\0';
   EndLine(buffer, size, bsd_vsnprintf(buffer, size, format, args));
}

// Who logs a failure may go on to report it: a log call leaves errno as it was.
class KeepErrno {
public:
   KeepErrno() = default;
   ~KeepErrno() { errno = mError; }
   KeepErrno(const KeepErrno &) = delete;
   KeepErrno &operator=(const KeepErrno &) = delete;

private:
   const int mError = errno;
};

} // namespace

logger &logger::Instance() {
   logger *instance = gInstance.load(std::memory_order_acquire);
   if (instance == nullptr) {
      auto *const fresh = new logger;
      if (gInstance.compare_exchange_strong(instance, fresh)) {
         return *fresh;
      }
      delete fresh;
   }
   return *instance;
}

void logger::Init(Callback clb) {
   Instance().SetCallback(clb);
}

void logger::SetCallback(Callback callback) {
   assert(callback != nullptr && "clb");
   SetDropBelow(TRACE);
   clb.store(callback, std::memory_order_relaxed);
}

void logger::Release() {
   SetDropBelow(TRACE);
   delete gInstance.exchange(nullptr);
}

void logger::Log(const char *file, int line, int level, const char *format, ...) {
   va_list args;
   va_start(args, format);
   LogV(file, line, level, format, args);
   va_end(args);
}

void logger::LogV(const char * /*file*/, int /*line*/, int level, const char *format, va_list args) {
   const KeepErrno keepErrno;
   logger &self = Instance();
   char text[kBufferSize];
   FormatLine(text, sizeof text, format, args);
   if (const Callback callback = self.clb.load(std::memory_order_relaxed); callback != nullptr) {
      callback(text, level);
      return;
   }
   // One call, so that the lines of two threads do not mix. The text has a line feed already: an empty line follows.
   std::printf("%s\n", text);
   std::fflush(stdout);
}

char *logger::FormatMsg(char *msgBuffer, size_t msgBufferLen, const char *format, va_list args) {
   assert(msgBuffer != nullptr);
   assert(msgBufferLen > 1);
   const KeepErrno keepErrno;
   FormatLine(msgBuffer, msgBufferLen, format, args);
   return msgBuffer;
}

const char *logger::LevelName(int level) {
   static constexpr const char *kNames[] = {"TRACE", "DEBUG", "INFO ", "WARN ", "ERROR", "FATAL"};
   return level >= 0 && level < 6 ? kNames[level] : "UNKNOWN";
}

std::string logger::FileAndLine(const char *file, int line) {
   return " [" + std::string(file) + ":" + std::to_string(line) + "]";
}
