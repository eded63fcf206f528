#include "lib/corvanebase/corvanebase.h"
#include "lib/corvanebase/text.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <new>
#include <utility>

namespace corvanebase {
namespace {

bool IsContinuation(char byte) {
   return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

// How many bytes the sequence that `lead` begins has.
size_t SequenceLength(char lead) {
   const auto byte = static_cast<unsigned char>(lead);
   if (byte >= 0xF0U) {
      return 4;
   }
   if (byte >= 0xE0U) {
      return 3;
   }
   return byte >= 0xC0U ? 2 : 1;
}

bool EqualsIgnoringCase(std::string_view left, std::string_view right) {
   const auto lower = [](char c) {
      return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
   };
   return std::equal(left.begin(), left.end(), right.begin(), right.end(),
                     [&](char a, char b) { return lower(a) == lower(b); });
}

} // namespace

size_t Utf8CutLength(const char *text, size_t length) {
   size_t lead = length;
   for (int back = 0; back < 4 && lead > 0; ++back) {
      --lead;
      if (!IsContinuation(text[lead])) {
         return lead + SequenceLength(text[lead]) > length ? lead : length;
      }
   }
   return length;
}

HeapText FormatHeap(size_t *outLength, const char *format, va_list args) {
   va_list again;
   va_copy(again, args);
   const int formatted = std::vsnprintf(nullptr, 0, format, args);
   const auto length = static_cast<size_t>(std::max(formatted, 0));
   HeapText text(static_cast<char *>(std::malloc(length + 1)));
   if (text != nullptr) {
      text.get()[0] = '\0';
      if (formatted > 0) {
         std::vsnprintf(text.get(), length + 1, format, again);
      }
   }
   va_end(again);
   if (outLength != nullptr && text != nullptr) {
      *outLength = length;
   }
   return text;
}

HeapText NotNull(HeapText text) {
   if (text == nullptr) {
      throw std::bad_alloc();
   }
   return text;
}

HeapText HeapCopy(std::string_view text) {
   HeapText copy = NotNull(HeapText(static_cast<char *>(std::malloc(text.size() + 1))));
   if (!text.empty()) {
      std::memcpy(copy.get(), text.data(), text.size());
   }
   copy.get()[text.size()] = '\0';
   return copy;
}

std::optional<int32_t> LongOfText(std::string_view text) {
   if (text.size() > 1 && text.front() == '+' && text[1] != '-') {
      text.remove_prefix(1);
   }
   int32_t value = 0;
   const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
   if (error != std::errc{} || end != text.data() + text.size()) {
      return std::nullopt;
   }
   return value;
}

std::optional<bool> BoolOfText(std::string_view text) {
   for (const char *const word : {"true", "yes", "on", "1"}) {
      if (EqualsIgnoringCase(text, word)) {
         return true;
      }
   }
   for (const char *const word : {"false", "no", "off", "0"}) {
      if (EqualsIgnoringCase(text, word)) {
         return false;
      }
   }
   return std::nullopt;
}

} // namespace corvanebase

using corvanebase::HeapText;

size_t Str_Sprintf(char *buffer, size_t size, const char *format, ...) {
   if (size == 0) {
      return 0;
   }
   va_list args;
   va_start(args, format);
   const int length = std::vsnprintf(buffer, size, format, args);
   va_end(args);
   size_t written = static_cast<size_t>(std::max(length, 0));
   if (written >= size) {
      written = corvanebase::Utf8CutLength(buffer, size - 1);
   }
   buffer[written] = '\0';
   return written;
}

int Str_Vsnprintf(char *buffer, size_t size, const char *format, va_list args) {
   const int length = std::vsnprintf(buffer, size, format, args);
   if (length >= 0 && static_cast<size_t>(length) < size) {
      return length;
   }
   if (size > 0) {
      buffer[size - 1] = '\0';
   }
   return -1;
}

char *Str_SafeAsprintf(size_t *outLength, const char *format, ...) {
   va_list args;
   va_start(args, format);
   HeapText text = corvanebase::FormatHeap(outLength, format, args);
   va_end(args);
   return corvanebase::NotNull(std::move(text)).release();
}

char *Str_Strcpy(char *target, const char *source, size_t size) {
   const size_t length = std::strlen(source);
   if (length >= size) {
      Panic("%s: %zu bytes do not fit into %zu\n", "Str_Strcpy", length + 1, size);
   }
   std::memcpy(target, source, length + 1);
   return target;
}

char *UtilSafeStrdup0(const char *text) {
   return text != nullptr ? corvanebase::HeapCopy(text).release() : nullptr;
}

char *Unicode_Duplicate(const char *text) {
   return UtilSafeStrdup0(text);
}

int Util_Throttle(uint32_t count) {
   return count <= 100 || (count <= 10000 && count % 100 == 0) || count % 10000 == 0 ? 1 : 0;
}
