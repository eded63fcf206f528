#include "libs/utils/RegUtils.h"

#include "lib/mfw/common/logger.h"
#include "libs/utils/ConfigSettings.h"

#include <utility>

namespace {

std::string ComposeKey(std::string_view subkey, std::string_view name) {
   std::string key;
   key.reserve(subkey.size() + name.size());
   return key.append(subkey).append(name);
}

} // namespace

bool RegUtils::GetBool(std::string_view subkey, std::string_view name, bool defaultValue) {
   return ConfigSettings::GetBOOL(ComposeKey(subkey, name), defaultValue ? 1 : 0) != 0;
}

uint32_t RegUtils::GetDWORD(std::string_view subkey, std::string_view name, uint32_t defaultValue) {
   return ConfigSettings::GetDWORD(ComposeKey(subkey, name), defaultValue);
}

std::string RegUtils::GetString(std::string_view subkey, std::string_view name, std::string defaultValue,
                                Flag /*flag*/) {
   return ConfigSettings::GetString(ComposeKey(subkey, name), std::move(defaultValue));
}

bool RegUtils::SetString(std::string_view subkey, std::string_view name, std::string value) {
   ConfigSettings::SetString(ComposeKey(subkey, name), std::move(value));
   return true;
}

bool RegUtils::SetDWORD(std::string_view subkey, std::string_view name, uint32_t value) {
   ConfigSettings::SetDWORD(ComposeKey(subkey, name), value);
   return true;
}

void RegUtils::SetBool(std::string_view /*subkey*/, std::string_view /*name*/, bool /*value*/) {}

bool RegUtils::SetClientAppSetting(uint32_t /*context*/, const std::string &subkey, const std::string &value) {
   MAVR_LOG_DEBUG("RegUtils::SetClientAppSetting(subkey=\"%s\", value=\"%s\"): TODO", subkey.c_str(), value.c_str());
   return true;
}

bool RegUtils::SetAppSetting(uint32_t /*context*/, const std::string &subkey, const std::string &value) {
   MAVR_LOG_DEBUG("RegUtils::SetAppSetting(subkey=\"%s\", value=\"%s\"): TODO", subkey.c_str(), value.c_str());
   return true;
}

bool RegUtils::DeleteRegistryValue(std::string_view /*subkey*/, std::string_view /*name*/) {
   MAVR_LOG_ERROR("%s - Not implemented on this platform.", "DeleteRegistryValue");
   return true;
}
