#include "libs/common/TimedCount.h"

#include <cstdio>

std::string TimedCount::ToText() const {
   char text[64];
   const int length =
      std::snprintf(text, sizeof text, "TS = %lu,  DataCount = %d", static_cast<unsigned long>(timeStamp), dataCount);
   return {text, static_cast<size_t>(length)};
}
