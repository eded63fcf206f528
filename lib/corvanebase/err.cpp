#include "lib/corvanebase/corvanebase.h"

#include <cerrno>
#include <cstdio>
#include <cstring>

namespace {

thread_local char gText[256];

// strerror_r comes in two forms, one that returns the text and one that fills the buffer and returns a status.
[[maybe_unused]] const char *TextOf(const char *result, int /*error*/) {
   return result;
}
[[maybe_unused]] const char *TextOf(int result, int error) {
   if (result != 0) {
      std::snprintf(gText, sizeof gText, "Unknown error %d", error);
   }
   return gText;
}

} // namespace

const char *Err_ErrString(void) {
   const int error = errno;
   const char *const text = TextOf(strerror_r(error, gText, sizeof gText), error);
   errno = error;
   return text;
}
