#pragma once

#include <string>
#include <string_view>

namespace MMDev {

/// The guid of a device, from its unique id (DeviceInfo::mSystemId): "{8-4-4-4-12}" of lower-case hexadecimal digits,
/// 38 characters with the braces.
///
/// The digits are the first 32 of the id's SHA-256, so the same device has the same guid on every run and every
/// machine, and the guid does not show the id. Any bytes will do as an id, none too. Any thread.
[[nodiscard]] std::string MakeDeviceGuid(std::string_view uniqueId);

} // namespace MMDev
