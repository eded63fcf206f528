#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>

/// Bytes of a chunk of `ms` milliseconds, `sampleRate` in hertz; 0 where one of the numbers is not positive, or where
/// the size passes 31 bits. Pure.
/// Required: rates count in whole eights of a kilohertz, rounded down. At 44100 Hz a chunk is shorter than it says.
[[nodiscard]] int32_t AudioChunkSize(int32_t sampleRate, int32_t bitsPerSample, int32_t channels, int32_t ms);

/// Cuts a stream that comes in deliveries of any length into chunks of one size.
///
/// The end of a delivery that makes no whole chunk is kept back and opens the next one. No byte goes out twice or out
/// of order; a chunk that its taker refuses is lost whole, and the stream goes on behind it. A whole chunk is copied by
/// its taker alone, out of the delivery.
/// Owner: the capture object. Threads: SetUp while nothing is delivered; Cut on the delivery thread. Locks: none.
/// Life cycle: without a size, when it drops everything -> SetUp, as often as wanted. Allocates in SetUp only.
class AudioChunker {
public:
   /// Chunks of so many bytes from now on; what was kept back is dropped. False without memory, or for 0: without a
   /// size then.
   [[nodiscard]] bool SetUp(size_t chunkSize);

   [[nodiscard]] size_t ChunkSize() const { return mChunkSize; }
   [[nodiscard]] size_t CachedSize() const { return mCachedDataSize; } ///< bytes kept back

   /// Cuts one delivery. Its taker has
   ///
   ///     void ChunkBegins();
   ///     bool Copy(const char **cursor, size_t bytes);
   ///     bool Copy(const char **cursor, size_t bytes, const char *cache, size_t cached);
   ///     void Taken();
   ///     void Dropped(uint32_t number);
   ///
   /// ChunkBegins: the next chunk's first byte is in this delivery. Copy: a whole chunk, the bytes at the cursor, or
   /// the `cached` ones at `cache` and behind them those at the cursor; true when it is taken, with the cursor moved
   /// behind it. After each Copy comes Taken, or Dropped with the chunk's number, which counts from 1 in each delivery.
   /// Required: ChunkBegins is called once, at the start, and also for a delivery of nothing.
   template <typename Taker>
   void Cut(const char *data, size_t length, Taker &taker);

private:
   size_t mChunkSize = 0;
   size_t mCachedDataSize = 0;
   std::unique_ptr<char[]> mDataCache; // one chunk's room
};

template <typename Taker>
void AudioChunker::Cut(const char *data, size_t length, Taker &taker) {
   if (mCachedDataSize == 0) {
      taker.ChunkBegins();
   }
   if (mChunkSize == 0) {
      return;
   }
   const char *cursor = data;
   const size_t count = (mCachedDataSize + length) / mChunkSize;
   size_t done = 0;
   if (count > 0 && mCachedDataSize > 0) {
      const size_t need = mChunkSize - mCachedDataSize;
      if (taker.Copy(&cursor, need, mDataCache.get(), mCachedDataSize)) {
         taker.Taken();
      } else {
         taker.Dropped(1);
         cursor += need;
      }
      mCachedDataSize = 0;
      done = 1;
   }
   while (done < count) {
      ++done;
      if (taker.Copy(&cursor, mChunkSize)) {
         taker.Taken();
      } else {
         taker.Dropped(static_cast<uint32_t>(done));
         cursor += mChunkSize;
      }
   }
   const size_t rest = length - static_cast<size_t>(cursor - data);
   if (rest == 0) {
      return;
   }
   assert((mCachedDataSize + rest) < mChunkSize &&
          "(captureIns.cachedDataSize + remBytes) < captureIns.audioChunkSize");
   std::memcpy(mDataCache.get() + mCachedDataSize, cursor, rest);
   mCachedDataSize += rest;
}
