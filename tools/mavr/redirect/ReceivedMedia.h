#pragma once

#include "tools/mavr/LevelMeter.h"
#include "tools/mavr/SoundFile.h"
#include "tools/mavr/redirect/ContactSheet.h"
#include "tools/mavr/redirect/PictureCheck.h"
#include "tools/mavr/redirect/ReceivedStream.h"
#include "tools/mavr/redirect/SessionResult.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace mavr::redirect {

/// The pictures that arrive: checked, measured, some of them kept.
///
/// Owner: the agent. Threads, life cycle: as ReceivedStream.
class ReceivedVideo {
public:
   ReceivedVideo(const VideoPlan &plan, double seconds);

   [[nodiscard]] ReceivedStream &Received() { return mStream; }
   /// After Finish of the stream.
   [[nodiscard]] SessionResult::Video Result() const;
   [[nodiscard]] const ContactSheet &Pictures() const { return mSheet; }

private:
   void Take(const MediaReassembly::Frame &frame);

   const VideoPlan mPlan;
   PictureCheck mCheck;
   ContactSheet mSheet;
   std::optional<uint32_t> mHighest;
   ReceivedStream mStream;
};

/// The sound that arrives: measured, and written to a WAV file as it comes, with silence for chunks that are missing.
/// A file that cannot be written is a ToolError from Result.
class ReceivedAudio {
public:
   ReceivedAudio(const AudioPlan &plan, const std::string &path);

   [[nodiscard]] ReceivedStream &Received() { return mStream; }
   /// After Finish of the stream; finishes the file.
   [[nodiscard]] SessionResult::Audio Result();

private:
   void Take(const MediaReassembly::Frame &frame);
   void Write(const uint8_t *chunk, uint32_t timeMs);

   const AudioPlan mPlan;
   std::unique_ptr<SoundFile> mFile;
   std::optional<std::string> mFault; // of writing; the stream goes on
   std::vector<uint8_t> mSilence;
   uint32_t mNext = 0; // chunk to be written
   LevelMeter mLevel;
   std::vector<float> mLow;
   std::vector<float> mHigh;
   ReceivedStream mStream;
};

} // namespace mavr::redirect
