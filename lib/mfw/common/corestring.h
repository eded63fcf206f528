#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

namespace CORE {

/// The text of the CORE classes: one pointer to zero-terminated bytes, null for the empty text, with a hidden header in
/// front and guard words around, so that heap damage and wrong frees are found when the text is released.
///
/// The block, from malloc: a header of 32 bytes, the characters, their zero, an end guard of 4 bytes; docs/runtime.md
/// has the layout. Bytes are kept and compared as they are. A damaged block throws coreException
/// ("CORESTRING CORRUPTION") on release, which ends the process when a destructor releases it; no memory throws
/// coreException("OutOfMem").
/// A secure text wipes its bytes when it is released or shrunk, and so do its copies.
/// A value; not for two threads at a time.
class corestring {
public:
   corestring() = default;
   corestring(const char *text) { Assign(text); } // NOLINT(google-explicit-constructor): a text is a text
   corestring(const char *text, size_t length) { Assign(text, static_cast<ptrdiff_t>(length)); }
   corestring(const corestring &other) { Copy(other); }
   corestring(corestring &&other) noexcept
       : mText(other.mText) {
      other.mText = nullptr;
   }
   corestring &operator=(const corestring &other) {
      Copy(other);
      return *this;
   }
   corestring &operator=(corestring &&other) noexcept;
   ~corestring() { Release(); }

   /// `length` bytes of `source`, which may lie inside this text; -1 or -2: up to its zero, and null empties. A source
   /// inside this text that reaches past its end throws coreException("buffer overrun in overlapping data").
   void Assign(const char *source, ptrdiff_t length = -1);
   /// The other's text, and its secure mark.
   void Copy(const corestring &other);
   /// Makes room for `length` bytes and ends the text there; new bytes hold what they hold. Grows to half as much
   /// again, at least by 128, and shrinks when less is needed by twice that; `exact` takes exactly `length`. Length 0
   /// without `exact` releases the block.
   void SetLength(size_t length, bool exact = false);
   /// Puts `text` in the place of `count` bytes at `position`; both are clamped to the text. -1: up to its zero.
   void Replace(size_t position, size_t count, const char *text, ptrdiff_t textLength = -1);
   /// Replaces each `find` from `start` on, going on behind what was put in; returns how many. An empty or null `find`
   /// does nothing.
   size_t ReplaceAll(const char *find, const char *with, size_t start = 0);
   void Append(const char *text, ptrdiff_t length = -1);
   void Append(const corestring &other);
   /// Takes the bytes of `set` off the start, or the end.
   void TrimLeft(const char *set);
   void TrimRight(const char *set);
   /// The text is what bsd_vsnprintf makes of it, of any length.
   void Format(const char *format, ...) __attribute__((format(printf, 2, 3)));
   void FormatV(const char *format, va_list args) __attribute__((format(printf, 2, 0)));
   /// Verifies the block, wipes a secure one, and frees it. Empty afterwards.
   void Release();

   [[nodiscard]] size_t Length() const;
   [[nodiscard]] size_t Capacity() const; ///< bytes that fit without a new block; 0 when empty
   [[nodiscard]] bool IsEmpty() const { return mText == nullptr || Length() == 0; }
   [[nodiscard]] const char *Text() const { return mText != nullptr ? mText : ""; } ///< never null
   [[nodiscard]] char *Data() { return mText; }                                     ///< null when empty
   [[nodiscard]] const char *Data() const { return mText; }                         ///< null when empty

   void SetSecure(); ///< nothing when empty
   [[nodiscard]] bool IsSecure() const;

   /// The mark of a binary value: bit 31 of the header's length mirror, with the byte count below it. Its bytes may
   /// hold zeros; 0 for a text.
   void AssignBinary(const void *data, uint32_t size);
   [[nodiscard]] uint32_t BinarySize() const;

private:
   char *mText = nullptr;
};

[[nodiscard]] bool operator==(const corestring &left, const corestring &right); ///< byte by byte
[[nodiscard]] bool operator==(const corestring &left, const char *right);       ///< null is the empty text

} // namespace CORE
