#pragma once

#include <cstdint>
#include <string>
#include <string_view>

/// Settings as the callers think of them, by sub-key and value name. Both fold into one flat key of ConfigSettings: the
/// sub-key's text, then the name's, with nothing between. "\miscSettings" and "msgProcDelayLow" give
/// `\miscSettingsmsgProcDelayLow`; an empty sub-key leaves the name.
///
/// The operations that other platforms have a registry for keep their form here: callers go on working, and the log
/// shows that nothing was stored. Owner: none, static. Threads: host-serialised, as ConfigSettings. Locks: none.
class RegUtils {
public:
   /// Whether the pieces of a machine's and a user's settings are read as one. There is one domain here: ignored.
   enum class Flag : uint32_t { Default = 1 };

   [[nodiscard]] static bool GetBool(std::string_view subkey, std::string_view name, bool defaultValue);
   [[nodiscard]] static uint32_t GetDWORD(std::string_view subkey, std::string_view name, uint32_t defaultValue);
   [[nodiscard]] static std::string GetString(std::string_view subkey, std::string_view name, std::string defaultValue,
                                              Flag flag = Flag::Default);

   /// Always true: a write that fails is logged by ConfigSettings.
   static bool SetString(std::string_view subkey, std::string_view name, std::string value);
   static bool SetDWORD(std::string_view subkey, std::string_view name, uint32_t value);

   // Required: this does nothing at all.
   static void SetBool(std::string_view subkey, std::string_view name, bool value);

   /// Write nothing, say so at DEBUG, and report true.
   static bool SetClientAppSetting(uint32_t context, const std::string &subkey, const std::string &value);
   static bool SetAppSetting(uint32_t context, const std::string &subkey, const std::string &value);

   /// Deletes nothing, says so at ERROR, and reports true.
   static bool DeleteRegistryValue(std::string_view subkey, std::string_view name);
};
