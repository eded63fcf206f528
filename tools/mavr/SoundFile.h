#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace mavr {

/// Where chunks of sound go: signed 16-bit little-endian mono samples.
///
/// Owner: a command. Threads: one. Life cycle: made -> Write* -> Finish; what was written stays when it is destroyed
/// before Finish. Every failure is a ToolError.
class SoundFile {
public:
   virtual ~SoundFile() = default;
   /// A chunk of the size that the file was made for.
   virtual void Write(const uint8_t *chunk, uint32_t timeMS) = 0;
   virtual void Finish() = 0;
};

/// Makes the file by its ending: ".wav" a WAV file, anything else a dump. `rate` in Hz, `chunkSize` in bytes.
[[nodiscard]] std::unique_ptr<SoundFile> MakeSoundFile(const std::string &path, uint32_t rate, uint32_t chunkSize);

} // namespace mavr
