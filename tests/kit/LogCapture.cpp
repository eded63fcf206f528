#include "tests/kit/LogCapture.h"

#include "lib/mfw/common/logger.h"

#include <algorithm>
#include <cassert>
#include <cstdarg>
#include <cstdio>

namespace kit {
namespace {

LogCapture *gCapture = nullptr;

std::string FormatV(const char *format, va_list args) __attribute__((format(printf, 1, 0)));
std::string FormatV(const char *format, va_list args) {
   va_list again;
   va_copy(again, args);
   const int length = std::vsnprintf(nullptr, 0, format, again);
   va_end(again);
   std::string text(static_cast<size_t>(length), '\0');
   std::vsnprintf(text.data(), text.size() + 1, format, args);
   return text;
}

} // namespace

LogCapture::LogCapture() {
   assert(gCapture == nullptr);
   gCapture = this;
   logger::Init(&LogCapture::Receive);
}

LogCapture::~LogCapture() {
   logger::Release();
   gCapture = nullptr;
}

void LogCapture::Receive(const char *text, int level) {
   std::string line(text);
   if (!line.empty() && line.back() == '\n') {
      line.pop_back();
   }
   const std::lock_guard<std::mutex> guard(gCapture->mLock);
   gCapture->mLines.push_back({level, std::move(line)});
}

bool LogCapture::Saw(int level, const char *format, ...) const {
   va_list args;
   va_start(args, format);
   const std::string wanted = FormatV(format, args);
   va_end(args);
   const std::lock_guard<std::mutex> guard(mLock);
   return std::any_of(mLines.begin(), mLines.end(),
                      [&](const Line &line) { return line.level == level && line.text == wanted; });
}

int LogCapture::Count(int level, const char *format, ...) const {
   va_list args;
   va_start(args, format);
   const std::string wanted = FormatV(format, args);
   va_end(args);
   const std::lock_guard<std::mutex> guard(mLock);
   return static_cast<int>(std::count_if(mLines.begin(), mLines.end(),
                                         [&](const Line &line) { return line.level == level && line.text == wanted; }));
}

int LogCapture::CountLevel(int level) const {
   const std::lock_guard<std::mutex> guard(mLock);
   return static_cast<int>(
      std::count_if(mLines.begin(), mLines.end(), [&](const Line &line) { return line.level == level; }));
}

std::vector<LogCapture::Line> LogCapture::Lines() const {
   const std::lock_guard<std::mutex> guard(mLock);
   return mLines;
}

std::string LogCapture::Dump() const {
   std::string all;
   for (const Line &line : Lines()) {
      all += std::string(logger::LevelName(line.level)) + " " + line.text + "\n";
   }
   return all;
}

void LogCapture::Clear() {
   const std::lock_guard<std::mutex> guard(mLock);
   mLines.clear();
}

} // namespace kit
