#include "libs/utils/StringUtils.h"

#include "lib/mfw/common/logger.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cstdlib>
#include <strings.h>

namespace StringUtils {

size_t Split(std::string_view text, char delimiter, std::vector<std::string> *pieces) {
   pieces->clear();
   size_t begin = 0;
   for (size_t end = text.find(delimiter); end != std::string_view::npos; end = text.find(delimiter, begin)) {
      pieces->emplace_back(text.substr(begin, end - begin));
      begin = end + 1;
   }
   pieces->emplace_back(text.substr(begin));
   return pieces->size();
}

int ToInt(const std::string &text) {
   // What atoi does, with a defined result for numbers that are too large.
   return static_cast<int>(std::strtol(text.c_str(), nullptr, 10));
}

bool ParseBool(const std::string &text) {
   return !text.empty() && (EqualsNoCase(text, "true") || ToInt(text) != 0);
}

bool EqualsNoCase(const std::string &a, const std::string &b) {
   return strcasecmp(a.c_str(), b.c_str()) == 0;
}

std::string ToLower(std::string text) {
   for (char &c : text) {
      c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
   }
   return text;
}

std::string_view WithoutCutCharacter(std::string_view text) {
   constexpr size_t kLongestCut = 3;
   for (size_t tail = 1; tail <= std::min(kLongestCut, text.size()); ++tail) {
      const auto byte = static_cast<unsigned char>(text[text.size() - tail]);
      if ((byte & 0xC0) != 0x80) {
         const size_t announced = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC0 ? 2 : 1;
         return announced > tail ? text.substr(0, text.size() - tail) : text;
      }
   }
   return text;
}

std::optional<std::string> IntToText(int64_t value) {
   char buffer[128];
   const auto [end, error] = std::to_chars(buffer, buffer + sizeof buffer, value);
   return error == std::errc() ? std::optional(std::string(buffer, end)) : std::nullopt;
}

std::optional<std::string_view> MatchMicrophoneArray(std::string_view name) {
   static constexpr std::string_view kHead = "Microphone Array (";
   if (name.empty() || name.back() != ')') {
      return std::nullopt;
   }
   const std::string_view open = name.substr(0, name.size() - 1);
   // The match cannot reach across a line end, so it begins behind the last one; there, the first head wins and the
   // greedy group takes all the rest.
   const size_t lineEnd = open.find_last_of("\r\n");
   const size_t head = open.find(kHead, lineEnd == std::string_view::npos ? 0 : lineEnd + 1);
   if (head == std::string_view::npos || head + kHead.size() == open.size()) {
      return std::nullopt;
   }
   return open.substr(head + kHead.size());
}

std::string ProcessDevNameInCIMode(const std::string &name) {
   MAVR_LOG_DEBUG("%s - MAVR run in CI mode, will truncate the microphone device name %s", "ProcessDevNameInCIMode",
                  name.c_str());
   if (const std::optional<std::string_view> inBrackets = MatchMicrophoneArray(name)) {
      MAVR_LOG_DEBUG("regex match");
      return std::string(*inBrackets);
   }
   MAVR_LOG_DEBUG("regex not match, use original device name");
   return name;
}

} // namespace StringUtils
