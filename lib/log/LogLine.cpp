#include "lib/log/LogLine.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace {

// Text that grows in a buffer of fixed size and stops at its end.
class Appender {
public:
   Appender(char *buffer, size_t limit)
       : mBuffer(buffer)
       , mRoom(limit > 0 ? limit - 1 : 0) {}

   Appender &operator<<(std::string_view text) {
      const size_t count = std::min(text.size(), mRoom - mLength);
      std::memcpy(mBuffer + mLength, text.data(), count);
      mLength += count;
      mCut = mCut || count < text.size();
      return *this;
   }

   size_t Finish(size_t limit) {
      if (mCut) {
         mLength = Log_Utf8CutLength(mBuffer, mLength);
      }
      if (limit > 0) {
         mBuffer[mLength] = '\0';
      }
      return mLength;
   }

private:
   char *mBuffer;
   size_t mRoom;
   size_t mLength = 0;
   bool mCut = false;
};

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

constexpr size_t kMaskLength = 3;
constexpr uint64_t kEachByte = 0x0101010101010101U;
constexpr uint64_t kLowerCase = 0x20U * kEachByte;

bool IsMasked(const char *at) {
   return (at[0] | 0x20) == 't' && (at[1] | 0x20) == 'l' && (at[2] | 0x20) == 'v';
}

// Differs from zero in each byte where the 8 bytes at `at`, in lower case, differ from `letter`.
uint64_t Differences(const char *at, char letter) {
   uint64_t word = 0;
   std::memcpy(&word, at, sizeof word);
   return (word | kLowerCase) ^ static_cast<uint64_t>(letter) * kEachByte;
}

// Whether one of 8 places from `at` on is to be masked. It may say so wrongly, never the other way round.
bool MayBeMasked(const char *at) {
   const uint64_t different = Differences(at, 't') | Differences(at + 1, 'l') | Differences(at + 2, 'v');
   return ((different - kEachByte) & ~different & (0x80U * kEachByte)) != 0;
}

} // namespace

size_t Log_FormatLinePrefix(const LogPrefixFlags &flags, const LogLineHeader &header, size_t limit, char *buffer) {
   Appender out(buffer, limit);
   if (flags.timeStamps) {
      out << header.stamp.dateTime;
      if (flags.milliseconds) {
         out << header.stamp.milliseconds;
      }
      out << header.stamp.zone << " ";
   }
   if (flags.levelDesignator) {
      const char digits[] = {static_cast<char>('0' + header.level->level / 10),
                             static_cast<char>('0' + header.level->level % 10)};
      out << header.level->designator << "(" << std::string_view(digits, sizeof digits) << ")"
          << (header.continuation ? "+ " : " ");
   }
   if (flags.threadName) {
      out << header.threadName << " ";
   }
   if (flags.opId) {
      out << (header.opId[0] != '\0' ? header.opId : "-") << " ";
   }
   return out.Finish(limit);
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
   constexpr size_t kStep = sizeof(uint64_t);
   constexpr size_t kReach = kStep + kMaskLength - 1;
   size_t at = 0;
   while (at + kMaskLength <= length) {
      if (at + kReach <= length && !MayBeMasked(text + at)) {
         at += kStep;
         continue;
      }
      // One place at a time up to where the next step of eight begins.
      const size_t end = std::min(at + kStep, length - kMaskLength + 1);
      while (at < end) {
         const bool masked = IsMasked(text + at);
         if (masked) {
            std::memset(text + at, '*', kMaskLength);
         }
         at += masked ? kMaskLength : 1;
      }
   }
}
