#pragma once

#include "tools/mavr/redirect/MediaSender.h"

#include "lib/mfw/messageframework/propertybag.h"

#include <cstdint>
#include <optional>
#include <string>

namespace mavr::redirect {

/// What the two sides of `mavr redirect` say to each other over the control channel, as values. On the wire each is a
/// property bag: docs/formats/redirect-control.md lists the names.

/// A picture's stream, as the client sends it: I420.
struct VideoPlan {
   std::string device;
   uint32_t width = 0;
   uint32_t height = 0;
   uint32_t rate = 0; ///< frames a second
   bool isReliable = false;

   [[nodiscard]] uint32_t FrameSize() const { return width * height * 3 / 2; }
   bool operator==(const VideoPlan &) const = default;
};

/// A sound's stream: 16-bit mono.
struct AudioPlan {
   std::string device;
   uint32_t sampleRate = 0; ///< hertz
   uint32_t chunkMs = 0;
   uint32_t chunkSize = 0; ///< bytes

   bool operator==(const AudioPlan &) const = default;
};

/// "describe", from the client: what will come.
struct Describe {
   std::optional<VideoPlan> video;
   std::optional<AudioPlan> audio;
   double seconds = 0; ///< how long it is meant to last

   bool operator==(const Describe &) const = default;
};

/// What a recorder saw of its device.
struct DeviceCounts {
   uint64_t delivered = 0; ///< frames by the camera, buffers by the microphone
   uint64_t kept = 0;      ///< frames or chunks that the recorder queued
   std::string trouble;    ///< of the device; empty without

   bool operator==(const DeviceCounts &) const = default;
};

/// What became of one stream on the sending side.
struct SentStream {
   SenderCounts sent;
   DeviceCounts device;
   uint64_t datagramsLost = 0; ///< by the host, on their way

   bool operator==(const SentStream &) const = default;
};

/// "end", from the client: what was sent, so that what is missing can be told.
struct End {
   std::optional<SentStream> video;
   std::optional<SentStream> audio;
   double cpuSeconds = 0; ///< that the client used for the stream
   double wallSeconds = 0;

   bool operator==(const End &) const = default;
};

/// "message" of a bag: "describe", "ready", "end" or "done"; empty without one.
[[nodiscard]] std::string MessageOf(const CORE::PropertyBag &bag);
/// A bag with nothing but that.
void SetMessage(CORE::PropertyBag &bag, const char *message);

void ToBag(const Describe &describe, CORE::PropertyBag &bag);
/// None when it is not one, or its sizes are none that this side takes.
[[nodiscard]] std::optional<Describe> DescribeOf(const CORE::PropertyBag &bag);

void ToBag(const End &end, CORE::PropertyBag &bag);
[[nodiscard]] std::optional<End> EndOf(const CORE::PropertyBag &bag);

} // namespace mavr::redirect
