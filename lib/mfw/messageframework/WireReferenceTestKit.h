#pragma once

#include <array>
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

/// Takes the component log, as the callback of `logger`, and keeps its first messages without allocating.
/// Owner: the test, one at a time. Threads: one.
class Recorder {
public:
   Recorder();
   ~Recorder();
   Recorder(const Recorder &) = delete;
   Recorder &operator=(const Recorder &) = delete;

   void Clear() { sCount = 0; }
   /// Whether exactly these came, in this order.
   [[nodiscard]] bool Are(const std::vector<Line> &expected) const;
   [[nodiscard]] std::string Dump() const;

private:
   struct Logged {
      int level;
      size_t size;
      std::array<char, 120> text;
      [[nodiscard]] std::string_view View() const { return {text.data(), size}; }
   };
   static void Receive(const char *text, int level);

   inline static std::array<Logged, 8> sLines;
   inline static size_t sCount = 0;
};

} // namespace wirereference
