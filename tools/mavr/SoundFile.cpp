#include "tools/mavr/SoundFile.h"

#include "tools/mavr/ToolError.h"

#include "libs/avManager/AVSampleHandler.h"
#include "libs/avManager/WavFileWriter.h"
#include "libs/utils/SampleMeta.h"

#include <string_view>

namespace mavr {
namespace {

class WavFile final : public SoundFile {
public:
   WavFile(const std::string &path, uint32_t rate, uint32_t chunkSize)
       : mPath(path)
       , mChunkSize(chunkSize) {
      if (!mFile.Open(path, WavFileWriter::kWriteMode) || !mFile.WriteHeader(rate, 1)) {
         CannotWrite(mPath);
      }
   }

   void Write(const uint8_t *chunk, uint32_t /*timeMS*/) override {
      if (!mFile.WriteBytes(chunk, mChunkSize)) {
         CannotWrite(mPath);
      }
   }
   void Finish() override { mFile.Close(); }

private:
   const std::string mPath;
   const size_t mChunkSize;
   WavFileWriter mFile;
};

class SoundDump final : public SoundFile {
public:
   SoundDump(const std::string &path, uint32_t chunkSize)
       : mPath(path)
       , mChunkSize(chunkSize) {
      if (!mFile.InitWrite(kMediaAudio, path, MediaFileHeader::ForAudio(chunkSize))) {
         CannotWrite(mPath);
      }
   }

   void Write(const uint8_t *chunk, uint32_t timeMS) override {
      const SampleMeta meta{timeMS, 1};
      if (!mFile.WriteSample(chunk, mChunkSize, &meta)) {
         CannotWrite(mPath);
      }
   }
   void Finish() override { mFile.CloseFile(); }

private:
   const std::string mPath;
   const size_t mChunkSize;
   AVSampleHandler mFile;
};

} // namespace

std::unique_ptr<SoundFile> MakeSoundFile(const std::string &path, uint32_t rate, uint32_t chunkSize) {
   if (std::string_view(path).ends_with(".wav")) {
      return std::make_unique<WavFile>(path, rate, chunkSize);
   }
   return std::make_unique<SoundDump>(path, chunkSize);
}

} // namespace mavr
