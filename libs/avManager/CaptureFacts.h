#pragma once

#include "osal/Status.h"

#include <cstdint>

/// How a capture is doing, for people. A plain value.
struct CaptureFacts {
   uint32_t deliveredFrames = 0; ///< by the camera, dropped ones included; wraps
   uint32_t width = 0;           ///< of the frames that the camera delivers, in pixels; 0 before the first was read
   uint32_t height = 0;
   osal::Status health = osal::Status::Ok(); ///< Ok, or why no frames can be expected any more
};
