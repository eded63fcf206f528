#pragma once

#include "libs/mmdr/device/DeviceInfo.h"

#include <string>

/// The first record, in list order, whose mUserId is `id`; null without one. Pure, as the two below.
[[nodiscard]] const MMDev::DeviceInfo *FindByUserId(const MMDev::DeviceList &list, const std::string &id);
/// The first whose mUserId contains `piece`, so that a bare unique id or a bare name finds its device.
[[nodiscard]] const MMDev::DeviceInfo *FindByPieceOfUserId(const MMDev::DeviceList &list, const std::string &piece);
/// The first whose mName, with the number of a double, is `name`.
[[nodiscard]] const MMDev::DeviceInfo *FindByName(const MMDev::DeviceList &list, const std::string &name);

/// What ResolvePreferredDevice needs to know of a kind of devices.
struct PreferredDeviceKind {
   const char *function;      ///< function text of most log lines
   const char *shortFunction; ///< and of those before the search
   bool (*enumerate)(MMDev::DeviceList &list);
};

/// The device among those present now that the stored `id` and `name` choose, or a default record: the id whole, then
/// as a piece of a user id, then the name. Without both nothing is enumerated. There is no fallback on another device.
/// Logged at TRACE, a failed enumeration at ERROR. Host-serialised.
[[nodiscard]] MMDev::DeviceInfo ResolvePreferredDevice(const PreferredDeviceKind &kind, const std::string &id,
                                                       const std::string &name);
