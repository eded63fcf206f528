#include "lib/mfw/common/corestring.h"

#include "lib/mfw/common/bsd_vsnprintf.h"
#include "lib/mfw/common/coreException.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace CORE {
namespace {

constexpr uint32_t kStartGuard = 0xFAFAFAFA;
constexpr uint16_t kMiddleGuard = 0xFBFB;
constexpr uint32_t kEndGuard = 0xFCFCFCFC;
constexpr uint16_t kSecure = 1;
constexpr uint32_t kBinaryMark = 0x80000000;

struct Header {
   uint64_t length;
   uint64_t capacity;
   uint32_t startGuard;
   uint16_t flags;
   uint16_t middleGuard;
   int32_t mirror;
   uint32_t reserved;
};
static_assert(sizeof(Header) == 32 && offsetof(Header, startGuard) == 16 && offsetof(Header, mirror) == 24);

constexpr size_t kOverhead = sizeof(Header) + 1 + sizeof kEndGuard;

Header *HeaderOf(char *text) {
   return reinterpret_cast<Header *>(text - sizeof(Header));
}
char *TextOf(Header *header) {
   return reinterpret_cast<char *>(header) + sizeof(Header);
}

void WriteEndGuard(Header *header) {
   std::memcpy(TextOf(header) + header->capacity + 1, &kEndGuard, sizeof kEndGuard);
}

// A plain memset before free is dead code to a compiler; one through a volatile pointer is not.
void Wipe(void *memory, size_t size) {
   static void *(*const volatile kMemset)(void *, int, size_t) = std::memset;
   kMemset(memory, 0, size);
}

[[nodiscard]] size_t LengthOf(const char *text, ptrdiff_t length) {
   if (length >= 0) {
      return static_cast<size_t>(length);
   }
   return text != nullptr ? std::strlen(text) : 0;
}

Header *Allocated(Header *former, size_t capacity) {
   auto *const header =
      capacity > SIZE_MAX - kOverhead ? nullptr : static_cast<Header *>(std::realloc(former, capacity + kOverhead));
   if (header == nullptr) {
      throw coreException("OutOfMem");
   }
   header->capacity = capacity;
   WriteEndGuard(header);
   return header;
}

void Verify(Header *header) {
   if (header->mirror < 0) {
      header->mirror = static_cast<int32_t>(header->length);
   }
   const bool startIsWhole = header->startGuard == kStartGuard && header->middleGuard == kMiddleGuard;
   if (!startIsWhole || std::memcmp(TextOf(header) + header->capacity + 1, &kEndGuard, sizeof kEndGuard) != 0 ||
       header->mirror != static_cast<int32_t>(header->length)) {
      throw coreException("CORESTRING CORRUPTION");
   }
}

} // namespace

corestring &corestring::operator=(corestring &&other) noexcept {
   if (this != &other) {
      Release();
      mText = other.mText;
      other.mText = nullptr;
   }
   return *this;
}

void corestring::Assign(const char *source, ptrdiff_t length) {
   const size_t size = LengthOf(source, length);
   const bool inside = mText != nullptr && source >= mText && source <= mText + Length();
   if (!inside || size == 0) {
      SetLength(size);
      if (size != 0) {
         std::memcpy(mText, source, size);
      }
      return;
   }
   if (size > Length() - static_cast<size_t>(source - mText) + 1) {
      throw coreException("buffer overrun in overlapping data");
   }
   std::memmove(mText, source, size);
   SetLength(size);
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
      Assign(other.mText, static_cast<ptrdiff_t>(other.Length()));
   }
   if (mText != nullptr && other.IsSecure()) {
      SetSecure();
   }
}

void corestring::SetLength(size_t length, bool exact) {
   if (length == 0 && !exact) {
      Release();
      return;
   }
   if (mText == nullptr) {
      Header *const header = Allocated(nullptr, length);
      header->startGuard = kStartGuard;
      header->flags = 0;
      header->middleGuard = kMiddleGuard;
      header->reserved = 0;
      mText = TextOf(header);
   } else {
      const size_t capacity = Capacity();
      const size_t extra = std::max<size_t>(length / 2, 128);
      const bool refit = exact ? capacity != length : capacity < length || length + 2 * extra < capacity;
      if (refit) {
         const size_t wanted = exact ? length : length + extra;
         if (wanted < capacity && IsSecure()) {
            Wipe(mText + wanted, capacity - wanted);
         }
         mText = TextOf(Allocated(HeaderOf(mText), wanted));
      }
   }
   Header *const header = HeaderOf(mText);
   header->length = length;
   header->mirror = static_cast<int32_t>(length);
   mText[length] = '\0';
}

void corestring::Replace(size_t position, size_t count, const char *text, ptrdiff_t textLength) {
   const size_t at = std::min(position, Length());
   const size_t behind = at + std::min(count, Length() - at);
   const corestring inserted(text, LengthOf(text, textLength));
   const corestring tail(Text() + behind, Length() - behind);
   SetLength(at);
   Append(inserted);
   Append(tail);
}

size_t corestring::ReplaceAll(const char *find, const char *with, size_t start) {
   if (find == nullptr || *find == '\0') {
      return 0;
   }
   const size_t findLength = std::strlen(find);
   const size_t withLength = with != nullptr ? std::strlen(with) : 0;
   size_t count = 0;
   for (size_t position = start; position < Length();) {
      const char *const found = std::strstr(mText + position, find);
      if (found == nullptr) {
         break;
      }
      position = static_cast<size_t>(found - mText);
      Replace(position, findLength, with, static_cast<ptrdiff_t>(withLength));
      position += withLength;
      ++count;
   }
   return count;
}

void corestring::Append(const char *text, ptrdiff_t length) {
   const size_t size = LengthOf(text, length);
   if (size == 0) {
      return;
   }
   if (mText != nullptr && text >= mText && text <= mText + Length()) {
      const corestring copy(text, size);
      Append(copy);
      return;
   }
   const size_t former = Length();
   SetLength(former + size);
   std::memcpy(mText + former, text, size);
}

void corestring::Append(const corestring &other) {
   Append(other.mText, static_cast<ptrdiff_t>(other.Length()));
}

void corestring::TrimLeft(const char *set) {
   if (mText != nullptr) {
      const size_t skip = std::strspn(mText, set);
      Assign(mText + skip, static_cast<ptrdiff_t>(Length() - skip));
   }
}

void corestring::TrimRight(const char *set) {
   size_t length = Length();
   while (length > 0 && std::strchr(set, mText[length - 1]) != nullptr) {
      --length;
   }
   SetLength(length);
}

void corestring::Format(const char *format, ...) {
   va_list args;
   va_start(args, format);
   FormatV(format, args);
   va_end(args);
}

void corestring::FormatV(const char *format, va_list args) {
   constexpr size_t kStep = 8192;
   corestring text;
   for (size_t room = kStep;; room += kStep) {
      text.SetLength(room, true);
      va_list again;
      va_copy(again, args);
      const int length = bsd_vsnprintf(text.mText, room, format, again);
      va_end(again);
      if (length < 0) {
         text.Release();
         break;
      }
      if (static_cast<size_t>(length) < room) {
         text.SetLength(static_cast<size_t>(length));
         break;
      }
   }
   *this = std::move(text);
}

void corestring::Release() {
   if (mText == nullptr) {
      return;
   }
   Header *const header = HeaderOf(mText);
   Verify(header);
   if ((header->flags & kSecure) != 0) {
      Wipe(mText, header->capacity + 1);
   }
   // A second release finds no guards.
   Wipe(mText + header->capacity + 1, sizeof kEndGuard);
   Wipe(header, sizeof *header);
   mText = nullptr;
   std::free(header);
}

size_t corestring::Length() const {
   return mText != nullptr ? HeaderOf(mText)->length : 0;
}

size_t corestring::Capacity() const {
   return mText != nullptr ? HeaderOf(mText)->capacity : 0;
}

void corestring::SetSecure() {
   if (mText != nullptr) {
      HeaderOf(mText)->flags |= kSecure;
   }
}

bool corestring::IsSecure() const {
   return mText != nullptr && (HeaderOf(mText)->flags & kSecure) != 0;
}

void corestring::AssignBinary(const void *data, uint32_t size) {
   SetLength(size, true);
   if (size != 0) {
      std::memcpy(mText, data, size);
      HeaderOf(mText)->mirror = static_cast<int32_t>(kBinaryMark | size);
   }
}

uint32_t corestring::BinarySize() const {
   if (mText == nullptr) {
      return 0;
   }
   const auto mirror = static_cast<uint32_t>(HeaderOf(mText)->mirror);
   return (mirror & kBinaryMark) != 0 ? mirror & ~kBinaryMark : 0;
}

bool operator==(const corestring &left, const corestring &right) {
   return left.Length() == right.Length() && std::memcmp(left.Text(), right.Text(), left.Length()) == 0;
}

bool operator==(const corestring &left, const char *right) {
   return std::strcmp(left.Text(), right != nullptr ? right : "") == 0;
}

} // namespace CORE
