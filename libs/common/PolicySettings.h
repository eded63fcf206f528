#pragma once

#include <cstdint>

/// Readers of the values that the administrator's policy sets; each gives the caller's default where it does not.
///
/// Owner: none, static. Threads: host-serialised, as the settings. Locks: none. Life cycle: read afresh at each call,
/// but for the microphone's rate, which is fixed at its first read.
class PolicySettings {
public:
   /// What of the feature the policy turns off.
   enum class Disabled : uint32_t { Nothing = 0, Audio = 1, Video = 2, AudioAndVideo = 3 };

   /// By the text "DisableMAVR", compared exactly.
   [[nodiscard]] static Disabled IsDisabled();

   [[nodiscard]] static uint32_t WebcamMaxFrameRate(uint32_t defaultValue);
   [[nodiscard]] static uint32_t WebcamMaxResHeight(uint32_t defaultValue);
   [[nodiscard]] static uint32_t WebcamMaxResWidth(uint32_t defaultValue);
   [[nodiscard]] static uint32_t WebcamDefaultResHeight(uint32_t defaultValue);
   [[nodiscard]] static uint32_t WebcamDefaultResWidth(uint32_t defaultValue);

   /// Samples a second. The first call of the process decides; later defaults are not looked at.
   [[nodiscard]] static uint32_t MicrophoneSampleRate(uint32_t defaultValue);

   /// Force one or the other family of hardware encoders.
   [[nodiscard]] static bool ForceNV(bool defaultValue);
   [[nodiscard]] static bool ForceQSV(bool defaultValue);
};
