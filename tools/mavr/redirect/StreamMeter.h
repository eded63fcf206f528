#pragma once

#include "tools/mavr/redirect/Distribution.h"
#include "tools/mavr/redirect/MediaReassembly.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace mavr::redirect {

/// How the frames of one stream came: when, how late, with which gaps.
///
/// Owner: who receives the stream. Threads: one. Locks: none. Life cycle: constructed -> Note* -> read.
class StreamMeter {
public:
   /// `periodMs` between frames as they are meant to come: a gap is more than one and a half of it, by the recorder's
   /// own time.
   explicit StreamMeter(double periodMs)
       : mPeriodMs(periodMs) {}

   /// A complete frame, at this moment of the monotonic clock.
   void Note(const MediaHeader &header, uint64_t arrivalNs);

   /// Milliseconds from capture to arrival, and from handing over to arrival.
   [[nodiscard]] const Distribution &CaptureToArrival() const { return mCaptureToArrival; }
   [[nodiscard]] const Distribution &SendToArrival() const { return mSendToArrival; }
   /// Milliseconds between arrivals.
   [[nodiscard]] const Distribution &Intervals() const { return mIntervals; }
   [[nodiscard]] uint64_t Gaps() const { return mGaps; }
   /// Seconds from the first arrival to the last.
   [[nodiscard]] double Seconds() const;
   /// Frames a second, by the arrivals.
   [[nodiscard]] double Rate() const;

   /// What came, and what did not, over time.
   struct OverTime {
      std::vector<size_t> came; ///< frames, for each of equal parts of the time
      std::vector<size_t> lost; ///< frame numbers that are missing between those that came
   };
   /// `total` frames were sent; the parts span the frames' numbers, which are even in time.
   [[nodiscard]] OverTime SplitByTime(size_t parts, uint64_t total) const;

private:
   double mPeriodMs;
   Distribution mCaptureToArrival;
   Distribution mSendToArrival;
   Distribution mIntervals;
   std::vector<uint32_t> mFrames; // numbers, as they came
   uint64_t mFirstNs = 0;
   uint64_t mLastNs = 0;
   std::optional<uint32_t> mLastMediaMs;
   uint64_t mGaps = 0;
};

} // namespace mavr::redirect
