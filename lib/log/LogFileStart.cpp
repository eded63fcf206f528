#include "lib/log/LogFileOutput.h"

#include "lib/log/Log.h"
#include "lib/log/LogEmit.h"
#include "lib/log/LogFileSystem.h"

#include <cerrno>
#include <sys/stat.h>

namespace {

constexpr uint32_t kOpenRetryMs = 2000;
constexpr uint64_t kNsPerUs = 1000;
constexpr double kUsPerSecond = 1e6;
constexpr int kOpenFailed = FILEIO_ERROR;

bool IsSymbolicLink(const char *path) {
   struct stat named {};
   return lstat(path, &named) == 0 && S_ISLNK(named.st_mode);
}

bool SameFile(const struct stat &left, const struct stat &right) {
   return left.st_dev == right.st_dev && left.st_ino == right.st_ino;
}

bool SameFile(int left, int right) {
   struct stat one {};
   struct stat other {};
   return fstat(left, &one) == 0 && fstat(right, &other) == 0 && SameFile(one, other);
}

// Whether the open descriptor is the plain file that the path names. Each doubt has its line.
bool IsNamedFile(const FileIODescriptor &descriptor, const char *path) {
   struct stat opened {};
   struct stat named {};
   if (gLogFileSystem.fstat(descriptor.posix, &opened) != 0) {
      Log_Warning("Cannot fstat the file '%s': '%s'\n", path, Err_ErrString());
      return false;
   }
   if (gLogFileSystem.lstat(path, &named) != 0) {
      Log_Warning("Cannot lstat the file '%s': '%s'\n", path, Err_ErrString());
      return false;
   }
   if (S_ISLNK(named.st_mode)) {
      Log_Warning("Log file '%s' is a symbolic link.\n", path);
      return false;
   }
   if (!SameFile(opened, named)) {
      Log_Warning("Log file '%s' has changed.\n", path);
      return false;
   }
   if (!S_ISREG(opened.st_mode)) {
      Log_Warning("Rejecting '%s' because it is not an acceptable type.\n", path);
      return false;
   }
   return true;
}

// A missing file is acceptable; so is what cannot be looked at, which the open will tell.
bool IsAcceptableType(const char *path) {
   struct stat present {};
   if (stat(path, &present) != 0) {
      return true;
   }
   const mode_t mode = present.st_mode;
   return !(S_ISSOCK(mode) || S_ISFIFO(mode) || S_ISCHR(mode) || S_ISDIR(mode) || S_ISBLK(mode));
}

bool OpenForAppend(LogFileOutput *file) {
   if (LogFile_Open(file, &file->file) == FILEIO_SUCCESS) {
      return true;
   }
   Log_Warning("Could not open log file '%s' for append, ignoring log.append option\n", file->path.get());
   file->append = false;
   return false;
}

// Empties the file, unless it holds what could not be moved aside: then the log goes on behind that.
bool MakeRoom(LogFileOutput *file, bool movedAside) {
   if (!movedAside && FileIO_Seek(&file->file, 0, FILEIO_SEEK_END) >= 0) {
      return true;
   }
   if (gLogFileSystem.truncate(&file->file, 0) == 0) {
      Log_Warning("Truncation of '%s' failed: %s\n", file->path.get(), Err_ErrString());
      return false;
   }
   return true;
}

bool OpenFresh(LogFileOutput *file) {
   const bool keepsFormer = !file->automaticName && file->keepCount != 0;
   bool movedAside = !keepsFormer || LogFile_RotateAside(file);
   if (LogFile_Open(file, &file->file) != FILEIO_SUCCESS) {
      Log_Warning("Open of '%s' failed\n", file->path.get());
      return false;
   }
   if (keepsFormer && FileIO_Seek(&file->file, 0, FILEIO_SEEK_END) > 0) {
      movedAside = false; // it is still there, or another process has begun one meanwhile
   }
   LogLineHeader header;
   LogFile_MakeOwnHeader(LogFile_VerifyRow(LogLevel_RowByNumber(kLogLevelInfo), kLogVerifyStart), &header);
   if (MakeRoom(file, movedAside) && LogFile_WriteLabel(file, header)) {
      return true;
   }
   if (movedAside) {
      FileIO_CloseAndUnlink(&file->file);
   } else {
      FileIO_Close(&file->file); // it holds an older log
   }
   return false;
}

// Puts a new file in place of the present one, which stays in use when that cannot be done.
bool Rotate(LogFileOutput *file, const LogLineHeader &label) {
   if (file->keepCount != 0 && !LogFile_RotateAside(file)) {
      return false;
   }
   FileIODescriptor former = file->file;
   FileIODescriptor fresh;
   if (LogFile_Open(file, &fresh) != FILEIO_SUCCESS) {
      return false;
   }
   if (file->keepCount != 0) {
      FileIO_Seek(&fresh, 0, FILEIO_SEEK_END); // whoever was faster in making it keeps what is there
   }
   const uint64_t formerSize = file->fileSize;
   const uint64_t formerDiscarded = file->discarded;
   file->file = fresh;
   file->fileSize = 0;
   file->discarded = 0;
   if (LogFile_WriteLabel(file, label)) {
      FileIO_Close(&former);
      return true;
   }
   // With nothing kept the new file is the old one, opened again: its name must stay.
   if (SameFile(file->file.posix, former.posix)) {
      FileIO_Close(&file->file);
   } else {
      FileIO_CloseAndUnlink(&file->file);
   }
   file->file = former;
   file->fileSize = formerSize;
   file->discarded = formerDiscarded;
   return false;
}

} // namespace

int LogFile_Open(const LogFileOutput *file, FileIODescriptor *descriptor) {
   const char *const path = file->path.get();
   FileIO_Invalidate(descriptor);
   // No link is followed: a dangling one would have its target created before anyone could look.
   const int status =
      FileIO_CreateRetry(descriptor, path, FILEIO_ACCESS_READ | FILEIO_ACCESS_WRITE | FILEIO_ACCESS_NOFOLLOW,
                         FILEIO_OPEN_CREATE, file->mode, kOpenRetryMs);
   if (status != FILEIO_SUCCESS) {
      const int error = errno;
      if (IsSymbolicLink(path)) {
         Log_Warning("Log file '%s' is a symbolic link.\n", path);
         return kOpenFailed;
      }
      errno = error;
      Log_Warning("Unable to open '%s': %s\n", path, Err_ErrString());
      FileIO_Invalidate(descriptor);
      return status;
   }
   if (!IsNamedFile(*descriptor, path)) {
      FileIO_Close(descriptor);
      return kOpenFailed;
   }
   return FILEIO_SUCCESS;
}

bool LogFile_RotateAside(LogFileOutput *file) {
   if (IsSymbolicLink(file->path.get())) {
      return false; // it stays where it is, and the open says so
   }
   const uint64_t start = Hostinfo_SystemTimerNS();
   const bool moved = File_Rotate(file->path.get(), file->keepCount, file->fastRotation ? 1 : 0, 0) == 0;
   const uint64_t elapsedUs = (Hostinfo_SystemTimerNS() - start) / kNsPerUs;
   Log_Info("%s: Rotating to a new log file (keepOld %d) took %f seconds.\n", "LogRotation", file->keepCount,
            static_cast<double>(elapsedUs) / kUsPerSecond);
   return moved;
}

void LogFile_RotateWhenDue(LogFileOutput *file, const LogLineHeader *header) {
   if (file->rotateSize == 0 || file->fileSize <= file->rotateSize) {
      return;
   }
   const uint64_t message = file->owner->messageNumber;
   if (!file->retry.MayTry(message, Hostinfo_SystemTimerNS())) {
      return;
   }
   LogLineHeader label = *header;
   label.level = LogFile_VerifyRow(LogLevel_RowByNumber(kLogLevelInfo), kLogVerifyWrite);
   label.continuation = false;
   if (Rotate(file, label)) {
      file->retry.Succeeded();
   } else {
      file->retry.Failed(message, Hostinfo_SystemTimerNS());
   }
}

bool LogFile_Start(LogOutput *output) {
   auto *const file = static_cast<LogFileOutput *>(output);
   if (file->started) {
      return true;
   }
   if (!IsAcceptableType(file->path.get())) {
      Log_Warning("Rejecting '%s' because it is not an acceptable type.\n", file->path.get());
      return false;
   }
   if (!(file->append && OpenForAppend(file)) && !OpenFresh(file)) {
      return false;
   }
   file->ring.reset(gLogFileSystem.createRing(kLogRingSize));
   if (file->ring == nullptr) {
      Log_Warning("%s: out of memory\n", "LogFile_Start");
      FileIO_Close(&file->file);
      return false;
   }
   const int64_t end = FileIO_Seek(&file->file, 0, FILEIO_SEEK_END);
   file->fileSize = end > 0 ? static_cast<uint64_t>(end) : 0;
   file->throttle.totalBytes = file->fileSize;
   file->started = true;
   return true;
}
