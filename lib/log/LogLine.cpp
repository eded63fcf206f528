#include "lib/log/LogLine.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace {

// The longest prefix: every field full, one blank behind each, and the terminator.
constexpr size_t kLongestPrefix =
   sizeof(LogTimeStamp) - 3 + 1 + sizeof "Db(23)+ " - 1 + kLogThreadNameSize + kLogOpIdSize + 1;
static_assert(kLongestPrefix <= kLogPrefixLimit);

char *Append(char *to, const char *text) {
   return stpcpy(to, text);
}

char *AppendLevel(char *to, const LogLineHeader &header) {
   to = Append(to, header.level->designator);
   *to++ = '(';
   *to++ = static_cast<char>('0' + header.level->level / 10);
   *to++ = static_cast<char>('0' + header.level->level % 10);
   *to++ = ')';
   if (header.continuation) {
      *to++ = '+';
   }
   return to;
}

// The whole prefix, into kLogPrefixLimit bytes. Returns its end.
char *WritePrefix(const LogPrefixFlags &flags, const LogLineHeader &header, char *to) {
   if (flags.timeStamps) {
      to = Append(to, header.stamp.dateTime);
      if (flags.milliseconds) {
         to = Append(to, header.stamp.milliseconds);
      }
      to = Append(to, header.stamp.zone);
      *to++ = ' ';
   }
   if (flags.levelDesignator) {
      to = AppendLevel(to, header);
      *to++ = ' ';
   }
   if (flags.threadName) {
      to = Append(to, header.threadName);
      *to++ = ' ';
   }
   if (flags.opId) {
      to = Append(to, header.opId[0] != '\0' ? header.opId : "-");
      *to++ = ' ';
   }
   *to = '\0';
   return to;
}

bool IsContinuation(char byte) {
   return (static_cast<unsigned char>(byte) & 0xC0U) == 0x80U;
}

// Length of the sequence that a lead byte announces; 0 for a byte that leads none.
size_t SequenceLength(char lead) {
   const auto byte = static_cast<unsigned char>(lead);
   if (byte < 0x80U) {
      return 1;
   }
   if (byte < 0xC0U || byte >= 0xF8U) {
      return 0;
   }
   if (byte >= 0xF0U) {
      return 4;
   }
   return byte >= 0xE0U ? 3 : 2;
}

} // namespace

size_t Log_FormatLinePrefix(const LogPrefixFlags &flags, const LogLineHeader &header, size_t limit, char *buffer) {
   if (limit >= kLogPrefixLimit) {
      return static_cast<size_t>(WritePrefix(flags, header, buffer) - buffer);
   }
   if (limit == 0) {
      return 0;
   }
   std::array<char, kLogPrefixLimit> whole;
   auto length = static_cast<size_t>(WritePrefix(flags, header, whole.data()) - whole.data());
   if (length >= limit) {
      length = Log_Utf8CutLength(whole.data(), limit - 1);
   }
   std::memcpy(buffer, whole.data(), length);
   buffer[length] = '\0';
   return length;
}

size_t Log_Utf8CutLength(const char *text, size_t end) {
   constexpr size_t kFarthest = 6;
   if (end == 0) {
      return 0;
   }
   size_t lead = end - 1;
   while (lead > 0 && end - 1 - lead < kFarthest && IsContinuation(text[lead])) {
      --lead;
   }
   const size_t length = SequenceLength(text[lead]);
   return length != 0 && lead + length <= end ? lead + length : lead;
}

size_t Log_TruncateUtf8Line(size_t limit, char *text) {
   size_t length = 0;
   if (limit > 1) {
      length = Log_Utf8CutLength(text, strnlen(text, limit - 1));
      length = Log_Utf8CutLength(text, std::min(length, limit - 2)); // once more, for the newline
   }
   text[length] = '\n';
   text[length + 1] = '\0';
   return length + 1;
}

void Log_MaskText(char *text, size_t length) {
   constexpr size_t kMaskLength = 3;
   char *const end = text + length;
   // The rarest of the three letters is looked for, by the platform's own fast search. No two places overlap.
   for (const char letter : {'v', 'V'}) {
      char *from = text + std::min(length, kMaskLength - 1);
      while (void *const found = std::memchr(from, letter, static_cast<size_t>(end - from))) {
         from = static_cast<char *>(found) + 1;
         char *const place = from - kMaskLength;
         if ((place[0] | 0x20) == 't' && (place[1] | 0x20) == 'l') {
            std::memset(place, '*', kMaskLength);
         }
      }
   }
}
