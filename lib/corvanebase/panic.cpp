#include "lib/corvanebase/corvanebase.h"
#include "lib/corvanebase/text.h"

#include "osal/Interrupted.h"

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <unistd.h>

namespace {

std::atomic<PanicSink> gSink{nullptr};
std::atomic_flag gPanicking = ATOMIC_FLAG_INIT;

// Only the first panic ever touches it. Static, because a panic may be about memory or a used-up stack; large enough
// for the longest message of the component log.
char gText[66'000];

size_t FormatText(const char *format, va_list args) CORVANE_PRINTF(1, 0);
size_t FormatText(const char *format, va_list args) {
   constexpr size_t kLongest = sizeof gText - 2; // a line feed and the terminator go behind it
   const int formatted = std::vsnprintf(gText, sizeof gText - 1, format, args);
   size_t length = formatted > 0 ? static_cast<size_t>(formatted) : 0;
   if (length > kLongest) {
      length = corvanebase::Utf8CutLength(gText, kLongest);
   }
   if (length == 0 || gText[length - 1] != '\n') {
      gText[length++] = '\n';
   }
   gText[length] = '\0';
   return length;
}

void WriteToStderr(const char *text, size_t length) {
   while (length > 0) {
      const ssize_t written = osal::repeatInterrupted([&] { return write(STDERR_FILENO, text, length); });
      if (written <= 0) {
         return;
      }
      text += written;
      length -= static_cast<size_t>(written);
   }
}

} // namespace

void Panic_Init(void) {
   // Touches every page of the buffer, so that the report needs no memory from a system that may have none left.
   volatile char *const text = gText;
   for (size_t at = 0; at < sizeof gText; at += 4096) {
      text[at] = text[at];
   }
}

void Panic_SetSink(PanicSink sink) {
   gSink.store(sink);
}

void Panic_Panic(const char *format, va_list args) {
   if (gPanicking.test_and_set()) {
      // A handler of the signal may be what panics here; it must not run again.
      std::signal(SIGABRT, SIG_DFL);
      std::abort();
   }
   const size_t length = FormatText(format, args);
   if (const PanicSink sink = gSink.load(); sink != nullptr) {
      sink(gText);
   }
   WriteToStderr(gText, length);
   std::abort();
}

void Panic(const char *format, ...) {
   va_list args;
   va_start(args, format);
   Panic_Panic(format, args);
}
