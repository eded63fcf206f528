#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace mavr {

/// Size and rate of a recording; frames are I420, planes without gaps, width * height * 3 / 2 bytes.
struct FrameShape {
   uint32_t width = 0;
   uint32_t height = 0;
   uint32_t rate = 0; ///< frames a second
};

/// Where frames go.
///
/// Owner: a command. Threads: one. Life cycle: made -> Write* -> Finish; what was written stays when it is destroyed
/// before Finish. Every failure is a ToolError.
class FrameFile {
public:
   virtual ~FrameFile() = default;
   virtual void Write(const uint8_t *frame, uint32_t timeMS) = 0;
   virtual void Finish() = 0;
   /// Whether it has all that it takes: a picture takes one frame.
   [[nodiscard]] virtual bool IsFull() const { return false; }
};

/// Makes the file by its ending: ".y4m" a YUV4MPEG2 stream, ".png" a picture of the first frame, anything else a dump.
[[nodiscard]] std::unique_ptr<FrameFile> MakeFrameFile(const std::string &path, const FrameShape &shape);

} // namespace mavr
