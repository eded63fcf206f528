#include "lib/mfw/messageframework/wirestring.h"

#include "lib/mfw/common/coreException.h"
#include "lib/mfw/common/logger.h"
#include "lib/mfw/messageframework/utfcodec.h"
#include "lib/mfw/messageframework/utfruns.h"

#include <array>
#include <cassert>
#include <utility>

namespace CORE {
namespace {

constexpr size_t kUnitSize = sizeof(uint16_t);
constexpr size_t kMostBytes = 4;       // of a code point
constexpr size_t kMostBytesOfUnit = 3; // a pair is of two units
constexpr size_t kShortUnits = 256;    // up to so many units are re-encoded on the stack

// The whole of the source into the target, both at their start; adds the units written.
[[nodiscard]] bool ReencodeToUtf16(const uint8_t *source, const uint8_t *sourceEnd, uint8_t *target,
                                   const uint8_t *targetEnd, size_t &units) {
   for (uint8_t *const start = target;;) {
      const RunProgress run = RunUtf8ToUtf16(source, static_cast<size_t>(sourceEnd - source), target,
                                             static_cast<size_t>(targetEnd - target));
      source += run.mRead;
      target += run.mWritten;
      if (source == sourceEnd) {
         units += static_cast<size_t>(target - start) / kUnitSize;
         return true;
      }
      if (static_cast<size_t>(targetEnd - target) < kUnitSize) {
         MAVR_LOG_ERROR("Not enough buffer to copy re-encoded string (UTF8 to UTF16)");
         return false;
      }
      uint32_t codePoint = 0;
      size_t used = 0;
      size_t written = 0;
      if (!DecodeUtf8(source, sourceEnd, codePoint, used) || !EncodeUtf16(codePoint, target, targetEnd, written)) {
         return false;
      }
      source += used;
      target += written * kUnitSize;
   }
}

// Where a re-encoding to UTF-8 has come.
struct Utf8Place {
   const uint8_t *source;
   const uint8_t *sourceEnd;
   uint8_t *target;
   const uint8_t *targetEnd;

   [[nodiscard]] size_t UnitsLeft() const { return static_cast<size_t>(sourceEnd - source) / kUnitSize; }
};

enum class Reencoded { Whole, NoRoom, Broken };

// NoRoom: fewer than 4 bytes are left of the target, and something of the source. Broken: the decoder has said why.
[[nodiscard]] Reencoded ReencodeToUtf8(Utf8Place &at) {
   const size_t room = static_cast<size_t>(at.targetEnd - at.target);
   const RunProgress run = RunUtf16ToUtf8(at.source, static_cast<size_t>(at.sourceEnd - at.source), at.target, room);
   at.source += run.mRead;
   at.target += run.mWritten;
   if (at.source == at.sourceEnd) {
      return Reencoded::Whole;
   }
   if (room - run.mWritten < kMostBytes) {
      return Reencoded::NoRoom;
   }
   // With room for any code point, a run ends only in front of what is none.
   uint32_t codePoint = 0;
   size_t used = 0;
   [[maybe_unused]] const bool decodes = DecodeUtf16(at.source, at.sourceEnd, codePoint, used);
   assert(!decodes);
   return Reencoded::Broken;
}

[[nodiscard]] bool WriteUtf16(const char *text, size_t length, bytecursor &cursor, uint32_t &inoutChars) {
   uint32_t left = 0;
   uint8_t *const target = cursor.GetRemaining(left);
   if (target == nullptr) {
      MAVR_LOG_ERROR("No buffer available to copy string");
      return false;
   }
   const auto *const source = reinterpret_cast<const uint8_t *>(text);
   size_t units = 0;
   if (!ReencodeToUtf16(source, source + length, target, target + left, units) ||
       !cursor.Advance(units * kUnitSize, static_cast<uint32_t>(units))) {
      return false;
   }
   inoutChars += static_cast<uint32_t>(units);
   return true;
}

[[nodiscard]] bool ReadUtf8(corestring &outString, bytecursor &cursor, uint32_t chars) {
   uint32_t left = 0;
   const uint8_t *const source = cursor.GetRemaining(left);
   if (left < chars) {
      MAVR_LOG_ERROR("Not enough bytes left to read from(Utf8 to Utf8), found=%ld, need=%ld", static_cast<long>(left),
                     static_cast<long>(chars));
      return false;
   }
   try {
      outString.Assign(reinterpret_cast<const char *>(source), static_cast<ptrdiff_t>(chars));
   } catch (const coreException &) {
      MAVR_LOG_ERROR("Failed to allocate memory(Utf8 to Utf8)");
      return false;
   }
   return cursor.Advance(chars, chars);
}

// What most strings of a channel are: short, and then without a block of their own on the way. Not for a secure one:
// nobody wipes the stack.
[[nodiscard]] bool AssignShort(corestring &outString, const uint8_t *source, size_t size) {
   std::array<uint8_t, kShortUnits * kMostBytesOfUnit + kMostBytes> buffer;
   Utf8Place at{source, source + size, buffer.data(), buffer.data() + buffer.size()};
   if (ReencodeToUtf8(at) != Reencoded::Whole) {
      return false;
   }
   const ptrdiff_t bytes = at.target - buffer.data();
   outString.Assign(reinterpret_cast<const char *>(buffer.data()), bytes);
   return true;
}

// Into a block that becomes the string's, cut to size in place. It begins with room for ASCII and grows once at most: a
// block for the worst case costs more, in fresh pages, than all of the work.
[[nodiscard]] bool AssignLong(corestring &outString, const uint8_t *source, size_t size) {
   corestring text;
   text.SetLength(size / kUnitSize + kMostBytes);
   if (outString.IsSecure()) {
      text.SetSecure();
   }
   const auto bytesOf = [&text] {
      return reinterpret_cast<uint8_t *>(text.Data());
   };
   Utf8Place at{source, source + size, bytesOf(), bytesOf() + text.Length()};
   Reencoded done = ReencodeToUtf8(at);
   if (done == Reencoded::NoRoom) {
      const auto written = static_cast<size_t>(at.target - bytesOf());
      text.SetLength(written + at.UnitsLeft() * kMostBytesOfUnit + kMostBytes, true);
      at.target = bytesOf() + written;
      at.targetEnd = bytesOf() + text.Length();
      done = ReencodeToUtf8(at);
   }
   if (done != Reencoded::Whole) {
      return false;
   }
   text.SetLength(static_cast<size_t>(at.target - bytesOf()), true);
   outString = std::move(text);
   return true;
}

[[nodiscard]] bool ReadUtf16(corestring &outString, bytecursor &cursor, uint32_t chars) {
   uint32_t left = 0;
   const uint8_t *const source = cursor.GetRemaining(left);
   const size_t size = size_t{chars} * kUnitSize;
   if (left < size) {
      MAVR_LOG_ERROR("Not enough bytes left to read from(Utf16 to Utf8), found=%ld, need=%ld", static_cast<long>(left),
                     static_cast<long>(size));
      return false;
   }
   const bool byStack = chars <= kShortUnits && !outString.IsSecure();
   try {
      if (!(byStack ? AssignShort(outString, source, size) : AssignLong(outString, source, size))) {
         return false;
      }
   } catch (const coreException &) {
      MAVR_LOG_ERROR("Failed to allocate memory(Utf16 to Utf8)");
      return false;
   }
   return cursor.Advance(size, chars);
}

} // namespace

const char *EncodingName(uint32_t flags) {
   switch (flags & (Utf8 | Utf16)) {
   case Utf8:
      return "Utf8";
   case Utf16:
      return "Utf16";
   case Utf8 | Utf16:
      return "Utf8,Utf16";
   default:
      return flags == 0 ? "Undefined" : "Unrecognized";
   }
}

bool WriteString(const corestring &string, uint32_t encoding, bytecursor &cursor, uint32_t &inoutChars) {
   const size_t length = string.Length();
   if (length == 0) {
      return true;
   }
   switch (encoding) {
   case Utf8: {
      const auto bytes = static_cast<uint32_t>(length);
      if (!cursor.WriteCounted(string.Data(), length, bytes)) {
         return false;
      }
      inoutChars += bytes;
      return true;
   }
   case Utf16:
      return WriteUtf16(string.Data(), length, cursor, inoutChars);
   default:
      MAVR_LOG_ERROR("Unsupported conversion code=%d", static_cast<int>(encoding));
      return false;
   }
}

bool ReadString(corestring &outString, bytecursor &cursor, uint32_t chars, uint32_t encoding) {
   if (chars == 0) {
      return true;
   }
   switch (encoding) {
   case Utf8:
      return ReadUtf8(outString, cursor, chars);
   case Utf16:
      return ReadUtf16(outString, cursor, chars);
   default:
      MAVR_LOG_ERROR("Unsupported encoding code=%d", static_cast<int>(encoding));
      return false;
   }
}

} // namespace CORE
