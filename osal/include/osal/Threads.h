#pragma once

namespace osal {

/// Names the calling thread, for logs, debuggers and the system's lists. Any thread.
///
/// `name` is UTF-8, not null; the empty text is a name too. What the system has no room for is cut off at the end of a
/// character: Linux keeps 15 bytes, macOS 63. Keeps errno; a system that refuses leaves the former name.
void setThreadName(const char *name);

} // namespace osal
