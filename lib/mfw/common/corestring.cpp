#include "lib/mfw/common/corestring.h"

#include "lib/mfw/common/bsd_vsnprintf.h"
#include "lib/mfw/common/coreException.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

namespace CORE {
namespace {

constexpr uint32_t kStartGuard = 0xFAFAFAFA;
constexpr uint16_t kMiddleGuard = 0xFBFB;
constexpr uint32_t kEndGuard = 0xFCFCFCFC;
constexpr uint32_t kBinaryMark = 0x80000000;
constexpr size_t kMaxLength = INT32_MAX; // what the mirror can tell

// A plain memset before free is dead code to a compiler; one through a volatile pointer is not.
void Wipe(void *memory, size_t size) {
   static void *(*const volatile kMemset)(void *, int, size_t) = std::memset;
   kMemset(memory, 0, size);
}

// memcpy that takes null for nothing.
void CopyBytes(char *to, const void *from, size_t size) {
   if (size != 0) {
      std::memcpy(to, from, size);
   }
}

constexpr size_t kFormatStep = 8192;

// Room for a step of formatting, wiped behind a secure text.
struct Scratch {
   explicit Scratch(bool isSecure)
       : secure(isSecure) {}
   Scratch(const Scratch &) = delete;
   Scratch &operator=(const Scratch &) = delete;
   ~Scratch() {
      if (secure) {
         Wipe(bytes, sizeof bytes);
      }
   }

   const bool secure;
   char bytes[kFormatStep];
};

} // namespace

// ---- Blocks ---------------------------------------------------------------------------------------------------------

struct corestring::Block {
   static char *TextOf(Header *header) { return reinterpret_cast<char *>(header) + sizeof(Header); }
   static char *EndGuardOf(Header *header) { return TextOf(header) + header->capacity + 1; }
   static size_t SizeFor(size_t capacity) { return sizeof(Header) + capacity + 1 + sizeof kEndGuard; }

   // A block with no length yet.
   static Header *Make(size_t capacity, uint16_t flags = 0) {
      auto *const header = static_cast<Header *>(std::malloc(SizeFor(capacity)));
      if (header == nullptr) {
         throw coreException("OutOfMem");
      }
      header->startGuard = kStartGuard;
      header->flags = flags;
      header->middleGuard = kMiddleGuard;
      header->reserved = 0;
      SetCapacity(header, capacity);
      return header;
   }

   // The same text in a block of another capacity, cut where it does not fit. A secure text leaves nothing behind in
   // memory that realloc would have given back unwiped.
   static Header *Resized(Header *header, size_t capacity) {
      if ((header->flags & kSecure) != 0) {
         Verify(header);
         Header *const fresh = Make(capacity, header->flags);
         std::memcpy(TextOf(fresh), TextOf(header), std::min<size_t>(header->length, capacity) + 1);
         Free(header);
         return fresh;
      }
      auto *const resized = static_cast<Header *>(std::realloc(header, SizeFor(capacity)));
      if (resized == nullptr) {
         throw coreException("OutOfMem");
      }
      SetCapacity(resized, capacity);
      return resized;
   }

   static void SetCapacity(Header *header, size_t capacity) {
      header->capacity = capacity;
      std::memcpy(EndGuardOf(header), &kEndGuard, sizeof kEndGuard);
   }

   static size_t ExtraFor(size_t length) { return std::max<size_t>(length / 2, 128); }
   // Whether the block has room for the text, and not too much.
   static bool Fits(const Header *header, size_t length) {
      return header->capacity >= length && header->capacity <= length + 2 * ExtraFor(length);
   }
   // The capacity that the block is to have for a text of `length`; its own when it stays.
   static size_t CapacityFor(const Header *header, size_t length, bool exact) {
      if (exact) {
         return length;
      }
      return Fits(header, length) ? header->capacity : length + ExtraFor(length);
   }

   // In this order: what is no block any more, its capacity least of all, says nothing about where its end would be.
   static void Verify(Header *header) {
      bool whole = header->startGuard == kStartGuard && header->middleGuard == kMiddleGuard;
      if (whole && header->mirror < 0) {
         header->mirror = static_cast<int32_t>(header->length);
      }
      whole = whole && header->length <= header->capacity && std::cmp_equal(header->mirror, header->length) &&
              std::memcmp(EndGuardOf(header), &kEndGuard, sizeof kEndGuard) == 0;
      if (!whole) {
         throw coreException("CORESTRING CORRUPTION");
      }
   }

   // A verified block. Guards and header go through volatile: a second release of the block finds none.
   static void Free(Header *header) {
      if ((header->flags & kSecure) != 0) {
         Wipe(TextOf(header), header->capacity + 1);
      }
      volatile char *const guard = EndGuardOf(header);
      static_assert(sizeof kEndGuard == 4);
      guard[0] = 0; // a loop over volatile bytes stays one
      guard[1] = 0;
      guard[2] = 0;
      guard[3] = 0;
      volatile Header *const gone = header;
      gone->length = 0;
      gone->capacity = 0;
      gone->startGuard = 0;
      gone->flags = 0;
      gone->middleGuard = 0;
      gone->mirror = 0;
      gone->reserved = 0;
      std::free(header);
   }
};

void corestring::Release() {
   if (mText == nullptr) {
      return;
   }
   Header *const header = HeaderOf(mText);
   Block::Verify(header);
   mText = nullptr;
   Block::Free(header);
}

corestring &corestring::operator=(corestring &&other) noexcept {
   if (this != &other) {
      Release();
      mText = other.mText;
      other.mText = nullptr;
   }
   return *this;
}

void corestring::SetLength(size_t length, bool exact) {
   if (length == 0 && !exact) {
      Release();
      return;
   }
   if (length > kMaxLength) {
      throw coreException("OutOfMem");
   }
   if (mText == nullptr) {
      mText = Block::TextOf(Block::Make(length));
   } else {
      Header *const header = HeaderOf(mText);
      if (const size_t wanted = Block::CapacityFor(header, length, exact); wanted != header->capacity) {
         mText = Block::TextOf(Block::Resized(header, wanted));
      }
   }
   End(length);
}

// Ends the text after `length` bytes, for which there is room.
void corestring::End(size_t length) {
   Header *const header = HeaderOf(mText);
   header->length = length;
   header->mirror = static_cast<int32_t>(length);
   mText[length] = '\0';
}

// Takes a new block, verified before it was filled, in the place of the old one.
void corestring::Adopt(Header *fresh, size_t length) {
   Block::Free(HeaderOf(mText));
   mText = Block::TextOf(fresh);
   End(length);
}

// ---- Sources, which may lie inside the text -------------------------------------------------------------------------

// How far `source` lies behind the start; a huge number when it lies in front.
size_t corestring::OffsetOf(const void *source) const {
   return reinterpret_cast<uintptr_t>(source) - reinterpret_cast<uintptr_t>(mText);
}

// A source may reach from inside the text up to its zero, and include it.
void corestring::CheckOverlap(const void *source, size_t size) const {
   const size_t offset = OffsetOf(source);
   if (offset > Length() || size > Length() - offset + 1) {
      throw coreException("buffer overrun in overlapping data");
   }
}

size_t corestring::SizeOf(const char *text, ptrdiff_t length) const {
   if (text == nullptr) {
      return 0;
   }
   if (length != -1 && length != -2) {
      return static_cast<size_t>(length); // any other negative one is too long
   }
   if (Holds(text)) {
      CheckOverlap(text, 0); // behind the zero there is no other for certain
   }
   return std::strlen(text);
}

// The bytes at `source` become the text; length as for Assign.
void corestring::Put(const char *source, ptrdiff_t length, bool exact) {
   const size_t size = SizeOf(source, length);
   if (mText == nullptr || size == 0) {
      SetLength(size, exact);
      CopyBytes(mText, source, size);
      return;
   }
   const bool inside = Holds(source);
   if (inside) {
      CheckOverlap(source, size);
   }
   Header *const header = HeaderOf(mText);
   const size_t wanted = Block::CapacityFor(header, size, exact);
   if (wanted == header->capacity && size <= kMaxLength) {
      std::memmove(mText, source, size);
      End(size);
      return;
   }
   if (!inside) {
      SetLength(size, exact);
      std::memcpy(mText, source, size);
      return;
   }
   Block::Verify(header);
   Header *const fresh = Block::Make(wanted, header->flags);
   std::memcpy(Block::TextOf(fresh), source, size);
   Adopt(fresh, size);
}

// Assign, for a text that has no block yet and holds no source.
void corestring::Start(const char *text, size_t length) {
   if (text == nullptr || length == 0 || length > kMaxLength) {
      Assign(text, static_cast<ptrdiff_t>(length));
      return;
   }
   mText = Block::TextOf(Block::Make(length));
   End(length);
   std::memcpy(mText, text, length);
}

void corestring::Assign(const char *source, ptrdiff_t length) {
   const auto size = static_cast<size_t>(length);
   // The usual case first, and the copy last, so that it costs no more than the copy.
   if (source != nullptr && mText != nullptr && length > 0 && size <= kMaxLength && !Holds(source) &&
       Block::Fits(HeaderOf(mText), size)) {
      End(size);
      std::memcpy(mText, source, size);
      return;
   }
   Put(source, length, false);
}

void corestring::Append(const char *text, ptrdiff_t length) {
   const size_t size = SizeOf(text, length);
   if (size == 0) {
      return;
   }
   const size_t former = Length();
   const bool inside = Holds(text);
   if (inside) {
      CheckOverlap(text, size);
   }
   if (size > kMaxLength - former) {
      throw coreException("OutOfMem");
   }
   const size_t offset = OffsetOf(text);
   SetLength(former + size);
   // NOLINTNEXTLINE(clang-analyzer-core.NonNullParamChecker): a length above 0 has a block
   std::memmove(mText + former, inside ? mText + offset : text, size);
}

void corestring::Copy(const corestring &other) {
   if (mText == other.mText) {
      return;
   }
   if (other.mText == nullptr) {
      Release();
      return;
   }
   if (const uint32_t size = other.BinarySize(); size != 0) {
      AssignBinary(other.mText, size);
   } else {
      Put(other.mText, static_cast<ptrdiff_t>(other.Length()), false);
   }
   if (other.IsSecure()) {
      SetSecure();
   }
}

void corestring::AssignBinary(const void *data, uint32_t size) {
   Put(static_cast<const char *>(data), size, true);
   if (!IsEmpty()) {
      HeaderOf(mText)->mirror = static_cast<int32_t>(kBinaryMark | size);
   }
}

// A mark whose count does not fit the text is none: the mirror of a text may be negative, to be recomputed.
uint32_t corestring::BinarySize() const {
   if (mText == nullptr) {
      return 0;
   }
   const auto mirror = static_cast<uint32_t>(HeaderOf(mText)->mirror);
   const uint32_t size = mirror & ~kBinaryMark;
   return (mirror & kBinaryMark) != 0 && size <= Length() ? size : 0;
}

void corestring::SetSecure() {
   if (mText != nullptr) {
      HeaderOf(mText)->flags |= kSecure;
   }
}

// ---- Changes inside -------------------------------------------------------------------------------------------------

void corestring::Replace(size_t position, size_t count, const char *text, ptrdiff_t textLength) {
   const size_t size = SizeOf(text, textLength);
   if (mText == nullptr) {
      Put(text, textLength, false);
      return;
   }
   const size_t at = std::min(position, Length());
   const size_t behind = at + std::min(count, Length() - at);
   const size_t tail = Length() - behind;
   if (size > kMaxLength - at - tail) {
      throw coreException("OutOfMem");
   }
   if (size != 0 && Holds(text)) {
      CheckOverlap(text, size);
      corestring copy(text, size);
      if (IsSecure()) {
         copy.SetSecure();
      }
      Replace(position, count, copy.mText, static_cast<ptrdiff_t>(size));
      return;
   }
   const size_t length = at + size + tail;
   if (length == 0) {
      Release();
      return;
   }
   Header *const header = HeaderOf(mText);
   if (const size_t wanted = Block::CapacityFor(header, length, false); wanted != header->capacity) {
      Block::Verify(header);
      Header *const fresh = Block::Make(wanted, header->flags);
      char *const bytes = Block::TextOf(fresh);
      CopyBytes(bytes, mText, at);
      CopyBytes(bytes + at, text, size);
      CopyBytes(bytes + at + size, mText + behind, tail);
      Adopt(fresh, length);
      return;
   }
   std::memmove(mText + at + size, mText + behind, tail);
   CopyBytes(mText + at, text, size);
   End(length);
}

// In one pass into a new block, so that many places cost no more than few.
size_t corestring::ReplaceAll(const char *find, const char *with, size_t start) {
   const size_t findLength = find != nullptr ? std::strlen(find) : 0;
   const size_t withLength = with != nullptr ? std::strlen(with) : 0;
   if (findLength == 0 || start >= Length()) {
      return 0;
   }
   size_t count = 0;
   for (const char *at = mText + start; (at = std::strstr(at, find)) != nullptr; at += findLength) {
      ++count;
   }
   if (count == 0) {
      return 0;
   }
   // The product fits 64 bits once its factors are known to fit 32.
   const size_t length = Length() - count * findLength + count * std::min(withLength, kMaxLength + 1);
   if (length > kMaxLength) {
      throw coreException("OutOfMem");
   }
   if (length == 0) {
      Release();
      return count;
   }
   Header *const header = HeaderOf(mText);
   Block::Verify(header);
   Header *const fresh = Block::Make(Block::CapacityFor(header, length, false), header->flags);
   char *to = Block::TextOf(fresh);
   const char *from = mText;
   const char *found = mText + start;
   for (size_t i = 0; i < count; ++i) {
      found = std::strstr(found, find);
      to = std::copy(from, found, to);
      CopyBytes(to, with, withLength);
      to += withLength;
      from = found += findLength;
   }
   std::copy(from, static_cast<const char *>(mText) + Length(), to);
   Adopt(fresh, length);
   return count;
}

void corestring::TrimLeft(const char *set) {
   if (mText != nullptr && set != nullptr) {
      const size_t skip = std::strspn(mText, set);
      Put(mText + skip, static_cast<ptrdiff_t>(Length() - skip), false);
   }
}

void corestring::TrimRight(const char *set) {
   if (mText != nullptr && set != nullptr) {
      size_t length = Length();
      while (length > 0 && mText[length - 1] != '\0' && std::strchr(set, mText[length - 1]) != nullptr) {
         --length;
      }
      SetLength(length);
   }
}

void corestring::Format(const char *format, ...) {
   va_list args;
   va_start(args, format);
   FormatV(format, args);
   va_end(args);
}

// Most texts fit one step, on the stack; a longer one is formatted once more with as many steps as it takes. The text
// itself is touched last: it may be one of the arguments.
void corestring::FormatV(const char *format, va_list args) {
   if (format == nullptr) {
      Release();
      return;
   }
   Scratch step(IsSecure());
   va_list again;
   va_copy(again, args);
   const int length = bsd_vsnprintf(step.bytes, sizeof step.bytes, format, again);
   va_end(again);
   if (length < static_cast<int>(sizeof step.bytes)) {
      Put(step.bytes, std::max(length, 0), false);
      return;
   }
   corestring whole;
   whole.SetLength((static_cast<size_t>(length) / kFormatStep + 1) * kFormatStep, true);
   if (IsSecure()) {
      whole.SetSecure();
   }
   bsd_vsnprintf(whole.mText, whole.Length(), format, args);
   whole.SetLength(static_cast<size_t>(length));
   Release();
   std::swap(mText, whole.mText);
}

bool operator==(const corestring &left, const corestring &right) {
   return left.Length() == right.Length() && std::memcmp(left.Text(), right.Text(), left.Length()) == 0;
}

bool operator==(const corestring &left, const char *right) {
   const size_t length = right != nullptr ? std::strlen(right) : 0;
   return left.Length() == length && std::memcmp(left.Text(), right != nullptr ? right : "", length) == 0;
}

} // namespace CORE
