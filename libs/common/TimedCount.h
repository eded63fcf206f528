#pragma once

#include <cstdint>
#include <string>

/// How much data there was at a time. A plain value.
struct TimedCount {
   uint64_t timeStamp = 0;
   int32_t dataCount = 0;

   /// "TS = 5,  DataCount = -1".
   [[nodiscard]] std::string ToText() const;
};
