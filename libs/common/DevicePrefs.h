#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

inline constexpr size_t kPrefsTextSize = 512;

/// Parameters of one audio stream. A fixed record; texts are not terminated when they fill their member.
struct AudioDevicePrefs {
   char DeviceId[kPrefsTextSize] = {};
   char DeviceName[kPrefsTextSize] = {};
   uint32_t FrameLenMS = 0;
   uint32_t FrameUnitCount = 0;
   uint32_t QLen = 0;
   uint32_t BitsPerSample = 16;
   uint32_t Channels = 1;
   uint32_t InputStreams = 1;
   uint32_t FramesPerPacket = 1;
   uint32_t SamplePerSec = 8000;
   char FurtherText[kPrefsTextSize] = {};
   uint32_t SecondRate = 8000;

   AudioDevicePrefs() = default;
   ~AudioDevicePrefs() = default;
   // Required: a copy takes everything but SecondRate, which stays as it was, or 8000 in a new record.
   AudioDevicePrefs(const AudioDevicePrefs &other);
   AudioDevicePrefs &operator=(const AudioDevicePrefs &other);
};

/// Parameters of one video stream. A fixed record.
struct VideoDevicePrefs {
   char DeviceId[kPrefsTextSize] = {};
   char DeviceName[kPrefsTextSize] = {};
   uint32_t Width = 0;
   uint32_t Height = 0;
   uint32_t FrameRate = 0;
   uint32_t PauseMS = 0;
   uint32_t QLen = 0;
   char FurtherText[kPrefsTextSize] = {};
};

/// Parameters of a device's two streams. A plain value of fixed size; any thread that owns it.
struct DevicePrefs {
   uint32_t Codec = 0;
   AudioDevicePrefs Audio;
   VideoDevicePrefs Video;
};

static_assert(sizeof(AudioDevicePrefs) == 1572 && sizeof(VideoDevicePrefs) == 1556 && sizeof(DevicePrefs) == 3132);
static_assert(offsetof(AudioDevicePrefs, FrameLenMS) == 1024 && offsetof(AudioDevicePrefs, FurtherText) == 1056 &&
              offsetof(AudioDevicePrefs, SecondRate) == 1568);
static_assert(offsetof(VideoDevicePrefs, Width) == 1024 && offsetof(VideoDevicePrefs, FurtherText) == 1044);
static_assert(offsetof(DevicePrefs, Audio) == 4 && offsetof(DevicePrefs, Video) == 1576);

/// Network form of a DevicePrefs: numbers as big-endian 32-bit values at fixed places, no texts
/// (docs/formats/stream-parameters.md).
inline constexpr size_t kNetworkPrefsSize = 136;

/// Writes the numbers; bytes 36 to 115 of `record` stay as they are.
void DevicePrefsToNetwork(const DevicePrefs &prefs, std::span<uint8_t, kNetworkPrefsSize> record);
/// Reads the numbers; texts and SecondRate stay as they are.
void DevicePrefsFromNetwork(std::span<const uint8_t, kNetworkPrefsSize> record, DevicePrefs *prefs);

// ---- Checks on values of settings and policy; all pure ----

[[nodiscard]] constexpr bool IsInRange(int32_t value, int32_t low, int32_t high) {
   return low <= value && value <= high;
}
[[nodiscard]] constexpr bool IsInRange(uint32_t value, uint32_t low, uint32_t high) {
   return low <= value && value <= high;
}
/// At least 32.
[[nodiscard]] bool IsValidResolution(uint32_t value);
/// 1 to 30.
[[nodiscard]] bool IsValidFrameRate(uint32_t value);

/// `value` up to `high` where it is at least `low`; else `fallback` where that is in [low, high) and `value` not above
/// `high`; else `high`. Rounded down to a multiple of `step`, which must not be 0 (asserted).
[[nodiscard]] uint32_t SteppedChoice(uint32_t step, uint32_t low, uint32_t high, uint32_t value, uint32_t fallback);

// ---- Queue settings; host-serialised, as the settings ----

/// Fills FrameLenMS, FrameUnitCount and QLen; values out of range are replaced by their defaults.
void LoadAudioQueueSettings(AudioDevicePrefs *audio);
/// Fills QLen in the same way.
void LoadVideoQueueSetting(VideoDevicePrefs *video);

/// Logs the numbers in three DEBUG lines that begin with `function`.
void LogDevicePrefs(const DevicePrefs &prefs, const char *function);
