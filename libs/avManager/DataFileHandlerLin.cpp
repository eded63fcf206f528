#include "libs/avManager/DataFileHandlerLin.h"

#include "lib/mfw/common/logger.h"

#include <sys/stat.h>
#include <unistd.h>

bool DataFileHandler::InitReadF(const std::string &path) {
   CloseFile();
   mFile = OpenPlainFileForReading(path);
   if (mFile == nullptr) {
      MAVR_LOG_ERROR("%s - Failed to open file for reading: %s", "bool DataFileHandler::InitReadF(std::string &)",
                     path.c_str());
      return false;
   }
   mFileMode = kRead;
   return true;
}

bool DataFileHandler::InitWriteF(const std::string &path) {
   CloseFile();
   mFile = OpenPlainFileForWriting(path);
   if (mFile == nullptr) {
      MAVR_LOG_ERROR("%s - Failed to open file for writing: %s", "bool DataFileHandler::InitWriteF(std::string &)",
                     path.c_str());
      return false;
   }
   mFileMode = kWrite;
   return true;
}

bool DataFileHandler::ReadBytes(size_t size, void *dst, size_t &read) {
   read = 0;
   if (mFile == nullptr || size == 0 || dst == nullptr || mFileMode != kRead) {
      return false;
   }
   read = std::fread(dst, 1, size, mFile.get());
   return read > 0;
}

bool DataFileHandler::WriteBytes(const void *src, size_t size) {
   if (mFile == nullptr || mFileMode != kWrite || (src == nullptr && size > 0)) {
      return false;
   }
   return size == 0 || std::fwrite(src, 1, size, mFile.get()) == size;
}

bool DataFileHandler::Seek(int64_t offset) {
   return mFile != nullptr && fseeko(mFile.get(), static_cast<off_t>(offset), SEEK_SET) == 0;
}

bool DataFileHandler::IsEof() const {
   return mFile != nullptr && std::feof(mFile.get()) != 0;
}

void DataFileHandler::CloseFile() {
   mFile.reset();
   mFileMode = kClosed;
}

int64_t DataFileHandler::Position() const {
   return mFile != nullptr ? ftello(mFile.get()) : -1;
}

uint64_t DataFileHandler::FileSize() const {
   struct stat status {};
   return mFile != nullptr && fstat(fileno(mFile.get()), &status) == 0 ? static_cast<uint64_t>(status.st_size) : 0;
}

void DataFileHandler::CutBackTo(int64_t position) {
   if (mFileMode == kWrite && position >= 0) {
      // When even this fails there is nothing left to try; a reader stops at the torn record.
      (void)!ftruncate(fileno(mFile.get()), static_cast<off_t>(position));
      (void)Seek(position);
   }
}
