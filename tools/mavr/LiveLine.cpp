#include "tools/mavr/LiveLine.h"

#include "tools/mavr/Output.h"

#include "osal/Clock.h"

#include <cstdarg>
#include <cstdio>
#include <string>
#include <unistd.h>

namespace mavr {

LiveLine::LiveLine()
    : mIsTerminal(isatty(STDERR_FILENO) == 1) {}

bool LiveLine::IsDue() const {
   constexpr uint64_t kEveryNs = 250'000'000;
   return mIsTerminal && osal::Clock::current().monotonicNs() - mShownNs >= kEveryNs;
}

void LiveLine::Show(const char *format, ...) {
   char text[512];
   va_list args;
   va_start(args, format);
   std::vsnprintf(text, sizeof text, format, args);
   va_end(args);
   std::fprintf(stderr, "\r%s\033[K", Printable(text).c_str());
   std::fflush(stderr);
   mShownNs = osal::Clock::current().monotonicNs();
   mIsShown = true;
}

void LiveLine::End() {
   if (mIsShown) {
      std::fputs("\r\033[K", stderr);
      std::fflush(stderr);
      mIsShown = false;
   }
}

} // namespace mavr
