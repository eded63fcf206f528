// Any bytes and any numbers of a peer as a string on the wire. A failed read changes nothing; a read never passes the
// end; what it gives, and what it says, is what the tables of the tests say.
//
// The input: the encoding, the offset of the cursor, the number of characters (4 bytes, lowest first), the buffer.

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

constexpr size_t kHead = 6;
constexpr std::string_view kFormer = "former";

void Require(bool holds) {
   if (!holds) {
      std::abort();
   }
}

std::string_view View(const CORE::corestring &text) {
   return {text.Text(), text.Length()};
}

// The outcome of a UTF-16 read that has all its bytes.
void RequireAsTablesSay(const uint8_t *source, uint32_t chars, bool succeeds, std::string_view text,
                        const wirereference::Recorder &log) {
   std::u16string units(chars, u'\0');
   std::memcpy(units.data(), source, size_t{chars} * 2);
   wirereference::Outcome expected;
   wirereference::ReadUtf16(units, expected);
   Require(succeeds == expected.succeeds && log.Are(expected.lines));
   Require(!succeeds || text == expected.bytes);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
   if (size < kHead) {
      return 0;
   }
   const uint32_t encoding = data[0];
   uint32_t chars = 0;
   std::memcpy(&chars, data + 2, sizeof chars);
   const size_t total = size - kHead;
   const auto buffer = std::make_unique<uint8_t[]>(total); // of that size, so that a byte too many is seen
   std::copy_n(data + kHead, total, buffer.get());

   const wirereference::Recorder log;
   CORE::bytecursor cursor;
   cursor.Init(buffer.get(), static_cast<uint32_t>(total));
   cursor.mConsumed = data[1];
   CORE::corestring text(kFormer.data(), kFormer.size());
   const bool succeeds = CORE::ReadString(text, cursor, chars, encoding);

   const size_t left = data[1] >= total ? 0 : total - data[1];
   const size_t need = encoding == CORE::Utf16 ? size_t{chars} * 2 : chars;
   if (succeeds) {
      const size_t read = chars == 0 ? 0 : need;
      Require(read <= left && cursor.mConsumed == data[1] + read && cursor.mCount == chars);
   } else {
      Require(cursor.mConsumed == data[1] && cursor.mCount == 0);
   }
   if (!succeeds || chars == 0) {
      Require(View(text) == kFormer);
   } else if (encoding == CORE::Utf8) {
      Require(View(text) == std::string_view(reinterpret_cast<const char *>(buffer.get()) + data[1], chars));
   }
   if (encoding == CORE::Utf16 && chars != 0 && need <= left) {
      RequireAsTablesSay(buffer.get() + data[1], chars, succeeds, View(text), log);
   }
   return 0;
}
