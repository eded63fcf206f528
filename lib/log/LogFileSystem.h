#pragma once

#include "lib/corvanebase/corvanebase.h"
#include "lib/log/LogRing.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <sys/stat.h>

/// What the file output asks of the system besides opening, reading and writing: calls whose failures no test could
/// bring about from outside.
///
/// Each entry is, until a test puts a fault in its place, the plain call of its name, with that call's arguments,
/// result and errno. Owner: static. Threads: read by any thread; changed only while no output is in use. Locks: none.
/// Life cycle: static.
struct LogFileSystem {
   int (*fstat)(int descriptor, struct stat *out);
   int (*lstat)(const char *path, struct stat *out);
   int (*truncate)(FileIODescriptor *descriptor, int64_t size); ///< FileIO_Truncate: true on success
   int (*sync)(FileIODescriptor *descriptor);                   ///< FileIO_Sync: 0 on success
   LogRing *(*createRing)(size_t size);                         ///< LogRing_Create: null without memory
   std::string (*userLibraryFolder)();                          ///< osal::places: empty with errno set without one
};
extern constinit LogFileSystem gLogFileSystem;
