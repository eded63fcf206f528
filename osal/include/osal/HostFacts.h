#pragma once

#include <cstddef>

namespace osal {

/// Reads a text of the kernel's table of names ("kern.osrelease") into `buffer`, which then ends in a zero.
///
/// False, `errno` set and the buffer an empty text, when the system has no such table or name, or the text does not fit
/// `size` bytes with its zero. Any thread.
[[nodiscard]] bool readSystemControl(const char *name, char *buffer, size_t size);

} // namespace osal
