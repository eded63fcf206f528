#include "lib/log/LogKeys.h"

#include "lib/log/LogLevelTable.h"

#include <cstring>
#include <strings.h>
#include <utility>

LogKeys::LogKeys(const char *prefix, const char *suffix, const Dictionary *dictionary, const LogConfigSource *source)
    : mPrefix(prefix != nullptr && prefix[0] != '\0' ? prefix : nullptr)
    , mSuffix(suffix)
    , mDictionary(dictionary)
    , mSource(source) {}

LogText LogKeys::PlainKey(const char *key) const {
   return LogText(mSuffix != nullptr ? Str_SafeAsprintf(nullptr, "%s.%s", key, mSuffix) : UtilSafeStrdup0(key));
}

LogText LogKeys::PrefixedKey(const char *plainKey) const {
   return LogText(mPrefix != nullptr ? Str_SafeAsprintf(nullptr, "%s.%s", mPrefix, plainKey) : nullptr);
}

bool LogKeys::Bool(const char *key, bool defaultValue) const {
   bool value = defaultValue;
   if (mDictionary != nullptr) {
      value = Dict_GetBool(mDictionary, defaultValue ? 1 : 0, key) != 0;
   }
   if (mSource == nullptr || mSource->getBool == nullptr) {
      return value;
   }
   const LogText plain = PlainKey(key);
   if (mSource->getBool(defaultValue, plain.get()) != defaultValue) {
      value = !defaultValue;
   }
   const LogText prefixed = PrefixedKey(plain.get());
   if (prefixed != nullptr && mSource->getBool(defaultValue, prefixed.get()) != defaultValue) {
      value = !defaultValue;
   }
   return value;
}

int32_t LogKeys::Long(const char *key, int32_t defaultValue) const {
   int32_t value = defaultValue;
   if (mDictionary != nullptr) {
      value = Dict_GetLong(mDictionary, defaultValue, key);
   }
   if (mSource == nullptr || mSource->getLong == nullptr) {
      return value;
   }
   const LogText plain = PlainKey(key);
   if (const long found = mSource->getLong(defaultValue, plain.get()); found != defaultValue) {
      value = static_cast<int32_t>(found);
   }
   if (const LogText prefixed = PrefixedKey(plain.get()); prefixed != nullptr) {
      if (const long found = mSource->getLong(defaultValue, prefixed.get()); found != defaultValue) {
         value = static_cast<int32_t>(found);
      }
   }
   return value;
}

LogText LogKeys::String(const char *key, const char *defaultValue) const {
   LogText value(mDictionary != nullptr ? Dict_GetString(mDictionary, defaultValue, key)
                                        : UtilSafeStrdup0(defaultValue));
   if (mSource == nullptr || mSource->getString == nullptr) {
      return value;
   }
   const LogText plain = PlainKey(key);
   const LogText prefixed = PrefixedKey(plain.get());
   for (const char *const asked : {plain.get(), prefixed.get()}) {
      if (asked == nullptr) {
         continue;
      }
      LogText found(mSource->getString(defaultValue, asked));
      if (found != nullptr && (defaultValue == nullptr || std::strcmp(found.get(), defaultValue) != 0)) {
         value = std::move(found);
      }
   }
   return value;
}

int32_t LogKeys::Level(const char *key, int32_t defaultValue) const {
   const LogText word = String(key, nullptr);
   if (word == nullptr) {
      return defaultValue;
   }
   if (strcasecmp(word.get(), "none") == 0) {
      return -1;
   }
   const LogLevelRow *const row = LogLevel_RowByName(word.get());
   return row != nullptr ? static_cast<int32_t>(row->level) : defaultValue;
}
