#include "tools/mavr/redirect/ReportPage.h"

#include "tools/mavr/FormatText.h"
#include "tools/mavr/redirect/Plot.h"

#include <algorithm>

namespace mavr::redirect {
namespace {

using Stream = SessionResult::Stream;

constexpr size_t kParts = 60; // of plots over time
constexpr size_t kBins = 60;  // of histograms
constexpr size_t kWaveColumns = 600;

constexpr const char *kHead = R"(<!DOCTYPE html>
<html lang="en"><head><meta charset="utf-8"><meta name="viewport" content="width=device-width">
<title>Redirection report</title><style>
:root { color-scheme: light dark; --plot: #3b6fb6; --plot-bad: #c8472f; --line: #8888; }
body { font: 15px/1.5 system-ui, sans-serif; max-width: 880px; margin: 2rem auto; padding: 0 1rem; }
h1 { font-size: 1.5rem; margin-bottom: 0; } h2 { font-size: 1.15rem; margin-top: 2rem; }
.verdict { font-size: 1.05rem; padding: .6rem .9rem; border-left: 4px solid var(--plot); background: #8881; }
.verdict.bad { border-color: var(--plot-bad); }
table { border-collapse: collapse; margin: .5rem 0; }
td, th { text-align: left; padding: .15rem 1.2rem .15rem 0; vertical-align: top; font-weight: normal; }
td + td { font-variant-numeric: tabular-nums; } th { opacity: .7; }
.plot { width: 100%; max-width: 640px; display: block; margin: .8rem 0; font: 11px system-ui, sans-serif; }
.plot text { fill: currentColor; opacity: .8; } .plot .title { font-size: 12px; opacity: 1; }
.plot .axis { stroke: var(--line); fill: none; } .plot .good { fill: var(--plot); } .plot .bad { fill: var(--plot-bad); }
.plot .line { stroke: var(--plot); fill: none; } .plot .mark { stroke: var(--plot-bad); stroke-dasharray: 3 3; }
img { max-width: 100%; border-radius: 4px; } .note { opacity: .75; font-size: .9rem; }
</style></head><body>
)";

unsigned long long Long(uint64_t value) {
   return value;
}

std::string Row(const std::string &name, const std::string &value) {
   return "<tr><th>" + name + "</th><td>" + Escaped(value) + "</td></tr>\n";
}

std::string Paragraph(const char *kind, const std::string &text) {
   return std::string("<p class=\"") + kind + "\">" + Escaped(text) + "</p>\n";
}

std::string Spread(const Distribution &values) {
   return FormatText("median %.2f ms, 90 %% %.2f, 99 %% %.2f, most %.2f", values.Median(), values.Percentile(0.9),
                     values.Percentile(0.99), values.Largest());
}

// ---- The top --------------------------------------------------------------------------------------------------------

std::string Verdict(const SessionResult &result) {
   if (!result.IsWhole()) {
      return Paragraph("verdict bad", "The capturing side ended before its time. This is what had arrived until then.");
   }
   if (!result.AccountAgrees()) {
      return Paragraph("verdict bad", "What arrived and what was sent do not agree: see the datagrams below.");
   }
   std::string text = "Every frame and every datagram is accounted for.";
   if (result.video) {
      const StreamCounts &counts = result.video->counts;
      text += FormatText(" %llu of %llu pictures arrived whole, %.2f ms after they were captured (median).",
                         Long(counts.framesComplete), Long(counts.framesComplete + counts.framesLost),
                         result.video->meter.CaptureToArrival().Median());
   }
   return Paragraph("verdict", text);
}

// ---- Streams --------------------------------------------------------------------------------------------------------

std::string CountRows(const Stream &stream, const SentStream *sent, const char *frames) {
   const StreamCounts &counts = stream.counts;
   std::string rows;
   if (sent != nullptr) {
      rows += Row("device", FormatText("%llu delivered, %llu kept by the recorder", Long(sent->device.delivered),
                                       Long(sent->device.kept)) +
                               (sent->device.trouble.empty() ? "" : "; " + sent->device.trouble));
      rows += Row(FormatText("%s sent", frames), FormatText("%llu, %llu of them not taken whole",
                                                            Long(sent->sent.frames), Long(sent->sent.framesRefused)));
   }
   rows += Row(FormatText("%s arrived", frames),
               FormatText("%llu whole, %llu lost", Long(counts.framesComplete), Long(counts.framesLost)));
   if (sent != nullptr) {
      rows += Row("datagrams sent",
                  FormatText("%llu: %llu dropped by the host on their way, %llu not taken for want of room",
                             Long(sent->sent.datagrams), Long(sent->datagramsLost), Long(sent->sent.datagramsRefused)));
   }
   rows += Row("datagrams arrived",
               FormatText("%llu: %llu late, %llu repeated, %llu malformed; %llu never came", Long(counts.datagrams),
                          Long(counts.datagramsLate), Long(counts.datagramsDuplicated), Long(counts.datagramsMalformed),
                          Long(counts.datagramsLost)));
   rows += Row("rate", FormatText("%.2f a second; %llu gaps in the recorder's time", stream.meter.Rate(),
                                  Long(stream.meter.Gaps())));
   rows += Row("capture to arrival", Spread(stream.meter.CaptureToArrival()));
   rows += Row("sending to arrival", Spread(stream.meter.SendToArrival()));
   return rows;
}

std::string LatencyPlot(const Distribution &latency) {
   const double end = RoundedUp(std::max(latency.Percentile(0.99) * 1.2, 1.0));
   return HistogramPlot(
      "Latency from capture to arrival: how many frames took how long", latency.Histogram(kBins, end), end, "ms",
      {{"median", latency.Median()}, {"90 %", latency.Percentile(0.9)}, {"99 %", latency.Percentile(0.99)}});
}

std::string Plots(const Stream &stream, const char *what) {
   const StreamMeter &meter = stream.meter;
   const uint64_t total = stream.counts.framesComplete + stream.counts.framesLost;
   const size_t parts = std::clamp<size_t>(static_cast<size_t>(total / 4), 1, kParts);
   const auto split = meter.SplitByTime(parts, total);
   return LatencyPlot(meter.CaptureToArrival()) +
          TimePlot(std::string("Time between arrivals of ") + what, meter.Intervals().Values(), meter.Seconds(), "ms") +
          ShareOverTimePlot(std::string("What came, and what was lost (red), of ") + what, split.came, split.lost,
                            meter.Seconds());
}

std::string NumbersChecked(const PictureCheck::Result &numbers) {
   if (!numbers.HasNumbers()) {
      return "The pictures carry no numbers of their own (only a simulated camera with the pattern \"counter\" paints "
             "them), so frames were checked by the numbers of their datagrams alone.";
   }
   return FormatText(
      "Each picture carries its number, painted by the camera and read back here after scaling, letterbox bars "
      "passed over: %llu read, from %u to %u; %llu not readable or torn, %llu not higher than the one before. "
      "Numbers that are skipped are frames that were lost, or that the recorder did not keep.",
      Long(numbers.readable), numbers.first.value_or(0), numbers.last.value_or(0), Long(numbers.Unreadable()),
      Long(numbers.backwards));
}

std::string VideoSection(const SessionResult::Video &video, const SentStream *sent,
                         const std::vector<uint8_t> &contactSheet) {
   std::string html = "<h2>Pictures</h2>\n<table>\n";
   html += Row("camera", video.plan.device);
   html += Row("stream", FormatText("I420, %ux%u, %u a second, over a %s channel", video.plan.width, video.plan.height,
                                    video.plan.rate, video.plan.isReliable ? "reliable" : "lossy"));
   html += CountRows(video, sent, "frames") + "</table>\n";
   html += Paragraph("note", NumbersChecked(video.numbers));
   if (!contactSheet.empty()) {
      html += "<img alt=\"Frames that arrived, evenly spread over the stream\" src=\"data:image/png;base64," +
              Base64(contactSheet) + "\">\n";
      std::string numbers;
      for (const uint64_t number : video.shown) {
         numbers += (numbers.empty() ? "" : ", ") + std::to_string(number);
      }
      html += Paragraph("note", "Frames " + numbers + " of the stream.");
   }
   return html + Plots(video, "frames");
}

std::string Wave(const SessionResult::Audio &audio) {
   const size_t chunks = audio.low.size();
   const size_t columns = std::min(chunks, kWaveColumns);
   std::vector<float> low;
   std::vector<float> high;
   for (size_t column = 0; column < columns; ++column) {
      const auto from = static_cast<std::ptrdiff_t>(column * chunks / columns);
      const auto to = static_cast<std::ptrdiff_t>((column + 1) * chunks / columns);
      low.push_back(*std::min_element(audio.low.begin() + from, audio.low.begin() + to));
      high.push_back(*std::max_element(audio.high.begin() + from, audio.high.begin() + to));
   }
   return WavePlot("The sound, loudest and softest sample over time", low, high,
                   static_cast<double>(chunks) * audio.plan.chunkMs / 1000);
}

std::string AudioSection(const SessionResult::Audio &audio, const SentStream *sent) {
   std::string html = "<h2>Sound</h2>\n<table>\n";
   html += Row("microphone", audio.plan.device);
   html += Row("stream", FormatText("16 bits, mono, %u Hz, chunks of %u ms and %u bytes, over a reliable channel",
                                    audio.plan.sampleRate, audio.plan.chunkMs, audio.plan.chunkSize));
   html += Row("level", FormatText("peak %.1f dBFS, RMS %.1f dBFS", audio.peakDb, audio.rmsDb));
   html += CountRows(audio, sent, "chunks") + "</table>\n";
   html +=
      "<p class=\"note\">The sound itself: <a href=\"sound.wav\">sound.wav</a>, with silence in the place of chunks "
      "that did not come.</p>\n";
   return html + Wave(audio) + Plots(audio, "chunks");
}

std::string CpuSection(const SessionResult &result) {
   std::string html = "<h2>Processor</h2>\n<table>\n";
   if (result.end) {
      html += Row("capturing and sending", FormatText("%.2f %% of a core", result.ClientPercent()));
   }
   html += Row("receiving and checking", FormatText("%.2f %% of a core", result.AgentPercent()));
   return html + "</table>\n";
}

} // namespace

std::string Base64(const std::vector<uint8_t> &bytes) {
   constexpr const char *kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
   std::string text;
   text.reserve((bytes.size() + 2) / 3 * 4);
   for (size_t at = 0; at < bytes.size(); at += 3) {
      const size_t left = bytes.size() - at;
      const uint32_t group = uint32_t{bytes[at]} << 16 | (left > 1 ? uint32_t{bytes[at + 1]} << 8 : 0) |
                             (left > 2 ? uint32_t{bytes[at + 2]} : 0);
      text += kDigits[group >> 18];
      text += kDigits[group >> 12 & 63];
      text += left > 1 ? kDigits[group >> 6 & 63] : '=';
      text += left > 2 ? kDigits[group & 63] : '=';
   }
   return text;
}

std::string ReportPage(const SessionResult &result, const std::vector<uint8_t> &contactSheet, const std::string &when) {
   std::string html = kHead;
   html += "<h1>Redirection report</h1>\n";
   html += Paragraph("note", when + FormatText("; %.4g s asked for, %.4g %% loss on lossy channels", result.seconds,
                                               result.lossPercent));
   html += Verdict(result);
   if (result.video) {
      html += VideoSection(*result.video, result.SentVideo(), contactSheet);
   }
   if (result.audio) {
      html += AudioSection(*result.audio, result.SentAudio());
   }
   html += CpuSection(result);
   html +=
      Paragraph("note", "Times are of the machine's one monotonic clock, which both processes share. A capture time is "
                        "that of the recorder, in whole milliseconds, rounded down: latencies from capture are up to "
                        "1 ms too long. A chunk of sound is captured when its first bytes are: its own length counts.");
   return html + "</body></html>\n";
}

} // namespace mavr::redirect
