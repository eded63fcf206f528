#pragma once

#include <cstdint>
#include <string>

/// Number of a codec pair, video and audio. Settings name it by text; any other number may come from outside.
using CodecId = uint32_t;

inline constexpr CodecId kCodecNone = 0;
inline constexpr CodecId kCodecSpeex = 1;
inline constexpr CodecId kCodecTheora = 2;
inline constexpr CodecId kCodecTheoraSpeex = 3;
inline constexpr CodecId kCodecCrvSpeex = 4;
inline constexpr CodecId kCodecCrvTheora = 5;
inline constexpr CodecId kCodecCrvTheoraSpeex = 6;
inline constexpr CodecId kCodecCrvH264Speex = 8;
inline constexpr CodecId kCodecCrvH264Opus = 10;
inline constexpr CodecId kCodecCrvH265Opus = 12;

/// The id of a codec's name, in any case; kCodecNone for any other text. Any thread.
[[nodiscard]] CodecId CodecIdFromName(const std::string &name);

/// The id itself where it is an assigned one, else kCodecCrvH265Opus, which is what nobody's choice means. Any thread.
[[nodiscard]] CodecId NormaliseCodec(CodecId id);

/// The normalised id of the setting "codec". Host-serialised, as the settings.
[[nodiscard]] CodecId GetPreferredCodec();
