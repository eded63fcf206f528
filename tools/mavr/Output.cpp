#include "tools/mavr/Output.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <cstdio>

namespace mavr {
namespace {

constexpr const char *kOptionNames[] = {"all", "default", "preferred"};

bool IsContinuation(char c) {
   return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

// Length of the well-formed UTF-8 sequence at `at`, or 0.
size_t SequenceLength(const std::string &text, size_t at) {
   const auto lead = static_cast<unsigned char>(text[at]);
   size_t length = 0;
   if (lead < 0x80) {
      length = 1;
   } else if (lead >= 0xC2 && lead <= 0xDF) {
      length = 2;
   } else if ((lead & 0xF0) == 0xE0) {
      length = 3;
   } else if (lead >= 0xF0 && lead <= 0xF4) {
      length = 4;
   }
   if (length == 0 || at + length > text.size()) {
      return 0;
   }
   for (size_t i = 1; i < length; ++i) {
      if (!IsContinuation(text[at + i])) {
         return 0;
      }
   }
   return length;
}

// Controls and the marks that reorder a line would act on the terminal instead of being seen.
bool Acts(const std::string &text, size_t at, size_t length) {
   const auto first = static_cast<unsigned char>(text[at]);
   if (length == 1) {
      return first < 0x20 || first == 0x7F;
   }
   const auto second = static_cast<unsigned char>(text[at + 1]);
   if (length == 2) {
      return first == 0xC2 && second < 0xA0; // C1 controls
   }
   const auto third = static_cast<unsigned char>(text[at + 2]);
   return length == 3 && first == 0xE2 &&
          ((second == 0x80 && third >= 0xAA && third <= 0xAE) || (second == 0x81 && third >= 0xA6 && third <= 0xA9));
}

size_t Characters(const std::string &text) {
   return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) { return !IsContinuation(c); }));
}

} // namespace

std::string Printable(const std::string &text) {
   std::string out;
   for (size_t at = 0; at < text.size();) {
      const size_t length = SequenceLength(text, at);
      if (length == 0 || Acts(text, at, length)) {
         const size_t bytes = std::max<size_t>(length, 1);
         for (size_t i = 0; i < bytes; ++i) {
            char escaped[5];
            std::snprintf(escaped, sizeof escaped, "\\x%02X",
                          static_cast<unsigned>(static_cast<unsigned char>(text[at + i])));
            out += escaped;
         }
         at += bytes;
      } else {
         out.append(text, at, length);
         at += length;
      }
   }
   return out;
}

void PrintJson(const Json &document) {
   const std::string text = document.dump(2, ' ', false, Json::error_handler_t::replace);
   std::printf("%s\n", text.c_str());
}

Json ToJson(const Device &device) {
   return {{"userId", device.userId}, {"name", device.name}};
}

Json ToJson(const std::optional<Device> &device) {
   return device ? ToJson(*device) : Json(nullptr);
}

void PrintColumns(const std::vector<std::vector<std::string>> &rows) {
   std::vector<size_t> widths;
   for (const auto &row : rows) {
      widths.resize(std::max(widths.size(), row.size()));
      for (size_t i = 0; i < row.size(); ++i) {
         widths[i] = std::max(widths[i], Characters(row[i]));
      }
   }
   for (const auto &row : rows) {
      std::string line;
      for (size_t i = 0; i < row.size(); ++i) {
         line += "  " + row[i];
         if (i + 1 < row.size()) {
            line.append(widths[i] - Characters(row[i]), ' ');
         }
      }
      std::printf("%s\n", line.c_str());
   }
}

std::optional<std::string> OptionName(uint32_t option) {
   return option < std::size(kOptionNames) ? std::optional<std::string>(kOptionNames[option]) : std::nullopt;
}

Json OptionJson(uint32_t option) {
   const auto name = OptionName(option);
   return {{"option", option}, {"name", name ? Json(*name) : Json(nullptr)}};
}

} // namespace mavr
