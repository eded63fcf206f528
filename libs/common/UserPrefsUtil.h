#pragma once

#include "libs/common/PolicySettings.h"
#include "libs/common/VideoAdapter.h"
#include "libs/common/VideoPolicy.h"
#include "libs/common/codec/Codec.h"
#include "libs/mmdr/device/DeviceInfo.h"

#include <cstdint>
#include <string>

/// Which microphones are redirected. A stored value may be any number.
enum MAVRAInOption : uint32_t {
   AIN_OPTION_ALL = 0,       ///< all
   AIN_OPTION_DEFAULT = 1,   ///< those of the caller's map
   AIN_OPTION_PREFERRED = 2, ///< the preferred one
};

/// What the user's settings mean for the devices that are there now.
///
/// Every answer is worked out afresh from the settings and, where devices matter, from a new enumeration, which is what
/// a call costs. Nothing fails towards the caller: a preference that does not resolve is a default record, and nothing
/// here falls back on another device. Owner: none, static. Threads: host-serialised. Locks: none.
class UserPrefsUtil {
public:
   // ---- The switch ----

   /// The user's own switch; the policy is not asked.
   [[nodiscard]] static bool IsEnabled();
   /// Has no effect: the store has no boolean writes.
   static void SetEnabled(bool enabled);
   /// What the policy turns off.
   [[nodiscard]] static PolicySettings::Disabled IsDisabled() { return PolicySettings::IsDisabled(); }

   // ---- Video ----

   /// Size to capture at in pixels, from the client's wish and the policy, rounded as the negotiated capability wants.
   /// A policy without a ceiling and with a default that is no size (1 to 31) makes it 0xFFFFFFF0 or 0xFFFFFFF8 where
   /// the client has no wish. Logged at DEBUG.
   static void GetVCamRes(const VCamPolicy &policy, uint32_t *width, uint32_t *height);
   /// Frames a second to capture at, 1 to 30. Logged at DEBUG.
   static void GetVCamFps(uint32_t policyRate, uint32_t *frameRate);
   /// These only log (RegUtils) and report true; `context` is passed on.
   static bool SetVCamRes(uint32_t context, uint32_t width, uint32_t height);
   static bool SetVCamFps(uint32_t context, uint32_t frameRate);
   static bool SetVCamResAndFps(uint32_t context, uint32_t width, uint32_t height, uint32_t frameRate);
   /// The normalised id of the codec asked for.
   static void GetCodec(CodecId *codec) { *codec = GetPreferredCodec(); }
   [[nodiscard]] static bool IsH265CodecSupportEnabled();
   /// `*enable` is 0 or 1, `*interval` in seconds, `*overuse` and `*underuse` in percent. One bad number resets these
   /// three to 2, 98 and 95. DEBUG lines.
   static void GetVideoAdapterSettings(uint32_t *enable, uint64_t *interval, uint64_t *overuse, uint64_t *underuse);

   // ---- Preferred devices ----

   [[nodiscard]] static MMDev::DeviceInfo PreferredWCamDeviceInfo();
   [[nodiscard]] static MMDev::DeviceInfo PreferredAInDeviceInfo();
   [[nodiscard]] static std::string PreferredWCamUserId();
   [[nodiscard]] static std::string PreferredWCamName();
   [[nodiscard]] static std::string PreferredAInUserId();
   [[nodiscard]] static std::string PreferredAInName();
   /// Store a text; true.
   static bool SetPreferredWCamId(const std::string &id);
   static bool SetPreferredWCamName(const std::string &name);
   static bool SetPreferredAInId(const std::string &id);
   static bool SetPreferredAInName(const std::string &name);

   // ---- Microphones ----

   /// The stored option, whatever number it is.
   [[nodiscard]] static MAVRAInOption GetAInOption();
   /// Stores any number; true.
   static bool SetAInOption(MAVRAInOption option);
   /// Replaces `list` by the microphones to redirect and says by which rule: the preferred one if it is present, those
   /// of `map` with option 1 (none, if none matches), else all. DEBUG lines.
   static MAVRAInOption GetRedirectedMMDevList(MMDev::DeviceList &list, const AudioDevInfoMap &map);

   /// Whether the preferred device is in the argument, which is then reduced to it; else it is left alone. DEBUG lines.
   static bool IsPreferredAInDevValid(MMDev::DeviceList &list);
   static bool IsPreferredWCamDevValid(MMDev::DeviceList &list);
   static bool IsPreferredWCamDevValid(CamDevInfoMap &map);
};
