#pragma once

#include <cstdio>
#include <memory>
#include <string>

/// Opening media files safely: only a plain file, never through a symbolic link in the last place, never waiting for
/// the other end of a pipe, and closed for programs that the host starts.
///
/// Streams are unbuffered: each write is in the file, or refused, when the call returns, so that a full disk is seen
/// and a dump outlives a crash. Any thread; errno says why a stream is null.
struct PlainFileCloser {
   void operator()(FILE *file) const { (void)std::fclose(file); }
};
using PlainFile = std::unique_ptr<FILE, PlainFileCloser>;

[[nodiscard]] PlainFile OpenPlainFileForReading(const std::string &path);

/// Made, or emptied, with mode 0600 whatever the umask says. A file that belongs to another user is refused: its owner
/// could read along.
[[nodiscard]] PlainFile OpenPlainFileForWriting(const std::string &path);
