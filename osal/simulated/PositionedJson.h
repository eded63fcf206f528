#pragma once

#include "osal/Status.h"

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace osal {

/// A value of a JSON text that remembers where it stood, so that a complaint about its meaning can point at it.
/// A plain value. Numbers are doubles: whole numbers are exact up to 2^53.
struct JsonNode {
   using Array = std::vector<JsonNode>;
   using Object = std::vector<std::pair<JsonNode, JsonNode>>; ///< keys are text nodes; doubles are kept, in order

   std::variant<std::nullptr_t, bool, double, std::string, Array, Object> value = nullptr;
   size_t offset = 0; ///< of the value's first byte
};

/// Limits that keep a hostile text from taking the memory or the stack.
inline constexpr size_t kJsonMaximumDepth = 32;
inline constexpr size_t kJsonMaximumValues = 1'000'000;

/// "3:7", line and column from 1, of a place in a text. A column is a character, not a byte.
[[nodiscard]] std::string JsonPlace(std::string_view text, size_t offset);

/// Parses a JSON text, with comments as in C++. A failure's reason begins with the place: "3:7: ...". Nothing is
/// thrown.
[[nodiscard]] Status ParseJson(std::string_view text, JsonNode *root);

} // namespace osal
