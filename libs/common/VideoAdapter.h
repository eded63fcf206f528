#pragma once

#include <cstdint>

/// Numbers of the video adapter, which watches the load. A plain value; the defaults are the built-in ones.
struct VideoAdapterNumbers {
   uint32_t intervalSeconds = 2;
   uint32_t percentOveruse = 98;
   uint32_t percentUnderuse = 95;
};

/// What is wrong with such numbers. A plain value.
struct VideoAdapterFaults {
   bool interval = false; ///< 0
   bool overuse = false;  ///< outside 1 to 100
   bool underuse = false; ///< outside 1 to 100
   bool crossing = false; ///< underuse above overuse; equal is fine
   [[nodiscard]] bool Any() const { return interval || overuse || underuse || crossing; }
};

/// Every fault that the numbers have. Pure.
[[nodiscard]] VideoAdapterFaults CheckVideoAdapter(const VideoAdapterNumbers &numbers);
