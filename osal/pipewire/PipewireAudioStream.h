#pragma once

#include "osal/common/CaptureStream.h"

#include <cstdint>
#include <memory>

namespace osal {

/// Starts the capture of the microphone with this serial; `*stream` is null on failure.
///
/// Asks for signed 16-bit little-endian samples at the output's rate and channels, and nothing else: the stream's
/// adapter resamples and mixes. Deliveries are as long as the graph's blocks, which change in mid-stream.
Status OpenPipewireAudio(const StreamRequest &request, uint64_t serial, std::unique_ptr<CaptureStream> *stream);

} // namespace osal
