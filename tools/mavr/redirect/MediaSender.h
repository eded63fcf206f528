#pragma once

#include "tools/mavr/redirect/MediaDatagram.h"

#include <cstddef>
#include <cstdint>
#include <functional>
#include <vector>

namespace mavr::redirect {

/// What one stream's sender did.
struct SenderCounts {
   uint64_t frames = 0;           ///< that were numbered, refused ones too
   uint64_t framesRefused = 0;    ///< of which not every fragment was taken
   uint64_t datagrams = 0;        ///< that were numbered, refused ones too
   uint64_t datagramsRefused = 0; ///< that the channel did not take
   uint64_t bytes = 0;            ///< of frames whose every fragment was taken

   bool operator==(const SenderCounts &) const = default;
};

/// Cuts the frames of one stream into datagrams and numbers both.
///
/// Owner: the stream's sending thread, which alone uses it. Locks: none. Life cycle: constructed -> Send*. Nothing is
/// allocated for a frame.
class MediaSender {
public:
   /// Takes a datagram; false when it was not taken.
   using Take = std::function<bool(const void *data, uint32_t size)>;

   MediaSender(Stream stream, uint32_t largestDatagram, Take take);

   /// False when a fragment was not taken: the frame cannot be put together any more, and the rest of it is not sent.
   /// Times as in MediaHeader.
   bool Send(const void *frame, uint32_t size, uint64_t captureNs, uint32_t mediaMs);

   [[nodiscard]] const SenderCounts &Counts() const { return mCounts; }

private:
   const Stream mStream;
   const uint32_t mLargest;
   const Take mTake;
   SenderCounts mCounts;
   std::vector<uint8_t> mDatagram;
};

} // namespace mavr::redirect
