#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// The rules of wire strings a second time, as tables, for tests: slow, plain, and sharing nothing with the product's
/// converters. Where the two differ, one of them is wrong.
namespace wirereference {

/// A message that must be reported: its level in the numbers of `logger`, and its text.
struct Line {
   int level;
   const char *text;
};

/// What a conversion must come to. Kept by the caller and filled again, so that millions of them allocate nothing.
struct Outcome {
   bool succeeds = false;
   std::u16string units;    ///< all units written, also those written before a failure
   std::string bytes;       ///< all bytes written, likewise
   std::vector<Line> lines; ///< in the order of their report

   void Clear();
};

/// The UTF-8 of `text` as UTF-16 units, into a buffer with room for `bytesLeft` bytes; fills units and lines.
void WriteUtf16(std::string_view text, size_t bytesLeft, Outcome &outcome);
/// UTF-16 units as UTF-8; fills bytes and lines.
void ReadUtf16(std::u16string_view units, Outcome &outcome);

} // namespace wirereference
