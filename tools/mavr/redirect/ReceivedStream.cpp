#include "tools/mavr/redirect/ReceivedStream.h"

#include "osal/Clock.h"

namespace mavr::redirect {

ReceivedStream::ReceivedStream(Stream stream, uint32_t largestFrame, double periodMs, OnFrame onFrame)
    : mReassembly(stream, largestFrame)
    , mMeter(periodMs)
    , mOnFrame(std::move(onFrame)) {}

void ReceivedStream::Take(const uint8_t *datagram, uint32_t size) {
   const std::lock_guard<std::mutex> hold(mLock);
   if (mIsFinished) {
      return;
   }
   const uint64_t nowNs = osal::Clock::current().monotonicNs();
   if (const auto frame = mReassembly.Take(datagram, size)) {
      mMeter.Note(frame->header, nowNs);
      mOnFrame(*frame);
   }
}

bool ReceivedStream::HasCome(uint64_t datagrams) const {
   const std::lock_guard<std::mutex> hold(mLock);
   const StreamCounts &counts = mReassembly.Counts();
   return counts.datagrams - counts.datagramsDuplicated >= datagrams;
}

StreamCounts ReceivedStream::Counts() const {
   const std::lock_guard<std::mutex> hold(mLock);
   return mReassembly.Counts();
}

void ReceivedStream::Finish(uint64_t datagramsSent, uint64_t framesSent) {
   const std::lock_guard<std::mutex> hold(mLock);
   mIsFinished = true;
   mReassembly.Finish(datagramsSent, framesSent);
}

} // namespace mavr::redirect
