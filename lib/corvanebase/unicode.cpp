#include "lib/corvanebase/corvanebase.h"

namespace {
constexpr int kUtf8 = 0;
}

// Every text of the process is taken for UTF-8, whatever the locale says.
const char *CodeSet_GetCurrentCodeSet(void) {
   return "UTF-8";
}

int Unicode_GetCurrentEncoding(void) {
   return kUtf8;
}

const char *Unicode_EncodingEnumToName(int encoding) {
   return encoding == kUtf8 ? "UTF-8" : "Unknown";
}
