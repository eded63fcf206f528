#pragma once

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <strings.h>

/// The rules of propertybagnumber.h once more, as a copy of the text that is cut down step by step and handed to the C
/// library.
namespace plain {

inline std::string Normalized(std::string text) {
   const std::string blanks = " \t\r\n";
   while (!text.empty() && blanks.find(text.front()) != std::string::npos) {
      text.erase(0, 1);
   }
   while (!text.empty() && blanks.find(text.back()) != std::string::npos) {
      text.pop_back();
   }
   const size_t at = !text.empty() && (text[0] == '-' || text[0] == '+') ? 1 : 0;
   while (text.size() > at + 1 && text[at] == '0' && std::isdigit(static_cast<unsigned char>(text[at + 1])) != 0) {
      text.erase(at, 1);
   }
   return text;
}

// Newer C libraries read 0b1 as a binary number; nothing but the zero in front of it is meant here.
inline std::string WithoutBinary(std::string text) {
   size_t at = std::min(text.find_first_not_of(" \t\n\v\f\r"), text.size());
   at += at < text.size() && (text[at] == '-' || text[at] == '+') ? 1 : 0;
   if (text.size() > at + 1 && text[at] == '0' && (text[at + 1] == 'b' || text[at + 1] == 'B')) {
      text.resize(at + 1);
   }
   return text;
}

inline int64_t ToInt64(const std::string &text) {
   return std::strtoll(WithoutBinary(text).c_str(), nullptr, 0);
}
inline uint64_t ToUint64(const std::string &text) {
   return std::strtoull(WithoutBinary(text).c_str(), nullptr, 0);
}

inline bool ToBool(const std::string &text) {
   for (const char *const word : {"true", "yes", "on"}) {
      if (strncasecmp(text.c_str(), word, std::strlen(word) + 1) == 0) {
         return true;
      }
   }
   return (static_cast<uint64_t>(ToInt64(text)) & 0xFFFFFFFFU) != 0;
}

} // namespace plain
