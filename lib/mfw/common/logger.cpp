#include "lib/mfw/common/logger.h"

#include <algorithm>
#include <cassert>
#include <cstdio>
#include <cstring>

std::atomic<int> logger::sDropBelow{logger::TRACE};

namespace {

constexpr size_t kBufferSize = 65534;

std::atomic<logger *> gInstance{nullptr};

// Puts a line feed and a zero behind a text of `length` bytes, cut so that both fit into `size` bytes.
void EndLine(char *buffer, size_t size, int length) {
   const size_t end = std::min(static_cast<size_t>(std::max(length, 0)), size - 2);
   buffer[end] = '\n';
   buffer[end + 1] = '\0';
}

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

void logger::Init(Callback clb) { Instance().SetCallback(clb); }

void logger::SetCallback(Callback callback) {
   assert(callback != nullptr && "clb");
   SetDropBelow(TRACE);
   clb = callback;
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
   logger &self = Instance();
   char text[kBufferSize];
   EndLine(text, sizeof text, std::vsnprintf(text, sizeof text, format, args));
   if (self.clb == nullptr) {
      std::fputs(text, stdout);
      std::fputc('\n', stdout);
      std::fflush(stdout);
      return;
   }
   self.clb(text, level);
}

char *logger::FormatMsg(char *msgBuffer, size_t msgBufferLen, const char *format, va_list args) {
   assert(msgBuffer != nullptr);
   assert(msgBufferLen > 1);
   EndLine(msgBuffer, msgBufferLen, std::vsnprintf(msgBuffer, msgBufferLen, format, args));
   return msgBuffer;
}

const char *logger::LevelName(int level) {
   static constexpr const char *kNames[] = {"TRACE", "DEBUG", "INFO ", "WARN ", "ERROR", "FATAL"};
   return level >= 0 && level < 6 ? kNames[level] : "UNKNOWN";
}

std::string logger::FileAndLine(const char *file, int line) {
   return " [" + std::string(file) + ":" + std::to_string(line) + "]";
}
