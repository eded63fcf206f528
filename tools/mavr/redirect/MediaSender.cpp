#include "tools/mavr/redirect/MediaSender.h"

#include "osal/Clock.h"

#include <cstring>
#include <utility>

namespace mavr::redirect {

MediaSender::MediaSender(Stream stream, uint32_t largestDatagram, Take take)
    : mStream(stream)
    , mLargest(largestDatagram)
    , mTake(std::move(take))
    , mDatagram(largestDatagram) {}

bool MediaSender::Send(const void *frame, uint32_t size, uint64_t captureNs, uint32_t mediaMs) {
   const Cut cut = CutFrame(size, mLargest);
   MediaHeader header;
   header.stream = mStream;
   header.frame = static_cast<uint32_t>(mCounts.frames++);
   header.fragmentCount = cut.fragmentCount;
   header.frameSize = size;
   header.fragmentSize = cut.fragmentSize;
   header.captureNs = captureNs;
   header.mediaMs = mediaMs;
   for (uint16_t fragment = 0; fragment < cut.fragmentCount; ++fragment) {
      header.fragment = fragment;
      header.sequence = static_cast<uint32_t>(mCounts.datagrams++);
      header.sendNs = osal::Clock::current().monotonicNs();
      PackMedia(header, mDatagram.data());
      std::memcpy(mDatagram.data() + MediaHeader::kSize, static_cast<const uint8_t *>(frame) + header.Offset(),
                  header.PayloadSize());
      if (!mTake(mDatagram.data(), static_cast<uint32_t>(MediaHeader::kSize + header.PayloadSize()))) {
         ++mCounts.datagramsRefused;
         ++mCounts.framesRefused;
         return false;
      }
   }
   if (cut.fragmentCount == 0) {
      ++mCounts.framesRefused;
      return false;
   }
   mCounts.bytes += size;
   return true;
}

} // namespace mavr::redirect
