#include "osal/apple/fakes/FakeObjects.h"
#include "osal/apple/fakes/Fakes.h"

#include <atomic>
#include <cstdlib>
#include <map>
#include <mutex>
#include <strings.h>

// The preference store of CoreFoundation: any property list under a key of an application, at once there for every
// reader of this process. Its getters convert, as the real ones do.
namespace {

using Domain = std::map<std::string, CFPropertyListRef>;

std::mutex gMutex;
// Guarded by gMutex. Never destroyed: a program may look while it ends.
std::map<std::string, Domain> &Domains() {
   static auto *const domains = new std::map<std::string, Domain>;
   return *domains;
}
std::atomic<bool> gIsWritable{true};

const std::string &TextOf(CFStringRef string, const char *function) {
   return fakes::As<FakeString>(string, function)->mUtf8;
}

// With a reference of the caller's own; null: none.
CFPropertyListRef CopyValue(CFStringRef key, CFStringRef applicationId, const char *function) {
   const std::string &name = TextOf(key, function);
   const std::lock_guard<std::mutex> hold(gMutex);
   const Domain &domain = Domains()[TextOf(applicationId, function)];
   const auto found = domain.find(name);
   return found != domain.end() ? CFRetain(found->second) : nullptr;
}

void Store(Domain *domain, const std::string &key, CFPropertyListRef value) {
   const auto found = domain->find(key);
   if (found != domain->end()) {
      CFRelease(found->second);
      domain->erase(found);
   }
   if (value != nullptr) {
      domain->emplace(key, CFRetain(value));
   }
}

bool IntegerOf(CFPropertyListRef value, int64_t *integer) {
   const CFTypeID type = CFGetTypeID(value);
   if (type == CFBooleanGetTypeID()) {
      *integer = CFBooleanGetValue((CFBooleanRef)value);
      return true;
   }
   if (type == CFNumberGetTypeID()) {
      return CFNumberGetValue((CFNumberRef)value, kCFNumberSInt64Type, integer);
   }
   if (type != CFStringGetTypeID()) {
      return false;
   }
   const std::string &text = TextOf((CFStringRef)value, "a preference");
   char *end = nullptr;
   *integer = std::strtoll(text.c_str(), &end, 10);
   return !text.empty() && *end == '\0';
}

bool BooleanOf(CFPropertyListRef value, bool *boolean) {
   if (CFGetTypeID(value) == CFStringGetTypeID()) {
      const std::string &text = TextOf((CFStringRef)value, "a preference");
      for (const char *const yes : {"true", "yes"}) {
         if (strcasecmp(text.c_str(), yes) == 0) {
            *boolean = true;
            return true;
         }
      }
      for (const char *const no : {"false", "no"}) {
         if (strcasecmp(text.c_str(), no) == 0) {
            *boolean = false;
            return true;
         }
      }
   }
   int64_t integer = 0;
   const bool isValid = IntegerOf(value, &integer) && (integer == 0 || integer == 1);
   *boolean = integer == 1;
   return isValid;
}

} // namespace

extern "C" {

CFPropertyListRef CFPreferencesCopyAppValue(CFStringRef key, CFStringRef applicationId) {
   return CopyValue(key, applicationId, "CFPreferencesCopyAppValue");
}

CFIndex CFPreferencesGetAppIntegerValue(CFStringRef key, CFStringRef applicationId,
                                        Boolean *keyExistsAndHasValidFormat) {
   CFPropertyListRef value = CopyValue(key, applicationId, "CFPreferencesGetAppIntegerValue");
   int64_t integer = 0;
   const bool isValid = value != nullptr && IntegerOf(value, &integer);
   if (value != nullptr) {
      CFRelease(value);
   }
   if (keyExistsAndHasValidFormat != nullptr) {
      *keyExistsAndHasValidFormat = isValid;
   }
   return isValid ? integer : 0;
}

Boolean CFPreferencesGetAppBooleanValue(CFStringRef key, CFStringRef applicationId,
                                        Boolean *keyExistsAndHasValidFormat) {
   CFPropertyListRef value = CopyValue(key, applicationId, "CFPreferencesGetAppBooleanValue");
   bool boolean = false;
   const bool isValid = value != nullptr && BooleanOf(value, &boolean);
   if (value != nullptr) {
      CFRelease(value);
   }
   if (keyExistsAndHasValidFormat != nullptr) {
      *keyExistsAndHasValidFormat = isValid;
   }
   return isValid && boolean;
}

void CFPreferencesSetAppValue(CFStringRef key, CFPropertyListRef value, CFStringRef applicationId) {
   const std::string &name = TextOf(key, "CFPreferencesSetAppValue");
   const std::lock_guard<std::mutex> hold(gMutex);
   Store(&Domains()[TextOf(applicationId, "CFPreferencesSetAppValue")], name, value);
}

Boolean CFPreferencesAppSynchronize(CFStringRef applicationId) {
   (void)fakes::As<FakeString>(applicationId, "CFPreferencesAppSynchronize");
   return gIsWritable;
}

} // extern "C"

namespace fakes {

void SetPreferencesWritable(bool isWritable) {
   gIsWritable = isWritable;
}

void ForgetPreferences() {
   const std::lock_guard<std::mutex> hold(gMutex);
   for (auto &[name, domain] : Domains()) {
      while (!domain.empty()) {
         Store(&domain, std::string(domain.begin()->first), nullptr);
      }
   }
   Domains().clear();
}

void StorePreferenceReal(const std::string &applicationId, const std::string &key, double value) {
   FakeNumber *const number = [[FakeNumber alloc] init];
   number->mIsReal = true;
   number->mReal = value;
   {
      const std::lock_guard<std::mutex> hold(gMutex);
      Store(&Domains()[applicationId], key, (CFPropertyListRef)number);
   }
   [number release];
}

} // namespace fakes
