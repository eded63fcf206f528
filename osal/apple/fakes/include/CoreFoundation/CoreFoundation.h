// A stand-in for the framework's header: what osal/apple uses of it, and nothing that a Mac lacks.
#pragma once

#include <cstddef>
#include <cstdint>

typedef unsigned char Boolean;
typedef uint8_t UInt8;
typedef int32_t SInt32;
typedef uint32_t UInt32;
typedef double Float64;
typedef SInt32 OSStatus;
typedef UInt32 FourCharCode;
typedef FourCharCode OSType;

typedef const void *CFTypeRef;
typedef CFTypeRef CFPropertyListRef;
typedef unsigned long CFTypeID;
typedef long CFIndex;
typedef const struct __CFAllocator *CFAllocatorRef;
typedef const struct __CFString *CFStringRef;
typedef const struct __CFNumber *CFNumberRef;
typedef const struct __CFBoolean *CFBooleanRef;
typedef UInt32 CFStringEncoding;

enum : CFStringEncoding { kCFStringEncodingUTF8 = 0x08000100 };
enum CFNumberType : CFIndex { kCFNumberSInt32Type = 3, kCFNumberSInt64Type = 4 };
enum { noErr = 0 };

extern "C" {

extern const CFAllocatorRef kCFAllocatorDefault;
extern const CFBooleanRef kCFBooleanTrue;
extern const CFBooleanRef kCFBooleanFalse;

CFTypeRef CFRetain(CFTypeRef object);
void CFRelease(CFTypeRef object);
CFTypeID CFGetTypeID(CFTypeRef object);

CFTypeID CFStringGetTypeID(void);
CFStringRef CFStringCreateWithBytes(CFAllocatorRef allocator, const UInt8 *bytes, CFIndex count,
                                    CFStringEncoding encoding, Boolean isExternalRepresentation);
CFIndex CFStringGetLength(CFStringRef text);
CFIndex CFStringGetMaximumSizeForEncoding(CFIndex length, CFStringEncoding encoding);
Boolean CFStringGetCString(CFStringRef text, char *buffer, CFIndex size, CFStringEncoding encoding);

CFTypeID CFNumberGetTypeID(void);
CFNumberRef CFNumberCreate(CFAllocatorRef allocator, CFNumberType type, const void *value);
Boolean CFNumberGetValue(CFNumberRef number, CFNumberType type, void *value);
Boolean CFNumberIsFloatType(CFNumberRef number);

CFTypeID CFBooleanGetTypeID(void);
Boolean CFBooleanGetValue(CFBooleanRef boolean);

CFPropertyListRef CFPreferencesCopyAppValue(CFStringRef key, CFStringRef applicationId);
CFIndex CFPreferencesGetAppIntegerValue(CFStringRef key, CFStringRef applicationId,
                                        Boolean *keyExistsAndHasValidFormat);
Boolean CFPreferencesGetAppBooleanValue(CFStringRef key, CFStringRef applicationId,
                                        Boolean *keyExistsAndHasValidFormat);
void CFPreferencesSetAppValue(CFStringRef key, CFPropertyListRef value, CFStringRef applicationId);
Boolean CFPreferencesAppSynchronize(CFStringRef applicationId);

} // extern "C"
