#include "lib/mfw/common/linuxSupportText.h"

#include "lib/mfw/common/unsupportedMethodException.h"

#include <algorithm>
#include <cassert>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <cwctype>

namespace {

static_assert(sizeof(wchar_t) == 4, "a wide character holds a code point");

// The longest number is 20 characters, with its sign.
constexpr size_t kNumberSize = 24;

template <typename Char>
Char *CopyCut(const Char *number, size_t length, Char *buffer, size_t size) {
   if (size > 0) {
      const size_t copied = std::min(length, size - 1);
      std::copy_n(number, copied, buffer);
      buffer[copied] = 0;
   }
   return buffer;
}

} // namespace

// ---- Numbers as text ------------------------------------------------------------------------------------------------

char *_ltoa_s(long value, char *buffer, size_t size, [[maybe_unused]] int radix) {
   assert(radix == 10);
   std::snprintf(buffer, size, "%ld", value);
   return buffer;
}
char *_ultoa_s(unsigned long value, char *buffer, size_t size, [[maybe_unused]] int radix) {
   assert(radix == 10);
   std::snprintf(buffer, size, "%lu", value);
   return buffer;
}
char *_itoa_s(int value, char *buffer, size_t size, [[maybe_unused]] int radix) {
   assert(radix == 10);
   std::snprintf(buffer, size, "%d", value);
   return buffer;
}
char *_i64toa_s(long long value, char *buffer, size_t size, [[maybe_unused]] int radix) {
   assert(radix == 10);
   std::snprintf(buffer, size, "%lld", value);
   return buffer;
}
char *_ui64toa_s(unsigned long long value, char *buffer, size_t size, [[maybe_unused]] int radix) {
   assert(radix == 10);
   std::snprintf(buffer, size, "%llu", value);
   return buffer;
}

// swprintf leaves open what is in a buffer that is too small. So the number is written whole and cut afterwards.
wchar_t *_itow_s(int value, wchar_t *buffer, size_t size, [[maybe_unused]] int radix) {
   assert(radix == 10);
   wchar_t number[kNumberSize];
   const int length = std::swprintf(number, kNumberSize, L"%d", value);
   return CopyCut(number, static_cast<size_t>(length), buffer, size);
}
wchar_t *_ultow_s(unsigned long value, wchar_t *buffer, size_t size, [[maybe_unused]] int radix) {
   assert(radix == 10);
   wchar_t number[kNumberSize];
   const int length = std::swprintf(number, kNumberSize, L"%lu", value);
   return CopyCut(number, static_cast<size_t>(length), buffer, size);
}
wchar_t *_i64tow_s(long long value, wchar_t *buffer, size_t size, [[maybe_unused]] int radix) {
   assert(radix == 10);
   wchar_t number[kNumberSize];
   const int length = std::swprintf(number, kNumberSize, L"%lld", value);
   return CopyCut(number, static_cast<size_t>(length), buffer, size);
}
wchar_t *_ui64tow_s(unsigned long long value, wchar_t *buffer, size_t size, [[maybe_unused]] int radix) {
   assert(radix == 10);
   wchar_t number[kNumberSize];
   const int length = std::swprintf(number, kNumberSize, L"%llu", value);
   return CopyCut(number, static_cast<size_t>(length), buffer, size);
}

// ---- Text as a number -----------------------------------------------------------------------------------------------

long long _atoi64(const char *text) {
   return std::strtoll(text, nullptr, 10);
}

long long _strtoi64(const char * /*text*/, char ** /*end*/, int /*radix*/) {
   throw platforms::UnsupportedMethodException("Unsupported method: _strtoi64");
}

// ---- Case -----------------------------------------------------------------------------------------------------------

char *_strlwr_s(char *text, size_t length) {
   std::transform(text, text + length, text,
                  [](char c) { return static_cast<char>(std::tolower(static_cast<unsigned char>(c))); });
   return text;
}
char *_strupr_s(char *text, size_t length) {
   std::transform(text, text + length, text,
                  [](char c) { return static_cast<char>(std::toupper(static_cast<unsigned char>(c))); });
   return text;
}
wchar_t *_wcslwr_s(wchar_t *text, size_t length) {
   std::transform(text, text + length, text,
                  [](wchar_t c) { return static_cast<wchar_t>(std::towlower(static_cast<wint_t>(c))); });
   return text;
}
wchar_t *_wcsupr_s(wchar_t *text, size_t length) {
   std::transform(text, text + length, text,
                  [](wchar_t c) { return static_cast<wchar_t>(std::towupper(static_cast<wint_t>(c))); });
   return text;
}

// ---- Narrow and wide ------------------------------------------------------------------------------------------------

namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kLast = 0x10FFFF;

// What may follow a first byte: how many bytes, and between which bounds the first of them.
struct Lead {
   size_t following = 0;
   unsigned char low = 0x80;
   unsigned char high = 0xBF;
   char32_t bits = 0;
};

// No overlong form, no surrogate and no number past the last one passes the bounds of the second byte.
bool ReadLead(unsigned char byte, Lead &lead) {
   if (byte >= 0xC2 && byte <= 0xDF) {
      lead = {1, 0x80, 0xBF, byte & 0x1FU};
   } else if (byte >= 0xE0 && byte <= 0xEF) {
      lead = {2, 0x80, 0xBF, byte & 0x0FU};
      lead.low = byte == 0xE0 ? 0xA0 : lead.low;
      lead.high = byte == 0xED ? 0x9F : lead.high;
   } else if (byte >= 0xF0 && byte <= 0xF4) {
      lead = {3, 0x80, 0xBF, byte & 0x07U};
      lead.low = byte == 0xF0 ? 0x90 : lead.low;
      lead.high = byte == 0xF4 ? 0x8F : lead.high;
   } else {
      return false;
   }
   return true;
}

// The code point at `at`, which moves behind it, or behind what is malformed there.
char32_t ReadCodePoint(std::string_view text, size_t &at) {
   const auto first = static_cast<unsigned char>(text[at++]);
   if (first < 0x80) {
      return first;
   }
   Lead lead;
   if (!ReadLead(first, lead)) {
      return kReplacement;
   }
   char32_t point = lead.bits;
   for (size_t i = 0; i < lead.following; ++i) {
      const auto byte = at < text.size() ? static_cast<unsigned char>(text[at]) : static_cast<unsigned char>(0);
      const unsigned char low = i == 0 ? lead.low : 0x80;
      const unsigned char high = i == 0 ? lead.high : 0xBF;
      if (byte < low || byte > high) {
         return kReplacement;
      }
      point = (point << 6) | (byte & 0x3FU);
      ++at;
   }
   return point;
}

void AppendCodePoint(std::string &text, char32_t point) {
   const auto byte = [&text](char32_t value) {
      text.push_back(static_cast<char>(value));
   };
   if (point < 0x80) {
      byte(point);
   } else if (point < 0x800) {
      byte(0xC0 | (point >> 6));
      byte(0x80 | (point & 0x3F));
   } else if (point < 0x10000) {
      byte(0xE0 | (point >> 12));
      byte(0x80 | ((point >> 6) & 0x3F));
      byte(0x80 | (point & 0x3F));
   } else {
      byte(0xF0 | (point >> 18));
      byte(0x80 | ((point >> 12) & 0x3F));
      byte(0x80 | ((point >> 6) & 0x3F));
      byte(0x80 | (point & 0x3F));
   }
}

bool IsCodePoint(char32_t point) {
   return point <= kLast && (point < 0xD800 || point > 0xDFFF);
}

} // namespace

std::wstring WideFromNarrow(std::string_view narrow) {
   std::wstring wide;
   wide.reserve(narrow.size());
   for (size_t at = 0; at < narrow.size();) {
      wide.push_back(static_cast<wchar_t>(ReadCodePoint(narrow, at)));
   }
   return wide;
}

std::string NarrowFromWide(std::wstring_view wide) {
   std::string narrow;
   narrow.reserve(wide.size());
   for (const wchar_t character : wide) {
      const auto point = static_cast<char32_t>(character);
      AppendCodePoint(narrow, IsCodePoint(point) ? point : kReplacement);
   }
   return narrow;
}
