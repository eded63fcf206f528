#pragma once

#include "tools/mavr/redirect/SessionResult.h"

#include <cstdint>
#include <string>
#include <vector>

namespace mavr::redirect {

/// The report as one HTML page that needs nothing else: plots as inline SVG, the contact sheet as a data URI, no
/// script. `contactSheet` is a PNG file's bytes, and may be empty. `when` is the time of the run, for people.
[[nodiscard]] std::string ReportPage(const SessionResult &result, const std::vector<uint8_t> &contactSheet,
                                     const std::string &when);

[[nodiscard]] std::string Base64(const std::vector<uint8_t> &bytes);

} // namespace mavr::redirect
