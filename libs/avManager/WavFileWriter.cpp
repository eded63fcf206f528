#include "libs/avManager/WavFileWriter.h"

#include <bit>

static_assert(std::endian::native == std::endian::little, "the integers of a WAV file are little-endian");

namespace {

constexpr uint32_t kNoKnownEnd = 0x7FFFFFFF;
constexpr uint32_t kFormatSize = 16;
constexpr uint16_t kPcm = 1;
constexpr uint16_t kBitsPerSample = 16;
constexpr uint16_t kBytesPerSample = 2;

} // namespace

bool WavFileWriter::Open(const std::string &path, int32_t mode) {
   Close();
   if (mode != kWriteMode) {
      return false;
   }
   mFile = OpenPlainFileForWriting(path);
   if (mFile == nullptr) {
      return false;
   }
   mFileMode = mode;
   return true;
}

bool WavFileWriter::WriteHeader(uint32_t rate, uint16_t channels) {
   const auto blockSize = static_cast<uint16_t>(channels * kBytesPerSample);
   return WriteBytes("RIFF", 4) && WriteU32(kNoKnownEnd) && WriteBytes("WAVEfmt ", 8) && WriteU32(kFormatSize) &&
          WriteU16(kPcm) && WriteU16(channels) && WriteU32(rate) && WriteU32(rate * channels * kBytesPerSample) &&
          WriteU16(blockSize) && WriteU16(kBitsPerSample) && WriteBytes("data", 4) && WriteU32(kNoKnownEnd);
}

bool WavFileWriter::WriteU32(uint32_t value) {
   return WriteBytes(&value, sizeof(value));
}

bool WavFileWriter::WriteU16(uint16_t value) {
   return WriteBytes(&value, sizeof(value));
}

bool WavFileWriter::WriteBytes(const void *data, size_t size) {
   if (mFile == nullptr || (data == nullptr && size > 0)) {
      return false;
   }
   return size == 0 || std::fwrite(data, 1, size, mFile.get()) == size;
}

void WavFileWriter::Close() {
   mFile.reset();
   mFileMode = 0;
}
