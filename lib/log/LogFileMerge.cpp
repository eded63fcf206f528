#include "lib/log/Log.h"
#include "lib/log/LogFileOutput.h"

#include <array>
#include <sys/stat.h>

namespace {

constexpr size_t kBlockSize = 16384;

bool SameFile(const FileIODescriptor &left, const FileIODescriptor &right) {
   struct stat one {};
   struct stat other {};
   return fstat(left.posix, &one) == 0 && fstat(right.posix, &other) == 0 && one.st_dev == other.st_dev &&
          one.st_ino == other.st_ino;
}

// The label of the new file goes too: what it left behind a shorter content would be no lines. Where it cannot go, the
// content comes behind it: written from the middle of an emptied file it would leave a hole.
void MoveToStart(LogFileOutput *file) {
   if (!file->append && FileIO_Seek(&file->file, 0, FILEIO_SEEK_BEGIN) == 0 && FileIO_Truncate(&file->file, 0) != 0) {
      file->fileSize = 0;
      return;
   }
   FileIO_Seek(&file->file, 0, FILEIO_SEEK_END);
}

// False with a line when the block did not arrive whole.
bool WriteBlock(LogFileOutput *file, const char *bytes, size_t size) {
   size_t written = 0;
   int status = FileIO_Write(&file->file, bytes, size, &written);
   file->fileSize += written;
   file->throttle.totalBytes = file->fileSize;
   if (status == FILEIO_SUCCESS && written < size) {
      status = FILEIO_NO_SPACE;
   }
   if (status != FILEIO_SUCCESS) {
      Log_Warning("Write failed on '%s': %s\n", file->path.get(), FileIO_ErrorEnglish(status));
   }
   return status == FILEIO_SUCCESS;
}

void Copy(FileIODescriptor *source, const char *path, LogFileOutput *file) {
   std::array<char, kBlockSize> block;
   for (;;) {
      size_t size = 0;
      const int status = FileIO_Read(source, block.data(), block.size(), &size);
      if (size > 0 && !WriteBlock(file, block.data(), size)) {
         return;
      }
      if (status == FILEIO_READ_EOF) {
         return;
      }
      if (status != FILEIO_SUCCESS) {
         Log_Warning("Read failed on '%s': %s\n", path, FileIO_ErrorEnglish(status));
         return;
      }
   }
}

} // namespace

void LogFile_Merge(const char *path, LogOutput *output) {
   auto *const file = static_cast<LogFileOutput *>(output);
   FileIODescriptor source;
   const int status = FileIO_Open(&source, path, FILEIO_ACCESS_READ, FILEIO_OPEN);
   if (status != FILEIO_SUCCESS) {
      Log_Warning("Open failed on '%s': %s\n", path, FileIO_ErrorEnglish(status));
      return;
   }
   if (SameFile(source, file->file)) {
      FileIO_Close(&source); // both logs have one file, and its content is where it belongs
      return;
   }
   MoveToStart(file);
   Copy(&source, path, file);
   FileIO_Close(&source);
   File_Unlink(path);
}
