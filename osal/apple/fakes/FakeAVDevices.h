#pragma once

#import <AVFoundation/AVFoundation.h>

#include "osal/apple/fakes/World.h"

#include <memory>

namespace fakes {

/// What an AVCaptureDevice stands for.
[[nodiscard]] std::shared_ptr<Device> DeviceOf(AVCaptureDevice *device);

} // namespace fakes
