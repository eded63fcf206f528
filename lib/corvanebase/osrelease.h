#pragma once

#include <string>
#include <string_view>

namespace corvanebase {

/// The name that a distribution gives itself in the content of its os-release file (PRETTY_NAME), unquoted, control
/// characters as blanks; empty when there is none. Pure.
[[nodiscard]] std::string DistributionName(std::string_view osRelease);

} // namespace corvanebase
