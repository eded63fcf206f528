#include "osal/unavailable/UnavailablePreferences.h"

#include <atomic>
#include <utility>

namespace osal {
namespace {

class UnavailablePreferences final : public Preferences {
public:
   explicit UnavailablePreferences(Status why)
       : mWhy(std::move(why)) {}

   std::optional<PreferenceValue> copyAppValue(std::string_view) override { return std::nullopt; }

   int64_t getAppIntegerValue(std::string_view, bool *keyExistsAndHasValidFormat) override {
      *keyExistsAndHasValidFormat = false;
      return 0;
   }

   bool getAppBooleanValue(std::string_view, bool *keyExistsAndHasValidFormat) override {
      *keyExistsAndHasValidFormat = false;
      return false;
   }

   Status setAppValue(std::string_view, const PreferenceValue &) override { return mWhy; }
   Status appSynchronize() override { return mWhy; }
   Status takeTrouble() override { return mTold.exchange(true) ? Status::Ok() : mWhy; }
   std::string location() const override { return "(none)"; }

private:
   const Status mWhy;
   std::atomic<bool> mTold{false};
};

} // namespace

std::unique_ptr<Preferences> MakeUnavailablePreferences(Status why) {
   return std::make_unique<UnavailablePreferences>(std::move(why));
}

} // namespace osal
