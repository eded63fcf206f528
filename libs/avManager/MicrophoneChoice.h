#pragma once

#include "libs/mmdr/device/DeviceInfo.h"

#include <cstddef>
#include <string>

/// Which microphone of a list a user id means.
struct MicrophoneChoice {
   enum class Match { None, Whole, Part };
   Match match = Match::None;
   size_t index = 0; ///< in the list, where there is a match
};

/// The first microphone with this user id; else the first whose user id contains what stands before the first '#' of
/// it. Required: there is no match by name alone, and an id that begins with '#' matches the first microphone. None for
/// an empty id. Pure.
[[nodiscard]] MicrophoneChoice ChooseMicrophone(const MMDev::DeviceList &microphones, const std::string &userId);
