// Any bytes as a dump file, of either media type: refused, or samples that lie in the file, over and over.

#include "libs/avManager/AVSampleHandler.h"

#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr uint32_t kMostSamples = 64;
constexpr uint64_t kMostRead = 64U << 20;

void Require(bool holds) {
   if (!holds) {
      std::abort();
   }
}

// One file of the process, with new content each time.
class InputFile {
public:
   InputFile() {
      mPath = (std::getenv("TMPDIR") != nullptr ? std::getenv("TMPDIR") : "/tmp") + std::string("/fuzz-dump-XXXXXX");
      mFd = mkstemp(mPath.data());
      Require(mFd >= 0);
   }
   ~InputFile() {
      (void)close(mFd);
      (void)unlink(mPath.c_str());
   }
   InputFile(const InputFile &) = delete;
   InputFile &operator=(const InputFile &) = delete;

   const std::string &Holding(const uint8_t *data, size_t size) {
      Require(ftruncate(mFd, 0) == 0);
      Require(pwrite(mFd, data, size, 0) == static_cast<ssize_t>(size));
      return mPath;
   }

private:
   std::string mPath;
   int mFd;
};

void ReadAs(int32_t type, const std::string &path, const uint8_t *data, size_t size) {
   AVSampleHandler file;
   MediaFileHeader header{};
   MediaSampleRecord record{};
   if (!file.InitRead(type, path, header)) {
      Require(file.IsReading() && !file.ReadSampleLooped(record));
      return;
   }
   Require(size >= sizeof(header) && std::memcmp(&header, data, sizeof(header)) == 0);
   Require(header.mMark == MediaFileHeader::kMark && header.mMediaType == type);
   const uint32_t sampleSize = header.SampleSize(type);
   for (uint32_t sample = 0; sample < kMostSamples && uint64_t{sample} * sampleSize < kMostRead; ++sample) {
      if (!file.ReadSampleLooped(record)) {
         return;
      }
      Require(record.mHeader.mSequence == sample && record.mHeader.mMark == MediaSampleHeader::kMark);
      Require(sizeof(header) + sizeof(record.mHeader) + sampleSize <= size);
      // The sample is a piece of the file, whole.
      const std::string bytes(reinterpret_cast<const char *>(record.mData), sampleSize);
      Require(std::string(reinterpret_cast<const char *>(data), size).find(bytes) != std::string::npos);
   }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
   static InputFile input;
   const std::string &path = input.Holding(data, size);
   ReadAs(kMediaAudio, path, data, size);
   ReadAs(kMediaVideo, path, data, size);
   return 0;
}
