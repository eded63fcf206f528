#pragma once

#include "tools/mavr/redirect/MediaReassembly.h"
#include "tools/mavr/redirect/StreamMeter.h"

#include <cstdint>
#include <functional>
#include <mutex>
#include <utility>

namespace mavr::redirect {

/// One stream as it is received: put together, measured, and handed on frame by frame.
///
/// Owner: the agent. Threads: Take on the channel's threads, the rest on any. Locks: one of its own, held while a frame
/// is handed on. Life cycle: constructed -> Take* -> Finish -> read.
class ReceivedStream {
public:
   using OnFrame = std::function<void(const MediaReassembly::Frame &)>;

   /// `periodMs` between frames, at most `largestFrame` bytes each.
   ReceivedStream(Stream stream, uint32_t largestFrame, double periodMs, OnFrame onFrame);

   void Take(const uint8_t *datagram, uint32_t size);

   /// Whether so many datagrams have come; each number counts once.
   [[nodiscard]] bool HasCome(uint64_t datagrams) const;
   [[nodiscard]] StreamCounts Counts() const;

   /// As MediaReassembly::Finish. Further datagrams are not looked at.
   void Finish(uint64_t datagramsSent, uint64_t framesSent);
   /// After Finish.
   [[nodiscard]] const StreamMeter &Meter() const { return mMeter; }

private:
   mutable std::mutex mLock;
   MediaReassembly mReassembly;
   StreamMeter mMeter;
   const OnFrame mOnFrame;
   bool mIsFinished = false;
};

} // namespace mavr::redirect
