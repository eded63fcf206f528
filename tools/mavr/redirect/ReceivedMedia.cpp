#include "tools/mavr/redirect/ReceivedMedia.h"

#include "tools/mavr/ToolError.h"

#include <algorithm>

namespace mavr::redirect {
namespace {

// Chunks of silence that stand for missing ones at most; a longer gap is cut.
constexpr uint32_t kMostSilence = 3000;
constexpr float kFullScale = 32768;

} // namespace

ReceivedVideo::ReceivedVideo(const VideoPlan &plan, double seconds)
    : mPlan(plan)
    , mSheet(plan.width, plan.height, static_cast<uint64_t>(seconds * plan.rate))
    , mStream(Stream::kVideo, plan.FrameSize(), 1000.0 / plan.rate, [this](const auto &frame) { Take(frame); }) {}

void ReceivedVideo::Take(const MediaReassembly::Frame &frame) {
   if (frame.header.frameSize != mPlan.FrameSize()) {
      return; // no picture of this stream; it counts as a frame all the same
   }
   const bool isLate = mHighest && static_cast<int32_t>(frame.header.frame - *mHighest) < 0;
   mHighest = isLate ? *mHighest : frame.header.frame;
   mCheck.Take(frame.data, mPlan.width, mPlan.height,
               isLate ? PictureCheck::Place::kOvertaken : PictureCheck::Place::kInOrder);
   mSheet.Offer(frame.header.frame, frame.data);
}

SessionResult::Video ReceivedVideo::Result() const {
   SessionResult::Video result;
   result.counts = mStream.Counts();
   result.meter = mStream.Meter();
   result.plan = mPlan;
   result.numbers = mCheck.Found();
   result.shown = mSheet.Numbers();
   return result;
}

ReceivedAudio::ReceivedAudio(const AudioPlan &plan, const std::string &path)
    : mPlan(plan)
    , mFile(MakeSoundFile(path, plan.sampleRate, plan.chunkSize))
    , mSilence(plan.chunkSize)
    , mStream(Stream::kAudio, plan.chunkSize, plan.chunkMs, [this](const auto &frame) { Take(frame); }) {}

void ReceivedAudio::Take(const MediaReassembly::Frame &frame) {
   const uint32_t missing = frame.header.frame - mNext;
   if (frame.header.frameSize != mPlan.chunkSize || static_cast<int32_t>(missing) < 0) {
      return; // one that silence stands for already
   }
   for (uint32_t i = 0; i < std::min(missing, kMostSilence); ++i) {
      Write(mSilence.data(), frame.header.mediaMs);
   }
   mNext = frame.header.frame + 1;
   Write(frame.data, frame.header.mediaMs);
   mLevel.Add(frame.data, mPlan.chunkSize);
   int16_t low = 0;
   int16_t high = 0;
   for (size_t at = 0; at + 1 < mPlan.chunkSize; at += 2) {
      const auto sample = static_cast<int16_t>(frame.data[at] | frame.data[at + 1] << 8);
      low = std::min(low, sample);
      high = std::max(high, sample);
   }
   mLow.push_back(static_cast<float>(low) / kFullScale);
   mHigh.push_back(static_cast<float>(high) / kFullScale);
}

void ReceivedAudio::Write(const uint8_t *chunk, uint32_t timeMs) {
   if (mFault) {
      return;
   }
   try {
      mFile->Write(chunk, timeMs);
   } catch (const ToolError &error) {
      mFault = error.what();
   }
}

SessionResult::Audio ReceivedAudio::Result() {
   mFile->Finish();
   if (mFault) {
      throw ToolError(*mFault, "Is the folder there, and is there room?");
   }
   SessionResult::Audio result;
   result.counts = mStream.Counts();
   result.meter = mStream.Meter();
   result.plan = mPlan;
   result.peakDb = mLevel.PeakDb();
   result.rmsDb = mLevel.RmsDb();
   result.low = mLow;
   result.high = mHigh;
   return result;
}

} // namespace mavr::redirect
