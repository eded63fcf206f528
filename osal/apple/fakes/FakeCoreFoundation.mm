#include "osal/apple/fakes/FakeObjects.h"

#include <atomic>
#include <cstring>

@implementation FakeObject
@end
@implementation FakeString
@end
@implementation FakeNumber
@end

namespace {

constexpr CFTypeID kOtherType = 1;
constexpr CFTypeID kStringType = 7;
constexpr CFTypeID kBooleanType = 21;
constexpr CFTypeID kNumberType = 22;

// The two booleans are no objects: they are there before any, and live for ever.
const char kTrue = 1;
const char kFalse = 0;
bool IsBoolean(CFTypeRef reference) {
   return reference == &kTrue || reference == &kFalse;
}

size_t BytesOfCharacter(unsigned char lead) {
   if (lead < 0x80) {
      return 1;
   }
   if (lead < 0xC2 || lead > 0xF4) {
      return 0;
   }
   return lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
}

// Shortest forms only, no surrogate, nothing beyond the last plane.
bool IsCharacter(const unsigned char *bytes, size_t length) {
   for (size_t i = 1; i < length; ++i) {
      if ((bytes[i] & 0xC0) != 0x80) {
         return false;
      }
   }
   const unsigned second = length > 1 ? bytes[1] : 0;
   switch (bytes[0]) {
   case 0xE0:
      return second >= 0xA0;
   case 0xED:
      return second < 0xA0;
   case 0xF0:
      return second >= 0x90;
   case 0xF4:
      return second < 0x90;
   default:
      return true;
   }
}

bool IsUtf8(const unsigned char *bytes, size_t count) {
   for (size_t i = 0; i < count;) {
      const size_t length = BytesOfCharacter(bytes[i]);
      if (length == 0 || length > count - i || !IsCharacter(bytes + i, length)) {
         return false;
      }
      i += length;
   }
   return true;
}

} // namespace

id fakes::Object(CFTypeRef reference, const char *function) {
   if (reference == nullptr || IsBoolean(reference)) {
      Refuse(function);
   }
   return (id) const_cast<void *>(reference);
}

void fakes::Release(id object) {
   static std::atomic<uint64_t> releases{0};
   releases.fetch_add(1, std::memory_order_acq_rel);
   [object release];
}

extern "C" {

const CFAllocatorRef kCFAllocatorDefault = nullptr;
const CFBooleanRef kCFBooleanTrue = reinterpret_cast<CFBooleanRef>(&kTrue);
const CFBooleanRef kCFBooleanFalse = reinterpret_cast<CFBooleanRef>(&kFalse);

CFTypeRef CFRetain(CFTypeRef object) {
   return IsBoolean(object) ? object : (CFTypeRef)[fakes::Object(object, "CFRetain of null") retain];
}

void CFRelease(CFTypeRef object) {
   if (!IsBoolean(object)) {
      fakes::Release(fakes::Object(object, "CFRelease of null"));
   }
}

CFTypeID CFGetTypeID(CFTypeRef object) {
   if (IsBoolean(object)) {
      return kBooleanType;
   }
   id checked = fakes::Object(object, "CFGetTypeID of null");
   if ([checked isKindOfClass:[FakeString class]]) {
      return kStringType;
   }
   return [checked isKindOfClass:[FakeNumber class]] ? kNumberType : kOtherType;
}

CFTypeID CFStringGetTypeID(void) {
   return kStringType;
}

CFStringRef CFStringCreateWithBytes(CFAllocatorRef, const UInt8 *bytes, CFIndex count, CFStringEncoding encoding,
                                    Boolean isExternalRepresentation) {
   if (encoding != kCFStringEncodingUTF8 || isExternalRepresentation != 0) {
      fakes::Refuse("CFStringCreateWithBytes: the stand-in knows plain UTF-8 only");
   }
   if (!IsUtf8(bytes, static_cast<size_t>(count))) {
      return nullptr;
   }
   FakeString *const string = [[FakeString alloc] init];
   string->mUtf8.assign(reinterpret_cast<const char *>(bytes), static_cast<size_t>(count));
   return (CFStringRef)string;
}

CFIndex CFStringGetLength(CFStringRef text) {
   CFIndex units = 0;
   for (const char c : fakes::As<FakeString>(text, "CFStringGetLength")->mUtf8) {
      const auto byte = static_cast<unsigned char>(c);
      units += (byte & 0xC0) == 0x80 ? 0 : byte >= 0xF0 ? 2 : 1;
   }
   return units;
}

CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding) {
   return length * 3;
}

Boolean CFStringGetCString(CFStringRef text, char *buffer, CFIndex size, CFStringEncoding) {
   const std::string &utf8 = fakes::As<FakeString>(text, "CFStringGetCString")->mUtf8;
   if (utf8.size() >= static_cast<size_t>(size)) {
      return 0;
   }
   std::memcpy(buffer, utf8.c_str(), utf8.size() + 1);
   return 1;
}

CFTypeID CFNumberGetTypeID(void) {
   return kNumberType;
}

CFNumberRef CFNumberCreate(CFAllocatorRef, CFNumberType type, const void *value) {
   FakeNumber *const number = [[FakeNumber alloc] init];
   switch (type) {
   case kCFNumberSInt32Type: {
      int32_t narrow = 0;
      std::memcpy(&narrow, value, sizeof(narrow));
      number->mInteger = narrow;
      break;
   }
   case kCFNumberSInt64Type:
      std::memcpy(&number->mInteger, value, sizeof(number->mInteger));
      break;
   }
   return (CFNumberRef)number;
}

Boolean CFNumberGetValue(CFNumberRef reference, CFNumberType type, void *value) {
   const FakeNumber *const number = fakes::As<FakeNumber>(reference, "CFNumberGetValue");
   const int64_t integer = number->mIsReal ? static_cast<int64_t>(number->mReal) : number->mInteger;
   if (type == kCFNumberSInt64Type) {
      std::memcpy(value, &integer, sizeof(integer));
   } else {
      const auto narrow = static_cast<int32_t>(integer);
      std::memcpy(value, &narrow, sizeof(narrow));
   }
   const bool isExact = type == kCFNumberSInt64Type || integer == static_cast<int32_t>(integer);
   return isExact && (!number->mIsReal || static_cast<double>(integer) == number->mReal);
}

Boolean CFNumberIsFloatType(CFNumberRef number) {
   return fakes::As<FakeNumber>(number, "CFNumberIsFloatType")->mIsReal;
}

CFTypeID CFBooleanGetTypeID(void) {
   return kBooleanType;
}

Boolean CFBooleanGetValue(CFBooleanRef boolean) {
   if (!IsBoolean(boolean)) {
      fakes::Refuse("CFBooleanGetValue");
   }
   return boolean == kCFBooleanTrue;
}

} // extern "C"
