#pragma once

#include "libs/avManager/PlainFile.h"

#include <cstddef>
#include <cstdint>
#include <string>

/// A plain file of bytes that is either read or written.
///
/// Owner: its user, one. Threads: one. Locks: none. Life cycle: closed -> InitReadF or InitWriteF -> CloseFile, as
/// often as wanted; opening while open closes first; the destructor closes.
class DataFileHandler {
public:
   DataFileHandler() = default;
   virtual ~DataFileHandler() = default;
   DataFileHandler(const DataFileHandler &) = delete;
   DataFileHandler &operator=(const DataFileHandler &) = delete;

   /// Opens for reading, as OpenPlainFileForReading does. False, logged, when that fails.
   [[nodiscard]] bool InitReadF(const std::string &path);
   /// Opens for writing, emptied, as OpenPlainFileForWriting does. False, logged, when that fails.
   [[nodiscard]] bool InitWriteF(const std::string &path);

   /// Reads up to `size` bytes; `read` says how many came, and is 0 on false. True for at least one. False: not open
   /// for reading, size 0, null `dst`, end of file, or a failing read. Not logged.
   [[nodiscard]] bool ReadBytes(size_t size, void *dst, size_t &read);
   /// True when all bytes are in the file. False: not open for writing, or a full disk, which may leave some of them
   /// there. Not logged.
   [[nodiscard]] bool WriteBytes(const void *src, size_t size);
   /// To a place counted from the start. False without a file.
   [[nodiscard]] bool Seek(int64_t offset);
   /// Whether a read has met the end of the file since the last Seek. False without a file.
   [[nodiscard]] bool IsEof() const;
   void CloseFile();

   [[nodiscard]] bool IsReading() const { return mFileMode == kRead; }
   [[nodiscard]] bool IsWriting() const { return mFileMode == kWrite; }

protected:
   /// The place where the next byte is read or written; negative without a file.
   [[nodiscard]] int64_t Position() const;
   /// Bytes in the file now; 0 without one.
   [[nodiscard]] uint64_t FileSize() const;
   /// Takes back what was written behind a place, and goes there.
   void CutBackTo(int64_t position);

private:
   enum FileMode : int32_t { kClosed = 0, kRead = 1, kWrite = 2 };

   int32_t mFileMode = kClosed;
   std::string mFileName; ///< no operation here uses it
   PlainFile mFile;
};
