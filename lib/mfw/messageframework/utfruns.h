#pragma once

#include <cstddef>
#include <cstdint>

/// Runs of code points between UTF-8 and UTF-16, at speed and without a word: what EncodeUtf8 and its neighbours in
/// utfcodec.h would do one by one, up to the first code point that is doubtful or does not fit.
///
/// The caller takes that one through utfcodec.h, which knows every rule and message, and comes back. So the rules that
/// refuse stand in one place. Any thread.
namespace CORE {

/// How far a run came: all that is left is for utfcodec.h.
struct RunProgress {
   size_t mRead = 0;    ///< bytes of the source
   size_t mWritten = 0; ///< bytes of the target
};

[[nodiscard]] RunProgress RunUtf8ToUtf16(const uint8_t *source, size_t sourceSize, uint8_t *target, size_t targetSize);
[[nodiscard]] RunProgress RunUtf16ToUtf8(const uint8_t *source, size_t sourceSize, uint8_t *target, size_t targetSize);

} // namespace CORE
