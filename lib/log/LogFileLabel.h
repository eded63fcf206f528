#pragma once

#include <cstdint>

/// An offset from UTC as the label of a file prints it: hours with their sign, minutes without one.
struct LogLabelOffset {
   int hours;
   int minutes;
};
[[nodiscard]] LogLabelOffset LogLabel_SplitOffset(int64_t seconds);
