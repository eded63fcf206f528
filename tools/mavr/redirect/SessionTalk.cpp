#include "tools/mavr/redirect/SessionTalk.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace mavr::redirect {
namespace {

using CORE::PropertyBag;

constexpr uint32_t kMostSide = 8192;         // pixels
constexpr uint32_t kMostChunk = 1U << 20;    // bytes
constexpr uint32_t kMostSampleRate = 768000; // hertz

void SetNumber(PropertyBag &bag, const char *name, uint64_t value) {
   bag.Set(name, std::to_string(value).c_str());
}
void SetSeconds(PropertyBag &bag, const char *name, double value) {
   char text[64];
   std::snprintf(text, sizeof text, "%.6f", value);
   bag.Set(name, text);
}
void SetBool(PropertyBag &bag, const char *name, bool value) {
   bag.Set(name, value ? "true" : "false");
}

// Negative ones and what is no number are 0.
uint64_t Number(const PropertyBag &bag, const char *name) {
   const int64_t value = bag.GetInt64(name);
   return value > 0 ? static_cast<uint64_t>(value) : 0;
}
uint32_t SmallNumber(const PropertyBag &bag, const char *name) {
   const uint64_t value = Number(bag, name);
   return value <= UINT32_MAX ? static_cast<uint32_t>(value) : 0;
}
double Seconds(const PropertyBag &bag, const char *name) {
   const double value = std::strtod(bag.GetString(name, "0").Text(), nullptr);
   return std::isfinite(value) && value > 0 ? value : 0;
}
std::string Text(const PropertyBag &bag, const char *name) {
   return bag.GetString(name, "").Text();
}

void AddStream(PropertyBag &bag, const char *name, const SentStream &stream) {
   PropertyBag part;
   SetNumber(part, "frames", stream.sent.frames);
   SetNumber(part, "framesRefused", stream.sent.framesRefused);
   SetNumber(part, "datagrams", stream.sent.datagrams);
   SetNumber(part, "datagramsRefused", stream.sent.datagramsRefused);
   SetNumber(part, "datagramsLost", stream.datagramsLost);
   SetNumber(part, "bytes", stream.sent.bytes);
   SetNumber(part, "delivered", stream.device.delivered);
   SetNumber(part, "kept", stream.device.kept);
   part.Set("trouble", stream.device.trouble.c_str());
   bag.AddBag(name, part, false);
}

std::optional<SentStream> StreamOf(const PropertyBag &bag, const char *name) {
   if (!bag.IsBag(name)) {
      return std::nullopt;
   }
   const PropertyBag part = bag.GetBag(name);
   SentStream stream;
   stream.sent.frames = Number(part, "frames");
   stream.sent.framesRefused = Number(part, "framesRefused");
   stream.sent.datagrams = Number(part, "datagrams");
   stream.sent.datagramsRefused = Number(part, "datagramsRefused");
   stream.datagramsLost = Number(part, "datagramsLost");
   stream.sent.bytes = Number(part, "bytes");
   stream.device.delivered = Number(part, "delivered");
   stream.device.kept = Number(part, "kept");
   stream.device.trouble = Text(part, "trouble");
   return stream;
}

bool IsSide(uint32_t pixels) {
   return pixels >= 4 && pixels <= kMostSide && pixels % 4 == 0;
}

// False when there is one and it is not to be taken.
bool TakeVideo(const PropertyBag &bag, std::optional<VideoPlan> *out) {
   if (!bag.IsBag("video")) {
      return true;
   }
   const PropertyBag part = bag.GetBag("video");
   const VideoPlan plan{Text(part, "device"), SmallNumber(part, "width"), SmallNumber(part, "height"),
                        SmallNumber(part, "rate"), part.GetBool("reliable")};
   *out = plan;
   return IsSide(plan.width) && IsSide(plan.height) && plan.rate > 0 && Text(part, "format") == "I420";
}

bool TakeAudio(const PropertyBag &bag, std::optional<AudioPlan> *out) {
   if (!bag.IsBag("audio")) {
      return true;
   }
   const PropertyBag part = bag.GetBag("audio");
   const AudioPlan plan{Text(part, "device"), SmallNumber(part, "sampleRate"), SmallNumber(part, "chunkMs"),
                        SmallNumber(part, "chunkSize")};
   *out = plan;
   return plan.sampleRate > 0 && plan.sampleRate <= kMostSampleRate && plan.chunkMs > 0 && plan.chunkSize > 0 &&
          plan.chunkSize <= kMostChunk && plan.chunkSize % 2 == 0 && Text(part, "format") == "S16LE";
}

} // namespace

std::string MessageOf(const PropertyBag &bag) {
   return Text(bag, "message");
}

void SetMessage(PropertyBag &bag, const char *message) {
   bag.Clear();
   bag.Set("message", message);
}

void ToBag(const Describe &describe, PropertyBag &bag) {
   SetMessage(bag, "describe");
   SetSeconds(bag, "seconds", describe.seconds);
   if (describe.video) {
      PropertyBag part;
      part.Set("device", describe.video->device.c_str());
      part.Set("format", "I420");
      SetNumber(part, "width", describe.video->width);
      SetNumber(part, "height", describe.video->height);
      SetNumber(part, "rate", describe.video->rate);
      SetBool(part, "reliable", describe.video->isReliable);
      bag.AddBag("video", part, false);
   }
   if (describe.audio) {
      PropertyBag part;
      part.Set("device", describe.audio->device.c_str());
      part.Set("format", "S16LE");
      SetNumber(part, "sampleRate", describe.audio->sampleRate);
      SetNumber(part, "chunkMs", describe.audio->chunkMs);
      SetNumber(part, "chunkSize", describe.audio->chunkSize);
      bag.AddBag("audio", part, false);
   }
}

std::optional<Describe> DescribeOf(const PropertyBag &bag) {
   Describe describe;
   describe.seconds = Seconds(bag, "seconds");
   if (MessageOf(bag) != "describe" || !TakeVideo(bag, &describe.video) || !TakeAudio(bag, &describe.audio)) {
      return std::nullopt;
   }
   return describe;
}

void ToBag(const End &end, PropertyBag &bag) {
   SetMessage(bag, "end");
   SetSeconds(bag, "cpuSeconds", end.cpuSeconds);
   SetSeconds(bag, "wallSeconds", end.wallSeconds);
   if (end.video) {
      AddStream(bag, "video", *end.video);
   }
   if (end.audio) {
      AddStream(bag, "audio", *end.audio);
   }
}

std::optional<End> EndOf(const PropertyBag &bag) {
   if (MessageOf(bag) != "end") {
      return std::nullopt;
   }
   End end;
   end.cpuSeconds = Seconds(bag, "cpuSeconds");
   end.wallSeconds = Seconds(bag, "wallSeconds");
   end.video = StreamOf(bag, "video");
   end.audio = StreamOf(bag, "audio");
   return end;
}

} // namespace mavr::redirect
