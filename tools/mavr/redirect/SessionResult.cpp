#include "tools/mavr/redirect/SessionResult.h"

#include <nlohmann/json.hpp>

namespace mavr::redirect {
namespace {

using Json = nlohmann::ordered_json;
using Stream = SessionResult::Stream;

Json ToJson(const Distribution &values) {
   return {{"median", values.Median()},
           {"p90", values.Percentile(0.9)},
           {"p99", values.Percentile(0.99)},
           {"most", values.Largest()}};
}

// What is the same for pictures and sound. `unit` is "frames" or "chunks".
void AddStream(Json &json, const std::string &unit, const Stream &stream, const SentStream *sent) {
   const StreamCounts &counts = stream.counts;
   const auto known = [&](uint64_t value) {
      return sent != nullptr ? Json(value) : Json(nullptr);
   };
   const SentStream none;
   const SentStream &told = sent != nullptr ? *sent : none;
   json["delivered"] = known(told.device.delivered);
   json[unit + "Kept"] = known(told.device.kept);
   json[unit + "Sent"] = known(told.sent.frames);
   json[unit + "Refused"] = known(told.sent.framesRefused);
   json[unit + "Complete"] = counts.framesComplete;
   json[unit + "Lost"] = counts.framesLost;
   json[unit + "Reordered"] = counts.framesReordered;
   json["datagramsSent"] = known(told.sent.datagrams);
   json["datagramsDropped"] = known(told.datagramsLost);
   json["datagramsRefused"] = known(told.sent.datagramsRefused);
   json["datagramsReceived"] = counts.datagrams;
   json["datagramsLost"] = counts.datagramsLost;
   json["datagramsLate"] = counts.datagramsLate;
   json["datagramsDuplicated"] = counts.datagramsDuplicated;
   json["datagramsMalformed"] = counts.datagramsMalformed;
   json["bytes"] = known(told.sent.bytes);
   json["rate"] = stream.meter.Rate();
   json["gaps"] = stream.meter.Gaps();
   json["captureToArrivalMs"] = ToJson(stream.meter.CaptureToArrival());
   json["sendToArrivalMs"] = ToJson(stream.meter.SendToArrival());
   json["intervalMs"] = ToJson(stream.meter.Intervals());
   json["trouble"] = told.device.trouble.empty() ? Json(nullptr) : Json(told.device.trouble);
}

Json ToJson(const SessionResult::Video &video, const SentStream *sent) {
   Json json = {{"device", video.plan.device},
                {"width", video.plan.width},
                {"height", video.plan.height},
                {"framesPerSecond", video.plan.rate},
                {"channel", video.plan.isReliable ? "reliable" : "lossy"}};
   AddStream(json, "frames", video, sent);
   const PictureCheck::Result &numbers = video.numbers;
   json["numbersInPictures"] = numbers.HasNumbers() ? Json({{"readable", numbers.readable},
                                                            {"unreadable", numbers.Unreadable()},
                                                            {"backwards", numbers.backwards},
                                                            {"first", numbers.first.value_or(0)},
                                                            {"last", numbers.last.value_or(0)}})
                                                    : Json(nullptr);
   return json;
}

Json ToJson(const SessionResult::Audio &audio, const SentStream *sent) {
   Json json = {{"device", audio.plan.device},
                {"sampleRate", audio.plan.sampleRate},
                {"chunkMs", audio.plan.chunkMs},
                {"chunkSize", audio.plan.chunkSize},
                {"channel", "reliable"}};
   AddStream(json, "chunks", audio, sent);
   json["peakDb"] = audio.peakDb;
   json["rmsDb"] = audio.rmsDb;
   return json;
}

double Percent(double used, double wall) {
   return wall > 0 ? 100 * used / wall : 0;
}

} // namespace

bool SessionResult::Agrees(const Stream &stream, const std::optional<SentStream> &sent) const {
   const StreamCounts &counts = stream.counts;
   return sent.has_value() && counts.datagramsMalformed == 0 && counts.datagramsDuplicated == 0 &&
          counts.datagramsLost == sent->datagramsLost + sent->sent.datagramsRefused &&
          counts.datagrams + counts.datagramsLost == sent->sent.datagrams &&
          counts.framesComplete + counts.framesLost == sent->sent.frames;
}

bool SessionResult::AccountAgrees() const {
   return end && (!video || Agrees(*video, end->video)) && (!audio || Agrees(*audio, end->audio));
}

double SessionResult::ClientPercent() const {
   return end ? Percent(end->cpuSeconds, end->wallSeconds) : 0;
}

double SessionResult::AgentPercent() const {
   return Percent(agentCpuSeconds, agentWallSeconds);
}

Json ToJson(const SessionResult &result) {
   Json json = {{"complete", result.IsWhole()},
                {"accountAgrees", result.AccountAgrees()},
                {"seconds", result.seconds},
                {"lossPercent", result.lossPercent}};
   json["video"] = result.video ? ToJson(*result.video, result.SentVideo()) : Json(nullptr);
   json["audio"] = result.audio ? ToJson(*result.audio, result.SentAudio()) : Json(nullptr);
   const bool isKnown = result.end.has_value();
   json["cpu"] = {{"clientPercent", isKnown ? Json(result.ClientPercent()) : Json(nullptr)},
                  {"agentPercent", result.AgentPercent()},
                  {"bothPercent", isKnown ? Json(result.ClientPercent() + result.AgentPercent()) : Json(nullptr)}};
   json["files"] = {{"report", "report.html"},
                    {"pictures", result.video ? Json("pictures.png") : Json(nullptr)},
                    {"sound", result.audio ? Json("sound.wav") : Json(nullptr)}};
   return json;
}

} // namespace mavr::redirect
