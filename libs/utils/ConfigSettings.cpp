#include "libs/utils/ConfigSettings.h"

#include "lib/mfw/common/logger.h"
#include "osal/Platform.h"

#include <limits>
#include <memory>
#include <utility>
#include <variant>

namespace {

constexpr int32_t kFirstBufferSize = 64;

constexpr const char kGetString[] = "static std::string ConfigSettings::GetString(std::string, std::string)";
constexpr const char kSetString[] = "static void ConfigSettings::SetString(std::string, std::string)";
constexpr const char kGetDWORD[] = "static DWORD ConfigSettings::GetDWORD(std::string, DWORD)";
constexpr const char kSetDWORD[] = "static void ConfigSettings::SetDWORD(std::string, DWORD)";
constexpr const char kGetBOOL[] = "static BOOL ConfigSettings::GetBOOL(std::string, BOOL)";

// The one buffer through which texts leave the store.
class ConversionBuffer {
public:
   // The text, or the empty text where it does not fit.
   std::string Convert(const osal::PreferenceText &text) {
      const size_t needed = text.maximumSizeForUtf8();
      if (needed > static_cast<size_t>(mSize) && mSize <= std::numeric_limits<int32_t>::max() / 2) {
         // Required: doubled once and not until it is enough; each later read of the text doubles again.
         mSize *= 2;
         mBytes = std::make_unique<char[]>(static_cast<size_t>(mSize));
      }
      mBytes[0] = '\0'; // what is in the buffer belongs to another setting
      // Required: whether it fitted is not asked.
      static_cast<void>(text.getCString(mBytes.get(), static_cast<size_t>(mSize)));
      return mBytes.get();
   }

   [[nodiscard]] int32_t Size() const { return mSize; }

private:
   int32_t mSize = kFirstBufferSize;
   std::unique_ptr<char[]> mBytes = std::make_unique<char[]>(kFirstBufferSize);
};

struct OpenStore {
   std::unique_ptr<osal::Preferences> preferences = osal::Platform::openPreferences(ConfigSettings::kApplicationId);
   ConversionBuffer buffer;
};

// A plain pointer: a host that ends without closing must not have the store torn down under its last threads.
OpenStore *gStore = nullptr;

// A Status of the store names the file and the reason: the line needs nothing more.
void ReportTrouble(const char *function) {
   for (osal::Status trouble = gStore->preferences->takeTrouble(); !trouble.ok();
        trouble = gStore->preferences->takeTrouble()) {
      MAVR_LOG_ERROR("%s - Trouble with the settings: %s", function, trouble.reason.c_str());
   }
}

void Write(const char *function, const std::string &key, const osal::PreferenceValue &value) {
   const osal::Status status = gStore->preferences->setAppValue(key, value);
   if (!status.ok()) {
      MAVR_LOG_ERROR("%s - Failed to store '%s': %s", function, key.c_str(), status.reason.c_str());
   }
   ReportTrouble(function);
}

} // namespace

bool ConfigSettings::Init() {
   if (gStore == nullptr) {
      gStore = new OpenStore;
      ReportTrouble("Init");
   }
   return true;
}

bool ConfigSettings::Shutdown() {
   return std::unique_ptr<OpenStore>(std::exchange(gStore, nullptr)) != nullptr;
}

bool ConfigSettings::IsInitialised() {
   return gStore != nullptr;
}

bool ConfigSettings::Synchronize() {
   if (gStore == nullptr) {
      return false;
   }
   const osal::Status status = gStore->preferences->appSynchronize();
   if (!status.ok()) {
      MAVR_LOG_ERROR("%s - Failed to write the settings: %s", "Synchronize", status.reason.c_str());
   }
   ReportTrouble("Synchronize");
   return status.ok();
}

std::string ConfigSettings::GetString(const std::string &key, std::string defaultValue) {
   MAVR_LOG_TRACE("%s - key='%s' default='%s'", kGetString, key.c_str(), defaultValue.c_str());
   if (gStore == nullptr) {
      MAVR_LOG_TRACE("%s - not initialised", "GetString");
      return defaultValue;
   }
   const std::optional<osal::PreferenceValue> value = gStore->preferences->copyAppValue(key);
   ReportTrouble(kGetString);
   const auto *const text = value ? std::get_if<osal::PreferenceText>(&*value) : nullptr;
   return text != nullptr ? gStore->buffer.Convert(*text) : defaultValue;
}

void ConfigSettings::SetString(const std::string &key, std::string value) {
   MAVR_LOG_TRACE("%s - key='%s' value='%s'", kSetString, key.c_str(), value.c_str());
   if (gStore == nullptr) {
      MAVR_LOG_TRACE("%s - not initialised", "SetString");
      return;
   }
   Write(kSetString, key, osal::PreferenceText(std::move(value)));
}

uint32_t ConfigSettings::GetDWORD(const std::string &key, uint32_t defaultValue) {
   MAVR_LOG_TRACE("%s - key='%s' default=%d", kGetDWORD, key.c_str(), static_cast<int>(defaultValue));
   if (gStore == nullptr) {
      MAVR_LOG_TRACE("%s - not initialised", "GetDWORD");
      return defaultValue;
   }
   bool exists = false;
   const int64_t value = gStore->preferences->getAppIntegerValue(key, &exists);
   ReportTrouble(kGetDWORD);
   if (!exists) {
      MAVR_LOG_TRACE("%s - %s does not exist, or is not an integer", kGetDWORD, key.c_str());
      return defaultValue;
   }
   return static_cast<uint32_t>(value);
}

void ConfigSettings::SetDWORD(const std::string &key, uint32_t value) {
   MAVR_LOG_TRACE("%s - key='%s' value='%d'", kSetDWORD, key.c_str(), static_cast<int>(value));
   if (gStore == nullptr) {
      MAVR_LOG_TRACE("%s - not initialised", "SetDWORD");
      return;
   }
   Write(kSetDWORD, key, int64_t{static_cast<int32_t>(value)});
}

int32_t ConfigSettings::GetBOOL(const std::string &key, int32_t defaultValue) {
   MAVR_LOG_TRACE("%s - key='%s' default=%s", kGetBOOL, key.c_str(), defaultValue != 0 ? "true" : "false");
   if (gStore == nullptr) {
      MAVR_LOG_TRACE("%s - not initialised", "GetBOOL");
      return defaultValue;
   }
   bool exists = false;
   const bool value = gStore->preferences->getAppBooleanValue(key, &exists);
   ReportTrouble(kGetBOOL);
   if (!exists) {
      MAVR_LOG_TRACE("%s - %s does not exist, or is not a boolean", kGetBOOL, key.c_str());
      return defaultValue;
   }
   return value ? 1 : 0;
}

int32_t ConfigSettings::BufferSize() {
   return gStore != nullptr ? gStore->buffer.Size() : 0;
}

std::string ConfigSettings::Location() {
   return gStore != nullptr ? gStore->preferences->location() : std::string();
}
