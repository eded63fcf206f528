#pragma once

#include "libs/avManager/PlainFile.h"

#include <cstddef>
#include <cstdint>
#include <string>

/// Dumps 16-bit audio in a form that ordinary tools play: a WAV header without an end, then raw samples.
///
/// The header's length fields hold 0x7FFFFFFF for good; readers take such a file up to its end. No operation changes
/// the stream's position.
/// Owner: who dumps. Threads: one. Locks: none. Life cycle: closed -> Open -> Close, as often as wanted; the destructor
/// closes.
class WavFileWriter {
public:
   static constexpr int32_t kWriteMode = 2; ///< the only mode that Open takes

   WavFileWriter() = default;
   WavFileWriter(const WavFileWriter &) = delete;
   WavFileWriter &operator=(const WavFileWriter &) = delete;

   /// Closes what is open and makes the file, as OpenPlainFileForWriting does. False for another mode and when that
   /// fails; not logged.
   [[nodiscard]] bool Open(const std::string &path, int32_t mode);
   /// The 44 bytes, once, right behind Open. `rate` in hertz. False when not all of them were written, as below.
   [[nodiscard]] bool WriteHeader(uint32_t rate, uint16_t channels);
   [[nodiscard]] bool WriteU32(uint32_t value);
   [[nodiscard]] bool WriteU16(uint16_t value);
   /// False without a file and on a full disk; not logged.
   [[nodiscard]] bool WriteBytes(const void *data, size_t size);
   [[nodiscard]] bool IsOpen() const { return mFile != nullptr; }
   void Close();

private:
   PlainFile mFile;
   int32_t mFileMode = 0;
};
