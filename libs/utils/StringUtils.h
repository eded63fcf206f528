#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// Small text tools. Any thread; none logs but ProcessDevNameInCIMode.
namespace StringUtils {

/// Cuts `text` at each `delimiter` into `*pieces`, which are replaced; returns how many there are, at least one: an
/// empty text is one empty piece, and a delimiter at the end begins a last, empty one.
size_t Split(std::string_view text, char delimiter, std::vector<std::string> *pieces);

/// The decimal number at the text's start, blanks before it allowed, as atoi reads it; 0 without one.
[[nodiscard]] int ToInt(const std::string &text);

/// Empty is false, "true" in any case is true, any other text is true when ToInt of it is not 0.
[[nodiscard]] bool ParseBool(const std::string &text);

/// Equality without regard to the case of letters.
[[nodiscard]] bool EqualsNoCase(const std::string &a, const std::string &b);

[[nodiscard]] std::string ToLower(std::string text);

/// `text` without the character at its end that misses bytes: what was cut at a byte is UTF-8 again. Bytes that are no
/// UTF-8 elsewhere stay.
[[nodiscard]] std::string_view WithoutCutCharacter(std::string_view text);

/// The number in decimal, or nothing when it cannot be converted.
[[nodiscard]] std::optional<std::string> IntToText(int64_t value);

/// The bracketed part of a name that ends in "Microphone Array (...)"; any other name as it is. Logged at DEBUG.
[[nodiscard]] std::string ProcessDevNameInCIMode(const std::string &name);

/// What the expression "Microphone Array \((.+)\)$" captures when it is searched for in `name`, or nothing.
///
/// By hand and in one pass: the standard library's matcher recurses for each character, and a name of some 100 KB
/// would end the stack. '.' is any byte but a line feed and a carriage return; '$' is the end of the text only.
[[nodiscard]] std::optional<std::string_view> MatchMicrophoneArray(std::string_view name);

} // namespace StringUtils
