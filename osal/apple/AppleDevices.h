#pragma once

#include "osal/Devices.h"

#include <memory>

namespace osal {

/// The cameras and microphones of a Mac, through AVFoundation and CoreAudio. Nothing is kept between calls.
[[nodiscard]] std::unique_ptr<Devices> MakeAppleDevices();

} // namespace osal
