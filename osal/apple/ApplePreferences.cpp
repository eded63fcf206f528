#include "osal/apple/ApplePreferences.h"

#include "osal/apple/CoreFoundationText.h"

#include <cerrno>
#include <string>
#include <utility>

namespace osal {
namespace {

using Value = CFOwned<CFPropertyListRef>;

bool IsText(const Value &value) {
   return value && CFGetTypeID(value.get()) == CFStringGetTypeID();
}

bool IsInteger(const Value &value) {
   return value && CFGetTypeID(value.get()) == CFNumberGetTypeID() &&
          !CFNumberIsFloatType(static_cast<CFNumberRef>(value.get()));
}

bool IsBoolean(const Value &value) {
   return value && CFGetTypeID(value.get()) == CFBooleanGetTypeID();
}

// 32 bits where they do: what the platform's other programs write and expect.
Value MakeNumber(int64_t number) {
   const auto narrow = static_cast<int32_t>(number);
   return narrow == number ? Value(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt32Type, &narrow))
                           : Value(CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &number));
}

struct ToPlatform {
   Value operator()(const PreferenceText &text) const { return Value(MakeCFString(text.utf8()).Take()); }
   Value operator()(int64_t number) const { return MakeNumber(number); }
   Value operator()(bool flag) const { return Value::Retained(flag ? kCFBooleanTrue : kCFBooleanFalse); }
};

class ApplePreferences final : public Preferences {
public:
   explicit ApplePreferences(std::string_view applicationId)
       : mName(applicationId)
       , mApplicationId(MakeCFString(applicationId)) {}

   std::optional<PreferenceValue> copyAppValue(std::string_view key) override {
      const Value value = Copy(MakeCFString(key));
      std::string text;
      if (IsText(value) && CopyUtf8(static_cast<CFStringRef>(value.get()), &text)) {
         return PreferenceText(std::move(text));
      }
      if (IsBoolean(value)) {
         return PreferenceValue(CFBooleanGetValue(static_cast<CFBooleanRef>(value.get())) != 0);
      }
      int64_t number = 0;
      if (IsInteger(value) && CFNumberGetValue(static_cast<CFNumberRef>(value.get()), kCFNumberSInt64Type, &number)) {
         return number;
      }
      return std::nullopt;
   }

   // The two getters below would convert: a text of digits to an integer, "yes" and 1 to a boolean. So the type first.
   int64_t getAppIntegerValue(std::string_view key, bool *keyExistsAndHasValidFormat) override {
      *keyExistsAndHasValidFormat = false;
      const CFOwned<CFStringRef> name = MakeCFString(key);
      if (!IsInteger(Copy(name))) {
         return 0;
      }
      Boolean isValid = 0;
      const CFIndex number = CFPreferencesGetAppIntegerValue(name.get(), mApplicationId.get(), &isValid);
      *keyExistsAndHasValidFormat = isValid != 0;
      return isValid != 0 ? number : 0;
   }

   bool getAppBooleanValue(std::string_view key, bool *keyExistsAndHasValidFormat) override {
      *keyExistsAndHasValidFormat = false;
      const CFOwned<CFStringRef> name = MakeCFString(key);
      if (!IsBoolean(Copy(name))) {
         return false;
      }
      Boolean isValid = 0;
      const Boolean flag = CFPreferencesGetAppBooleanValue(name.get(), mApplicationId.get(), &isValid);
      *keyExistsAndHasValidFormat = isValid != 0;
      return isValid != 0 && flag != 0;
   }

   Status setAppValue(std::string_view key, const PreferenceValue &value) override {
      const CFOwned<CFStringRef> name = MakeCFString(key);
      const Value object = std::visit(ToPlatform(), value);
      if (!mApplicationId || !name || !object) {
         return Status::Error(EILSEQ, "the key, the value or the domain's name is no UTF-8 text");
      }
      CFPreferencesSetAppValue(name.get(), object.get(), mApplicationId.get());
      return Status::Ok();
   }

   Status appSynchronize() override {
      return mApplicationId && CFPreferencesAppSynchronize(mApplicationId.get()) != 0
                ? Status::Ok()
                : Status::Error(EIO, "the platform could not write the preference domain " + mName);
   }

   Status takeTrouble() override { return Status::Ok(); }
   std::string location() const override { return mName; }

private:
   Value Copy(const CFOwned<CFStringRef> &name) const {
      return mApplicationId && name ? Value(CFPreferencesCopyAppValue(name.get(), mApplicationId.get())) : Value();
   }

   const std::string mName;
   const CFOwned<CFStringRef> mApplicationId;
};

static_assert(sizeof(CFIndex) == sizeof(int64_t));

} // namespace

std::unique_ptr<Preferences> MakeApplePreferences(std::string_view applicationId) {
   return std::make_unique<ApplePreferences>(applicationId);
}

} // namespace osal
