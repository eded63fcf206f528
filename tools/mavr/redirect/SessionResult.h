#pragma once

#include "tools/mavr/redirect/MediaReassembly.h"
#include "tools/mavr/redirect/PictureCheck.h"
#include "tools/mavr/redirect/SessionTalk.h"
#include "tools/mavr/redirect/StreamMeter.h"

#include <nlohmann/json_fwd.hpp>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace mavr::redirect {

/// Everything that a redirection came to, as the agent knows it when it is over. Plain values.
struct SessionResult {
   struct Stream {
      StreamCounts counts;
      StreamMeter meter{1};
   };
   struct Video : Stream {
      VideoPlan plan;
      PictureCheck::Result numbers;
      std::vector<uint64_t> shown; ///< frames on the contact sheet
   };
   struct Audio : Stream {
      AudioPlan plan;
      double peakDb = 0; ///< dBFS
      double rmsDb = 0;
      std::vector<float> low; ///< of each chunk that came, -1 to 1
      std::vector<float> high;
   };

   double seconds = 0;     ///< that were asked for
   double lossPercent = 0; ///< of lossy datagrams, as asked for
   std::optional<Video> video;
   std::optional<Audio> audio;
   std::optional<End> end; ///< none: the client did not live to tell
   double agentCpuSeconds = 0;
   double agentWallSeconds = 0;

   /// Whether the stream ended as it should, and every datagram and frame is accounted for: what the receiver misses is
   /// what the host dropped and what was refused.
   [[nodiscard]] bool IsWhole() const { return end.has_value(); }
   [[nodiscard]] bool Agrees(const Stream &stream, const std::optional<SentStream> &sent) const;
   [[nodiscard]] bool AccountAgrees() const;

   [[nodiscard]] double ClientPercent() const; ///< of one core; 0 when it is not known
   [[nodiscard]] double AgentPercent() const;

   [[nodiscard]] const SentStream *SentVideo() const { return end && end->video ? &*end->video : nullptr; }
   [[nodiscard]] const SentStream *SentAudio() const { return end && end->audio ? &*end->audio : nullptr; }
};

/// The result as report.json has it; docs/formats/redirect-report.md tells the keys.
[[nodiscard]] nlohmann::ordered_json ToJson(const SessionResult &result);

} // namespace mavr::redirect
