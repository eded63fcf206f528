#pragma once

#include "libs/mmdr/device/DeviceInfo.h"

#include <string>
#include <string_view>
#include <vector>

namespace MMDev {

/// Raw display name, "#", unique id. Nothing is escaped: a "#" in the name stays as it is.
[[nodiscard]] std::string BuildUserId(std::string_view name, std::string_view uniqueId);

/// Makes names tell devices apart: the first of a name keeps it, the second gets " 2" behind it, the third " 3".
///
/// `names` point to the raw names in list order; they are changed in place. Names are counted as they come in, exact to
/// the byte: a device that already calls itself "Camera 2" is not confused with the second "Camera", and may share its
/// name. Give the names sorted by unique id, and a device keeps its number while the same devices are there.
void MakeNamesUnique(const std::vector<std::string *> &names);

/// The same for the mName of every record.
void MakeNamesUnique(DeviceList &list);

} // namespace MMDev
