#pragma once

#include <CoreFoundation/CoreFoundation.h>

#include <string>
#include <string_view>
#include <utility>

namespace osal {

/// One reference to a CoreFoundation or framework object, or none. `Type` is CFTypeRef, CFStringRef and the like.
/// Threads: as the object.
template <typename Type>
class CFOwned {
public:
   CFOwned() = default;
   /// Takes over the reference that a Create or Copy function gave; null: none.
   explicit CFOwned(Type object)
       : mObject(object) {}
   /// A reference of its own to an object that somebody else holds; null: none.
   [[nodiscard]] static CFOwned Retained(Type object) {
      if (object != nullptr) {
         CFRetain(object);
      }
      return CFOwned(object);
   }
   CFOwned(const CFOwned &other)
       : CFOwned(Retained(other.mObject)) {}
   CFOwned(CFOwned &&other) noexcept
       : mObject(std::exchange(other.mObject, nullptr)) {}
   CFOwned &operator=(CFOwned other) noexcept {
      std::swap(mObject, other.mObject);
      return *this;
   }
   ~CFOwned() {
      if (mObject != nullptr) {
         CFRelease(mObject);
      }
   }

   [[nodiscard]] Type get() const { return mObject; }
   /// The reference, which is the caller's from now on.
   [[nodiscard]] Type Take() { return std::exchange(mObject, nullptr); }
   explicit operator bool() const { return mObject != nullptr; }

private:
   Type mObject = nullptr;
};

/// The platform's string for UTF-8 text, zero bytes included; none when the text is ill-formed or memory runs out.
[[nodiscard]] CFOwned<CFStringRef> MakeCFString(std::string_view utf8);

/// The text of `string` in UTF-8. False, with `*utf8` as it was, when it has none (half a surrogate pair).
[[nodiscard]] bool CopyUtf8(CFStringRef string, std::string *utf8);

} // namespace osal
