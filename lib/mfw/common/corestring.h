#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace CORE {

/// The text of the CORE classes: one pointer to zero-terminated bytes, null for the empty text, with a hidden header in
/// front and guard words around, so that heap damage and wrong frees are found when the text is released.
///
/// Bytes are kept and compared as they are; zeros among them count. docs/formats/core-string.md shows the block byte by
/// byte. A secure text wipes its bytes when it is released, shrunk or moved to another block, and so do its copies; a
/// text that has been empty in between is no longer secure.
/// Owner: a value, which owns its block. Threads: one at a time. Locks: none. Life cycle: empty -> any of the calls
/// below -> Release, which runs in every destructor.
///
/// Faults are exceptions of type coreException; whatever was in the text is then still in it:
/// "OutOfMem" for no memory, and for a text of 2^31 bytes or more, which the header's mirror could not tell;
/// "CORESTRING CORRUPTION" for a block whose guards or mirror are damaged, on release: it ends the process when a
/// destructor or a move releases it; "buffer overrun in overlapping data" for a source inside this text that reaches
/// past its end. A null text is an empty one, everywhere.
class corestring {
public:
   corestring() = default;
   // NOLINTNEXTLINE(google-explicit-constructor): a text is a text
   corestring(const char *text) {
      if (text != nullptr) {
         Start(text, std::strlen(text));
      }
   }
   corestring(const char *text, size_t length) { Start(text, length); }
   corestring(const corestring &other) { Copy(other); }
   corestring(corestring &&other) noexcept
       : mText(other.mText) {
      other.mText = nullptr;
   }
   // NOLINTNEXTLINE(bugprone-unhandled-self-assignment): Copy looks for it
   corestring &operator=(const corestring &other) {
      Copy(other);
      return *this;
   }
   corestring &operator=(corestring &&other) noexcept;
   ~corestring() {
      if (mText != nullptr) { // most are moved from by now
         Release();
      }
   }

   /// `length` bytes of `source`, which may lie inside this text; -1 or -2: up to its zero.
   void Assign(const char *source, ptrdiff_t length = -1);
   /// The other's text or binary value, and its secure mark.
   void Copy(const corestring &other);
   /// Makes room for `length` bytes and ends the text there; new bytes hold what they hold. An empty text gets exactly
   /// that room. Later room grows to half as much again, at least by 128, and shrinks to that when it is more than
   /// `length` and twice that extra; `exact` takes exactly `length`. Length 0 without `exact` releases the block.
   void SetLength(size_t length, bool exact = false);
   /// Puts `text`, which may lie inside this text, in the place of `count` bytes at `position`; both are clamped to the
   /// text. Length as for Assign.
   void Replace(size_t position, size_t count, const char *text, ptrdiff_t textLength = -1);
   /// Replaces each `find` from `start` on, going on behind what was put in; returns how many. An empty `find` does
   /// nothing. Searching ends at a zero among the bytes.
   size_t ReplaceAll(const char *find, const char *with, size_t start = 0);
   /// `text` may lie inside this text. Length as for Assign.
   void Append(const char *text, ptrdiff_t length = -1);
   void Append(const corestring &other) { Append(other.mText, static_cast<ptrdiff_t>(other.Length())); }
   /// Takes the bytes of `set` off the start, or the end.
   void TrimLeft(const char *set);
   void TrimRight(const char *set);
   /// The text becomes what bsd_vsnprintf makes of it, of any length; arguments may be this text itself. Empty when it
   /// can't be formatted.
   void Format(const char *format, ...) __attribute__((format(printf, 2, 3)));
   void FormatV(const char *format, va_list args) __attribute__((format(printf, 2, 0)));
   /// Verifies the block, wipes a secure one, and frees it. Empty afterwards.
   void Release();

   [[nodiscard]] size_t Length() const { return mText != nullptr ? HeaderOf(mText)->length : 0; }
   /// Bytes that fit without another block; 0 when empty.
   [[nodiscard]] size_t Capacity() const { return mText != nullptr ? HeaderOf(mText)->capacity : 0; }
   [[nodiscard]] bool IsEmpty() const { return Length() == 0; }
   [[nodiscard]] const char *Text() const { return mText != nullptr ? mText : ""; } ///< never null
   [[nodiscard]] char *Data() { return mText; }                                     ///< null when empty
   [[nodiscard]] const char *Data() const { return mText; }                         ///< null when empty

   void SetSecure(); ///< nothing when empty
   [[nodiscard]] bool IsSecure() const { return mText != nullptr && (HeaderOf(mText)->flags & kSecure) != 0; }

   /// A binary value of `size` bytes: a text that carries the mark, bit 31 of the header's length mirror, with the byte
   /// count below it. Size 0 makes an empty text. The mark stays until the value is changed.
   void AssignBinary(const void *data, uint32_t size);
   /// The byte count of a binary value; 0 for a text.
   [[nodiscard]] uint32_t BinarySize() const;

private:
   /// What lies in front of the characters. Behind them and their zero lies the end guard, 4 bytes, at capacity + 1.
   struct Header {
      uint64_t length;
      uint64_t capacity;
      uint32_t startGuard;
      uint16_t flags; // bit 0: secure
      uint16_t middleGuard;
      int32_t mirror; // the length; negative: to be recomputed
      uint32_t reserved;
   };
   static_assert(sizeof(Header) == 32 && offsetof(Header, capacity) == 8 && offsetof(Header, startGuard) == 16 &&
                 offsetof(Header, flags) == 20 && offsetof(Header, middleGuard) == 22 &&
                 offsetof(Header, mirror) == 24 && offsetof(Header, reserved) == 28);
   struct Block; // what is done with blocks

   static constexpr uint16_t kSecure = 1;

   static Header *HeaderOf(char *text) { return reinterpret_cast<Header *>(text - sizeof(Header)); }
   static const Header *HeaderOf(const char *text) { return reinterpret_cast<const Header *>(text - sizeof(Header)); }

   void Start(const char *text, size_t length); ///< the first text of a new object
   [[nodiscard]] size_t OffsetOf(const void *source) const;
   [[nodiscard]] bool Holds(const void *source) const { return mText != nullptr && OffsetOf(source) <= Capacity(); }
   [[nodiscard]] size_t SizeOf(const char *text, ptrdiff_t length) const;
   void CheckOverlap(const void *source, size_t size) const;
   void Put(const char *source, ptrdiff_t length, bool exact);
   void End(size_t length);
   void Adopt(Header *fresh, size_t length);

   char *mText = nullptr;
};

[[nodiscard]] bool operator==(const corestring &left, const corestring &right); ///< byte by byte
[[nodiscard]] bool operator==(const corestring &left, const char *right);       ///< null is the empty text

} // namespace CORE
