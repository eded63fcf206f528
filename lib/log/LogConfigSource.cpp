#include "lib/log/LogConfigSource.h"

#include "lib/corvanebase/corvanebase.h"
#include "lib/log/Log.h"

#include <algorithm>
#include <cstdint>
#include <limits>

namespace {

char *GetString(const char *defaultValue, const char *key) {
   return Config_GetString(defaultValue, "%s", key);
}

long GetLong(long defaultValue, const char *key) {
   constexpr long kLowest = std::numeric_limits<int32_t>::min();
   constexpr long kHighest = std::numeric_limits<int32_t>::max();
   return Config_GetLong(static_cast<int32_t>(std::clamp(defaultValue, kLowest, kHighest)), "%s", key);
}

bool GetBool(bool defaultValue, const char *key) {
   return Config_GetBool(defaultValue ? 1 : 0, "%s", key) != 0;
}

bool NotSet(const char *key) {
   return Config_NotSet("%s", key) != 0;
}

constexpr LogConfigSource kSource{
   .empty = {},
   .getString = &GetString,
   .reserved3 = {},
   .getLong = &GetLong,
   .reserved10 = {},
   .getBool = &GetBool,
   .reserved14 = {},
   .notSet = &NotSet,
   .reserved23 = {},
};

} // namespace

const LogConfigSource *Log_GetConfigSource() {
   return &kSource;
}
