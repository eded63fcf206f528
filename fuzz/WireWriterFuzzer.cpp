// Any text written to the wire, into any room. A failed write moves nothing and a write never passes the end; what is
// written, and what is said, is what the tables of the tests say; what was written reads back.
//
// The input: the room (2 bytes, lowest first; taken as more than enough when its highest bit is set), the text.

#include "lib/mfw/messageframework/WireReferenceTestKit.h"
#include "lib/mfw/messageframework/wirestring.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace {

constexpr size_t kHead = 2;

void Require(bool holds) {
   if (!holds) {
      std::abort();
   }
}

std::string_view View(const CORE::corestring &text) {
   return {text.Text(), text.Length()};
}

struct Buffer {
   explicit Buffer(size_t size)
       : bytes(std::make_unique<uint8_t[]>(size)) {
      cursor.Init(bytes.get(), static_cast<uint32_t>(size));
   }
   std::unique_ptr<uint8_t[]> bytes; // of that size, so that a byte too many is seen
   CORE::bytecursor cursor;
   uint32_t chars = 0;
};

void TryUtf8(const CORE::corestring &text, size_t room) {
   const wirereference::Recorder log; // or its lines would go to standard output
   Buffer buffer(room);
   const bool succeeds = CORE::WriteString(text, CORE::Utf8, buffer.cursor, buffer.chars);
   Require(succeeds == (text.Length() <= room));
   const size_t written = succeeds ? text.Length() : 0;
   Require(buffer.cursor.mConsumed == written && buffer.cursor.mCount == written && buffer.chars == written);
   if (written != 0) {
      buffer.cursor.mConsumed = 0;
      CORE::corestring again;
      Require(CORE::ReadString(again, buffer.cursor, buffer.chars, CORE::Utf8));
      Require(View(again) == View(text));
   }
}

// What was written as `units`, read again.
void ReadBack(Buffer &buffer, const std::u16string &units, const std::string_view text, wirereference::Recorder &log) {
   wirereference::Outcome expected;
   wirereference::ReadUtf16(units, expected);
   log.Clear();
   buffer.cursor.mConsumed = 0;
   CORE::corestring again;
   const bool succeeds = CORE::ReadString(again, buffer.cursor, buffer.chars, CORE::Utf16);
   Require(succeeds == expected.succeeds && log.Are(expected.lines));
   Require(buffer.cursor.mConsumed == (succeeds ? units.size() * 2 : 0));
   Require(!succeeds || View(again) == expected.bytes);
   const bool isAscii = std::all_of(text.begin(), text.end(), [](char byte) { return (byte & 0x80) == 0; });
   Require(!isAscii || View(again) == text);
}

void TryUtf16(const CORE::corestring &text, size_t room) {
   wirereference::Recorder log;
   wirereference::Outcome expected;
   wirereference::WriteUtf16(View(text), room, expected);
   Buffer buffer(room);
   const bool succeeds = CORE::WriteString(text, CORE::Utf16, buffer.cursor, buffer.chars);
   Require(succeeds == expected.succeeds && log.Are(expected.lines));
   const size_t units = succeeds ? expected.units.size() : 0;
   Require(buffer.cursor.mConsumed == units * 2 && buffer.cursor.mCount == units && buffer.chars == units);
   // The bytes before a failure too: they are on their way in the buffer.
   Require(expected.units.empty() ||
           std::memcmp(buffer.bytes.get(), expected.units.data(), expected.units.size() * 2) == 0);
   if (units != 0) {
      ReadBack(buffer, expected.units, View(text), log);
   }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
   if (size < kHead) {
      return 0;
   }
   const CORE::corestring text(reinterpret_cast<const char *>(data) + kHead, size - kHead);
   const bool isAmple = (data[1] & 0x80U) != 0;
   const size_t room = isAmple ? text.Length() * 2 + 8 : static_cast<size_t>(data[1] << 8 | data[0]);
   TryUtf8(text, room);
   TryUtf16(text, room);
   return 0;
}
