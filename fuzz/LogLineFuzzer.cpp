// Any bytes as log messages: the cut, the mask and the ring, each against a model that is too simple to be wrong.

#include "lib/log/LogLine.h"
#include "lib/log/LogRing.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <string>
#include <string_view>
#include <vector>

namespace {

void Require(bool holds) {
   if (!holds) {
      std::abort();
   }
}

// Whether the text is a row of whole UTF-8 sequences, as lengths of leads and continuations go.
bool IsWhole(std::string_view text) {
   while (!text.empty()) {
      const auto lead = static_cast<unsigned char>(text[0]);
      const size_t length = lead < 0x80 ? 1 : lead < 0xC0 ? 0 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : lead < 0xF8 ? 4 : 0;
      if (length == 0 || length > text.size()) {
         return false;
      }
      for (size_t at = 1; at < length; ++at) {
         if ((static_cast<unsigned char>(text[at]) & 0xC0U) != 0x80U) {
            return false;
         }
      }
      text.remove_prefix(length);
   }
   return true;
}

void TryCut(std::string_view bytes, size_t limit) {
   const std::string text(bytes.substr(0, bytes.find('\0')));
   std::vector<char> buffer(std::max(text.size() + 2, limit + 1) + 1, '\0');
   std::memcpy(buffer.data(), text.data(), text.size());
   const size_t length = Log_TruncateUtf8Line(limit, buffer.data());
   Require(length >= 1 && length <= std::max<size_t>(limit - 1, 1));
   Require(buffer[length - 1] == '\n' && buffer[length] == '\0');
   const std::string_view kept(buffer.data(), length - 1);
   Require(text.compare(0, kept.size(), kept) == 0);
   if (IsWhole(text)) {
      Require(IsWhole(kept));
      Require(limit < 6 || kept.size() + 3 >= std::min(text.size(), limit - 2)); // no more than one sequence is lost
   }
}

void TryMask(std::string_view bytes) {
   const auto is = [&](size_t at, char letter) {
      return (bytes[at] | 0x20) == letter;
   };
   std::string model(bytes);
   for (size_t at = 0; at + 3 <= model.size();) {
      const bool hit = is(at, 't') && is(at + 1, 'l') && is(at + 2, 'v');
      if (hit) {
         model.replace(at, 3, "***");
      }
      at += hit ? 3 : 1;
   }
   std::string text(bytes);
   Log_MaskText(text.data(), text.size());
   Require(text == model);
}

// The first byte of each step: a pop, or a push of so many of the bytes that follow.
void TryRing(std::string_view bytes, size_t size) {
   constexpr size_t kOverhead = 2 + sizeof(LogLineHeader);
   const LogRingOwner ring(LogRing_Create(size));
   std::deque<std::string> model;
   size_t used = 0;
   std::vector<char> popped(size + 2);
   const LogLineHeader header{};
   while (!bytes.empty()) {
      const size_t step = static_cast<unsigned char>(bytes[0]);
      bytes.remove_prefix(1);
      if (step % 4 == 0) {
         size_t length = 0;
         Require(LogRing_Pop(ring.get(), popped.size(), nullptr, &length, popped.data()) == !model.empty());
         if (!model.empty()) {
            Require(model.front() == std::string_view(popped.data(), length));
            used -= model.front().size() + kOverhead;
            model.pop_front();
         }
         continue;
      }
      const std::string text(bytes.substr(0, step));
      bytes.remove_prefix(text.size());
      LogRing_Push(ring.get(), header, text.size(), text.data());
      while (used > 0 && text.size() + kOverhead >= size - used) {
         used -= model.front().size() + kOverhead;
         model.pop_front();
      }
      model.push_back(text);
      used += text.size() + kOverhead;
      Require(ring->used == used && used < size);
   }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
   if (size < 2) {
      return 0;
   }
   const std::string_view bytes(reinterpret_cast<const char *>(data) + 2, size - 2);
   TryCut(bytes, size_t{data[0]} + 1);
   TryMask(bytes);
   TryRing(bytes, 512 + size_t{data[1]} * 8);
   return 0;
}
