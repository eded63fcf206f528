#pragma once

#include "osal/Platform.h"
#include "osal/Preferences.h"

#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace kit {

/// Preference domains in memory, in force for this object's lifetime: Platform::openPreferences hands out access to it.
///
/// What was set stays when the accessor is destroyed and opened again, as on disk. Owner: the test, one at a time; it
/// outlives what it handed out. Threads: any thread. Locks: mLock, around each call.
class FakePreferences {
public:
   using Values = std::map<std::string, osal::PreferenceValue, std::less<>>;

   FakePreferences();
   ~FakePreferences();
   FakePreferences(const FakePreferences &) = delete;
   FakePreferences &operator=(const FakePreferences &) = delete;

   /// Puts a value there as another process would, without a record in Calls.
   void Set(std::string_view key, osal::PreferenceValue value, std::string_view domain = kDomain);
   void SetText(std::string_view key, std::string text) { Set(key, osal::PreferenceText(std::move(text))); }
   void Remove(std::string_view key, std::string_view domain = kDomain);
   /// A copy of all values of the domain.
   [[nodiscard]] Values Snapshot(std::string_view domain = kDomain) const;

   /// What the next takeTrouble of any accessor reports, once.
   void SetTrouble(osal::Status trouble);
   /// What every write returns from now on; with an error nothing is stored.
   void SetWriteStatus(osal::Status status);

   /// The calls so far, in order: "open com.corvane.mavr", "copyAppValue KEY", "getAppIntegerValue KEY",
   /// "getAppBooleanValue KEY", "setAppValue KEY", "appSynchronize", "takeTrouble".
   [[nodiscard]] std::vector<std::string> Calls() const;
   void ClearCalls();

   static constexpr std::string_view kDomain = "com.corvane.mavr";

private:
   class Accessor;
   static std::unique_ptr<osal::Preferences> Open(std::string_view applicationId);

   mutable std::mutex mLock;
   std::map<std::string, Values, std::less<>> mDomains;
   osal::Status mTrouble;
   osal::Status mWriteStatus;
   std::vector<std::string> mCalls;
   osal::ScopedPreferences mInForce;
};

} // namespace kit
