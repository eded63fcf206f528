#include "libs/common/DevicePrefs.h"

#include "lib/mfw/common/logger.h"
#include "libs/common/VideoPolicy.h"
#include "libs/utils/RegUtils.h"

#include <algorithm>
#include <cassert>
#include <iterator>

namespace {

// Where each number stands in the network form: one table for both directions.
template <typename Prefs, typename Visit>
void VisitNetworkFields(Prefs &prefs, Visit visit) {
   visit(0, prefs.Codec);
   visit(4, prefs.Audio.FrameLenMS);
   visit(8, prefs.Audio.FrameUnitCount);
   visit(12, prefs.Audio.QLen);
   visit(16, prefs.Audio.BitsPerSample);
   visit(20, prefs.Audio.Channels);
   visit(24, prefs.Audio.InputStreams);
   visit(28, prefs.Audio.FramesPerPacket);
   visit(32, prefs.Audio.SamplePerSec);
   visit(116, prefs.Video.Width);
   visit(120, prefs.Video.Height);
   visit(124, prefs.Video.FrameRate);
   visit(128, prefs.Video.PauseMS);
   visit(132, prefs.Video.QLen);
}

uint32_t ReadQueueNumber(const char *name, uint32_t low, uint32_t high, uint32_t fallback) {
   const uint32_t value = RegUtils::GetDWORD("", name, fallback);
   return IsInRange(value, low, high) ? value : fallback;
}

} // namespace

AudioDevicePrefs::AudioDevicePrefs(const AudioDevicePrefs &other) {
   *this = other;
}

AudioDevicePrefs &AudioDevicePrefs::operator=(const AudioDevicePrefs &other) {
   if (this == &other) {
      return *this;
   }
   std::copy(std::begin(other.DeviceId), std::end(other.DeviceId), DeviceId);
   std::copy(std::begin(other.DeviceName), std::end(other.DeviceName), DeviceName);
   FrameLenMS = other.FrameLenMS;
   FrameUnitCount = other.FrameUnitCount;
   QLen = other.QLen;
   BitsPerSample = other.BitsPerSample;
   Channels = other.Channels;
   InputStreams = other.InputStreams;
   FramesPerPacket = other.FramesPerPacket;
   SamplePerSec = other.SamplePerSec;
   std::copy(std::begin(other.FurtherText), std::end(other.FurtherText), FurtherText);
   return *this;
}

void DevicePrefsToNetwork(const DevicePrefs &prefs, std::span<uint8_t, kNetworkPrefsSize> record) {
   VisitNetworkFields(prefs, [&](size_t offset, uint32_t value) {
      for (size_t i = 0; i < 4; ++i) {
         record[offset + i] = static_cast<uint8_t>(value >> (24 - 8 * i));
      }
   });
}

void DevicePrefsFromNetwork(std::span<const uint8_t, kNetworkPrefsSize> record, DevicePrefs *prefs) {
   VisitNetworkFields(*prefs, [&](size_t offset, uint32_t &value) {
      value = 0;
      for (size_t i = 0; i < 4; ++i) {
         value = (value << 8) | record[offset + i];
      }
   });
}

bool IsValidResolution(uint32_t value) {
   return value >= kSmallestDimension;
}

bool IsValidFrameRate(uint32_t value) {
   return IsInRange(value, 1u, kHighestFrameRate);
}

uint32_t SteppedChoice(uint32_t step, uint32_t low, uint32_t high, uint32_t value, uint32_t fallback) {
   assert(step != 0);
   uint32_t choice = high;
   if (value >= low) {
      choice = std::min(value, high);
   } else if (value <= high && fallback >= low && fallback < high) {
      choice = fallback;
   }
   return choice - choice % step;
}

void LoadAudioQueueSettings(AudioDevicePrefs *audio) {
   // Required: the names of the keys and of the fields say different things.
   const uint32_t frameLength = ReadQueueNumber("srcAInCaptureQueueLen", 10, 100, 20);
   audio->FrameLenMS = frameLength % 20 == 0 ? frameLength : 20;
   audio->FrameUnitCount = ReadQueueNumber("srcAInCaptureQueueDataSize", 10, 1000, 50);
   audio->QLen = ReadQueueNumber("srcAInDataQueueLen", 1, 100, 10);
}

void LoadVideoQueueSetting(VideoDevicePrefs *video) {
   video->QLen = ReadQueueNumber("srcWCamQueueLen", 1, 100, 10);
}

void LogDevicePrefs(const DevicePrefs &prefs, const char *function) {
   MAVR_LOG_DEBUG("%s - Codec=%u", function, prefs.Codec);
   MAVR_LOG_DEBUG("%s - Video: QLen=%u  PauseMS=%u  Width=%u  Height=%u  FrameRate=%u", function, prefs.Video.QLen,
                  prefs.Video.PauseMS, prefs.Video.Width, prefs.Video.Height, prefs.Video.FrameRate);
   MAVR_LOG_DEBUG("%s - Audio: QLen=%u  FrameUnitCount=%u  FrameLenMS=%u  BitsPerSample=%u  Channels=%u  "
                  "FramesPerPacket=%u  InputStreams=%u  SamplePerSec=%u",
                  function, prefs.Audio.QLen, prefs.Audio.FrameUnitCount, prefs.Audio.FrameLenMS,
                  prefs.Audio.BitsPerSample, prefs.Audio.Channels, prefs.Audio.FramesPerPacket,
                  prefs.Audio.InputStreams, prefs.Audio.SamplePerSec);
}
