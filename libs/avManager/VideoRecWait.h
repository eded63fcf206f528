#pragma once

#include <cstdint>

/// What the recorder's wait for a frame has ended with.
enum class FrameWait {
   Frame,     ///< the camera's event
   GaveUp,    ///< anything that ends the pass; logged at DEBUG
   Impossible ///< no result of a wait for two handles
};

/// Reads the result of waiting for the thread's notification event and the camera's event, in this order.
[[nodiscard]] FrameWait ReportWait(const char *function, uint32_t result);
