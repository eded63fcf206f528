#pragma once

#include "osal/Capture.h"

#include <chrono>
#include <memory>

namespace osal {

/// Capturing on a Mac, through AVFoundation. No call waits longer than `patience` on its camera service.
[[nodiscard]] std::unique_ptr<Capture>
MakeAppleCapture(std::chrono::milliseconds patience = std::chrono::milliseconds(2000));

} // namespace osal
