#include "lib/mfw/messageframework/WireReferenceTestKit.h"

#include "lib/mfw/common/logger.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace wirereference {
namespace {

constexpr int kDebugLevel = 1;
constexpr int kErrorLevel = 4;

// When a following byte's message is reported, given that the form fails.
enum class Reported { WhenOutOfRange, WhenInRange };

struct Following {
   const char *message;
   Reported reported;
};

// One form of UTF-8, by its first byte.
struct Form {
   unsigned belowFirst; // first bytes below this one have this form, unless an earlier row has them
   size_t length;       // 0: no form
   unsigned firstMask;
   const char *tooShort;
   std::array<Following, 3> following;
};

constexpr auto kPlain = Reported::WhenOutOfRange;
constexpr auto kOdd = Reported::WhenInRange;
constexpr std::array<Form, 5> kForms{{
   {0x80, 1, 0x7F, nullptr, {}},
   {0xE0, 2, 0x1F, "Invalid input, expected 2 bytes", {{{"Invalid 2nd byte in Utf8 encoded chars(2 bytes)", kPlain}}}},
   {0xF0,
    3,
    0x0F,
    "Invalid input, expected 3 bytes",
    {{{"Invalid 2nd byte in Utf8 encoded chars(3 bytes)", kPlain},
      {"Invalid 3rd byte in Utf8 encoded chars(3 bytes)", kOdd}}}},
   {0xF8,
    4,
    0x07,
    "Invalid input, expected 4 bytes",
    {{{"Invalid 2nd byte in Utf8 encoded chars(4 bytes)", kPlain},
      {"Invalid 3rd byte in Utf8 encoded chars(4 bytes)", kOdd},
      {"Invalid 4th byte in Utf8 encoded chars(4 bytes)", kOdd}}}},
   {0x100, 0, 0, "Invalid Utf8 encoded char", {}},
}};
constexpr unsigned kFollowingBelow = 0xC0;
constexpr unsigned kFollowingMask = 0x3F;

// One form that the encoder of UTF-8 writes.
struct Shape {
   uint32_t upTo;
   unsigned first;
   bool firstHoldsBits; // otherwise the first byte is `first` alone
   size_t following;
};
constexpr std::array<Shape, 4> kShapes{{
   {0x7F, 0x00, true, 0},
   {0x7FF, 0xC0, true, 1},
   {0xFFFF, 0xE0, true, 2},
   {0x10FFFF, 0xF0, false, 3},
}};

unsigned ByteAt(std::string_view text, size_t at) {
   return static_cast<unsigned char>(text[at]);
}

const Form &FormOf(unsigned first) {
   size_t row = 0;
   while (first >= kForms[row].belowFirst) {
      ++row;
   }
   return kForms[row];
}

// The code point at the front of the text; returns the bytes it takes, 0 after a failure.
size_t Decode(std::string_view text, uint32_t &codePoint, std::vector<Line> &lines) {
   const Form &form = FormOf(ByteAt(text, 0));
   if (form.length == 0 || text.size() < form.length) {
      lines.push_back({kErrorLevel, form.tooShort});
      return 0;
   }
   bool fails = false;
   codePoint = ByteAt(text, 0) & form.firstMask;
   for (size_t at = 1; at < form.length; ++at) {
      fails = fails || ByteAt(text, at) >= kFollowingBelow;
      codePoint = codePoint * 64 + (ByteAt(text, at) & kFollowingMask);
   }
   for (size_t at = 1; fails && at < form.length; ++at) {
      const bool inRange = ByteAt(text, at) < kFollowingBelow;
      if (inRange == (form.following[at - 1].reported == Reported::WhenInRange)) {
         lines.push_back({kErrorLevel, form.following[at - 1].message});
      }
   }
   return fails ? 0 : form.length;
}

void Encode(uint32_t codePoint, std::string &bytes) {
   size_t row = 0;
   while (codePoint > kShapes[row].upTo) {
      ++row;
   }
   const Shape &shape = kShapes[row];
   const uint32_t above = shape.firstHoldsBits ? codePoint >> (6 * shape.following) : 0;
   bytes.push_back(static_cast<char>(shape.first + above));
   for (size_t left = shape.following; left > 0; --left) {
      bytes.push_back(static_cast<char>(0x80 + ((codePoint >> (6 * (left - 1))) & kFollowingMask)));
   }
}

} // namespace

void Outcome::Clear() {
   succeeds = false;
   units.clear();
   bytes.clear();
   lines.clear();
}

void WriteUtf16(std::string_view text, size_t bytesLeft, Outcome &outcome) {
   outcome.Clear();
   const auto fail = [&](const char *message) {
      outcome.lines.push_back({kErrorLevel, message});
   };
   if (!text.empty() && bytesLeft == 0) {
      return fail("No buffer available to copy string");
   }
   const size_t room = bytesLeft / 2;
   while (!text.empty()) {
      if (outcome.units.size() == room) {
         return fail("Not enough buffer to copy re-encoded string (UTF8 to UTF16)");
      }
      uint32_t codePoint = 0;
      const size_t used = Decode(text, codePoint, outcome.lines);
      if (used == 0) {
         return;
      }
      text.remove_prefix(used);
      if (codePoint <= 0xFFFF) {
         outcome.units.push_back(static_cast<char16_t>(codePoint));
      } else if (room - outcome.units.size() < 2) {
         return fail("Not enough buffer available to copy Utf16 surrogate pair");
      } else {
         const uint32_t above = codePoint - 0x10000;
         outcome.units.push_back(static_cast<char16_t>(0xD800 + above / 0x400));
         outcome.units.push_back(static_cast<char16_t>(0xDC00 + above % 0x400));
      }
   }
   outcome.succeeds = true;
}

void ReadUtf16(std::u16string_view units, Outcome &outcome) {
   outcome.Clear();
   for (size_t at = 0; at < units.size(); ++at) {
      const uint32_t unit = units[at];
      if (unit / 0x400 != 0xD800 / 0x400) {
         Encode(unit, outcome.bytes);
         continue;
      }
      if (at + 1 == units.size()) {
         outcome.lines.push_back({kDebugLevel, "Incomplete surrogate char found"});
         return;
      }
      const uint32_t next = units[++at];
      if (next / 0x400 != 0xDC00 / 0x400) {
         outcome.lines.push_back({kErrorLevel, "Invalid low surrogate value"});
         return;
      }
      Encode(0x10000 + (unit - 0xD800) * 0x400 + (next - 0xDC00), outcome.bytes);
   }
   outcome.succeeds = true;
}

Recorder::Recorder() {
   logger::Init(&Recorder::Receive);
   Clear();
}

Recorder::~Recorder() {
   logger::Release();
}

bool Recorder::Are(const std::vector<Line> &expected) const {
   return sCount == expected.size() && sCount <= sLines.size() &&
          std::equal(expected.begin(), expected.end(), sLines.begin(), [](const Line &line, const Logged &logged) {
             return line.level == logged.level && logged.View() == line.text;
          });
}

std::string Recorder::Dump() const {
   std::string all;
   for (size_t i = 0; i < std::min(sCount, sLines.size()); ++i) {
      all.append(std::to_string(sLines[i].level)).append(" ").append(sLines[i].View()).append("\n");
   }
   return all;
}

void Recorder::Receive(const char *text, int level) {
   if (sCount < sLines.size()) {
      Logged &line = sLines[sCount];
      line.level = level;
      line.size = std::min(std::strlen(text) - 1, line.text.size()); // without the line feed
      std::memcpy(line.text.data(), text, line.size);
   }
   ++sCount;
}

} // namespace wirereference
