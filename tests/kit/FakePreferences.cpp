#include "tests/kit/FakePreferences.h"

#include <cassert>
#include <utility>

namespace kit {
namespace {

FakePreferences *gStore = nullptr;

} // namespace

class FakePreferences::Accessor final : public osal::Preferences {
public:
   Accessor(FakePreferences &store, std::string domain)
       : mStore(store)
       , mDomain(std::move(domain)) {}

   std::optional<osal::PreferenceValue> copyAppValue(std::string_view key) override {
      const std::lock_guard<std::mutex> guard(mStore.mLock);
      mStore.mCalls.push_back("copyAppValue " + std::string(key));
      return Find(key);
   }

   int64_t getAppIntegerValue(std::string_view key, bool *keyExistsAndHasValidFormat) override {
      return Get<int64_t>("getAppIntegerValue ", key, keyExistsAndHasValidFormat);
   }

   bool getAppBooleanValue(std::string_view key, bool *keyExistsAndHasValidFormat) override {
      return Get<bool>("getAppBooleanValue ", key, keyExistsAndHasValidFormat);
   }

   osal::Status setAppValue(std::string_view key, const osal::PreferenceValue &value) override {
      const std::lock_guard<std::mutex> guard(mStore.mLock);
      mStore.mCalls.push_back("setAppValue " + std::string(key));
      if (mStore.mWriteStatus.ok()) {
         mStore.mDomains[mDomain].insert_or_assign(std::string(key), value);
      }
      return mStore.mWriteStatus;
   }

   osal::Status appSynchronize() override {
      const std::lock_guard<std::mutex> guard(mStore.mLock);
      mStore.mCalls.emplace_back("appSynchronize");
      return mStore.mWriteStatus;
   }

   osal::Status takeTrouble() override {
      const std::lock_guard<std::mutex> guard(mStore.mLock);
      mStore.mCalls.emplace_back("takeTrouble");
      return std::exchange(mStore.mTrouble, osal::Status::Ok());
   }

   std::string location() const override { return "memory:" + mDomain; }

private:
   std::optional<osal::PreferenceValue> Find(std::string_view key) const {
      const Values &values = mStore.mDomains[mDomain];
      const auto found = values.find(key);
      return found != values.end() ? std::optional(found->second) : std::nullopt;
   }

   template <typename T>
   T Get(const char *call, std::string_view key, bool *keyExistsAndHasValidFormat) {
      const std::lock_guard<std::mutex> guard(mStore.mLock);
      mStore.mCalls.push_back(call + std::string(key));
      const std::optional<osal::PreferenceValue> value = Find(key);
      *keyExistsAndHasValidFormat = value && std::holds_alternative<T>(*value);
      return *keyExistsAndHasValidFormat ? std::get<T>(*value) : T{};
   }

   FakePreferences &mStore;
   const std::string mDomain;
};

FakePreferences::FakePreferences()
    : mInForce(&FakePreferences::Open) {
   assert(gStore == nullptr);
   gStore = this;
}

FakePreferences::~FakePreferences() {
   gStore = nullptr;
}

std::unique_ptr<osal::Preferences> FakePreferences::Open(std::string_view applicationId) {
   const std::lock_guard<std::mutex> guard(gStore->mLock);
   gStore->mCalls.push_back("open " + std::string(applicationId));
   return std::make_unique<Accessor>(*gStore, std::string(applicationId));
}

void FakePreferences::Set(std::string_view key, osal::PreferenceValue value, std::string_view domain) {
   const std::lock_guard<std::mutex> guard(mLock);
   mDomains[std::string(domain)].insert_or_assign(std::string(key), std::move(value));
}

void FakePreferences::Remove(std::string_view key, std::string_view domain) {
   const std::lock_guard<std::mutex> guard(mLock);
   mDomains[std::string(domain)].erase(std::string(key));
}

FakePreferences::Values FakePreferences::Snapshot(std::string_view domain) const {
   const std::lock_guard<std::mutex> guard(mLock);
   const auto found = mDomains.find(domain);
   return found != mDomains.end() ? found->second : Values();
}

void FakePreferences::SetTrouble(osal::Status trouble) {
   const std::lock_guard<std::mutex> guard(mLock);
   mTrouble = std::move(trouble);
}

void FakePreferences::SetWriteStatus(osal::Status status) {
   const std::lock_guard<std::mutex> guard(mLock);
   mWriteStatus = std::move(status);
}

std::vector<std::string> FakePreferences::Calls() const {
   const std::lock_guard<std::mutex> guard(mLock);
   return mCalls;
}

void FakePreferences::ClearCalls() {
   const std::lock_guard<std::mutex> guard(mLock);
   mCalls.clear();
}

} // namespace kit
