#pragma once

#include "osal/common/CaptureStream.h"

#include <cstdint>
#include <memory>

namespace osal {

/// Starts the capture of the camera with this serial; `*stream` is null on failure.
///
/// The size that the output asks for comes first in the negotiation, in every pixel format that can be converted, then
/// any size. A camera that another client runs already delivers that client's size and format. NV12 in a memory file is
/// delivered where the camera wrote it, until the next picture comes: one that is kept longer moves to memory of its
/// own. In every other format, and while one is being read for longer than that, a picture is converted in the loop's
/// thread to '420f' in memory of our own, and the daemon's buffer goes back before the delegate is called. A picture
/// that is cut short or damaged is skipped. A change of size in mid-stream goes on with the new size.
Status OpenPipewireVideo(const StreamRequest &request, uint64_t serial, std::unique_ptr<CaptureStream> *stream);

} // namespace osal
