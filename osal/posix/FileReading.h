#pragma once

#include "osal/Status.h"
#include "osal/posix/FileLayer.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace osal {

/// What tells one state of a file from another without reading it. The change time can't be set by a program, so two
/// equal stamps mean the same content, with one gap: see IsSettled.
struct FileStamp {
   uint64_t device = 0;
   uint64_t inode = 0;
   int64_t size = -1; ///< -1: there is no file
   int64_t modifiedNs = 0;
   int64_t changedNs = 0;
   uint32_t mode = 0;
   uint64_t links = 0; ///< 0: the file that is open has lost its name, another one may have it now
   friend bool operator==(const FileStamp &, const FileStamp &) = default;
};

[[nodiscard]] FileStamp StampOf(const struct ::stat &facts);

/// The clock that the system takes file times from, in ns. Not for anything but IsSettled.
[[nodiscard]] int64_t FileTimeNowNs();

/// Whether a change after the moment `lookedAtNs` (FileTimeNowNs, taken before the file was read) is sure to show in
/// the stamp. File times move in steps of some milliseconds: within the step in which it was written, a file can change
/// again and look the same.
[[nodiscard]] inline bool IsSettled(const FileStamp &stamp, int64_t lookedAtNs) {
   return stamp.changedNs < lookedAtNs;
}

/// Reads the whole of a plain file. Links are followed; nothing else than a plain file is opened, so that the call
/// can't block on a pipe or a device. Fails with EFBIG above `limit` bytes. `*content` and `*stamp` (the state that was
/// read) are replaced on success and as they were on failure; with `keptOpen` the file stays open there. The reason
/// does not repeat the path.
[[nodiscard]] Status ReadWholeFile(FileLayer &layer, const std::string &path, size_t limit, std::string *content,
                                   FileStamp *stamp, std::unique_ptr<OpenFile> *keptOpen = nullptr);

/// A status with the system's text for `error`: "cannot be opened: Permission denied".
[[nodiscard]] Status SystemError(int error, const std::string &what);

} // namespace osal
