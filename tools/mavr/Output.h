#pragma once

#include "tools/mavr/Library.h"

#include <nlohmann/json_fwd.hpp>

#include <optional>
#include <string>
#include <vector>

namespace mavr {

/// Keeps the keys of `--json` in the order in which they are documented.
using Json = nlohmann::ordered_json;

/// Text for a terminal: control characters and broken UTF-8 in a device's name become visible instead of acting.
[[nodiscard]] std::string Printable(const std::string &text);

/// Writes one JSON document, indented, to standard output. Broken UTF-8 becomes U+FFFD.
void PrintJson(const Json &document);

/// {"userId", "name"}, or null.
[[nodiscard]] Json ToJson(const Device &device);
[[nodiscard]] Json ToJson(const std::optional<Device> &device);

/// Rows in columns, each as wide as its widest cell (in characters), indented by two blanks.
void PrintColumns(const std::vector<std::vector<std::string>> &rows);

/// "all", "default", "preferred"; nothing for any other number.
[[nodiscard]] std::optional<std::string> OptionName(uint32_t option);
[[nodiscard]] Json OptionJson(uint32_t option);

} // namespace mavr
