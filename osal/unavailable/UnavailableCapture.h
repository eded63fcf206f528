#pragma once

#include "osal/Capture.h"
#include "osal/Status.h"

#include <memory>

namespace osal {

/// Capturing where nothing can be captured: there is no device, and `why` is the reason that every call for one gives.
/// Sessions, outputs and queues can be made; a session never has an input.
[[nodiscard]] std::unique_ptr<Capture> MakeUnavailableCapture(Status why);

} // namespace osal
