#include "libs/avManager/AudioChunker.h"

#include <limits>
#include <new>

int32_t AudioChunkSize(int32_t sampleRate, int32_t bitsPerSample, int32_t channels, int32_t ms) {
   constexpr int64_t kMost = std::numeric_limits<int32_t>::max();
   if (sampleRate <= 0 || bitsPerSample <= 0 || channels <= 0 || ms <= 0) {
      return 0;
   }
   const int64_t samples = int64_t{sampleRate} * channels;
   const int64_t bits = int64_t{bitsPerSample} * ms;
   if (samples > kMost || bits > kMost) {
      return 0;
   }
   const int64_t size = bits * (samples / 8000);
   return size > kMost ? 0 : static_cast<int32_t>(size);
}

bool AudioChunker::SetUp(size_t chunkSize) {
   mCachedDataSize = 0;
   mDataCache.reset(chunkSize != 0 ? new (std::nothrow) char[chunkSize] : nullptr);
   mChunkSize = mDataCache != nullptr ? chunkSize : 0;
   return mChunkSize != 0;
}
