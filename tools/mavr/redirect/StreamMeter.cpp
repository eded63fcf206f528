#include "tools/mavr/redirect/StreamMeter.h"

#include <algorithm>

namespace mavr::redirect {
namespace {

constexpr double kNsPerMs = 1e6;

double MsBetween(uint64_t from, uint64_t to) {
   return to > from ? static_cast<double>(to - from) / kNsPerMs : 0;
}

} // namespace

void StreamMeter::Note(const MediaHeader &header, uint64_t arrivalNs) {
   mCaptureToArrival.Add(MsBetween(header.captureNs, arrivalNs));
   mSendToArrival.Add(MsBetween(header.sendNs, arrivalNs));
   if (mFrames.empty()) {
      mFirstNs = arrivalNs;
   } else {
      mIntervals.Add(MsBetween(mLastNs, arrivalNs));
   }
   mLastNs = arrivalNs;
   mFrames.push_back(header.frame);
   // One that was overtaken lies in the past; it fills no gap and makes none.
   const auto step = static_cast<int32_t>(header.mediaMs - mLastMediaMs.value_or(header.mediaMs));
   if (step >= 0) {
      mGaps += step > mPeriodMs * 1.5 ? 1 : 0;
      mLastMediaMs = header.mediaMs;
   }
}

double StreamMeter::Seconds() const {
   return MsBetween(mFirstNs, mLastNs) / 1000;
}

double StreamMeter::Rate() const {
   const double seconds = Seconds();
   return seconds > 0 ? static_cast<double>(mFrames.size() - 1) / seconds : 0;
}

StreamMeter::OverTime StreamMeter::SplitByTime(size_t parts, uint64_t total) const {
   OverTime split{std::vector<size_t>(parts), std::vector<size_t>(parts)};
   if (total == 0) {
      return split;
   }
   const auto partOf = [&](uint64_t frame) {
      return static_cast<size_t>(std::min(frame, total - 1) * parts / total);
   };
   for (const uint32_t frame : mFrames) {
      ++split.came[partOf(frame)];
   }
   for (size_t part = 0; part < parts; ++part) {
      const uint64_t first = (part * total + parts - 1) / parts; // the frames whose partOf this is
      const uint64_t next = ((part + 1) * total + parts - 1) / parts;
      const auto sent = static_cast<size_t>(next - first);
      split.lost[part] = sent > split.came[part] ? sent - split.came[part] : 0;
   }
   return split;
}

} // namespace mavr::redirect
