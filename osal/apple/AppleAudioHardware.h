#pragma once

#include "osal/AudioHardware.h"

#include <memory>

namespace osal {

/// The machine's audio devices through CoreAudio, all read when this is called; a property that cannot be read keeps
/// the platform's error number. Throws std::bad_alloc without memory.
[[nodiscard]] std::unique_ptr<AudioHardware> MakeAppleAudioHardware();

} // namespace osal
